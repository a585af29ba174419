// The shape of a subcommand.
#pragma once

#include <functional>

#include "program/options/command_line.h"

namespace program {

// Options that every subcommand obeys.
struct Settings {
  bool verbose = false;  // show the library's own lines
};

// Does a subcommand's work once the command line has been parsed, and returns the exit status.
using Action = std::function<int()>;

Action define_completion(Command& command, const Settings& settings);
Action define_convert(Command& command, const Settings& settings);
Action define_diff(Command& command, const Settings& settings);
Action define_info(Command& command, const Settings& settings);
Action define_licenses(Command& command, const Settings& settings);
Action define_manual(Command& command, const Settings& settings);
Action define_sample(Command& command, const Settings& settings);
Action define_view(Command& command, const Settings& settings);

}  // namespace program
