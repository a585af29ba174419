// What the program reports to its user, one line each.
#pragma once

#include <cstdio>
#include <stdexcept>
#include <string>

namespace host {

// Something is wrong with a file; the message is the line that the user reads.
class Failure : public std::runtime_error {
 public:
  Failure(const std::string& path, const std::string& what_is_wrong)
      : std::runtime_error(path + ": " + what_is_wrong) {}
};

inline void print_warning(const std::string& path, const std::string& text) {
  std::fprintf(stderr, "xrdimage: %s: warning: %s\n", path.c_str(), text.c_str());
}

}  // namespace host
