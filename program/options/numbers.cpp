#include "program/options/numbers.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace program {

namespace {

[[noreturn]] void refuse(const std::string& option, const std::string& text, const std::string& expected) {
  throw CLI::ValidationError(option, "'" + text + "' is not " + expected);
}

bool is_finite(int /*number*/) {
  return true;
}

bool is_finite(double number) {
  return std::isfinite(number);
}

template <typename Number>
std::optional<std::vector<Number>> numbers_in(const std::string& text) {
  std::vector<Number> numbers;
  const char* position = text.data();
  const char* const end = position + text.size();
  for (bool more = true; more;) {
    Number number{};
    const auto [next, error] = std::from_chars(position, end, number);
    more = error == std::errc() && next != end && *next == ',';
    if (error != std::errc() || !is_finite(number) || (next != end && !more)) return std::nullopt;
    numbers.push_back(number);
    position = next + 1;
  }
  return numbers;
}

template <typename Number>
std::vector<Number> parse_numbers(const std::string& option, const std::string& text, std::size_t least,
                                  std::size_t most, const std::string& expected) {
  const auto numbers = numbers_in<Number>(text);
  if (!numbers) refuse(option, text, expected);
  if (numbers->size() < least || numbers->size() > most) {
    throw CLI::ValidationError(option, "'" + text + "' has too few or too many numbers");
  }
  return *numbers;
}

}  // namespace

std::optional<std::vector<double>> reals_in(const std::string& text) {
  return numbers_in<double>(text);
}

std::vector<int> parse_integers(const std::string& option, const std::string& text, std::size_t least,
                                std::size_t most) {
  return parse_numbers<int>(option, text, least, most, "a list of whole numbers, as in 1,2");
}

std::vector<double> parse_reals(const std::string& option, const std::string& text, std::size_t least,
                                std::size_t most) {
  return parse_numbers<double>(option, text, least, most, "a list of numbers, as in 1.5,2");
}

CLI::Validator without_leading_zeros() {
  const auto strip_zeros = [](std::string& text) {
    const std::size_t sign = text.starts_with('-') ? 1 : 0;
    const std::size_t zeros = std::min(text.find_first_not_of('0', sign), text.size() - 1) - sign;
    if (text.size() > sign) text.erase(sign, zeros);
    return std::string();
  };
  return {strip_zeros, ""};
}

frames::LoadOptions::Size parse_size(const std::string& option, const std::string& text) {
  const auto size = parse_pair<int>(text, 'x');
  if (!size || size->front() < 1 || size->back() < 1) refuse(option, text, "of the form WxH, as in 1200x1200");
  return {size->front(), size->back()};
}

}  // namespace program
