#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <vector>

#include "tests/environment.h"
#include "xrdimage.h"

namespace {

using Pixels = std::vector<unsigned int>;
using Words = std::vector<unsigned short>;

int count(const Pixels& image) {
  return static_cast<int>(image.size());
}

Pixels inverted(Pixels image) {
  test::capture([&] { invert_data(image.data(), count(image)); });
  return image;
}

Pixels log_scaled(Pixels image, int logscale, int min, int max) {
  test::capture([&] { logarith_data(image.data(), count(image), logscale, min, max); });
  return image;
}

Pixels scaled_up(Pixels image) {
  const auto output = test::capture([&] { scale_up(image.data(), count(image), 1); });
  EXPECT_EQ(output.out + output.err, "");
  return image;
}

Pixels scaled_up_short(Pixels image, int target) {
  const auto output = test::capture([&] { scale_up_short(image.data(), count(image), 1, target); });
  EXPECT_EQ(output.out + output.err, "");
  return image;
}

// Truncation to a 64-bit integer, of which 32 bits are stored; 0 for what does not fit.
unsigned int low_word(long double value) {
  if (std::isnan(value) || std::fabs(value) >= 9223372036854775808.0L) return 0;
  return static_cast<unsigned int>(static_cast<std::int64_t>(value));
}

Pixels log_scaled_by_hand(Pixels image, int logscale, int min, int max) {
  const auto difference = static_cast<std::int32_t>(static_cast<std::uint32_t>(std::int64_t{max} - min));
  const long double slope = static_cast<long double>(logscale) / static_cast<long double>(difference);
  for (unsigned int& pixel : image) {
    const auto above = static_cast<long double>(pixel - static_cast<unsigned int>(min));
    pixel = low_word(static_cast<long double>(max) * std::log(above * slope + 1.0L) /
                     std::log(static_cast<long double>(logscale)));
  }
  return image;
}

Pixels scaled_up_short_by_hand(Pixels image, int target) {
  const unsigned int largest = *std::max_element(image.begin(), image.end());
  const long double factor = static_cast<long double>(target) / static_cast<long double>(largest);
  for (unsigned int& pixel : image) pixel = low_word(static_cast<long double>(pixel) * factor);
  return image;
}

struct ShortImage {
  Words words;
  test::Output output;
};

ShortImage to_words(Pixels image, int maximum) {
  const Pixels before = image;
  unsigned short* words = nullptr;
  int result = -1;
  ShortImage converted;
  converted.output = test::capture([&] { result = to_short(image.data(), &words, count(image), maximum); });
  EXPECT_EQ(result, 0);
  EXPECT_EQ(image, before);
  const auto owner = test::own(words);
  if (owner) converted.words.assign(words, words + image.size());
  return converted;
}

std::string repeated(const std::string& text, int times) {
  std::string result;
  for (int i = 0; i < times; ++i) result += text;
  return result;
}

const std::string kHalved =
    "# \033[31;1mWARNING\033[0m Die Intensit\xE4ten werden halbiert, damit sie in 16bit passen\n";

// A size for which to_short has no memory, or cannot have.
void expect_refused(int n) {
  Pixels image{1, 2, 3};
  unsigned short marked = 0;
  unsigned short* words = &marked;
  int result = -1;
  const auto output = test::capture([&] { result = to_short(image.data(), &words, n, 100); });
  EXPECT_EQ(result, 0);
  EXPECT_EQ(words, &marked);
  EXPECT_EQ(output.out, "# " RED_ERROR " cannot allocate " + std::to_string(n) + " pixels\n");
}

}  // namespace

TEST(InvertData, PixelsAreTakenFrom24Bits) {
  EXPECT_EQ(inverted({0, 16777215, 1, 16777214, 256001}), (Pixels{16777215, 0, 16777214, 1, 16521214}));
}

TEST(InvertData, LargerPixelsWrap) {
  EXPECT_EQ(inverted({16777216, 0xFFFFFFFF}), (Pixels{0xFFFFFFFF, 16777216}));
}

TEST(InvertData, IsAnnouncedAlsoWithoutPixels) {
  for (const int n : {2, 0, -1}) {
    Pixels image{5, 6, 7};
    const auto output = test::capture([&] { invert_data(image.data(), n); });
    EXPECT_EQ(output.out, "# Inverting Data...\n");
    EXPECT_EQ(output.err, "");
    EXPECT_EQ(image, n == 2 ? (Pixels{16777210, 16777209, 7}) : (Pixels{5, 6, 7}));
  }
}

