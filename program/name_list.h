// Lists of files.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

namespace program {

// Appends the names that the stream lists. They end with NULs, as find -print0 makes them, or with line feeds, where
// blank lines are passed over and the carriage returns of Windows are left out. A Failure that names `list`, and the
// line, when that cannot be a path, when there are too many, or when the stream cannot be read: nothing endless is
// swallowed.
void read_names(std::FILE* stream, const std::string& list, std::vector<std::string>& names);

}  // namespace program
