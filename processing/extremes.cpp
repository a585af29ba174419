#include "processing/extremes.h"

#include <algorithm>
#include <cstddef>

#include "support/processor.h"

namespace xrd {

namespace {

XRD_INLINE Extremes extremes_of(const unsigned int* image, std::size_t pixels, unsigned int ceiling) {
  unsigned int largest = 0;
  unsigned int smallest = ceiling;
  for (std::size_t i = 0; i < pixels; ++i) {
    largest = std::max(largest, image[i]);
    smallest = std::min(smallest, image[i]);
  }
  return {largest, smallest};
}

}  // namespace

Extremes find_extremes(const unsigned int* image, std::size_t pixels, unsigned int ceiling) {
  return ForProcessor<extremes_of>::call(image, pixels, ceiling);
}

}  // namespace xrd
