// Lists of files.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

namespace program {

// Appends the names that the stream lists. They end with NULs, as find -print0 writes them, or with line feeds; then
// blank lines and the carriage returns of Windows are ignored. Throws a Failure that names `list` and the
// line if that cannot be a path, if there are too many, or if the stream cannot be read. An endless list is not
// read to the end of memory.
void read_names(std::FILE* stream, const std::string& list, std::vector<std::string>& names);

}  // namespace program
