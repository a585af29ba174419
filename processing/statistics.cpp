// Extremes and background level of an image.
#include <algorithm>
#include <cstddef>

#include "processing/extremes.h"
#include "support/image_size.h"
#include "xrdimage.h"

namespace {

void store_extremes(const xrd::Extremes& extremes, unsigned int* max, unsigned int* min) {
  *max = extremes.largest;
  *min = extremes.smallest;
}

}  // namespace

extern "C" void find_maximum(unsigned int* Daten, int width, int height, unsigned int* max, unsigned int* min) {
  store_extremes(xrd::find_extremes(Daten, width, height, 999999999), max, min);
}

extern "C" void find_short_maximum(unsigned int* Daten, int width, int height, unsigned int* max, unsigned int* min) {
  store_extremes(xrd::find_extremes(Daten, width, height, 65535), max, min);
}

extern "C" unsigned int find_background(unsigned int* Daten) {
  // The window is fixed in the array, whatever the image's width.
  constexpr std::size_t kFirst = 512;
  constexpr std::size_t kCount = 10;
  unsigned int sum = 0;
  for (std::size_t i = kFirst; i < kFirst + kCount; ++i) sum += Daten[i];
  return sum / kCount;
}
