#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "tests/environment.h"
#include "tests/processing/replaced_image.h"
#include "xrdimage.h"

namespace {

using test::Image32;
using Point = std::array<int, 2>;
using Box = std::array<int, 4>;  // left, top, right, bottom

constexpr int kLargest = std::numeric_limits<int>::max();
constexpr int kSmallest = std::numeric_limits<int>::min();

Image32 boxed(Image32 image, Point centre, Box box, int divisor) {
  make_short_box(image.pixels.data(), image.width, image.height, centre.data(), box.data(), divisor);
  return image;
}

Image32 crossed(Image32 image, int x, int y) {
  make_cross(image.pixels.data(), image.width, image.height, x, y);
  return image;
}

Image32 short_crossed(Image32 image, int x, int y, int divisor) {
  make_short_cross(image.pixels.data(), image.width, image.height, x, y, divisor);
  return image;
}

// ------------------------------------------------------------------------------------------------------------------
// The same by hand, with coordinates that cannot overflow
// ------------------------------------------------------------------------------------------------------------------

using Coordinate = std::int64_t;

struct Range {
  Coordinate begin, end;  // end is not drawn
};

Range clipped(Coordinate begin, Coordinate end, int size) {
  return {std::max<Coordinate>(begin, 0), std::min<Coordinate>(end, size)};
}

void put(Image32& image, Coordinate x, Coordinate y, unsigned int value) {
  if (x < 0 || x >= image.width || y < 0 || y >= image.height) return;
  image.at(static_cast<int>(x), static_cast<int>(y)) = value;
}

void draw_row(Image32& image, Range columns, Coordinate row, unsigned int value) {
  for (Coordinate x = columns.begin; x < columns.end; ++x) put(image, x, row, value);
}

void draw_column(Image32& image, Coordinate column, Range rows, unsigned int value) {
  for (Coordinate y = rows.begin; y < rows.end; ++y) put(image, column, y, value);
}

unsigned int maximum(const Image32& image) {
  return image.pixels.empty() ? 0 : *std::max_element(image.pixels.begin(), image.pixels.end());
}

unsigned int drawn_value(const Image32& image, int divisor) {
  const Coordinate largest = static_cast<std::int32_t>(maximum(image));
  return static_cast<unsigned int>(divisor == 0 ? largest : largest / divisor);
}

Image32 boxed_by_hand(Image32 image, Point centre, Box box, int divisor) {
  const auto [x, y] = std::array<Coordinate, 2>{centre[0], centre[1]};
  const auto [left, top, right, bottom] = std::array<Coordinate, 4>{box[0], box[1], box[2], box[3]};
  const unsigned int value = drawn_value(image, divisor);
  const Range columns = clipped(x - left, x + right, image.width);
  const Range rows = clipped(y - top, y + bottom, image.height);
  draw_row(image, columns, std::max<Coordinate>(y - top, 0), value);
  draw_row(image, columns, std::min<Coordinate>(y + bottom, image.height - 1), value);
  draw_column(image, std::max<Coordinate>(x - left, 0), rows, value);
  draw_column(image, std::min<Coordinate>(x + right, image.width - 1), rows, value);
  return image;
}

Image32 crossed_by_hand(Image32 image, Coordinate x, Coordinate y, Coordinate arm, unsigned int value) {
  draw_row(image, clipped(x - arm, x + arm, image.width), y, value);
  draw_column(image, x, clipped(y - arm, y + arm, image.height), value);
  return image;
}

// ------------------------------------------------------------------------------------------------------------------

// Background with one brightest pixel in a corner that markers seldom reach.
Image32 picture(int width, int height, unsigned int brightest) {
  auto image = Image32::blank(width, height);
  for (std::size_t i = 0; i < image.pixels.size(); ++i) image.pixels[i] = static_cast<unsigned int>(i % 5);
  if (!image.pixels.empty()) image.pixels.back() = brightest;
  return image;
}

// The pixels that hold `value`, as "x,y" in reading order.
std::string places(const Image32& image, unsigned int value) {
  std::string text;
  for (int y = 0; y < image.height; ++y) {
    for (int x = 0; x < image.width; ++x) {
      if (image.at(x, y) == value) text += std::to_string(x) + "," + std::to_string(y) + " ";
    }
  }
  return text;
}

}  // namespace

