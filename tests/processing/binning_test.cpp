#include <cfenv>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "tests/environment.h"
#include "tests/processing/replaced_image.h"
#include "xrdimage.h"

namespace {

using test::Image16;
using test::Image32;

constexpr int kLargest = std::numeric_limits<int>::max();
constexpr int kSmallest = std::numeric_limits<int>::min();

struct Binned {
  Image32 image;
  unsigned int largest_sum;
};

Binned binned(const Image32& image, int factor) {
  const auto after = test::replace(
      image, [&](unsigned int** array, int* width, int* height) { return binning(array, factor, width, height); });
  return {after.image, static_cast<unsigned int>(after.result)};
}

Image16 short_binned(const Image16& image, int factor) {
  const auto after = test::replace(image, [&](unsigned short** array, int* width, int* height) {
    return short_binning(array, factor, width, height);
  });
  EXPECT_EQ(after.result, 0);
  return after.image;
}

// Block by block, as it is said.
Binned binned_by_hand(const Image32& image, int factor) {
  const int new_width = image.width / (2 * factor) * 2;
  const int new_height = image.height / (2 * factor) * 2;
  Binned result{Image32::blank(new_width, new_height), 0};
  for (int x = 0; x < image.width - 1; x += factor) {
    for (int y = 0; y < image.height - 1; y += factor) {
      if (y / factor >= new_height || x / factor >= new_width) continue;
      unsigned int& sum = result.image.at(x / factor, y / factor);
      bool marked = false;
      for (int i = 0; i < factor; ++i) {
        for (int j = 0; j < factor; ++j) {
          const unsigned int pixel = image.at(x + j, y + i);
          if (pixel == 256001) marked = true;
          sum += pixel;
        }
      }
      if (sum > result.largest_sum) result.largest_sum = sum;
      if (marked) sum = 256001;
    }
  }
  return result;
}

std::size_t place(int column, int row, int width) {
  return static_cast<std::size_t>(row) * static_cast<std::size_t>(width) + static_cast<std::size_t>(column);
}

Image16 short_binned_by_hand(const Image16& image, int factor) {
  const int new_width = image.width / factor;
  const int new_height = image.height / factor;
  auto result = Image16::blank(new_width, new_height);
  for (int x = 0; x < image.width - 1; x += factor) {
    for (int y = 0; y < image.height - 1; y += factor) {
      const std::size_t block = place(x / factor, y / factor, new_width);
      if (block >= result.pixels.size()) continue;
      int sum = 0;
      for (int i = 0; i < factor; ++i) {
        const std::size_t at = place(x + i, y + i, image.width);
        if (at < image.pixels.size()) sum += factor * image.pixels[at];
      }
      const double mean = static_cast<double>(sum) / static_cast<double>(factor * factor);
      result.pixels[block] = static_cast<unsigned short>(static_cast<int>(std::rint(mean)));
    }
  }
  return result;
}

std::string refusal(int width, int height, int factor) {
  return "# \033[31;1mERROR\033[0m: cannot bin " + std::to_string(width) + "x" + std::to_string(height) +
         " pixels by " + std::to_string(factor) + "\n";
}

void expect_both_refused(int width, int height, int factor) {
  SCOPED_TRACE(refusal(width, height, factor));
  const auto summing = [&](unsigned int** array, int* w, int* h) { return binning(array, factor, w, h); };
  const auto averaging = [&](unsigned short** array, int* w, int* h) { return short_binning(array, factor, w, h); };
  test::expect_refused<unsigned int>(width, height, refusal(width, height, factor), summing);
  test::expect_refused<unsigned short>(width, height, refusal(width, height, factor), averaging);
}

}  // namespace

TEST(Binning, SumsBlocks) {
  const auto result = binned({4, 4, std::vector<unsigned int>(16, 1)}, 2);
  EXPECT_EQ(result.image, (Image32{2, 2, {4, 4, 4, 4}}));
  EXPECT_EQ(result.largest_sum, 4U);
  // A sum, not a mean.
  EXPECT_EQ(binned({4, 4, std::vector<unsigned int>(16, 100)}, 2).image, (Image32{2, 2, {400, 400, 400, 400}}));
}

TEST(Binning, BlocksKeepTheirPlaces) {
  const Image32 image{4,
                      4,
                      {1, 2, 10, 20,          //
                       3, 4, 30, 40,          //
                       100, 200, 1000, 2000,  //
                       300, 400, 3000, 4000}};
  EXPECT_EQ(binned(image, 2).image, (Image32{2, 2, {10, 100, 1000, 10000}}));
  EXPECT_EQ(binned(image, 2).largest_sum, 10000U);
}

