#include "pictures/colourmap_file.h"

#include <gtest/gtest.h>

#include "frames/failure.h"
#include "tests/environment.h"
#include "xrdimage.h"

namespace {

using frames::Failure;
using pictures::read_colormap;

std::vector<int> components(const pictures::Rgb& colour) {
  return {colour.red, colour.green, colour.blue};
}

TEST(Colormap, ALineIsAColour) {
  const test::TemporaryDirectory directory;
  const auto colours = read_colormap(directory.write("map", "0 0 0\n1 2 3\n255 254 253\n"));
  ASSERT_EQ(colours.size(), 3U);
  EXPECT_EQ(components(colours[0]), (std::vector{0, 0, 0}));
  EXPECT_EQ(components(colours[1]), (std::vector{1, 2, 3}));
  EXPECT_EQ(components(colours[2]), (std::vector{255, 254, 253}));
}

TEST(Colormap, TheLibrarysHas255ColoursFromBlackToWhite) {
  const test::TemporaryDirectory directory;
  write_colormap(directory.path("map").c_str());
  const auto colours = read_colormap(directory.path("map"));
  ASSERT_EQ(colours.size(), 255U);
  EXPECT_EQ(components(colours[0]), (std::vector{0, 0, 0}));
  EXPECT_EQ(components(colours[1]), (std::vector{0, 0, 21}));
  EXPECT_EQ(components(colours[126]), (std::vector{0, 0, 0}));
  EXPECT_EQ(components(colours[254]), (std::vector{255, 255, 255}));
}

TEST(Colormap, AnythingElseIsRefused) {
  const test::TemporaryDirectory directory;
  EXPECT_THROW(read_colormap(directory.path("missing")), Failure);
  EXPECT_THROW(read_colormap(directory.write("empty", "")), Failure);
  EXPECT_THROW(read_colormap(directory.write("words", "0 0 0\nred green blue\n")), Failure);
  EXPECT_THROW(read_colormap(directory.write("half", "0 0 0\n1 2\n")), Failure);
  EXPECT_THROW(read_colormap(directory.write("bright", "0 0 256\n")), Failure);
  EXPECT_THROW(read_colormap(directory.write("negative", "0 0 -1\n")), Failure);
  std::string many;
  for (int i = 0; i < 257; ++i) many += "1 1 1\n";
  EXPECT_THROW(read_colormap(directory.write("many", many)), Failure);
}

}  // namespace
