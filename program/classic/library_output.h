// Keeps what the library prints apart from the program's own output.
//
// The library prints its reports, failures included, and its results do not show them. So its output is gathered
// while a call runs, and then searched for errors and warnings.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "program/program.h"
#include "support/library_report.h"

namespace program {

// Runs the call. Its questions get the answer; without one, they appear on standard error for the user. With --verbose
// its lines are printed afterwards.
xrd::LibraryReport run_library(const Settings& settings, const std::optional<std::string>& answer,
                               const std::function<void()>& call);

}  // namespace program