TEST(Binning, TheNewSizeIsEven) {
  const struct {
    int width, height, factor, new_width, new_height;
  } cases[] = {{10, 12, 3, 2, 4}, {9, 8, 2, 4, 4}, {11, 11, 2, 4, 4}, {12, 11, 2, 6, 4}, {17, 18, 9, 0, 2},
               {54, 53, 9, 6, 4}, {5, 6, 1, 4, 6}, {4, 3, 2, 2, 0},   {60, 59, 7, 8, 8}};
  for (const auto& size : cases) {
    const auto image = binned(Image32::blank(size.width, size.height), size.factor).image;
    EXPECT_EQ(image.width, size.new_width) << size.width << " by " << size.factor;
    EXPECT_EQ(image.height, size.new_height) << size.height << " by " << size.factor;
  }
}

TEST(Binning, WhatIsLeftOverIsIgnored) {
  // Five columns and rows by 2: the last ones belong to no block.
  Image32 image{5, 5, std::vector<unsigned int>(25, 1)};
  for (int i = 0; i < 5; ++i) image.at(4, i) = image.at(i, 4) = 256001;
  const auto result = binned(image, 2);
  EXPECT_EQ(result.image, (Image32{2, 2, {4, 4, 4, 4}}));
  EXPECT_EQ(result.largest_sum, 4U);
  // Seven columns by 2: the third whole block has no partner.
  image = {7, 4, std::vector<unsigned int>(28, 1)};
  for (int row = 0; row < 4; ++row) image.at(4, row) = image.at(5, row) = 1000;
  EXPECT_EQ(binned(image, 2).image, (Image32{2, 2, {4, 4, 4, 4}}));
  EXPECT_EQ(binned(image, 2).largest_sum, 4U);
}

TEST(Binning, AMarkedPixelMarksItsBlock) {
  for (const auto& [column, row] : {std::pair{0, 0}, {1, 0}, {0, 1}, {1, 1}}) {
    Image32 image{4, 4, std::vector<unsigned int>(16, 7)};
    image.at(column, row) = OVERFLOW_MARK;
    const auto result = binned(image, 2);
    EXPECT_EQ(result.image, (Image32{2, 2, {256001, 28, 28, 28}}));
    EXPECT_EQ(result.largest_sum, 256022U);  // 256001 + 3 * 7
  }
}

TEST(Binning, AMarkedBlockTakesPartInTheMaximumWithItsSum) {
  Image32 image{4, 4, std::vector<unsigned int>(16, 0)};
  image.at(0, 0) = image.at(1, 0) = OVERFLOW_MARK;
  image.at(2, 2) = 300000;
  const auto result = binned(image, 2);
  EXPECT_EQ(result.image, (Image32{2, 2, {256001, 0, 0, 300000}}));
  EXPECT_EQ(result.largest_sum, 512002U);
}

TEST(Binning, OnlyTheExactValueIsAMark) {
  Image32 image{2, 2, {256000, 256002, 512002, 0}};
  EXPECT_EQ(binned(image, 1).image.at(0, 0), 256000U);
  image = {4, 4, std::vector<unsigned int>(16, 256002)};
  EXPECT_EQ(binned(image, 2).image.at(0, 0), 1024008U);
}

TEST(Binning, SumsWrap) {
  Image32 image{4, 4, std::vector<unsigned int>(16, 0)};
  image.at(0, 0) = image.at(1, 1) = 0x80000000;
  image.at(2, 0) = image.at(3, 1) = 0xFFFFFFFF;
  const auto result = binned(image, 2);
  EXPECT_EQ(result.image, (Image32{2, 2, {0, 0xFFFFFFFE, 0, 0}}));
  EXPECT_EQ(result.largest_sum, 0xFFFFFFFEU);
}

TEST(Binning, TheMaximumIsComparedAsUnsigned) {
  Image32 image{4, 4, std::vector<unsigned int>(16, 0)};
  image.at(0, 0) = 0x90000000;
  image.at(3, 3) = 0x7FFFFFFF;
  EXPECT_EQ(binned(image, 2).largest_sum, 0x90000000U);
}

TEST(Binning, AMarkWhoseSumWrapsCountsWithWhatIsLeft) {
  Image32 image{4, 4, std::vector<unsigned int>(16, 0)};
  image.at(0, 0) = OVERFLOW_MARK;
  image.at(1, 1) = 0xFFFFFFFF;  // the sum is 256000
  image.at(2, 2) = 256000;
  image.at(3, 3) = 0;
  EXPECT_EQ(binned(image, 2).largest_sum, 256000U);
  EXPECT_EQ(binned(image, 2).image, (Image32{2, 2, {256001, 0, 0, 256000}}));
}

