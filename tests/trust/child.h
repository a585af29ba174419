// Child processes, for what may end a process or change it for good.
#pragma once

#include <functional>
#include <string>

namespace trust {

struct Ending {
  int signal = 0;    // that ended the process; 0: it ended by itself
  int status = 0;    // its exit status then
  std::string out;   // written to its standard output
  std::string err;   // written to its standard error
  std::string told;  // what the action returned

  bool is_normal() const { return signal == 0 && status == 0; }
};

// Runs the action in a copy of this process, which gets as much time as a test may take at most. An exception that
// leaves the action, a failed expectation in it, and a leak under LeakSanitizer, end the process with a status of their
// own.
Ending in_child(const std::function<std::string()>& action);

inline constexpr int kFailureStatus = 96;
inline constexpr int kExceptionStatus = 97;
inline constexpr int kLeakStatus = 98;

}  // namespace trust
