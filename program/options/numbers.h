// Numbers in the values of options.
#pragma once

#include <CLI/CLI.hpp>
#include <array>
#include <charconv>
#include <optional>
#include <string>
#include <vector>

#include "frames/frame.h"

namespace program {

// "1.5,2" as numbers; nothing when it is something else. They are finite.
std::optional<std::vector<double>> reals_in(const std::string& text);

// "1,2,3" as numbers, at least and at most so many; `option` is named in the CLI::ValidationError when it is
// something else.
std::vector<int> parse_integers(const std::string& option, const std::string& text, std::size_t least,
                                std::size_t most);
std::vector<double> parse_reals(const std::string& option, const std::string& text, std::size_t least,
                                std::size_t most);

// For options that take a whole number: CLI11 would take one that begins with 0 for octal.
CLI::Validator without_leading_zeros();

// "3/8" or "3x4": two whole numbers, and what stands between them. Nothing when it is something else.
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
frames::LoadOptions::Size parse_size(const std::string& option, const std::string& text);

}  // namespace program
