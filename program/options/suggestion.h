// Suggestions for mistyped words.
#pragma once

#include <string>
#include <vector>

namespace program {

// "; did you mean grey?", for the end of a message. Empty if none of the words is close.
std::string suggestion(const std::string& typed, const std::vector<std::string>& words);

}  // namespace program
