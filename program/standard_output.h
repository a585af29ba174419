// Whether what the program prints arrives. Where it does not, every subcommand ends with this error and this status.
#pragma once

#include <stdexcept>

namespace program {

inline constexpr int kOutputTrouble = 2;

class OutputError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// An OutputError when standard output is closed, or open for reading only. To be asked before any file is opened, which
// would be given the descriptor.
void require_standard_output();

// Writes what has been printed. An OutputError when not all has arrived since the process began.
void finish_standard_output();

}  // namespace program
