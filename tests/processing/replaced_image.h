// Images for the functions that free the caller's array and hand back another one.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdlib>
#include <ostream>
#include <random>
#include <string>
#include <vector>

#include "tests/environment.h"

namespace test {

template <typename Pixel>
struct Image {
  int width = 0;
  int height = 0;
  std::vector<Pixel> pixels;

  static std::size_t count(int width, int height) {
    return static_cast<std::size_t>(std::max(width, 0)) * static_cast<std::size_t>(std::max(height, 0));
  }
  static Image blank(int width, int height) { return {width, height, std::vector<Pixel>(count(width, height))}; }

  Pixel& at(int column, int row) {
    return pixels[static_cast<std::size_t>(row) * static_cast<std::size_t>(width) + static_cast<std::size_t>(column)];
  }
  Pixel at(int column, int row) const { return const_cast<Image&>(*this).at(column, row); }

  friend bool operator==(const Image&, const Image&) = default;
  friend void PrintTo(const Image& image, std::ostream* stream) {
    *stream << image.width << " x " << image.height << ": " << testing::PrintToString(image.pixels);
  }
};

using Image32 = Image<unsigned int>;
using Image16 = Image<unsigned short>;

// Any 32 bits shifted right by `shift`, in the pixel's width.
template <typename Pixel>
Image<Pixel> random_image(std::mt19937& random, int width, int height, unsigned shift) {
  auto image = Image<Pixel>::blank(width, height);
  for (Pixel& pixel : image.pixels) pixel = static_cast<Pixel>(static_cast<unsigned int>(random()) >> shift);
  return image;
}

template <typename Pixel>
struct Replaced {
  Image<Pixel> image;
  int result;
};

// Calls operation(&array, &width, &height) on a copy of the image that free can release.
template <typename Pixel, typename Operation>
Replaced<Pixel> replace(const Image<Pixel>& image, const Operation& operation) {
  auto* array = static_cast<Pixel*>(std::malloc(std::max<std::size_t>(image.pixels.size(), 1) * sizeof(Pixel)));
  std::copy(image.pixels.begin(), image.pixels.end(), array);
  int width = image.width;
  int height = image.height;
  const int result = operation(&array, &width, &height);
  const auto owner = own(array);
  EXPECT_NE(array, nullptr);
  auto after = Image<Pixel>::blank(width, height);
  if (array != nullptr) std::copy_n(array, after.pixels.size(), after.pixels.begin());
  return {after, result};
}

// What cannot be done leaves array and size alone and says so. No pixel is read: there are not as many as the size
// says.
template <typename Pixel, typename Operation>
void expect_refused(int width, int height, const std::string& message, const Operation& operation) {
  const std::array<Pixel, 4> before{1, 2, 3, 4};
  std::array<Pixel, 4> pixels = before;
  Pixel* array = pixels.data();
  int new_width = width;
  int new_height = height;
  int result = -1;
  const auto output = capture([&] { result = operation(&array, &new_width, &new_height); });
  EXPECT_EQ(result, 0);
  EXPECT_EQ(output.out, message);
  EXPECT_EQ(array, pixels.data());
  EXPECT_EQ(new_width, width);
  EXPECT_EQ(new_height, height);
  EXPECT_EQ(pixels, before);
}

}  // namespace test
