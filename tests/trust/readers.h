// The functions that read a file by its name or from a stream, each on a sample of its format.
#pragma once

#include <string>
#include <vector>

#include "tests/trust/calls.h"
#include "tests/trust/samples.h"

namespace trust {

struct Reader {
  const char* name;      // of the function, and of the sample where there are several
  const char* function;  // as it is exported
  Sample sample;
  // Makes the call on the file and tells what comes out. Where the function reads from a stream, this opens it.
  void (*read)(Scene&, const char* path);
  // What is printed and told when the file cannot be opened; '@' stands for the path. For those that open files.
  const char* not_opened = nullptr;
  const char* told_then = nullptr;

  friend void PrintTo(const Reader& reader, std::ostream* stream) { *stream << reader.name; }
};

std::vector<Reader> readers();
// Those that open files themselves.
std::vector<Reader> file_readers();

// The text with each '@' replaced by the path.
std::string with_path(std::string text, const std::string& path);

}  // namespace trust
