// What a mistyped word may have been meant for.
#pragma once

#include <string>
#include <vector>

namespace program {

// "; did you mean grey?", for the end of a message. Empty when none of the words is near.
std::string suggestion(const std::string& typed, const std::vector<std::string>& words);

}  // namespace program
