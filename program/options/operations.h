// The library's image operations as options of the command line.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <vector>

#include "frames/frame.h"
#include "frames/remarks.h"
#include "program/program.h"

namespace program {

// Changes the frame's pixels, and maybe its size, mostly by functions of the library.
using Operation = std::function<void(frames::Frame& frame)>;

// Adds an option for each operation; `operations` receives them in the order of the command line.
void add_operation_options(CLI::App& command, std::vector<Operation>& operations);

// Applies them one after the other. What the library refuses is a Failure about `path`. Pixels of unknown count take
// part as the largest known one, and stay unknown; those that come from them by binning are unknown too. Where the
// library knows no negative counts, they become 0. What the user should know is left in the remarks.
void apply_operations(frames::Frame& frame, const std::vector<Operation>& operations, const std::string& path,
                      const Settings& settings, frames::Remarks& remarks);

}  // namespace program
