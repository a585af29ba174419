// Frames and pictures for tests.
#pragma once

#include <gtest/gtest.h>
#include <png.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "host/pictures/picture.h"

namespace test {

inline frames::Frame frame_of(int width, int height, const std::vector<std::uint32_t>& counts) {
  frames::Frame frame;
  frame.width = width;
  frame.height = height;
  frame.counts = frames::Counts(counts.size());
  std::ranges::copy(counts, frame.counts.begin());
  return frame;
}

inline frames::Frame empty_frame(int width, int height) {
  return frame_of(width, height,
                  std::vector<std::uint32_t>(static_cast<std::size_t>(width) * static_cast<std::size_t>(height)));
}

inline int entry_at(const host::Picture& picture, int x, int y) {
  return picture.pixels.at(static_cast<std::size_t>(y) * static_cast<std::size_t>(picture.width) +
                           static_cast<std::size_t>(x));
}

// The picture's colours, three bytes a pixel.
inline std::vector<std::uint8_t> rgb_of(const host::Picture& picture) {
  std::vector<std::uint8_t> rgb;
  for (const std::uint8_t entry : picture.pixels) {
    const host::Rgb& colour = picture.palette.at(entry);
    rgb.insert(rgb.end(), {colour.red, colour.green, colour.blue});
  }
  return rgb;
}

struct DecodedPng {
  unsigned width = 0;
  unsigned height = 0;
  bool has_palette = false;
  bool is_grey = false;
  std::vector<std::uint8_t> rgb;
};

inline DecodedPng decode_png(const std::string& bytes) {
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  EXPECT_NE(png_image_begin_read_from_memory(&image, bytes.data(), bytes.size()), 0) << image.message;
  DecodedPng decoded{image.width,
                     image.height,
                     (image.format & PNG_FORMAT_FLAG_COLORMAP) != 0,
                     (image.format & PNG_FORMAT_FLAG_COLOR) == 0,
                     {}};
  image.format = PNG_FORMAT_RGB;
  decoded.rgb.resize(PNG_IMAGE_SIZE(image));
  EXPECT_NE(png_image_finish_read(&image, nullptr, decoded.rgb.data(), 0, nullptr), 0) << image.message;
  return decoded;
}

}  // namespace test
