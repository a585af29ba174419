// Largest and smallest pixel.
#pragma once

#include <cstddef>

#include "support/image_size.h"

namespace xrd {

struct Extremes {
  unsigned int largest;
  unsigned int smallest;
};

// The extremes of `pixels` pixels. The smallest is never above `ceiling`; an image without pixels has the largest pixel
// 0.
//
// Fast because compilers turn the loop into vector instructions, for processors with AVX2 into those that compare
// unsigned numbers, eight at a time. Exact: the order of comparisons does not matter.
Extremes find_extremes(const unsigned int* image, std::size_t pixels, unsigned int ceiling);

inline Extremes find_extremes(const unsigned int* image, int width, int height, unsigned int ceiling) {
  return find_extremes(image, caller_pixels(width, height, sizeof(unsigned int)), ceiling);
}

inline unsigned int find_largest(const unsigned int* image, int width, int height) {
  return find_extremes(image, width, height, 0).largest;
}

}  // namespace xrd
