// The operations on frames as options of the command line.
#pragma once

#include <string>
#include <vector>

#include "frames/operations.h"
#include "frames/remarks.h"
#include "program/options/command_line.h"

namespace program {

// Adds an option for each operation; `operations` receives them in the order of the command line.
void add_operation_options(Command& command, std::vector<frames::Operation>& operations);

// Applies them one after the other. A refusal is a Failure about `path`. What the user should know is left in the
// remarks.
void apply_operations(frames::Frame& frame, const std::vector<frames::Operation>& operations, const std::string& path,
                      frames::Remarks& remarks);

}  // namespace program
