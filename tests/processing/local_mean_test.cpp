#include <algorithm>
#include <cstdint>
#include <limits>
#include <numeric>
#include <random>
#include <utility>
#include <vector>

#include "tests/environment.h"
#include "xrdimage.h"

namespace {

using Pixels = std::vector<unsigned int>;

Pixels averaged(Pixels image, int width, int height, int radius) {
  const auto output = test::capture([&] { mittle_Daten(image.data(), width, height, radius); });
  EXPECT_EQ(output.out + output.err, "");
  return image;
}

// The same, pixel by pixel as one would do it by hand.
Pixels averaged_by_hand(Pixels image, int width, int height, int radius) {
  const auto at = [&](int x, int y) -> unsigned int& {
    return image[static_cast<std::size_t>(std::ptrdiff_t{y} * width + x)];
  };
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      unsigned int sum = 0;
      int count = 0;
      for (int row = std::max(y - radius, 0); row < std::min(y + radius, height); ++row) {
        for (int column = std::max(x - radius, 0); column < std::min(x + radius, width); ++column) {
          sum += at(column, row);
          ++count;
        }
      }
      at(x, y) = static_cast<unsigned int>(static_cast<std::int32_t>(sum) / count);
    }
  }
  return image;
}

}  // namespace

TEST(LocalMean, LaterWindowsSeeTheMeansAlreadyStored) {
  EXPECT_EQ(averaged({3, 6, 9}, 3, 1, 1), (Pixels{3, 4, 6}));
  EXPECT_EQ(averaged({3, 6, 9}, 1, 3, 1), (Pixels{3, 4, 6}));
}

TEST(LocalMean, TheWindowReachesFurtherBackThanAhead) {
  // Radius 2 at x: columns x - 2 to x + 1.
  // 10: (10 + 20) / 2 = 15; 20: (15 + 20 + 60) / 3 = 31; 60: (15 + 31 + 60 + 100) / 4 = 51; 100: (31 + 51 + 100) / 3 =
  // 60
  EXPECT_EQ(averaged({10, 20, 60, 100}, 4, 1, 2), (Pixels{15, 31, 51, 60}));
}

TEST(LocalMean, TheWindowIsTwoDimensional) {
  // Radius 1: the pixel, its left and upper neighbours and the one between them.
  // 8; (8 + 4) / 2 = 6; (8 + 16) / 2 = 12; (8 + 6 + 12 + 2) / 4 = 7
  EXPECT_EQ(averaged({8, 4, 16, 2}, 2, 2, 1), (Pixels{8, 6, 12, 7}));
}

TEST(LocalMean, MeansAreTruncated) {
  EXPECT_EQ(averaged({1, 2}, 2, 1, 1), (Pixels{1, 1}));
  EXPECT_EQ(averaged({0, 5}, 2, 1, 2), (Pixels{2, 3}));
}

TEST(LocalMean, SumsAreSignedWhenTheyAreDivided) {
  // -3 stays; (-3 + 0) / 2 = -1, towards zero.
  EXPECT_EQ(averaged({0xFFFFFFFD, 0}, 2, 1, 1), (Pixels{0xFFFFFFFD, 0xFFFFFFFF}));
  // 2^31 is the most negative number; half of it is -2^30.
  EXPECT_EQ(averaged({0x80000000, 0}, 2, 1, 1), (Pixels{0x80000000, 0xC0000000}));
}

TEST(LocalMean, SumsWrap) {
  // 2^31 - 1 twice is -2, whose half is -1.
  EXPECT_EQ(averaged({0x7FFFFFFF, 0x7FFFFFFF}, 2, 1, 1), (Pixels{0x7FFFFFFF, 0xFFFFFFFF}));
  // 2^31 twice is nothing.
  EXPECT_EQ(averaged({0x80000000, 0x80000000}, 2, 1, 1), (Pixels{0x80000000, 0}));
}

TEST(LocalMean, AWindowLargerThanTheImageIsTheImage) {
  // (1 + 2 + 3 + 6) / 4 = 3; (3 + 2 + 3 + 6) / 4 = 3; (3 + 3 + 3 + 6) / 4 = 3; (3 + 3 + 3 + 6) / 4 = 3
  EXPECT_EQ(averaged({1, 2, 3, 6}, 2, 2, 100), (Pixels{3, 3, 3, 3}));
  EXPECT_EQ(averaged({1, 2, 3, 6}, 2, 2, std::numeric_limits<int>::max()), (Pixels{3, 3, 3, 3}));
}

TEST(LocalMean, WindowsMayBeLargerThanNumbersOf32Bits) {
  // All windows are the whole column.
  constexpr int kHeight = 65536;
  std::mt19937 random(53);  // the same image in each run
  Pixels image(kHeight);
  for (unsigned int& pixel : image) pixel = static_cast<unsigned int>(random()) >> 17;
  Pixels expected = image;
  auto sum = std::accumulate(image.begin(), image.end(), 0U);
  for (unsigned int& pixel : expected) {
    const auto mean = static_cast<unsigned int>(static_cast<std::int32_t>(sum) / kHeight);
    sum += mean - std::exchange(pixel, mean);
  }
  EXPECT_TRUE(averaged(image, 1, kHeight, kHeight) == expected);
  EXPECT_TRUE(averaged(image, 1, kHeight, std::numeric_limits<int>::max()) == expected);
  // Half of the column: 65536 rows at its middle times two columns of 32768.
  const Pixels flat(std::size_t{2} * kHeight, 7);
  EXPECT_TRUE(averaged(flat, 2, kHeight, kHeight / 2) == flat);
}

TEST(LocalMean, ARadiusBelowOneChangesNothing) {
  for (const int radius : {0, -1, std::numeric_limits<int>::min()}) {
    EXPECT_EQ(averaged({1, 200, 3000}, 3, 1, radius), (Pixels{1, 200, 3000}));
  }
}

TEST(LocalMean, WithoutPixels) {
  EXPECT_EQ(averaged({1, 200}, 0, 2, 1), (Pixels{1, 200}));
  EXPECT_EQ(averaged({1, 200}, 2, 0, 1), (Pixels{1, 200}));
  EXPECT_EQ(averaged({1, 200}, -1, -2, 1), (Pixels{1, 200}));
}

TEST(LocalMean, RandomImages) {
  std::mt19937 random(43);  // the same images in each run
  for (int width = 1; width <= 15; ++width) {
    for (int height = 1; height <= 15; ++height) {
      for (int radius = 1; radius <= 6; ++radius) {
        Pixels image(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
        const auto shift = random() % 32;  // from sums that wrap to small pixels
        for (unsigned int& pixel : image) pixel = static_cast<unsigned int>(random()) >> shift;
        ASSERT_EQ(averaged(image, width, height, radius), averaged_by_hand(image, width, height, radius))
            << width << " x " << height << ", radius " << radius;
      }
    }
  }
}

TEST(LocalMean, ALargerImage) {
  std::mt19937 random(47);  // the same image in each run
  Pixels image(std::size_t{200} * 133);
  for (unsigned int& pixel : image) pixel = static_cast<unsigned int>(random());
  for (int radius = 1; radius <= 6; ++radius) {
    EXPECT_TRUE(averaged(image, 200, 133, radius) == averaged_by_hand(image, 200, 133, radius)) << radius;
  }
}
