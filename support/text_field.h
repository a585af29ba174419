// Text fields of fixed size.
#pragma once

#include <algorithm>
#include <span>
#include <string_view>

namespace xrd {

// Copies the text, cut to fit, and adds a NUL. The field holds at least one character.
inline void copy_cut(std::span<char> field, std::string_view text) {
  text = text.substr(0, field.size() - 1);
  *std::ranges::copy(text, field.begin()).out = '\0';
}

}  // namespace xrd
