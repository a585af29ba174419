// Characters of texts that may or may not be UTF-8.
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

namespace xrd {

struct Character {
  std::size_t bytes = 1;
  std::optional<char32_t> code;  // none for a byte that is not UTF-8
};

// The first character of the text, which is not empty.
Character first_character(std::string_view text);

}  // namespace xrd
