#include <limits>
#include <random>
#include <string>
#include <vector>

#include "tests/environment.h"
#include "tests/processing/replaced_image.h"
#include "xrdimage.h"

namespace {

using test::Image;
using test::Image16;
using test::Image32;

constexpr int kLargest = std::numeric_limits<int>::max();
constexpr int kSmallest = std::numeric_limits<int>::min();

int fit(unsigned int** array, int* width, int* height, int new_width, int new_height) {
  return fit_to_new_dimension(array, width, height, new_width, new_height);
}

int fit(unsigned short** array, int* width, int* height, int new_width, int new_height) {
  return fit_to_new_dimension_short(array, width, height, new_width, new_height);
}

template <typename Pixel>
struct Fitted {
  Image<Pixel> image;
  std::string printed;
};

template <typename Pixel>
Fitted<Pixel> fitted(const Image<Pixel>& image, int new_width, int new_height) {
  Fitted<Pixel> result;
  const auto output = test::capture([&] {
    const auto after = test::replace(image, [&](Pixel** array, int* width, int* height) {
      return fit(array, width, height, new_width, new_height);
    });
    EXPECT_EQ(after.result, 0);
    result.image = after.image;
  });
  EXPECT_EQ(output.err, "");
  result.printed = output.out;
  return result;
}

template <typename Pixel>
Image<Pixel> fitted_by_hand(const Image<Pixel>& image, int new_width, int new_height) {
  auto result = Image<Pixel>::blank(new_width, new_height);
  for (int x = 0; x < new_width; ++x) {
    for (int y = 0; y < new_height; ++y) {
      result.at(x, y) = x < image.width && y < image.height ? image.at(x, y) : Pixel{0};
    }
  }
  return result;
}

std::string size(int width, int height) {
  return std::to_string(width) + "x" + std::to_string(height);
}

std::string announcement(int width, int height, int new_width) {
  return "# fitting dimension from " + size(width, height) + " to " + size(new_width, new_width) + "\n";
}

std::string warnings(int width, int height, int new_width, int new_height) {
  std::string text;
  if (width > new_width) {
    text += "# \033[31;1mWARNING\033[0m: IMAGE width too large, stripping " + std::to_string(width - new_width) + "\n";
  }
  if (height > new_height) {
    text +=
        "# \033[31;1mWARNING\033[0m: IMAGE height too large, stripping " + std::to_string(height - new_height) + "\n";
  }
  return text;
}

std::string allocation(int new_width, int new_height) {
  return "# " + std::to_string(new_width * new_height * 4 / 1024) + " kB f\xFCr Daten bereitgestellt\n";
}

std::string refusal(int width, int height, int new_width, int new_height) {
  return "# \033[31;1mERROR\033[0m: cannot fit " + size(width, height) + " pixels to " + size(new_width, new_height) +
         "\n";
}

void expect_both_refused(int width, int height, int new_width, int new_height) {
  const std::string message = refusal(width, height, new_width, new_height);
  SCOPED_TRACE(message);
  test::expect_refused<unsigned int>(
      width, height, announcement(width, height, new_width) + message,
      [&](unsigned int** array, int* w, int* h) { return fit(array, w, h, new_width, new_height); });
  test::expect_refused<unsigned short>(width, height, message, [&](unsigned short** array, int* w, int* h) {
    return fit(array, w, h, new_width, new_height);
  });
}

template <typename Pixel>
class FitToNewDimension : public testing::Test {};

using PixelTypes = testing::Types<unsigned int, unsigned short>;
TYPED_TEST_SUITE(FitToNewDimension, PixelTypes, );

}  // namespace

TEST(Fit, PrintsTheNewWidthTwice) {
  EXPECT_EQ(fitted(Image32{3, 2, {1, 2, 3, 4, 5, 6}}, 2, 3).printed,
            "# fitting dimension from 3x2 to 2x2\n"
            "# \033[31;1mWARNING\033[0m: IMAGE width too large, stripping 1\n"
            "# 0 kB f\xFCr Daten bereitgestellt\n");
  EXPECT_EQ(fitted(Image32{1, 1, {5}}, 20, 40).printed,
            "# fitting dimension from 1x1 to 20x20\n"
            "# 3 kB f\xFCr Daten bereitgestellt\n");
}

TEST(Fit, WarnsOfTheWidthFirst) {
  EXPECT_EQ(fitted(Image32::blank(9, 7), 4, 5).printed,
            "# fitting dimension from 9x7 to 4x4\n"
            "# \033[31;1mWARNING\033[0m: IMAGE width too large, stripping 5\n"
            "# \033[31;1mWARNING\033[0m: IMAGE height too large, stripping 2\n"
            "# 0 kB f\xFCr Daten bereitgestellt\n");
  EXPECT_EQ(fitted(Image32::blank(3, 700), 16, 16).printed,
            "# fitting dimension from 3x700 to 16x16\n"
            "# \033[31;1mWARNING\033[0m: IMAGE height too large, stripping 684\n"
            "# 1 kB f\xFCr Daten bereitgestellt\n");
}

