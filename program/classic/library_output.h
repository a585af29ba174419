// Keeps what the library prints apart from the program's own output.
//
// The library reports on standard output, failures included, and its results do not tell them. So standard output is
// diverted while a call runs, and its lines are searched for errors and warnings afterwards.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "program/program.h"
#include "support/library_report.h"

namespace program {

struct LibraryCall {
  // Given to a call that asks on standard input, instead of asking the user.
  std::optional<std::string> answer = std::nullopt;
  // Lines on standard error are diverted too. Not for readers, which say there why they end the process.
  bool divert_errors = false;
};

// Runs the call. Questions that it asks appear on standard error. With --verbose its lines are printed afterwards.
xrd::LibraryReport run_library(const Settings& settings, const LibraryCall& options, const std::function<void()>& call);

}  // namespace program
