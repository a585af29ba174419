#include "support/prompt.h"

#include <array>
#include <cstdio>

#include "support/c_locale.h"
#include "support/reading.h"

namespace xrd {

DetectorSize ask_detector_size(DetectorSize by_default) {
  std::printf("# Detector x y [%d %d]> ", by_default.width, by_default.height);
  std::fflush(stdout);  // the question has no line feed, and the user waits for it
  std::array<char, 256> line{};
  if (!read_line(line, stdin)) return by_default;
  const CLocale locale;
  DetectorSize size{};
  return std::sscanf(line.data(), "%d %d", &size.width, &size.height) == 2 ? size : by_default;
}

}  // namespace xrd