TEST(Binning, FactorOneLosesTheLastColumnAndRowOfEvenSizes) {
  EXPECT_EQ(binned({2, 2, {1, 2, 3, 4}}, 1).image, (Image32{2, 2, {1, 0, 0, 0}}));
  EXPECT_EQ(binned({2, 2, {1, 2, 3, 4}}, 1).largest_sum, 1U);
  EXPECT_EQ(binned({3, 3, {1, 2, 3, 4, 5, 6, 7, 8, 9}}, 1).image, (Image32{2, 2, {1, 2, 4, 5}}));
  EXPECT_EQ(binned({3, 2, {1, 2, 3, 4, 5, 6}}, 1).image, (Image32{2, 2, {1, 2, 0, 0}}));
  EXPECT_EQ(binned({2, 3, {1, 2, 3, 4, 5, 6}}, 1).image, (Image32{2, 2, {1, 0, 3, 0}}));
}

TEST(Binning, ImagesSmallerThanADoubleBlockBecomeEmpty) {
  for (const int factor : {2, 3, 1 << 29, 1 << 30, (1 << 30) + 1, kLargest}) {
    const auto result = binned({3, 3, std::vector<unsigned int>(9, 5)}, factor);
    EXPECT_EQ(result.image, Image32::blank(0, 0)) << factor;
    EXPECT_EQ(result.largest_sum, 0U) << factor;
  }
  EXPECT_EQ(binned({1, 1, {5}}, 1).image, Image32::blank(0, 0));
  EXPECT_EQ(binned({8, 3, std::vector<unsigned int>(24, 5)}, 2).image, Image32::blank(4, 0));
  EXPECT_EQ(binned({8, 3, std::vector<unsigned int>(24, 5)}, 2).largest_sum, 0U);
}

TEST(Binning, EmptyImagesStayEmpty) {
  EXPECT_EQ(binned(Image32::blank(0, 0), 2).image, Image32::blank(0, 0));
  EXPECT_EQ(binned(Image32::blank(0, 9), 2).image, Image32::blank(0, 4));
  EXPECT_EQ(binned(Image32::blank(9, 0), 1).image, Image32::blank(8, 0));
  EXPECT_EQ(binned(Image32::blank(9, 0), 1).largest_sum, 0U);
}

TEST(Binning, RandomImages) {
  std::mt19937 random(101);  // the same images in each run
  const auto output = test::capture([&] {
    for (int factor = 1; factor <= 9; ++factor) {
      for (int width = 1; width <= 60; ++width) {
        for (int height = 1 + (width + factor) % 3; height <= 60; height += 3) {
          auto image = test::random_image<unsigned int>(random, width, height, random() % 32);
          for (unsigned int& pixel : image.pixels) {
            if (random() % 64 == 0) pixel = OVERFLOW_MARK;
          }
          const Binned expected = binned_by_hand(image, factor);
          const Binned result = binned(image, factor);
          ASSERT_EQ(result.image, expected.image) << width << " x " << height << " by " << factor;
          ASSERT_EQ(result.largest_sum, expected.largest_sum) << width << " x " << height << " by " << factor;
        }
      }
    }
  });
  EXPECT_EQ(output.out + output.err, "");
}

TEST(Binning, LargerRandomImages) {
  std::mt19937 random(103);  // the same images in each run
  for (const auto& [width, height, factor] :
       {std::array{701, 503, 2}, {512, 512, 4}, {1000, 333, 37}, {300, 2000, 99}}) {
    const auto image = test::random_image<unsigned int>(random, width, height, 4);
    const Binned expected = binned_by_hand(image, factor);
    const Binned result = binned(image, factor);
    EXPECT_TRUE(result.image == expected.image) << factor;
    EXPECT_EQ(result.largest_sum, expected.largest_sum) << factor;
  }
}

TEST(ShortBinning, ReadsTheDiagonalOnly) {
  EXPECT_EQ(short_binned({2, 2, {10, 99, 99, 20}}, 2), (Image16{1, 1, {15}}));
  EXPECT_EQ(short_binned({3, 3, {3, 99, 99, 99, 4, 99, 99, 99, 8}}, 3), (Image16{1, 1, {5}}));
}

TEST(ShortBinning, BlocksKeepTheirPlaces) {
  const Image16 image{4,
                      4,
                      {1, 99, 10, 99,   //
                       99, 3, 99, 30,   //
                       100, 99, 7, 99,  //
                       99, 300, 99, 9}};
  EXPECT_EQ(short_binned(image, 2), (Image16{2, 2, {2, 20, 200, 8}}));
}

