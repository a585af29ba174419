#include "support/image_size.h"

#include <gtest/gtest.h>

namespace {

constexpr int kLargestInt = std::numeric_limits<int>::max();
constexpr int kSmallestInt = std::numeric_limits<int>::min();
constexpr std::size_t kLargestArray = std::numeric_limits<std::ptrdiff_t>::max();

}  // namespace

TEST(ImageSize, ProductOfWidthAndHeight) {
  EXPECT_EQ(xrd::allocatable_pixels(1, 1), 1U);
  EXPECT_EQ(xrd::allocatable_pixels(1200, 1200), 1440000U);
  EXPECT_EQ(xrd::allocatable_pixels(1242, 1152), 1430784U);
}

TEST(ImageSize, ZeroIsASize) {
  EXPECT_EQ(xrd::allocatable_pixels(0, 0), 0U);
  EXPECT_EQ(xrd::allocatable_pixels(0, kLargestInt), 0U);
  EXPECT_EQ(xrd::allocatable_pixels(kLargestInt, 0), 0U);
}

TEST(ImageSize, NegativeSizesAreRefused) {
  EXPECT_FALSE(xrd::allocatable_pixels(-1, 5));
  EXPECT_FALSE(xrd::allocatable_pixels(5, -1));
  EXPECT_FALSE(xrd::allocatable_pixels(-5, -5));
  EXPECT_FALSE(xrd::allocatable_pixels(-1, 0));
  EXPECT_FALSE(xrd::allocatable_pixels(0, kSmallestInt));
  EXPECT_FALSE(xrd::allocatable_pixels(kSmallestInt, kSmallestInt));
}

TEST(ImageSize, SizesThatNoDetectorHasAreRefused) {
  EXPECT_EQ(xrd::allocatable_pixels(16384, 16384), 268435456U);
  EXPECT_EQ(xrd::allocatable_pixels(268435456, 1), 268435456U);
  EXPECT_FALSE(xrd::allocatable_pixels(268435457, 1));
  EXPECT_FALSE(xrd::allocatable_pixels(16385, 16384));
  EXPECT_FALSE(xrd::allocatable_pixels(30000, 30000));
}

TEST(ImageSize, ProductsThatOverflowAreRefused) {
  EXPECT_FALSE(xrd::allocatable_pixels(65536, 65536));  // 2^32: nothing is left of it in 32 bits
  EXPECT_FALSE(xrd::allocatable_pixels(65537, 65536));
  EXPECT_FALSE(xrd::allocatable_pixels(kLargestInt, 3));
  EXPECT_FALSE(xrd::allocatable_pixels(kLargestInt, kLargestInt));
}

TEST(ImageSize, CallersArrayHasWidthTimesHeightPixels) {
  EXPECT_EQ(xrd::caller_pixels(3, 4, 4), 12U);
  EXPECT_EQ(xrd::caller_pixels(1, 1, 2), 1U);
  EXPECT_EQ(xrd::caller_pixels(20000, 20000, 4), 400000000U);
}

TEST(ImageSize, CallersArrayIsEmptyWhenASideIsBelowOne) {
  EXPECT_EQ(xrd::caller_pixels(0, 4, 4), 0U);
  EXPECT_EQ(xrd::caller_pixels(4, 0, 4), 0U);
  EXPECT_EQ(xrd::caller_pixels(-3, 4, 4), 0U);
  EXPECT_EQ(xrd::caller_pixels(4, -3, 4), 0U);
  EXPECT_EQ(xrd::caller_pixels(-3, -4, 4), 0U);
  EXPECT_EQ(xrd::caller_pixels(kSmallestInt, kSmallestInt, 4), 0U);
}

TEST(ImageSize, CallersArrayIsEmptyWhenItsPixelsFitNoInt) {
  EXPECT_EQ(xrd::caller_pixels(46341, 46341, 1), 0U);  // just above 2^31
  EXPECT_EQ(xrd::caller_pixels(65536, 32768, 1), 0U);
  EXPECT_EQ(xrd::caller_pixels(65536, 65536, 1), 0U);
  EXPECT_EQ(xrd::caller_pixels(kLargestInt, kLargestInt, 1), 0U);
  EXPECT_EQ(xrd::caller_pixels(kLargestInt, 1, 1), 2147483647U);
}

TEST(ImageSize, CallersArrayIsEmptyWhenNoneCouldBeSoLarge) {
  // 2^29 - 1 four-byte pixels are the most that 31 bits hold.
  EXPECT_EQ(xrd::caller_pixels(536870911, 1, 4), 536870911U);
  EXPECT_EQ(xrd::caller_pixels(536870912, 1, 4), kLargestArray / 4 < 536870912U ? 0U : 536870912U);
}

TEST(ImageSize, CountsBelowZeroAreNone) {
  EXPECT_EQ(xrd::caller_pixels(-1), 0U);
  EXPECT_EQ(xrd::caller_pixels(kSmallestInt), 0U);
  EXPECT_EQ(xrd::caller_pixels(0), 0U);
  EXPECT_EQ(xrd::caller_pixels(7), 7U);
  EXPECT_EQ(xrd::caller_pixels(kLargestInt), 2147483647U);
}
