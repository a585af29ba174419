#include "host/contrast.h"

#include <gtest/gtest.h>

#include <numeric>

#include "xrdimage.h"

namespace {

using host::automatic_contrast;
using host::colour_of;
using Colours = std::vector<std::uint8_t>;

TEST(Contrast, TheRangeIsCutIntoEqualPieces) {
  // 0-8 in four colours: two counts a colour, and the end belongs to the last one.
  constexpr host::Contrast kRange{0, 8};
  Colours colours;
  for (int count = 0; count <= 9; ++count) colours.push_back(colour_of(count, kRange, 4));
  EXPECT_EQ(colours, (Colours{0, 0, 1, 1, 2, 2, 3, 3, 3, 3}));
}

TEST(Contrast, CountsBeyondTheRangeTakeTheColoursAtItsEnds) {
  constexpr host::Contrast kRange{100, 200};
  EXPECT_EQ(colour_of(0, kRange, 255), 0);
  EXPECT_EQ(colour_of(100, kRange, 255), 0);
  EXPECT_EQ(colour_of(199, kRange, 255), 252);  // 99 * 255 / 100
  EXPECT_EQ(colour_of(200, kRange, 255), 254);
  EXPECT_EQ(colour_of(0xFFFFFFFF, kRange, 255), 254);
}

TEST(Contrast, ARangeOfOnePointIsDarkBelowAndBrightAbove) {
  EXPECT_EQ(colour_of(0, {0, 0}, 255), 0);
  EXPECT_EQ(colour_of(1, {0, 0}, 255), 254);
  EXPECT_EQ(colour_of(3, {0, -5}, 255), 254);
}

TEST(Contrast, WideRangesDoNotOverflow) {
  EXPECT_EQ(colour_of(0x7FFFFFFF, {0, 0xFFFFFFFF}, 256), 127);
}

TEST(Contrast, AutomaticRangeEndsWhere995OfAThousandPixelsFit) {
  std::vector<unsigned> pixels(1000);
  std::iota(pixels.rbegin(), pixels.rend(), 1);
  EXPECT_EQ(automatic_contrast(pixels).low, 0);
  EXPECT_EQ(automatic_contrast(pixels).high, 995);
}

TEST(Contrast, AutomaticRangeLeavesOutOverflowedPixels) {
  const std::vector<unsigned> pixels{OVERFLOW_MARK, 7, OVERFLOW_MARK, OVERFLOW_MARK, 3};
  EXPECT_EQ(automatic_contrast(pixels).high, 7);
}

TEST(Contrast, AutomaticRangeIsNeverEmpty) {
  EXPECT_EQ(automatic_contrast(std::vector<unsigned>(9)).high, 1);
  EXPECT_EQ(automatic_contrast(std::vector<unsigned>(9, OVERFLOW_MARK)).high, 1);
}

TEST(Contrast, OverflowedPixelsAreTheBrightest) {
  const std::vector<unsigned> pixels{0, 500000, OVERFLOW_MARK, 999999};
  EXPECT_EQ(host::coloured(pixels, {0, 1000000}, 255), (Colours{0, 127, 254, 254}));
}

}  // namespace
