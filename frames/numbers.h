// Numbers in the values of options.
#pragma once

#include <array>
#include <charconv>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "frames/frame.h"

namespace frames {

// An option has an invalid value. The message says why, without the option's name: "'x' must be above 0".
class InvalidValue : public std::invalid_argument {
 public:
  InvalidValue(const std::string& text, const std::string& why) : std::invalid_argument("'" + text + "' " + why) {}
};

// "1.5,2" as finite numbers; nothing for other texts.
std::optional<std::vector<double>> reals_in(const std::string& text);

// "1,2,3" as numbers, at least and at most so many; InvalidValue for other texts.
std::vector<int> parse_integers(const std::string& text, std::size_t least, std::size_t most);
std::vector<double> parse_reals(const std::string& text, std::size_t least, std::size_t most);

// A whole number, at least `least`, which is not below 0. Leading zeros do not make it octal.
template <typename Number>
Number parse_whole(const std::string& text, Number least) {
  Number number{};
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  if (error == std::errc::result_out_of_range) throw InvalidValue(text, "is too large");
  if (error != std::errc() || stop != end) throw InvalidValue(text, "is not a whole number");
  if (number < least) throw InvalidValue(text, "is below " + std::to_string(least));
  return number;
}

// A number above 0.
double parse_positive(const std::string& text);

// "3/8" or "3x4": two whole numbers, and the separator between them. Nothing for other texts.
template <typename Number>
std::optional<std::array<Number, 2>> parse_pair(const std::string& text, char separator) {
  std::array<Number, 2> numbers{};
  const char* const end = text.data() + text.size();
  const auto first = std::from_chars(text.data(), end, numbers[0]);
  if (first.ec != std::errc() || first.ptr == end || *first.ptr != separator) return std::nullopt;
  const auto second = std::from_chars(first.ptr + 1, end, numbers[1]);
  if (second.ec != std::errc() || second.ptr != end) return std::nullopt;
  return numbers;
}

// "WxH", both at least 1.
Size parse_size(const std::string& text);

}  // namespace frames
