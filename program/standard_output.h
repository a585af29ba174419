// Checks that the program's output arrives. If not, every subcommand ends with this error and this status.
#pragma once

#include <stdexcept>

namespace program {

inline constexpr int kOutputTrouble = 2;

class OutputError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// An OutputError if standard output is closed, or open for reading only. To be called before any file is opened, which
// would get the descriptor.
void require_standard_output();

// Flushes the output. An OutputError if not all of it has arrived since the process began.
void finish_standard_output();

}  // namespace program