TEST(Fit, TheShortVariantPrintsTheWarningsOnly) {
  EXPECT_EQ(fitted(Image16::blank(9, 7), 4, 5).printed,
            "# \033[31;1mWARNING\033[0m: IMAGE width too large, stripping 5\n"
            "# \033[31;1mWARNING\033[0m: IMAGE height too large, stripping 2\n");
  EXPECT_EQ(fitted(Image16::blank(9, 7), 4, 8).printed,
            "# \033[31;1mWARNING\033[0m: IMAGE width too large, stripping 5\n");
  EXPECT_EQ(fitted(Image16::blank(9, 7), 90, 70).printed, "");
}

TEST(Fit, KibibytesAreTruncated) {
  EXPECT_EQ(fitted(Image32::blank(1, 1), 255, 1).printed,
            "# fitting dimension from 1x1 to 255x255\n# 0 kB f\xFCr Daten bereitgestellt\n");
  EXPECT_EQ(fitted(Image32::blank(1, 1), 256, 1).printed,
            "# fitting dimension from 1x1 to 256x256\n# 1 kB f\xFCr Daten bereitgestellt\n");
  EXPECT_EQ(fitted(Image32::blank(1, 1), 1200, 1200).printed,
            "# fitting dimension from 1x1 to 1200x1200\n# 5625 kB f\xFCr Daten bereitgestellt\n");
}

TYPED_TEST(FitToNewDimension, KeepsTheTopLeftCorner) {
  using Picture = Image<TypeParam>;
  const Picture image{3, 2, {1, 2, 3, 4, 5, 6}};
  EXPECT_EQ(fitted(image, 2, 3).image, (Picture{2, 3, {1, 2, 4, 5, 0, 0}}));
  EXPECT_EQ(fitted(image, 4, 1).image, (Picture{4, 1, {1, 2, 3, 0}}));
  EXPECT_EQ(fitted(image, 4, 3).image, (Picture{4, 3, {1, 2, 3, 0, 4, 5, 6, 0, 0, 0, 0, 0}}));
  EXPECT_EQ(fitted(image, 2, 1).image, (Picture{2, 1, {1, 2}}));
}

TYPED_TEST(FitToNewDimension, EqualSizesGiveACopy) {
  const Image<TypeParam> image{3, 2, {1, 2, 3, 4, 5, 65535}};
  const auto result = fitted(image, 3, 2);
  EXPECT_EQ(result.image, image);
  EXPECT_EQ(result.printed,
            sizeof(TypeParam) == 4 ? "# fitting dimension from 3x2 to 3x3\n# 0 kB f\xFCr Daten bereitgestellt\n" : "");
}

TYPED_TEST(FitToNewDimension, GrowsAndShrinksAlongBothSides) {
  std::mt19937 random(113);  // the same images in each run
  for (int width = 0; width <= 5; ++width) {
    for (int height = 0; height <= 5; ++height) {
      const auto image = test::random_image<TypeParam>(random, width, height, 0);
      for (int new_width = 0; new_width <= 7; ++new_width) {
        for (int new_height = 0; new_height <= 7; ++new_height) {
          SCOPED_TRACE(size(width, height) + " to " + size(new_width, new_height));
          const auto result = fitted(image, new_width, new_height);
          ASSERT_EQ(result.image, fitted_by_hand(image, new_width, new_height));
          const std::string expected = warnings(width, height, new_width, new_height);
          ASSERT_EQ(result.printed, sizeof(TypeParam) == 2 ? expected
                                                           : announcement(width, height, new_width) + expected +
                                                                 allocation(new_width, new_height));
        }
      }
    }
  }
}

TYPED_TEST(FitToNewDimension, LargerRandomImages) {
  std::mt19937 random(127);  // the same images in each run
  const auto image = test::random_image<TypeParam>(random, 211, 157, 0);
  for (const int new_width : {1, 128, 210, 211, 212, 300}) {
    for (const int new_height : {1, 100, 156, 157, 158, 400}) {
      const auto result = fitted(image, new_width, new_height);
      EXPECT_TRUE(result.image == fitted_by_hand(image, new_width, new_height)) << new_width << " " << new_height;
    }
  }
}

TEST(Fit, NegativeSizesAreRefused) {
  expect_both_refused(2, 2, -1, 2);
  expect_both_refused(2, 2, 2, -1);
  expect_both_refused(2, 2, -2, -2);
  expect_both_refused(0, 0, kSmallest, kSmallest);
  expect_both_refused(2, 2, 0, -1);
}

TEST(Fit, ImagesOfNegativeSizeAreRefused) {
  expect_both_refused(-1, 2, 2, 2);
  expect_both_refused(2, -1, 2, 2);
  expect_both_refused(kSmallest, kSmallest, 2, 2);
  expect_both_refused(-1, -1, -1, -1);
}

TEST(Fit, SizesBeyondAnyDetectorAreRefused) {
  expect_both_refused(2, 2, 16385, 16384);
  expect_both_refused(2, 2, 65536, 65536);
  expect_both_refused(2, 2, kLargest, kLargest);
}

TEST(FitDeathTest, MemoryThatCannotBeHadIsReported) {
  EXPECT_EXIT(
      {
        test::limit_memory();
        expect_both_refused(2, 2, 16000, 16000);
        expect_both_refused(20000, 17000, 16384, 16384);
        std::_Exit(testing::Test::HasFailure() ? 1 : 0);
      },
      testing::ExitedWithCode(0), "");
}