TEST(LogarithData, LogscaleTen) {
  // 1000 log10(1 + p / 100): 500 gives 1000 log10(6) = 778.15, 1000 gives 1000 log10(11) = 1041.39
  EXPECT_EQ(log_scaled({0, 500, 1000}, 10, 0, 1000), (Pixels{0, 778, 1041}));
}

TEST(LogarithData, TheMinimumBecomesZero) {
  // 114 log2(1 + 2 (p - 50) / 64): 80 gives 114 log2(1.9375) = 108.8, 114 gives 114 log2(3) = 180.7
  EXPECT_EQ(log_scaled({50, 80, 114}, 2, 50, 114), (Pixels{0, 108, 180}));
}

TEST(LogarithData, PixelsAboveTheMaximumAreNotClamped) {
  // 1000 log10(1 + p / 100): 1000 log10(99.99) = 1999.96, 1000 log10(100.01) = 2000.04
  EXPECT_EQ(log_scaled({9899, 9901}, 10, 0, 1000), (Pixels{1999, 2000}));
}

TEST(LogarithData, IsAnnouncedAndReturnsZero) {
  for (const int n : {1, 0, -1}) {
    Pixels image{1000, 1000};
    int result = -1;
    const auto output = test::capture([&] { result = logarith_data(image.data(), n, 10, 0, 1000); });
    EXPECT_EQ(result, 0);
    EXPECT_EQ(output.out, "# logscaling Data with logscale 10...\n");
    EXPECT_EQ(output.err, "");
    EXPECT_EQ(image, n == 1 ? (Pixels{1041, 1000}) : (Pixels{1000, 1000}));
  }
  Pixels image{1};
  EXPECT_EQ(test::capture([&] { logarith_data(image.data(), 1, -3, 0, 9); }).out,
            "# logscaling Data with logscale -3...\n");
}

TEST(LogarithData, PixelsBelowTheMinimumAreFarAboveIt) {
  // 5 - 10 is 4294967291 without a sign: 20 log10(1 + 4294967291) = 192.66
  EXPECT_EQ(log_scaled({5}, 10, 10, 20), Pixels{192});
}

TEST(LogarithData, NegativeResultsAreTruncatedTowardZero) {
  // -100 log10(1 + 1100 / 100) = -107.9
  EXPECT_EQ(log_scaled({0}, 10, -1100, -100), Pixels{static_cast<unsigned int>(-107)});
}

TEST(LogarithData, EqualExtremesGiveZeros) {
  EXPECT_EQ(log_scaled({0, 99, 100, 101, 0xFFFFFFFF}, 10, 100, 100), Pixels(5, 0));
  EXPECT_EQ(log_scaled({0, 1}, 10, 0, 0), Pixels(2, 0));
}

TEST(LogarithData, LogscalesWithoutALogarithmGiveZeros) {
  EXPECT_EQ(log_scaled({0, 1, 500, 1000, 0xFFFFFFFF}, 1, 0, 1000), Pixels(5, 0));
  EXPECT_EQ(log_scaled({0, 1, 500, 1000, 0xFFFFFFFF}, 0, 0, 1000), Pixels(5, 0));
  EXPECT_EQ(log_scaled({0, 1, 500, 1000, 0xFFFFFFFF}, -1, 0, 1000), Pixels(5, 0));
  EXPECT_EQ(log_scaled({0, 1, 500, 1000, 0xFFFFFFFF}, -10, 0, 1000), Pixels(5, 0));
}

TEST(LogarithData, SlopesThatFallBelowZeroGiveZeros) {
  // 1 - (p - 20): the logarithm of 1, of 0 and of -1
  EXPECT_EQ(log_scaled({20, 21, 22}, 10, 20, 10), Pixels(3, 0));
}

TEST(LogarithData, AMaximumOfZeroGivesZeros) {
  EXPECT_EQ(log_scaled({0, 1, 5}, 10, -10, 0), Pixels(3, 0));
}

TEST(LogarithData, RandomImages) {
  std::mt19937 random(53);  // the same images in each run
  for (int round = 0; round < 2000; ++round) {
    const int logscale = round % 4 == 0 ? static_cast<int>(random()) : static_cast<int>(random() % 1000) - 20;
    const int min = static_cast<int>(random()) >> (random() % 32);
    const int max = static_cast<int>(random()) >> (random() % 32);
    Pixels image(20);
    for (unsigned int& pixel : image) pixel = static_cast<unsigned int>(random()) >> (random() % 32);
    ASSERT_EQ(log_scaled(image, logscale, min, max), log_scaled_by_hand(image, logscale, min, max))
        << "logscale " << logscale << ", min " << min << ", max " << max;
  }
}

