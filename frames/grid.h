// Frames on another grid of pixels.
#pragma once

#include <cstddef>
#include <vector>

#include "frames/frame.h"

namespace frames {

// A copy of the frame in another size. Its counts are 0, and known.
Frame blank_frame(const Frame& like, int width, int height);

// For pixels that replace blocks of so many old ones, or fractions of one.
void scale_geometry(Header& header, double x_factor, double y_factor);

// A frame of another size, whose pixel x, y is pixel source(x, y) of this one. The header is unchanged.
template <typename Source>
Frame rearranged(const Frame& frame, int width, int height, Source source) {
  Frame result = blank_frame(frame, width, height);
  const bool is_masked = !frame.mask.empty();
  std::size_t pixel = 0;
  for (std::size_t y = 0; y < static_cast<std::size_t>(height); ++y) {
    for (std::size_t x = 0; x < static_cast<std::size_t>(width); ++x, ++pixel) {
      const std::size_t from = source(x, y);
      result.counts[pixel] = frame.counts[from];
      if (is_masked && frame.mask[from] != 0) mask_pixel(result, pixel, frame.mask[from]);
    }
  }
  return result;
}

}  // namespace frames
