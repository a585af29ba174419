// Keeps what the library prints apart from the program's own output.
//
// The library reports on standard output, failures included, and its results do not tell them. So standard output is
// diverted while a call runs, and its lines are searched for errors and warnings afterwards.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/program.h"

namespace host {

// What a call printed, without colours and in UTF-8.
struct LibraryReport {
  std::vector<std::string> lines;
  std::vector<std::string> errors;    // texts of the ERROR lines
  std::vector<std::string> warnings;  // texts of the WARNING lines
};

struct LibraryCall {
  // Given to a call that asks on standard input, instead of asking the user.
  std::optional<std::string> answer = std::nullopt;
  // Lines on standard error are diverted too. Not for readers, which say there why they end the process.
  bool divert_errors = false;
};

// Runs the call. Questions that it asks appear on standard error. With --verbose its lines are printed afterwards.
LibraryReport run_library(const Settings& settings, const LibraryCall& options, const std::function<void()>& call);

LibraryReport parse_library_output(std::string_view output);

// The errors as one text, short of what the user knows already: the path of the file in question.
std::string joined_errors(const LibraryReport& report, const std::string& path);

}  // namespace host
