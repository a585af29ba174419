// What other programs see in a PNG file.
#pragma once

#include <gtest/gtest.h>
#include <png.h>

#include <cstdint>
#include <string>
#include <vector>

#include "tests/environment.h"

namespace test {

// Pixels as three bytes red, green, blue each.
struct Png {
  unsigned width = 0;
  unsigned height = 0;
  bool is_grey = false;
  bool has_palette = false;
  std::vector<std::uint8_t> rgb;

  std::vector<int> pixel(unsigned x, unsigned y) const {
    const std::size_t first = (std::size_t{y} * width + x) * 3;
    return {rgb.at(first), rgb.at(first + 1), rgb.at(first + 2)};
  }
};

inline Png decode_png(const std::string& bytes) {
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  EXPECT_NE(png_image_begin_read_from_memory(&image, bytes.data(), bytes.size()), 0) << image.message;
  Png picture{image.width,
              image.height,
              (image.format & PNG_FORMAT_FLAG_COLOR) == 0,
              (image.format & PNG_FORMAT_FLAG_COLORMAP) != 0,
              {}};
  image.format = PNG_FORMAT_RGB;
  picture.rgb.resize(PNG_IMAGE_SIZE(image));
  EXPECT_NE(png_image_finish_read(&image, nullptr, picture.rgb.data(), 0, nullptr), 0) << image.message;
  return picture;
}

inline Png read_png(const std::string& path) {
  SCOPED_TRACE(path);
  return decode_png(read_file(path));
}

}  // namespace test