TEST(MakeCross, ArmsAreAHundredthOfTheWidth) {
  Image32 image = picture(200, 200, 500);
  const Image32 before = image;
  image = crossed(image, 100, 100);
  EXPECT_EQ(places(image, 500), "100,98 100,99 98,100 99,100 100,100 101,100 100,101 199,199 ");
  EXPECT_EQ(image.at(102, 100), before.at(102, 100));
  EXPECT_EQ(image.at(100, 102), before.at(100, 102));
}

TEST(MakeCross, TheWidthDecidesOnBothArms) {
  EXPECT_EQ(places(crossed(picture(300, 10, 500), 20, 5), 500),
            "20,2 20,3 20,4 17,5 18,5 19,5 20,5 21,5 22,5 20,6 20,7 299,9 ");
  EXPECT_EQ(places(crossed(picture(10, 300, 500), 5, 20), 500), "9,299 ");
}

TEST(MakeCross, ImagesNarrowerThanAHundredGetNone) {
  const Image32 image = picture(99, 99, 500);
  EXPECT_EQ(crossed(image, 50, 50), image);
  EXPECT_EQ(places(crossed(picture(100, 3, 500), 50, 1), 500), "50,0 49,1 50,1 99,2 ");
}

TEST(MakeCross, DrawsTheLargestPixelUndivided) {
  for (const unsigned int brightest : {5U, 65536U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
    EXPECT_EQ(crossed(picture(100, 3, brightest), 50, 1).at(50, 1), brightest);
  }
  EXPECT_EQ(crossed(Image32::blank(100, 3), 50, 1), Image32::blank(100, 3));
}

TEST(MakeCross, EveryClippingPosition) {
  for (const int width : {99, 100, 250, 305}) {
    const Image32 image = picture(width, 4, 70000);
    for (int x = -8; x <= width + 8; ++x) {
      for (int y = -8; y <= 12; ++y) {
        ASSERT_EQ(crossed(image, x, y), crossed_by_hand(image, x, y, width / 100, 70000))
            << width << ": " << x << ", " << y;
      }
    }
  }
}

TEST(MakeCross, CoordinatesOfAnySize) {
  const Image32 image = picture(320, 5, 70000);
  for (const int x : {kSmallest, kSmallest + 2, -1, 319, kLargest - 2, kLargest}) {
    for (const int y : {kSmallest, kSmallest + 2, 0, 4, kLargest - 2, kLargest}) {
      ASSERT_EQ(crossed(image, x, y), crossed_by_hand(image, x, y, 3, 70000)) << x << ", " << y;
    }
  }
}

TEST(MakeShortCross, ArmsAreTwentyPixels) {
  const Image32 before = picture(100, 100, 1000);
  const Image32 image = short_crossed(before, 50, 50, 1);
  Image32 expected = before;
  for (int i = 30; i < 70; ++i) expected.at(i, 50) = expected.at(50, i) = 1000;
  EXPECT_EQ(image, expected);
}

TEST(MakeShortCross, IsClippedToTheImage) {
  const Image32 before = picture(100, 100, 1000);
  Image32 expected = before;
  for (int i = 0; i <= 24; ++i) expected.at(i, 5) = expected.at(5, i) = 333;
  EXPECT_EQ(short_crossed(before, 5, 5, 3), expected);
}

TEST(MakeShortCross, ACentreOutsideDrawsTheArmThatLiesInside) {
  // Row -3 is outside, column 4 of the rows up to 16 is not.
  const Image32 before = picture(30, 30, 1000);
  Image32 expected = before;
  for (int row = 0; row <= 16; ++row) expected.at(4, row) = 500;
  EXPECT_EQ(short_crossed(before, 4, -3, 2), expected);
  // A column of 30 or more is none, and does not run on in the next row.
  expected = before;
  for (int column = 12; column < 30; ++column) expected.at(column, 7) = 500;
  EXPECT_EQ(short_crossed(before, 32, 7, 2), expected);
}

TEST(MakeShortCross, EveryClippingPosition) {
  for (const auto& [width, height] : {std::pair{1, 1}, {7, 5}, {45, 3}, {2, 50}, {48, 43}}) {
    const Image32 image = picture(width, height, 70000);
    for (int x = -23; x <= width + 23; ++x) {
      for (int y = -23; y <= height + 23; ++y) {
        ASSERT_EQ(short_crossed(image, x, y, 7), crossed_by_hand(image, x, y, 20, 10000))
            << width << " x " << height << ": " << x << ", " << y;
      }
    }
  }
}

TEST(MakeShortCross, CoordinatesOfAnySize) {
  const Image32 image = picture(30, 30, 70000);
  for (const int x : {kSmallest, kSmallest + 19, kSmallest + 20, -20, 29, kLargest - 20, kLargest - 19, kLargest}) {
    for (const int y : {kSmallest, kSmallest + 19, kSmallest + 20, 0, 49, kLargest - 20, kLargest - 19, kLargest}) {
      ASSERT_EQ(short_crossed(image, x, y, 1), crossed_by_hand(image, x, y, 20, 70000)) << x << ", " << y;
    }
  }
}

TEST(MakeShortBox, LeavesTheCornerAtTheBottomRightOpen) {
  const Image32 before = picture(100, 100, 90);
  Image32 expected = before;
  for (int i = 40; i < 60; ++i) {
    expected.at(i, 40) = expected.at(i, 60) = expected.at(40, i) = expected.at(60, i) = 45;
  }
  EXPECT_EQ(boxed(before, {50, 50}, {10, 10, 10, 10}, 2), expected);
  EXPECT_EQ(expected.at(60, 60), before.at(60, 60));
}

TEST(MakeShortBox, EachSideHasItsOwnExtent) {
  // Columns 3 to 7, rows 2 to 5.
  EXPECT_EQ(places(boxed(picture(10, 10, 90), {4, 4}, {1, 2, 3, 1}, 1), 90),
            "3,2 4,2 5,2 6,2 7,2 3,3 7,3 3,4 7,4 3,5 4,5 5,5 6,5 9,9 ");
}

TEST(MakeShortBox, FarEdgesMoveToTheBorder) {
  // Columns 7 to 14, rows 1 to 3: the right edge moves to the last column.
  EXPECT_EQ(places(boxed(picture(10, 10, 90), {9, 2}, {2, 1, 5, 1}, 1), 90), "7,1 8,1 9,1 7,2 9,2 7,3 8,3 9,3 9,9 ");
  // Rows 7 to 14.
  EXPECT_EQ(places(boxed(picture(10, 10, 90), {2, 9}, {1, 2, 1, 5}, 1), 90), "1,7 2,7 3,7 1,8 3,8 1,9 2,9 3,9 9,9 ");
}

TEST(MakeShortBox, NearEdgesMoveToTheFirstColumnAndRow) {
  // Columns -2 to 2, rows -1 to 2.
  EXPECT_EQ(places(boxed(picture(10, 10, 90), {0, 0}, {2, 1, 2, 2}, 1), 90), "0,0 1,0 2,0 0,1 2,1 0,2 1,2 9,9 ");
}

TEST(MakeShortBox, ABoxAroundTheWholeImageIsItsBorder) {
  const Image32 image = boxed(picture(4, 4, 90), {2, 2}, {50, 50, 50, 50}, 1);
  EXPECT_EQ(places(image, 90), "0,0 1,0 2,0 3,0 0,1 3,1 0,2 3,2 0,3 1,3 2,3 3,3 ");
}

TEST(MakeShortBox, WithoutExtentsNothingIsDrawn) {
  const Image32 image = picture(9, 9, 90);
  EXPECT_EQ(boxed(image, {4, 4}, {0, 0, 0, 0}, 1), image);
  EXPECT_EQ(boxed(image, {4, 4}, {-1, -2, -1, -2}, 1), image);
}

TEST(MakeShortBox, EveryClippingPosition) {
  const std::array<int, 6> extents{-9, -2, 0, 1, 3, 25};
  for (const auto& [width, height] : {std::pair{1, 1}, {6, 4}, {3, 8}}) {
    const Image32 image = picture(width, height, 70000);
    for (int x = -4; x <= width + 3; ++x) {
      for (int y = -4; y <= height + 3; ++y) {
        for (int i = 0; i < 6 * 6 * 6 * 6; ++i) {
          const auto extent = [&](int place) { return extents[static_cast<std::size_t>(i / place % 6)]; };
          const Box box{extent(1), extent(6), extent(36), extent(216)};
          ASSERT_EQ(boxed(image, {x, y}, box, 7), boxed_by_hand(image, {x, y}, box, 7))
              << x << ", " << y << ", box " << testing::PrintToString(box);
        }
      }
    }
  }
}

TEST(MakeShortBox, CoordinatesOfAnySize) {
  const std::array<int, 6> numbers{kSmallest, kSmallest + 3, -3, 2, kLargest - 3, kLargest};
  const Image32 image = picture(6, 5, 70000);
  for (int i = 0; i < 6 * 6 * 6 * 6 * 6 * 6; ++i) {
    const auto number = [&](int place) { return numbers[static_cast<std::size_t>(i / place % 6)]; };
    const Point centre{number(1), number(6)};
    const Box box{number(36), number(216), number(1296), number(7776)};
    ASSERT_EQ(boxed(image, centre, box, 1), boxed_by_hand(image, centre, box, 1))
        << testing::PrintToString(centre) << testing::PrintToString(box);
  }
}

TEST(MakeShortBox, LeavesCentreAndBoxAlone) {
  Image32 image = picture(6, 5, 70000);
  Point centre{1, 2};
  Box box{-3, 4, 50, 6};
  make_short_box(image.pixels.data(), image.width, image.height, centre.data(), box.data(), 1);
  EXPECT_EQ(centre, (Point{1, 2}));
  EXPECT_EQ(box, (Box{-3, 4, 50, 6}));
}

TEST(Markers, DivideTheLargestPixelAsASignedNumber) {
  const struct {
    unsigned int brightest;
    int divisor;
    unsigned int drawn;
  } cases[] = {
      {1000, 1, 1000},
      {1000, 3, 333},
      {1000, 1001, 0},
      {1000, -3, 0xFFFFFEB3},  // -333
      {1000, kLargest, 0},
      {1000, kSmallest, 0},
      {1000, 0, 1000},
      {0x7FFFFFFF, -1, 0x80000001},
      {0xFFFFFFFF, 1, 0xFFFFFFFF},
      {0xFFFFFFFF, 3, 0},  // -1 / 3
      {0xFFFFFFFF, -1, 1},
      {0xFFFFFFFF, 0, 0xFFFFFFFF},
      {0xFFFFFC18, 3, 0xFFFFFEB3},  // -1000 / 3
      {0x80000000, 1, 0x80000000},
      {0x80000000, 3, 0xD5555556},   // -715827882
      {0x80000000, -1, 0x80000000},  // 2^31, which wraps
      {0x80000000, kSmallest, 1},
      {0x80000000, 0, 0x80000000},
  };
  for (const auto& test : cases) {
    const Image32 image = picture(9, 9, test.brightest);
    EXPECT_EQ(short_crossed(image, 2, 3, test.divisor).at(2, 3), test.drawn) << test.brightest << " / " << test.divisor;
    EXPECT_EQ(boxed(image, {2, 3}, {1, 1, 1, 1}, test.divisor).at(1, 2), test.drawn)
        << test.brightest << " / " << test.divisor;
  }
}

TEST(Markers, FindTheLargestPixelAnywhere) {
  for (std::size_t i = 0; i < 15; ++i) {
    auto image = Image32::blank(5, 3);
    image.pixels[i] = 0x90000000;
    EXPECT_EQ(short_crossed(image, 0, 0, 1).at(4, 0), 0x90000000U) << i;
    EXPECT_EQ(boxed(image, {0, 0}, {0, 0, 9, 9}, 1).at(4, 1), 0x90000000U) << i;
  }
}

TEST(Markers, ImagesWithoutPixels) {
  for (const auto& [width, height] :
       {std::pair{0, 0}, {0, 200}, {200, 0}, {-1, 200}, {200, -1}, {-200, -200}, {kSmallest, kSmallest}}) {
    std::vector<unsigned int> pixels{1, 2, 3, 4};
    Point centre{0, 0};
    Box box{5, 5, 5, 5};
    make_short_box(pixels.data(), width, height, centre.data(), box.data(), 1);
    make_short_cross(pixels.data(), width, height, 0, 0, 1);
    make_cross(pixels.data(), width, height, 0, 0);
    EXPECT_EQ(pixels, (std::vector<unsigned int>{1, 2, 3, 4})) << width << " x " << height;
  }
}

TEST(Markers, PrintNothing) {
  const Image32 image = picture(200, 30, 70000);
  const auto output = test::capture([&] {
    crossed(image, 100, 15);
    short_crossed(image, 100, 15, 0);
    boxed(image, {100, 15}, {5, 5, 500, 500}, 0);
  });
  EXPECT_EQ(output.out + output.err, "");
}
