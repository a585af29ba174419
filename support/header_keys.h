// Text headers of lines "key, value": a table of patterns and where their values go.
#pragma once

#include <array>
#include <cstdio>
#include <span>
#include <variant>

namespace xrd {

// As long as a word on a header line can be.
using HeaderWord = std::array<char, 256>;

// Several words, kept only when all of them are there; at most five.
struct HeaderWords {
  HeaderWord* words;
  int count;
};

// A text field takes its word as a format string, as format_text does: callers rely on it.
using HeaderValue = std::variant<int*, float*, double*, std::span<char>, HeaderWords>;

// The pattern is one of formatted input in the C locale: blanks match any white space or none, and what follows the
// last value need not be there.
struct HeaderKey {
  const char* pattern;
  HeaderValue value;
};

// Stores the value of the first key whose pattern matches the line, and returns that key; null when none does.
const HeaderKey* match_header_line(const char* line, std::span<const HeaderKey> keys);

// Matches line after line, up to one that begins with a closing brace or the end of the file. A line of more than 255
// characters counts as several.
void read_braced_header(std::FILE* stream, std::span<const HeaderKey> keys);

}  // namespace xrd