TEST(ShortBinning, MeansAreRoundedHalfToEven) {
  EXPECT_EQ(short_binned({2, 2, {1, 0, 0, 2}}, 2).pixels.front(), 2);  // 1.5
  EXPECT_EQ(short_binned({2, 2, {2, 0, 0, 3}}, 2).pixels.front(), 2);  // 2.5
  EXPECT_EQ(short_binned({2, 2, {3, 0, 0, 4}}, 2).pixels.front(), 4);  // 3.5
  EXPECT_EQ(short_binned({2, 2, {0, 0, 0, 1}}, 2).pixels.front(), 0);  // 0.5
  EXPECT_EQ(short_binned({2, 2, {65534, 0, 0, 65535}}, 2).pixels.front(), 65534);
  EXPECT_EQ(short_binned({2, 2, {65535, 0, 0, 65535}}, 2).pixels.front(), 65535);
  EXPECT_EQ(short_binned({3, 3, {1, 0, 0, 0, 1, 0, 0, 0, 2}}, 3).pixels.front(), 1);  // 4 / 3
  EXPECT_EQ(short_binned({3, 3, {1, 0, 0, 0, 2, 0, 0, 0, 2}}, 3).pixels.front(), 2);  // 5 / 3
}

TEST(ShortBinning, TheRoundingModeIsTheCallers) {
  const Image16 half{2, 2, {2, 0, 0, 3}};  // 2.5
  std::fesetround(FE_UPWARD);
  const auto upward = short_binned(half, 2);
  std::fesetround(FE_TOWARDZERO);
  const auto downward = short_binned({2, 2, {3, 0, 0, 4}}, 2);  // 3.5
  std::fesetround(FE_TONEAREST);
  EXPECT_EQ(upward.pixels.front(), 3);
  EXPECT_EQ(downward.pixels.front(), 3);
}

TEST(ShortBinning, TheRoundingModeIsTheCallersInWideImagesToo) {
  // Forty blocks whose diagonals hold 2 and 3: 2.5.
  auto image = Image16::blank(80, 2);
  for (int x = 0; x < 80; x += 2) {
    image.at(x, 0) = 2;
    image.at(x + 1, 1) = 3;
  }
  const auto nearest = short_binned(image, 2);
  std::fesetround(FE_UPWARD);
  const auto upward = short_binned(image, 2);
  std::fesetround(FE_TONEAREST);
  EXPECT_EQ(nearest.pixels, std::vector<unsigned short>(40, 2));
  EXPECT_EQ(upward.pixels, std::vector<unsigned short>(40, 3));
}

TEST(ShortBinning, TheNewSizeIsNotMadeEven) {
  const struct {
    int width, height, factor, new_width, new_height;
  } cases[] = {{10, 12, 3, 3, 4}, {9, 8, 2, 4, 4}, {11, 17, 2, 5, 8}, {17, 18, 9, 1, 2}, {5, 6, 1, 5, 6}};
  for (const auto& size : cases) {
    const auto image = short_binned(Image16::blank(size.width, size.height), size.factor);
    EXPECT_EQ(image.width, size.new_width) << size.width << " by " << size.factor;
    EXPECT_EQ(image.height, size.new_height) << size.height << " by " << size.factor;
  }
}

TEST(ShortBinning, TwoColumnsLeftOverReplaceTheNextRowsFirstPixel) {
  // Five columns by 3. The block from column 3 on takes (3, 0), (4, 1) and, running into the next row, (0, 3).
  const Image16 image{5, 6, {3,  0, 0, 30, 0,   //
                             0,  6, 0, 0,  60,  //
                             0,  0, 9, 0,  0,   //
                             90, 0, 0, 1,  1,   //
                             0,  0, 0, 1,  1,   //
                             0,  0, 0, 1,  1}};
  EXPECT_EQ(short_binned(image, 3), (Image16{1, 2, {6, 60}}));
}

TEST(ShortBinning, OneColumnLeftOverIsIgnored) {
  const Image16 image{4, 6, {3,  0, 0, 99,  //
                             0,  6, 0, 99,  //
                             0,  0, 9, 99,  //
                             90, 0, 0, 99,  //
                             0,  0, 0, 99,  //
                             0,  0, 0, 99}};
  EXPECT_EQ(short_binned(image, 3), (Image16{1, 2, {6, 30}}));
}

