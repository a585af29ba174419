// Statistics of the pixels of a frame.
#pragma once

#include <cstddef>
#include <cstdint>

#include "frames/frame.h"

namespace frames {

// Minimum, maximum and mean leave out pixels of unknown count.
struct Statistics {
  std::int64_t minimum = 0;
  std::int64_t maximum = 0;
  double mean = 0;
  std::size_t known = 0;
  std::size_t unknown = 0;
};

Statistics statistics_of(const Frame& frame);

}  // namespace frames
