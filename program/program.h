// The shape of a subcommand.
#pragma once

#include <functional>

namespace CLI {
class App;
}

namespace program {

// Options that every subcommand obeys.
struct Settings {
  bool verbose = false;  // the library's own lines are shown
};

// Does a subcommand's work once the command line has been parsed, and returns the exit status.
using Action = std::function<int()>;

Action define_completion(CLI::App& command, const Settings& settings);
Action define_convert(CLI::App& command, const Settings& settings);
Action define_diff(CLI::App& command, const Settings& settings);
Action define_info(CLI::App& command, const Settings& settings);
Action define_licenses(CLI::App& command, const Settings& settings);
Action define_manual(CLI::App& command, const Settings& settings);
Action define_sample(CLI::App& command, const Settings& settings);
Action define_view(CLI::App& command, const Settings& settings);

}  // namespace program
