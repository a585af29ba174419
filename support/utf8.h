// Characters of texts that may be UTF-8 or not.
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

namespace xrd {

struct Character {
  std::size_t bytes = 1;
  std::optional<char32_t> code;  // none for a byte that is no UTF-8
};

// The one that the text begins with, which is not empty.
Character first_character(std::string_view text);

}  // namespace xrd
