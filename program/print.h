// What the program prints, line by line.
#pragma once

#include <cstdio>
#include <string>

#include "frames/remarks.h"
#include "support/printable.h"

namespace program {

// A line of results, easy to read and to parse: the key, a colon, blanks up to a common column, the value.
inline void print_value(const std::string& key, const std::string& value) {
  std::printf("%-17s %s\n", (key + ":").c_str(), xrd::printable(value).c_str());
}

inline std::string warning_line(const std::string& path, const std::string& warning) {
  return xrd::message_line("xrdimage", path + ": warning: " + warning);
}

inline std::string failure_line(const std::string& message) {
  return xrd::message_line("xrdimage", message);
}

inline void print_warnings(const std::string& path, const frames::Remarks& remarks) {
  for (const std::string& warning : remarks.warnings) std::fputs(warning_line(path, warning).c_str(), stderr);
}

inline void print_remarks(const std::string& path, const frames::Remarks& remarks) {
  print_warnings(path, remarks);
  for (const auto& [key, value] : remarks.values) print_value(key, value);
}

}  // namespace program
