// Frames that become pictures, and the pixels of these.
#pragma once

#include <cstdint>
#include <vector>

#include "pictures/picture.h"
#include "tests/frames/frame_of.h"

namespace test {

inline frames::Frame empty_frame(int width, int height) {
  return frame_of(width, height,
                  std::vector<std::uint32_t>(static_cast<std::size_t>(width) * static_cast<std::size_t>(height)));
}

inline int entry_at(const pictures::Picture& picture, int x, int y) {
  return picture.pixels.at(static_cast<std::size_t>(y) * static_cast<std::size_t>(picture.width) +
                           static_cast<std::size_t>(x));
}

// The picture's colours, three bytes a pixel.
inline std::vector<std::uint8_t> rgb_of(const pictures::Picture& picture) {
  std::vector<std::uint8_t> rgb;
  for (const std::uint8_t entry : picture.pixels) {
    const pictures::Rgb& colour = picture.palette.at(entry);
    rgb.insert(rgb.end(), {colour.red, colour.green, colour.blue});
  }
  return rgb;
}

}  // namespace test
