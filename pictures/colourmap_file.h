// Colour map files: a line "RED GREEN BLUE" for each colour.
#pragma once

#include <string>
#include <vector>

#include "pictures/colours.h"

namespace pictures {

// From 1 to 256 colours; a Failure if the file is anything else.
std::vector<Rgb> read_colormap(const std::string& path);

}  // namespace pictures
