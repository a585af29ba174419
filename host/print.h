// What the program prints, line by line.
#pragma once

#include <algorithm>
#include <cstdio>
#include <string>

#include "host/remarks.h"

namespace host {

// Names of files and texts of headers may hold anything: control characters, of which UTF-8 has some of two bytes,
// would end the line or steer the terminal.
inline std::string printable(std::string text) {
  for (std::size_t at = text.find('\xC2'); at != std::string::npos; at = text.find('\xC2', at + 1)) {
    if (at + 1 < text.size() && (text[at + 1] & 0xE0) == 0x80) text.replace(at, 2, "?");
  }
  std::ranges::replace_if(
      text, [](unsigned char letter) { return letter < ' ' || letter == 0x7F; }, '?');
  return text;
}

// A line of results, readable and easy to take apart: the key, a colon, blanks up to a common column, the value.
inline void print_value(const std::string& key, const std::string& value) {
  std::printf("%-17s %s\n", (key + ":").c_str(), printable(value).c_str());
}

inline std::string warning_line(const std::string& path, const std::string& warning) {
  return printable("xrdimage: " + path + ": warning: " + warning) + "\n";
}

inline std::string failure_line(const std::string& message) {
  return printable("xrdimage: " + message) + "\n";
}

inline void print_warnings(const std::string& path, const Remarks& remarks) {
  for (const std::string& warning : remarks.warnings) std::fputs(warning_line(path, warning).c_str(), stderr);
}

inline void print_remarks(const std::string& path, const Remarks& remarks) {
  print_warnings(path, remarks);
  for (const auto& [key, value] : remarks.values) print_value(key, value);
}

}  // namespace host
