// What the pixels of a frame are like.
#pragma once

#include <cstddef>
#include <span>

namespace host {

// Overflowed pixels, whose counts are unknown, take no part in minimum, maximum and mean.
struct Statistics {
  unsigned int minimum = 0;
  unsigned int maximum = 0;
  double mean = 0;
  std::size_t known = 0;
  std::size_t overflowed = 0;
};

Statistics statistics_of(std::span<const unsigned int> pixels);

}  // namespace host
