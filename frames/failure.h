// What the program reports to its user, one line each.
#pragma once

#include <stdexcept>
#include <string>

namespace frames {

// Something is wrong with a file; the message is the line that the user reads.
class Failure : public std::runtime_error {
 public:
  Failure(const std::string& path, const std::string& what_is_wrong, int error = 0)
      : std::runtime_error(path + ": " + what_is_wrong), error_(error) {}

  // The system's error number; 0 for an error of another kind.
  int error() const { return error_; }

 private:
  int error_;
};

}  // namespace frames
