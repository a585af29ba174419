#include "support/prompt.h"

#include <array>
#include <cstdio>

#include "support/c_locale.h"
#include "support/conversation.h"

namespace xrd {

DetectorSize ask_detector_size(DetectorSize by_default) {
  std::array<char, 64> question{};
  std::snprintf(question.data(), question.size(), "# Detector x y [%d %d]> ", by_default.width, by_default.height);
  std::array<char, 256> line{};
  if (!ask(question.data(), line)) return by_default;
  const CLocale locale;
  DetectorSize size{};
  return std::sscanf(line.data(), "%d %d", &size.width, &size.height) == 2 ? size : by_default;
}

}  // namespace xrd
