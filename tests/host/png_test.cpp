#include "host/png.h"

#include "tests/host/program.h"

namespace {

using Components = std::vector<int>;

TEST(Png, GreyValuesComeBack) {
  const test::Workplace place;
  const std::vector<std::uint8_t> pixels{0, 127, 255, 1, 2, 3};
  host::write_png("out.png", {3, 2}, pixels, {});
  const test::Png picture = test::read_png("out.png");
  EXPECT_EQ(picture.width, 3U);
  EXPECT_EQ(picture.height, 2U);
  EXPECT_TRUE(picture.grey);
  EXPECT_EQ(picture.pixel(1, 0), (Components{127, 127, 127}));
  EXPECT_EQ(picture.pixel(2, 0), (Components{255, 255, 255}));
  EXPECT_EQ(picture.pixel(0, 1), (Components{1, 1, 1}));
}

TEST(Png, PaletteColoursComeBack) {
  const test::Workplace place;
  const std::vector<host::Rgb> palette{{0, 0, 0}, {10, 20, 30}, {255, 254, 1}};
  const std::vector<std::uint8_t> pixels{2, 0, 1};
  host::write_png("out.png", {1, 3}, pixels, palette);
  const test::Png picture = test::read_png("out.png");
  EXPECT_EQ(picture.width, 1U);
  EXPECT_EQ(picture.height, 3U);
  EXPECT_TRUE(picture.has_palette);
  EXPECT_EQ(picture.pixel(0, 0), (Components{255, 254, 1}));
  EXPECT_EQ(picture.pixel(0, 1), (Components{0, 0, 0}));
  EXPECT_EQ(picture.pixel(0, 2), (Components{10, 20, 30}));
}

}  // namespace
