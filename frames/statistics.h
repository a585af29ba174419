// What the pixels of a frame are like.
#pragma once

#include <cstddef>
#include <cstdint>

#include "frames/frame.h"

namespace frames {

// Pixels whose counts are unknown take no part in minimum, maximum and mean.
struct Statistics {
  std::int64_t minimum = 0;
  std::int64_t maximum = 0;
  double mean = 0;
  std::size_t known = 0;
  std::size_t unknown = 0;
};

Statistics statistics_of(const Frame& frame);

}  // namespace frames
