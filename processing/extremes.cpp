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

#if defined(XRD_AVX2)
XRD_AVX2 Extremes extremes_avx2(const unsigned int* image, std::size_t pixels, unsigned int ceiling) {
  return extremes_of(image, pixels, ceiling);
}
#endif

}  // namespace

Extremes find_extremes(const unsigned int* image, std::size_t pixels, unsigned int ceiling) {
#if defined(XRD_AVX2)
  if (has_avx2()) return extremes_avx2(image, pixels, ceiling);
#endif
  return extremes_of(image, pixels, ceiling);
}

}  // namespace xrd
