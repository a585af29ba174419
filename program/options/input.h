// The frames that the user names, and the options about reading them that the subcommands share.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

#include "frames/frame.h"
#include "frames/remarks.h"
#include "program/program.h"

namespace program {

struct InputOptions {
  frames::LoadOptions loading;
  bool classic = false;  // what the library's readers return, instead of the true counts
};

void add_input_options(CLI::App& command, InputOptions& options);

// Throws a Failure that says what is wrong with the file. What the user should know is left in the remarks.
frames::Frame load_input(const std::string& path, const InputOptions& options, const Settings& settings,
                         frames::Remarks& remarks);

}  // namespace program