TEST(ShortBinning, RowsLeftOverAreIgnored) {
  const Image16 image{3,
                      5,
                      {3, 0, 0,     //
                       0, 6, 0,     //
                       0, 0, 9,     //
                       99, 99, 99,  //
                       99, 99, 99}};
  EXPECT_EQ(short_binned(image, 3), (Image16{1, 1, {6}}));
}

TEST(ShortBinning, FactorOneLosesTheLastColumnAndRow) {
  EXPECT_EQ(short_binned({3, 2, {1, 2, 3, 4, 5, 6}}, 1), (Image16{3, 2, {1, 2, 0, 0, 0, 0}}));
  EXPECT_EQ(short_binned({1, 1, {7}}, 1), (Image16{1, 1, {0}}));
}

TEST(ShortBinning, SumsOfLargeBlocksWrap) {
  // 181 * 181 * 65535 fits 31 bits.
  EXPECT_EQ(short_binned({181, 181, std::vector<unsigned short>(32761, 65535)}, 181).pixels.front(), 65535);
  // 200 * 200 * 65535 - 2^32 = -1673567296; a 40000th of it is -41839.18; 65536 - 41839 = 23697
  EXPECT_EQ(short_binned({200, 200, std::vector<unsigned short>(40000, 65535)}, 200).pixels.front(), 23697);
}

TEST(ShortBinning, ImagesSmallerThanABlockBecomeEmpty) {
  for (const int factor : {4, 1 << 30, kLargest}) {
    EXPECT_EQ(short_binned({3, 3, std::vector<unsigned short>(9, 5)}, factor), Image16::blank(0, 0)) << factor;
  }
  EXPECT_EQ(short_binned({3, 9, std::vector<unsigned short>(27, 5)}, 4), Image16::blank(0, 2));
  EXPECT_EQ(short_binned({9, 3, std::vector<unsigned short>(27, 5)}, 4), Image16::blank(2, 0));
  EXPECT_EQ(short_binned(Image16::blank(0, 0), 1), Image16::blank(0, 0));
  EXPECT_EQ(short_binned(Image16::blank(0, 9), 2), Image16::blank(0, 4));
  EXPECT_EQ(short_binned(Image16::blank(9, 0), 2), Image16::blank(4, 0));
}

TEST(ShortBinning, RandomImages) {
  std::mt19937 random(107);  // the same images in each run
  const auto output = test::capture([&] {
    for (int factor = 1; factor <= 9; ++factor) {
      for (int width = 1; width <= 60; ++width) {
        for (int height = 1 + (width + factor) % 3; height <= 60; height += 3) {
          const auto image = test::random_image<unsigned short>(random, width, height, random() % 32);
          ASSERT_EQ(short_binned(image, factor), short_binned_by_hand(image, factor))
              << width << " x " << height << " by " << factor;
        }
      }
    }
  });
  EXPECT_EQ(output.out + output.err, "");
}

TEST(ShortBinning, LargerRandomImages) {
  std::mt19937 random(109);  // the same images in each run
  for (const auto& [width, height, factor] :
       {std::array{701, 503, 2}, {512, 512, 4}, {1000, 333, 37}, {300, 2000, 99}}) {
    const auto image = test::random_image<unsigned short>(random, width, height, 0);
    EXPECT_TRUE(short_binned(image, factor) == short_binned_by_hand(image, factor)) << factor;
  }
}

TEST(BothBinnings, NegativeSizesAreRefused) {
  expect_both_refused(-1, 4, 2);
  expect_both_refused(4, -1, 2);
  expect_both_refused(-4, -4, 2);
  expect_both_refused(0, -1, 1);
  expect_both_refused(kSmallest, kSmallest, 1);
}

TEST(BothBinnings, FactorsBelowOneAreRefused) {
  for (const int factor : {0, -1, -2, kSmallest}) {
    expect_both_refused(2, 2, factor);
    expect_both_refused(0, 0, factor);
    expect_both_refused(-2, -2, factor);
  }
}

TEST(BothBinnings, SizesBeyondAnyDetectorAreRefused) {
  expect_both_refused(40000, 40000, 2);
  expect_both_refused(16386, 16386, 1);
  expect_both_refused(kLargest, kLargest, 1);
  expect_both_refused(kLargest, kLargest, 9);
}

TEST(BothBinningsDeathTest, MemoryThatCannotBeHadIsReported) {
  EXPECT_EXIT(
      {
        test::limit_memory();
        expect_both_refused(16000, 16000, 1);
        std::_Exit(testing::Test::HasFailure() ? 1 : 0);
      },
      testing::ExitedWithCode(0), "");
}
