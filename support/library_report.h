// Errors and warnings among the library's printed lines.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace xrd {

// What a call printed, without colours and in UTF-8.
struct LibraryReport {
  std::vector<std::string> lines;
  std::vector<std::string> errors;    // texts of the ERROR lines
  std::vector<std::string> warnings;  // texts of the WARNING lines
};

LibraryReport parse_library_output(std::string_view output);

// The errors as one text, without the path of the file, which the user knows already.
std::string joined_errors(const LibraryReport& report, const std::string& path);

}  // namespace xrd