TEST(LogarithData, ComputesInExtendedPrecision) {
  // Whole numbers but for the rounding: 1000 log2(1 + 2 p / 1000). With a mantissa of 53 bits they end as 999, 3999 and
  // 7000.
  EXPECT_EQ(log_scaled({500, 7500, 63500}, 2, 0, 1000), (Pixels{1000, 4000, 6999}));
}

TEST(LogarithData, TheDifferenceOfTheExtremesWraps) {
  constexpr int kLargest = std::numeric_limits<int>::max();
  constexpr int kSmallest = std::numeric_limits<int>::min();
  const Pixels image{0, 1, 1000, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF};
  // 2^31 - 1 - (-1) is -2^31, so that the slope is negative.
  EXPECT_EQ(log_scaled(image, 10, -1, kLargest), log_scaled_by_hand(image, 10, -1, kLargest));
  // 0: ln(1 - 10 / 2^31) (2^31 - 1) / ln(10) = -10 / ln(10) = -4.3
  EXPECT_EQ(log_scaled({0}, 10, -1, kLargest), Pixels{static_cast<unsigned int>(-4)});
  // 2^31 - 1 - (-2^31) is -1.
  EXPECT_EQ(log_scaled(image, 10, kSmallest, kLargest), log_scaled_by_hand(image, 10, kSmallest, kLargest));
}

TEST(ScaleUp, TheGainIsAWholeNumber) {
  EXPECT_EQ(scaled_up({0, 1, 3000}), (Pixels{0, 3, 9000}));
  EXPECT_EQ(scaled_up({1, 0}), (Pixels{10000, 0}));
  EXPECT_EQ(scaled_up({2, 3}), (Pixels{6666, 9999}));
  EXPECT_EQ(scaled_up({5000, 7}), (Pixels{10000, 14}));
  EXPECT_EQ(scaled_up({5001, 7}), (Pixels{5001, 7}));
  EXPECT_EQ(scaled_up({10000, 7}), (Pixels{10000, 7}));
}

TEST(ScaleUp, BrighterImagesBecomeBlack) {
  EXPECT_EQ(scaled_up({10001, 7}), (Pixels{0, 0}));
  EXPECT_EQ(scaled_up({0x7FFFFFFF, 7}), (Pixels{0, 0}));
}

TEST(ScaleUp, AnImageOfZerosStays) {
  EXPECT_EQ(scaled_up({0, 0, 0}), (Pixels{0, 0, 0}));
}

TEST(ScaleUp, TheMaximumIsReadAsSigned) {
  EXPECT_EQ(scaled_up({0x80000000, 7}), (Pixels{0, 0}));  // 10000 / -2^31
  // -1: each pixel times -10000
  EXPECT_EQ(scaled_up({0xFFFFFFFF, 7, 0}), (Pixels{10000, static_cast<unsigned int>(-70000), 0}));
  // -3000: times -3
  EXPECT_EQ(scaled_up({static_cast<unsigned int>(-3000), 7}), (Pixels{9000, static_cast<unsigned int>(-21)}));
  // -10000, and -10001
  EXPECT_EQ(scaled_up({static_cast<unsigned int>(-10000), 7}), (Pixels{10000, static_cast<unsigned int>(-7)}));
  EXPECT_EQ(scaled_up({static_cast<unsigned int>(-10001), 7}), (Pixels{0, 0}));
}

TEST(ScaleUp, ProductsWrap) {
  // 2^31 + 1 as the second pixel, below the maximum of -1: times -10000 is -10000 - 10000 * 2^31, the latter wraps away
  EXPECT_EQ(scaled_up({0xFFFFFFFF, 0x80000001}), (Pixels{10000, static_cast<unsigned int>(-10000)}));
}

TEST(ScaleUp, AllRowsAndNothingBehindThem) {
  Pixels image{1, 2, 3, 4, 5, 1000, 2000};
  scale_up(image.data(), 2, 3);
  EXPECT_EQ(image, (Pixels{10, 20, 30, 40, 50, 10000, 2000}));
  for (const auto& [width, height] : {std::pair{0, 5}, {5, 0}, {-1, 5}, {-1, -5}}) {
    scale_up(image.data(), width, height);
    EXPECT_EQ(image, (Pixels{10, 20, 30, 40, 50, 10000, 2000}));
  }
}

TEST(ScaleUp, AllMaximaUpToTheLimit) {
  for (unsigned int largest = 1; largest <= 10002; ++largest) {
    EXPECT_EQ(scaled_up({1, largest}), (Pixels{largest == 1 ? 10000 : 10000 / largest, 10000 / largest * largest}));
  }
}

