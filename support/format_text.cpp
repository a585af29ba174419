#include "support/format_text.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <string_view>

namespace xrd {

namespace {

// Larger than any field, so that what a conversion shows within a field does not depend on it.
constexpr int kFieldLimit = 512;

struct Conversion {
  std::string_view flags;
  int width = 0;
  int precision = -1;    // -1: none given
  char specifier = 0;    // 0: the text ended first
  std::size_t size = 0;  // characters, the percent sign included
};

bool is_digit(char character) {
  return character >= '0' && character <= '9';
}

// A number as wide as the digits go, held at a bound that no field reaches. '*' asks for an argument, which is zero.
int parse_number(std::string_view text, std::size_t& position) {
  constexpr int kLargest = 100'000'000;
  if (position < text.size() && text[position] == '*') {
    ++position;
    return 0;
  }
  int number = 0;
  for (; position < text.size() && is_digit(text[position]); ++position) {
    number = std::min(number * 10 + (text[position] - '0'), kLargest);
  }
  return number;
}

// Steps over "N$", which numbers the argument.
void skip_argument_number(std::string_view text, std::size_t& position) {
  const std::size_t end = text.find_first_not_of("0123456789", position);
  if (end != std::string_view::npos && end > position && text[end] == '$') position = end + 1;
}

int parse_width_or_precision(std::string_view text, std::size_t& position) {
  const int number = parse_number(text, position);
  if (position > 0 && text[position - 1] == '*') skip_argument_number(text, position);
  return number;
}

// `text` begins with a percent sign.
Conversion parse_conversion(std::string_view text) {
  Conversion conversion;
  std::size_t position = 1;
  skip_argument_number(text, position);
  const std::size_t flags = position;
  position = std::min(text.find_first_not_of("-+ #0'I", position), text.size());
  conversion.flags = text.substr(flags, position - flags);
  conversion.width = parse_width_or_precision(text, position);
  if (position < text.size() && text[position] == '.') {
    ++position;
    conversion.precision = parse_width_or_precision(text, position);
  }
  position = std::min(text.find_first_not_of("hlLqjzZt", position), text.size());
  if (position < text.size()) conversion.specifier = text[position++];
  conversion.size = position;
  return conversion;
}

// Brings width and precision down to where they can be printed cheaply. What matters within a field is only how far
// they are apart and that they reach beyond it.
void bound(Conversion& conversion) {
  const int excess = std::min(conversion.width, conversion.precision) - kFieldLimit;
  if (excess > 0) {
    conversion.width -= excess;
    conversion.precision -= excess;
  }
  conversion.width = std::min(conversion.width, 3 * kFieldLimit);
  conversion.precision = std::min(conversion.precision, 3 * kFieldLimit);
}

// Rebuilds the conversion with the length modifier of the zero that is passed for it.
template <typename Zero>
std::size_t print_zero(std::span<char> output, const Conversion& conversion, const char* length, Zero zero) {
  constexpr std::string_view kFlags = "-+ #0'";
  std::array<char, kFlags.size() + 1> flags{};
  std::size_t count = 0;
  for (const char flag : kFlags) {
    if (conversion.flags.find(flag) != std::string_view::npos) flags.at(count++) = flag;
  }
  std::array<char, 16> width{};
  if (conversion.width > 0) std::snprintf(width.data(), width.size(), "%d", conversion.width);
  std::array<char, 16> precision{};
  if (conversion.precision >= 0) std::snprintf(precision.data(), precision.size(), ".%d", conversion.precision);
  std::array<char, 64> format{};
  std::snprintf(format.data(), format.size(), "%%%s%s%s%s%c", flags.data(), width.data(), precision.data(), length,
                conversion.specifier);
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
  const int written = std::snprintf(output.data(), output.size(), format.data(), zero);
#pragma GCC diagnostic pop
  return written < 0 ? 0 : std::min(static_cast<std::size_t>(written), output.size() - 1);
}

// What the conversion shows, as a part of `output` or of `text`.
std::string_view convert(std::span<char> output, Conversion conversion, std::string_view text) {
  bound(conversion);
  std::size_t size = 0;
  switch (conversion.specifier) {
    case '%':
      return "%";
    case 0:
    case 's':
    case 'c':
    case 'S':
    case 'C':
    case 'n':
      return {};
    case 'm':
      return "Success";  // the text of error number zero
    case 'd':
    case 'i':
    case 'o':
    case 'u':
    case 'x':
    case 'X':
    case 'b':
    case 'B':
      size = print_zero(output, conversion, "j", std::intmax_t{0});
      break;
    case 'e':
    case 'E':
    case 'f':
    case 'F':
    case 'g':
    case 'G':
    case 'a':
    case 'A':
      size = print_zero(output, conversion, "", 0.0);
      break;
    case 'p':
      size = print_zero(output, conversion, "", static_cast<void*>(nullptr));
      break;
    default:
      return text.substr(0, conversion.size);
  }
  return {output.data(), size};
}

}  // namespace

void format_text(std::span<char> field, const char* text) {
  if (field.empty()) return;
  std::array<char, std::size_t{4} * kFieldLimit> converted{};
  std::string_view rest(text);
  std::size_t used = 0;
  const auto append = [&](std::string_view piece) {
    piece = piece.substr(0, field.size() - 1 - used);
    std::ranges::copy(piece, field.begin() + static_cast<std::ptrdiff_t>(used));
    used += piece.size();
  };
  while (!rest.empty() && used < field.size() - 1) {
    const std::size_t plain = std::min(rest.find('%'), rest.size());
    append(rest.substr(0, plain));
    rest.remove_prefix(plain);
    if (rest.empty()) break;
    const Conversion conversion = parse_conversion(rest);
    append(convert(converted, conversion, rest));
    rest.remove_prefix(conversion.size);
  }
  field[used] = '\0';
}

}  // namespace xrd
