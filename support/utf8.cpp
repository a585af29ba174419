#include "support/utf8.h"

#include <algorithm>
#include <array>

namespace xrd {

namespace {

// First bytes with these bits begin sequences of so many bytes, for codes from the least one on: smaller ones have
// shorter sequences.
struct Sequence {
  unsigned mask;
  unsigned bits;
  std::size_t bytes;
  char32_t least;
};

constexpr std::array<Sequence, 4> kSequences{{
    {0x80, 0x00, 1, 0},
    {0xE0, 0xC0, 2, 0x80},
    {0xF0, 0xE0, 3, 0x800},
    {0xF8, 0xF0, 4, 0x10000},
}};

constexpr bool is_character(char32_t code) {
  constexpr char32_t kLargest = 0x10FFFF;
  const bool is_surrogate = code >= 0xD800 && code <= 0xDFFF;
  return code <= kLargest && !is_surrogate;
}

}  // namespace

Character first_character(std::string_view text) {
  const unsigned first = static_cast<unsigned char>(text.front());
  const auto* const sequence =
      std::ranges::find_if(kSequences, [&](const Sequence& s) { return (first & s.mask) == s.bits; });
  if (sequence == kSequences.end() || text.size() < sequence->bytes) return {};
  char32_t code = first & ~sequence->mask;
  for (const char letter : text.substr(1, sequence->bytes - 1)) {
    const unsigned byte = static_cast<unsigned char>(letter);
    if ((byte & 0xC0U) != 0x80U) return {};
    code = code << 6 | (byte & 0x3FU);
  }
  if (code < sequence->least || !is_character(code)) return {};
  return {sequence->bytes, code};
}

}  // namespace xrd
