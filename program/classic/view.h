// The library's own way to show a frame: view(), which runs zimg and xv.
#pragma once

#include <optional>
#include <string>

#include "frames/frame.h"
#include "program/program.h"

namespace program {

// Leaves the dump, the colour map and the picture in the working directory, as callers of the library do. Colours end
// at the largest count divided by `divisor`; without one, 99.5 % of the pixels fit. Counts above 65535 are shown as
// 65535.
void view_classic(const std::string& path, frames::Frame& frame, std::optional<int> divisor, const Settings& settings);

}  // namespace program
