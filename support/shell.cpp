#include "support/shell.h"

namespace xrd {

namespace {

constexpr std::string_view kPlainCharacters =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_-./+=:,@%";

}  // namespace

std::string shell_word(std::string_view path) {
  const std::string_view prefix = path.starts_with('-') ? "./" : "";
  const bool plain = !path.empty() && path.find_first_not_of(kPlainCharacters) == std::string_view::npos;
  if (plain) return std::string(prefix).append(path);

  std::string word("'");
  word.append(prefix);
  for (const char character : path) {
    // A single quote cannot stand inside single quotes: close them, escape it, open them again.
    if (character == '\'') {
      word.append("'\\''");
    } else {
      word.push_back(character);
    }
  }
  word.push_back('\'');
  return word;
}

}  // namespace xrd
