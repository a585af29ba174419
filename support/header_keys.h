// Text headers of lines "key, value": a table of patterns and where their values go.
#pragma once

#include <array>
#include <cstdio>
#include <span>
#include <variant>

namespace xrd {

// As long as a word on a header line can be.
using HeaderWord = std::array<char, 256>;

// Several words, at most five, kept only if all of them are there.
struct HeaderWords {
  HeaderWord* words;
  int count;
};

// A text field treats its word as a format string, like format_text: callers rely on it.
using HeaderValue = std::variant<int*, float*, double*, std::span<char>, HeaderWords>;

// The pattern is one of formatted input in the C locale: blanks match any white space or none, and text behind the
// last value may be missing.
struct HeaderKey {
  const char* pattern;
  HeaderValue value;
};

// Stores the value of the first key whose pattern matches the line, and returns that key; null if none does.
const HeaderKey* match_header_line(const char* line, std::span<const HeaderKey> keys);

// Matches line after line, up to one that begins with a closing brace or the end of the file. A line of more than 255
// characters counts as several.
void read_braced_header(std::FILE* stream, std::span<const HeaderKey> keys);

}  // namespace xrd
