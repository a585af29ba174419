// Counts cut to what 16 bits hold.
#pragma once

#include <algorithm>
#include <cstddef>
#include <span>

namespace host {

// Raw dumps have 16 bits a pixel, of which the library takes the low ones: brighter pixels would come out dark. Makes
// them the brightest, and returns how many there were.
inline std::size_t clip_to_16_bits(std::span<unsigned int> pixels) {
  std::size_t clipped = 0;
  for (unsigned int& pixel : pixels) {
    if (pixel > 65535) ++clipped;
    pixel = std::min(pixel, 65535U);
  }
  return clipped;
}

}  // namespace host
