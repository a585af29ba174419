#include "support/format_text.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <string_view>

#include "support/c_locale.h"

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

bool has_flag(const Conversion& conversion, char flag) {
  return conversion.flags.find(flag) != std::string_view::npos;
}

bool is_digit(char character) {
  return character >= '0' && character <= '9';
}

// A number as wide as the digits go, held at the largest int. '*' asks for an argument, which is zero.
int parse_number(std::string_view text, std::size_t& position) {
  constexpr std::int64_t kLargest = std::numeric_limits<int>::max();
  if (position < text.size() && text[position] == '*') {
    ++position;
    return 0;
  }
  std::int64_t number = 0;
  for (; position < text.size() && is_digit(text[position]); ++position) {
    number = std::min(number * 10 + (text[position] - '0'), kLargest);
  }
  return static_cast<int>(number);
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

// Steps over one length modifier.
void skip_length(std::string_view text, std::size_t& position) {
  const std::string_view rest = text.substr(position);
  if (rest.starts_with("hh") || rest.starts_with("ll")) {
    position += 2;
  } else if (!rest.empty() && std::string_view("hlLqjzZt").find(rest[0]) != std::string_view::npos) {
    ++position;
  }
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
  skip_length(text, position);
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

using Format = std::array<char, 64>;

// The conversion again, with its flags in the order that the C library gives them.
Format rebuilt(const Conversion& conversion, const char* length) {
  const auto has = [&](char flag) { return has_flag(conversion, flag); };
  std::array<char, 16> width{};
  if (conversion.width > 0) std::snprintf(width.data(), width.size(), "%d", conversion.width);
  std::array<char, 16> precision{};
  if (conversion.precision >= 0) std::snprintf(precision.data(), precision.size(), ".%d", conversion.precision);
  const char* const sign = has('+') ? "+" : has(' ') ? " " : "";
  const char* const padding = has('-') ? "-" : has('0') ? "0" : "";
  Format format{};
  std::snprintf(format.data(), format.size(), "%%%s%s%s%s%s%s%s%s%c", has('#') ? "#" : "", has('\'') ? "'" : "", sign,
                padding, has('I') ? "I" : "", width.data(), precision.data(), length, conversion.specifier);
  return format;
}

// Prints the conversion, given a value of the type that the length modifier asks for.
template <typename Value>
std::string_view print(std::span<char> output, Conversion conversion, const char* length, Value value) {
  bound(conversion);
  const Format format = rebuilt(conversion, length);
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
  const int written = std::snprintf(output.data(), output.size(), format.data(), value);
#pragma GCC diagnostic pop
  return {output.data(), written < 0 ? 0 : std::min(static_cast<std::size_t>(written), output.size() - 1)};
}

// What the conversion shows, in `output`.
std::string_view convert(std::span<char> output, Conversion conversion) {
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
    case 'm':  // error number zero, or its name
      conversion.specifier = 's';
      return print(output, conversion, "", has_flag(conversion, '#') ? "0" : "Success");
    case 'd':
    case 'i':
    case 'o':
    case 'u':
    case 'x':
    case 'X':
    case 'b':
    case 'B':
      return print(output, conversion, "j", std::intmax_t{0});
    case 'e':
    case 'E':
    case 'f':
    case 'F':
    case 'g':
    case 'G':
    case 'a':
    case 'A':
      return print(output, conversion, "", 0.0);
    case 'p':
      return print(output, conversion, "", static_cast<void*>(nullptr));
    default:
      std::snprintf(output.data(), output.size(), "%s", rebuilt(conversion, "").data());
      return output.data();
  }
}

}  // namespace

void format_text(std::span<char> field, const char* text) {
  if (field.empty()) return;
  const CLocale locale;
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
    append(convert(converted, conversion));
    rest.remove_prefix(conversion.size);
  }
  field[used] = '\0';
}

}  // namespace xrd
