#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <numeric>
#include <random>
#include <vector>

#include "tests/environment.h"
#include "xrdimage.h"

namespace {

using Pixels = std::vector<unsigned int>;

struct Extremes {
  unsigned int max;
  unsigned int min;
  bool operator==(const Extremes&) const = default;
};

std::ostream& operator<<(std::ostream& stream, const Extremes& extremes) {
  return stream << "max " << extremes.max << ", min " << extremes.min;
}

using Find = void(unsigned int*, int, int, unsigned int*, unsigned int*);

Extremes extremes_of(Find* find, Pixels image, int width, int height) {
  const Pixels before = image;
  Extremes extremes{123, 456};
  const auto output = test::capture([&] { find(image.data(), width, height, &extremes.max, &extremes.min); });
  EXPECT_EQ(output.out + output.err, "");
  EXPECT_EQ(image, before);
  return extremes;
}

Extremes extremes_of(Find* find, const Pixels& image) {
  return extremes_of(find, image, static_cast<int>(image.size()), 1);
}

}  // namespace

TEST(FindMaximum, LargestAndSmallestPixel) {
  EXPECT_EQ(extremes_of(find_maximum, {5, 0, 7}), (Extremes{7, 0}));
  EXPECT_EQ(extremes_of(find_maximum, {7, 5, 6}), (Extremes{7, 5}));
  EXPECT_EQ(extremes_of(find_maximum, {42}), (Extremes{42, 42}));
  EXPECT_EQ(extremes_of(find_maximum, {70000, 80000}), (Extremes{80000, 70000}));
}

TEST(FindMaximum, PixelsAreUnsigned) {
  EXPECT_EQ(extremes_of(find_maximum, {1, 0xFFFFFFFF, 2}), (Extremes{0xFFFFFFFF, 1}));
  EXPECT_EQ(extremes_of(find_maximum, {0x80000000, 5}), (Extremes{0x80000000, 5}));
}

TEST(FindMaximum, TheMinimumIsAtMost999999999) {
  EXPECT_EQ(extremes_of(find_maximum, {999999998, 1000000000}), (Extremes{1000000000, 999999998}));
  EXPECT_EQ(extremes_of(find_maximum, {1000000000, 4000000000}), (Extremes{4000000000, 999999999}));
}

TEST(FindMaximum, WithoutPixels) {
  EXPECT_EQ(extremes_of(find_maximum, {7}, 0, 0), (Extremes{0, 999999999}));
  EXPECT_EQ(extremes_of(find_maximum, {7}, 0, 5), (Extremes{0, 999999999}));
  EXPECT_EQ(extremes_of(find_maximum, {7}, 5, 0), (Extremes{0, 999999999}));
  EXPECT_EQ(extremes_of(find_maximum, {7}, -5, 5), (Extremes{0, 999999999}));
  EXPECT_EQ(extremes_of(find_maximum, {7}, 5, -5), (Extremes{0, 999999999}));
}

TEST(FindMaximum, AllRowsAndNothingBehindThem) {
  EXPECT_EQ(extremes_of(find_maximum, {5, 5, 5, 5, 5, 9, 100, 1}, 2, 3), (Extremes{9, 5}));
  EXPECT_EQ(extremes_of(find_maximum, {5, 5, 5, 5, 5, 2, 100, 1}, 3, 2), (Extremes{5, 2}));
}

TEST(FindShortMaximum, TheMinimumIsAtMost65535) {
  EXPECT_EQ(extremes_of(find_short_maximum, {70000, 80000}), (Extremes{80000, 65535}));
  EXPECT_EQ(extremes_of(find_short_maximum, {65534, 80000}), (Extremes{80000, 65534}));
  EXPECT_EQ(extremes_of(find_short_maximum, {65536, 65535}), (Extremes{65536, 65535}));
}

TEST(FindShortMaximum, PixelsAre32BitsWide) {
  EXPECT_EQ(extremes_of(find_short_maximum, {5, 0, 7}), (Extremes{7, 0}));
  EXPECT_EQ(extremes_of(find_short_maximum, {0xFFFFFFFF, 3}), (Extremes{0xFFFFFFFF, 3}));
  EXPECT_EQ(extremes_of(find_short_maximum, {5, 6, 7, 8, 9, 10, 1}, 3, 2), (Extremes{10, 5}));
}

TEST(FindShortMaximum, WithoutPixels) {
  EXPECT_EQ(extremes_of(find_short_maximum, {7}, 0, 0), (Extremes{0, 65535}));
  EXPECT_EQ(extremes_of(find_short_maximum, {7}, -1, 1), (Extremes{0, 65535}));
  EXPECT_EQ(extremes_of(find_short_maximum, {7}, 1, -1), (Extremes{0, 65535}));
}

TEST(FindMaximum, RandomImages) {
  std::mt19937 random(41);  // the same images in each run
  for (int round = 0; round < 200; ++round) {
    Pixels image(1 + random() % 70);
    for (unsigned int& pixel : image) pixel = static_cast<unsigned int>(random()) >> (random() % 32);
    const auto [smallest, largest] = std::minmax_element(image.begin(), image.end());
    EXPECT_EQ(extremes_of(find_maximum, image), (Extremes{*largest, std::min(*smallest, 999999999U)}));
    EXPECT_EQ(extremes_of(find_short_maximum, image), (Extremes{*largest, std::min(*smallest, 65535U)}));
  }
}

TEST(FindBackground, MeanOfPixels512To521) {
  Pixels image(522, 1000);
  std::iota(image.begin() + 512, image.end(), 1U);  // 1 to 10: 55 / 10
  EXPECT_EQ(find_background(image.data()), 5U);
}

TEST(FindBackground, NoOtherPixelCounts) {
  Pixels image(600, 0xFFFF);
  std::fill(image.begin() + 512, image.begin() + 522, 7U);
  EXPECT_EQ(find_background(image.data()), 7U);
}

TEST(FindBackground, TheSumWraps) {
  Pixels image(522, 0);
  std::fill(image.begin() + 512, image.end(), 0x80000000U);  // ten times 2^31
  EXPECT_EQ(find_background(image.data()), 0U);
  image[521] = 0xFFFFFFFF;
  image[512] = 0;  // 8 * 2^31 + 2^32 - 1 wraps to 2^32 - 1
  EXPECT_EQ(find_background(image.data()), 429496729U);
}

TEST(FindMaximum, EveryPlaceOfEveryLength) {
  for (int length = 1; length <= 70; ++length) {
    for (int place = 0; place < length; ++place) {
      std::vector<unsigned int> image(static_cast<std::size_t>(length), 1000);
      image[static_cast<std::size_t>(place)] = 0xFFFFFFFF;
      unsigned int max = 0;
      unsigned int min = 0;
      find_maximum(image.data(), length, 1, &max, &min);
      ASSERT_EQ(max, 0xFFFFFFFFU) << place << " of " << length;
      ASSERT_EQ(min, length == 1 ? 999999999U : 1000U) << place << " of " << length;
      image[static_cast<std::size_t>(place)] = 7;
      find_maximum(image.data(), length, 1, &max, &min);
      ASSERT_EQ(max, length == 1 ? 7U : 1000U) << place << " of " << length;
      ASSERT_EQ(min, 7U) << place << " of " << length;
    }
  }
}
