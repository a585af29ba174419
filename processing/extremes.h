// Largest and smallest pixel.
#pragma once

#include <algorithm>
#include <cstddef>

#include "support/image_size.h"

namespace xrd {

struct Extremes {
  unsigned int largest;
  unsigned int smallest;
};

// The smallest is never above `ceiling`; an image without pixels has the largest pixel 0.
inline Extremes find_extremes(const unsigned int* image, int width, int height, unsigned int ceiling) {
  const std::size_t pixels = caller_pixels(width, height, sizeof(unsigned int));
  Extremes extremes{0, ceiling};
  for (std::size_t i = 0; i < pixels; ++i) {
    extremes.largest = std::max(extremes.largest, image[i]);
    extremes.smallest = std::min(extremes.smallest, image[i]);
  }
  return extremes;
}

inline unsigned int find_largest(const unsigned int* image, int width, int height) {
  return find_extremes(image, width, height, 0).largest;
}

}  // namespace xrd
