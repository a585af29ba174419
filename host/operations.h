// The library's image operations as options of the command line.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <vector>

#include "host/frame.h"

namespace host {

// Changes the frame's pixels, and maybe its size, by functions of the library.
using Operation = std::function<void(Frame& frame)>;

// Adds an option for each operation; `operations` receives them in the order of the command line.
void add_operation_options(CLI::App& command, std::vector<Operation>& operations);

// Applies them one after the other. What the library refuses is a Failure about `path`.
void apply_operations(Frame& frame, const std::vector<Operation>& operations, const std::string& path,
                      const Settings& settings);

}  // namespace host
