// Paths in shell commands.
#pragma once

#include <string>
#include <string_view>

namespace xrd {

// The path as one word of a shell command: unchanged if it has only letters, digits and _-./+=:,@%, else in
// single quotes. A leading '-' gets "./" in front, so that no path becomes an option.
std::string shell_word(std::string_view path);

}  // namespace xrd
