#include "frames/numbers.h"

#include <cmath>

namespace frames {

namespace {

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
std::vector<Number> parse_numbers(const std::string& text, std::size_t least, std::size_t most, const char* expected) {
  const auto numbers = numbers_in<Number>(text);
  if (!numbers) throw InvalidValue(text, std::string("is not ") + expected);
  if (numbers->size() < least || numbers->size() > most) throw InvalidValue(text, "has too few or too many numbers");
  return *numbers;
}

}  // namespace

std::optional<std::vector<double>> reals_in(const std::string& text) {
  return numbers_in<double>(text);
}

std::vector<int> parse_integers(const std::string& text, std::size_t least, std::size_t most) {
  return parse_numbers<int>(text, least, most, "a list of whole numbers, as in 1,2");
}

std::vector<double> parse_reals(const std::string& text, std::size_t least, std::size_t most) {
  return parse_numbers<double>(text, least, most, "a list of numbers, as in 1.5,2");
}

double parse_positive(const std::string& text) {
  const double number = parse_reals(text, 1, 1)[0];
  if (number <= 0.0) throw InvalidValue(text, "must be above 0");
  return number;
}

Size parse_size(const std::string& text) {
  const auto size = parse_pair<int>(text, 'x');
  if (!size || size->front() < 1 || size->back() < 1) {
    throw InvalidValue(text, "is not of the form WxH, as in 1200x1200");
  }
  return {size->front(), size->back()};
}

}  // namespace frames
