#include "pictures/colours.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <span>

#include "pictures/colourmap_file.h"
#include "tests/environment.h"
#include "xrdimage.h"

namespace {

using pictures::ColorMap;
using pictures::Colors;
using pictures::Rgb;

constexpr ColorMap kMaps[]{ColorMap::kClassic, ColorMap::kGrey, ColorMap::kInverse, ColorMap::kViridis};

TEST(Colors, GreyGoesFromBlackToWhite) {
  const Colors colors = pictures::make_colors(ColorMap::kGrey);
  EXPECT_EQ(colors.levels, 253);
  EXPECT_EQ(colors.palette[0], (Rgb{0, 0, 0}));
  EXPECT_EQ(colors.palette[126], (Rgb{128, 128, 128}));  // 127.5
  EXPECT_EQ(colors.palette[251], (Rgb{254, 254, 254}));  // 253.99
  EXPECT_EQ(colors.palette[252], (Rgb{255, 255, 255}));
}

TEST(Colors, InverseGoesFromWhiteToBlack) {
  const Colors colors = pictures::make_colors(ColorMap::kInverse);
  EXPECT_EQ(colors.palette[0], (Rgb{255, 255, 255}));
  EXPECT_EQ(colors.palette[1], (Rgb{254, 254, 254}));  // 253.99
  EXPECT_EQ(colors.palette[252], (Rgb{0, 0, 0}));
}

TEST(Colors, ViridisGoesFromDarkBlueToYellowAndIsEverLighter) {
  const Colors colors = pictures::make_colors(ColorMap::kViridis);
  EXPECT_EQ(colors.palette[0], (Rgb{68, 1, 84}));
  EXPECT_EQ(colors.palette[84], (Rgb{49, 104, 142}));  // the sixth of sixteen anchors: 84 / 252 = 5 / 15
  EXPECT_EQ(colors.palette[252], (Rgb{253, 231, 37}));
  double before = -1.0;
  for (int level = 0; level < colors.levels; ++level) {
    const Rgb& colour = colors.palette[static_cast<std::size_t>(level)];
    const double lightness = 0.2126 * colour.red + 0.7152 * colour.green + 0.0722 * colour.blue;
    EXPECT_GT(lightness, before - 0.5) << level;  // whole numbers are not quite as smooth
    before = lightness;
  }
}

TEST(Colors, ClassicIsTheLibrarysMap) {
  const Colors colors = pictures::make_colors(ColorMap::kClassic);
  const test::TemporaryDirectory directory;
  write_colormap(directory.path("map").c_str());
  const std::vector<Rgb> map = pictures::read_colormap(directory.path("map"));
  ASSERT_EQ(colors.levels, 255);
  EXPECT_TRUE(std::ranges::equal(map, std::span(colors.palette).first(255)));
  EXPECT_EQ(colors.palette[colors.ink], (Rgb{255, 255, 255}));
  EXPECT_EQ(colors.palette[colors.paper], (Rgb{0, 0, 0}));
}

TEST(Colors, NoLevelLooksLikeAnUnknownPixel) {
  for (const ColorMap map : kMaps) {
    const Colors colors = pictures::make_colors(map);
    const Rgb expected = map == ColorMap::kClassic ? Rgb{128, 128, 128} : Rgb{255, 0, 0};
    EXPECT_EQ(colors.palette.at(colors.unknown), expected);
    EXPECT_EQ(std::ranges::count(colors.palette, expected), 1);
    EXPECT_EQ(colors.palette.size(), 256U);
    EXPECT_NE(colors.palette.at(colors.ink), colors.palette.at(colors.paper));
  }
}

}  // namespace
