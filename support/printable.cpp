#include "support/printable.h"

#include <algorithm>
#include <array>

#include "support/utf8.h"

namespace xrd {

namespace {

struct CodeRange {
  char32_t first;
  char32_t last;
};

constexpr std::array<CodeRange, 6> kUnprintable{{
    {0x0000, 0x001F},
    {0x007F, 0x009F},
    {0x061C, 0x061C},
    {0x200E, 0x200F},
    {0x2028, 0x202E},
    {0x2066, 0x2069},
}};

}  // namespace

bool is_unprintable(char32_t code) {
  return std::ranges::any_of(kUnprintable,
                             [=](const CodeRange& range) { return code >= range.first && code <= range.last; });
}

std::string printable(std::string_view text) {
  std::string shown;
  while (!text.empty()) {
    const auto [bytes, code] = first_character(text);
    if (code && !is_unprintable(*code)) {
      shown.append(text.substr(0, bytes));
    } else {
      shown.push_back('?');
    }
    text.remove_prefix(bytes);
  }
  return shown;
}

std::string message_line(std::string_view program, std::string_view message) {
  return std::string(program).append(": ").append(printable(message)).append("\n");
}

}  // namespace xrd
