// The options about reading that the subcommands share.
#pragma once

#include <CLI/CLI.hpp>
#include <cstddef>
#include <cstdio>
#include <string>

#include "host/frame.h"

namespace host {

// "WxH", both at least 1. `option` is named when it is something else.
FrameSize parse_size(const char* option, const std::string& text);

void add_read_options(CLI::App& command, ReadOptions& options);

// A line of results, readable and easy to take apart: the key, a colon, blanks up to a common column, the value.
inline void print_value(const std::string& key, const std::string& value) {
  std::printf("%-17s %s\n", (key + ":").c_str(), value.c_str());
}

}  // namespace host
