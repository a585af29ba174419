// Runs the built programs as a user does, in a folder of their own, and frames to run them on.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tests/environment.h"

namespace test {

struct Result {
  int status = 0;
  std::string out;
  std::string err;
};

// A folder in which programs run. Files are named relative to it, so that its own name plays no part.
class Workplace {
 public:
  Workplace() { directory_.enter(); }

  // A shell command. In it, $xrdimage is the program and $companions the folder of zimg and xv. No display is
  // announced.
  Result run(const std::string& command, std::string_view input = "") const;
  // The program with these arguments.
  Result xrdimage(const std::string& arguments, std::string_view input = "") const;

  void write(std::string_view name, std::string_view bytes) const { directory_.write(name, bytes); }
  // An executable shell script.
  void write_script(std::string_view name, const std::string& commands) const;
  std::vector<std::string> files() const;

 private:
  TemporaryDirectory directory_;
};

// The 128 bytes of a mar345 frame's binary header, newer layout.
std::string mar345_words(std::uint32_t size, std::uint32_t overflows);
// Text header lines of 64 characters, filled up to the header's 3968 bytes.
std::string mar345_text(const std::vector<std::string>& lines);
// A frame of 2 x 2 pixels: 5, 5, saturated, 70000.
std::string small_mar345();

}  // namespace test
