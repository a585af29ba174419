// What the program reports to its user, one line each.
#pragma once

#include <stdexcept>
#include <string>

namespace host {

// Something is wrong with a file; the message is the line that the user reads.
class Failure : public std::runtime_error {
 public:
  Failure(const std::string& path, const std::string& what_is_wrong)
      : std::runtime_error(path + ": " + what_is_wrong) {}
};

}  // namespace host