TEST(ScaleUpShort, TheFactorIsNotTruncated) {
  // 65535 / 1000: 65.535, 32767.5, 65535
  EXPECT_EQ(scaled_up_short({0, 1, 500, 1000}, 65535), (Pixels{0, 65, 32767, 65535}));
}

TEST(ScaleUpShort, BrighterImagesAreScaledDown) {
  EXPECT_EQ(scaled_up_short({131072, 65535, 3, 1}, 65536), (Pixels{65536, 32767, 1, 0}));
}

TEST(ScaleUpShort, TheMaximumIsUnsigned) {
  // 2^31 to 2^16: each pixel is divided by 2^15.
  EXPECT_EQ(scaled_up_short({0x80000000, 0x7FFFFFFF, 0x8000, 0x7FFF}, 65536), (Pixels{65536, 65535, 1, 0}));
  // 65535 / (2^32 - 1) = 1 / 65537
  EXPECT_EQ(scaled_up_short({0xFFFFFFFF, 0x80000000}, 65535).back(), 32767U);
}

TEST(ScaleUpShort, AnImageOfZerosStays) {
  EXPECT_EQ(scaled_up_short({0, 0}, 65535), (Pixels{0, 0}));
}

TEST(ScaleUpShort, TargetsMayBeAnything) {
  EXPECT_EQ(scaled_up_short({1000, 500}, 0), (Pixels{0, 0}));
  EXPECT_EQ(scaled_up_short({1024, 512, 1}, -1024),
            (Pixels{static_cast<unsigned int>(-1024), static_cast<unsigned int>(-512), 0xFFFFFFFF}));
  EXPECT_EQ(scaled_up_short({1024, 511}, -1), (Pixels{0xFFFFFFFF, 0}));  // -511 / 1024 is truncated to 0
  EXPECT_EQ(scaled_up_short({1, 0}, 2147483647), (Pixels{2147483647, 0}));
}

TEST(ScaleUpShort, AllRowsAndNothingBehindThem) {
  Pixels image{1, 2, 3, 4, 5, 8, 2000};
  scale_up_short(image.data(), 2, 3, 16);
  EXPECT_EQ(image, (Pixels{2, 4, 6, 8, 10, 16, 2000}));
  for (const auto& [width, height] : {std::pair{0, 5}, {5, 0}, {-1, 5}, {-1, -5}}) {
    scale_up_short(image.data(), width, height, 16);
    EXPECT_EQ(image, (Pixels{2, 4, 6, 8, 10, 16, 2000}));
  }
}

TEST(ScaleUpShort, RandomImages) {
  std::mt19937 random(59);  // the same images in each run
  for (int round = 0; round < 3000; ++round) {
    const int target = round % 3 == 0 ? static_cast<int>(random()) : static_cast<int>(random() % 65536);
    Pixels image(20);
    for (unsigned int& pixel : image) pixel = static_cast<unsigned int>(random()) >> (random() % 32);
    image.front() = 1 + static_cast<unsigned int>(random() % 100000);
    ASSERT_EQ(scaled_up_short(image, target), scaled_up_short_by_hand(image, target)) << "target " << target;
  }
}

TEST(ScaleUpShort, LargerImages) {
  // Whole blocks of pixels and a rest; some products are whole numbers or nearly so.
  std::mt19937 random(61);  // the same images in each run
  for (int round = 0; round < 1500; ++round) {
    const int target = round % 5 == 0 ? static_cast<int>(random()) : static_cast<int>(random() % 65536) + 1;
    Pixels image(300);
    for (unsigned int& pixel : image) pixel = static_cast<unsigned int>(random()) >> (random() % 32);
    if (round % 3 != 0) {
      const unsigned int largest = 1 + static_cast<unsigned int>(random() % 300000);
      for (unsigned int& pixel : image) pixel %= largest + 1;
      image[random() % image.size()] = largest;
    }
    image[0] |= 1;
    ASSERT_EQ(scaled_up_short(image, target), scaled_up_short_by_hand(image, target)) << "target " << target;
  }
}

TEST(ScaleUpShort, EveryMaximumInLargerImages) {
  // Whether the product of the maximum is the target is a matter of the last bit of extended precision.
  for (unsigned int largest = 1; largest <= 5000; ++largest) {
    const Pixels image(128, largest);
    ASSERT_EQ(scaled_up_short(image, 65535), scaled_up_short_by_hand(image, 65535)) << largest;
  }
}

TEST(ScaleUpShort, ComputesInExtendedPrecision) {
  // Whether largest * (target / largest) is the target or just below it is a matter of the last bit: a mantissa of 53
  // bits gives the other of the two in each of these cases.
  EXPECT_EQ(scaled_up_short({133}, 65535), Pixels{65534});
  EXPECT_EQ(scaled_up_short({468}, 65535), Pixels{65535});
  EXPECT_EQ(scaled_up_short({41}, 1), Pixels{0});
  EXPECT_EQ(scaled_up_short({499}, 1), Pixels{1});
  for (unsigned int largest = 1; largest <= 5000; ++largest) {
    const Pixels image{largest, largest / 2};
    ASSERT_EQ(scaled_up_short(image, 65535), scaled_up_short_by_hand(image, 65535)) << largest;
    ASSERT_EQ(scaled_up_short(image, 1), scaled_up_short_by_hand(image, 1)) << largest;
  }
}

TEST(ToShort, PixelsThatFitStay) {
  const ShortImage image = to_words({0, 1, 65535, 4660}, 65535);
  EXPECT_EQ(image.words, (Words{0, 1, 65535, 4660}));
  EXPECT_EQ(image.output.out, "# 0 kB f\xFCr Daten_ushort bereitgestellt\n");
  EXPECT_EQ(image.output.err, "(to_short) shift = 0\n");
}

TEST(ToShort, LargerOnesAreHalved) {
  const ShortImage image = to_words({65536, 3, 65535}, 65536);
  EXPECT_EQ(image.words, (Words{32768, 1, 32767}));
  EXPECT_EQ(image.output.out, kHalved + "# 0 kB f\xFCr Daten_ushort bereitgestellt\n");
  EXPECT_EQ(image.output.err, "(to_short) shift = 1\n");
}

TEST(ToShort, OneWarningForEachHalving) {
  const std::vector<std::pair<int, int>> shifts{{0, 0},      {-1, 0},       {std::numeric_limits<int>::min(), 0},
                                                {65535, 0},  {65536, 1},    {131071, 1},
                                                {131072, 2}, {256001, 2},   {262143, 2},
                                                {262144, 3}, {1 << 30, 15}, {std::numeric_limits<int>::max(), 15}};
  for (const auto& [maximum, shift] : shifts) {
    const ShortImage image = to_words({0xFFFFFFFF, 0x80000000}, maximum);
    EXPECT_EQ(image.output.out, repeated(kHalved, shift) + "# 0 kB f\xFCr Daten_ushort bereitgestellt\n") << maximum;
    EXPECT_EQ(image.output.err, "(to_short) shift = " + std::to_string(shift) + "\n");
    EXPECT_EQ(image.words, (Words{65535, 0})) << maximum;
  }
}

TEST(ToShort, PixelsAboveTheMaximumWrap) {
  EXPECT_EQ(to_words({65536, 70000, 256001, 0xFFFF0001}, 65535).words, (Words{0, 4464, 59393, 1}));
  EXPECT_EQ(to_words({262144, 262148, 256001}, 256001).words, (Words{0, 1, 64000}));
}

TEST(ToShort, SizeIsToldInKibibytes) {
  EXPECT_EQ(to_words(Pixels(511), 1).output.out, "# 0 kB f\xFCr Daten_ushort bereitgestellt\n");
  EXPECT_EQ(to_words(Pixels(512), 1).output.out, "# 1 kB f\xFCr Daten_ushort bereitgestellt\n");
  EXPECT_EQ(to_words(Pixels(1440000), 1).output.out, "# 2812 kB f\xFCr Daten_ushort bereitgestellt\n");
}

TEST(ToShort, WithoutPixelsTheArrayIsEmpty) {
  unsigned int pixel = 7;
  unsigned short* words = nullptr;
  const auto output = test::capture([&] { EXPECT_EQ(to_short(&pixel, &words, 0, 5), 0); });
  EXPECT_NE(words, nullptr);
  const auto owner = test::own(words);
  EXPECT_EQ(output.out, "# 0 kB f\xFCr Daten_ushort bereitgestellt\n");
  EXPECT_EQ(output.err, "(to_short) shift = 0\n");
}

TEST(ToShort, CountsThatCannotBeAreRefused) {
  expect_refused(-1);
  expect_refused(std::numeric_limits<int>::min());
  expect_refused(268435457);
  expect_refused(std::numeric_limits<int>::max());
}

TEST(ToShortDeathTest, MemoryThatCannotBeHadIsReported) {
  EXPECT_EXIT(
      {
        test::limit_memory();
        expect_refused(268435456);
        std::_Exit(testing::Test::HasFailure() ? 1 : 0);
      },
      testing::ExitedWithCode(0), "");
}
