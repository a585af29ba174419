#include "support/arithmetic.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kTwoTo63 = 9223372036854775808.0;

}  // namespace

TEST(Arithmetic, LowWordIsTruncatedTowardZero) {
  EXPECT_EQ(xrd::truncate_to_low_word(0.0), 0U);
  EXPECT_EQ(xrd::truncate_to_low_word(0.999), 0U);
  EXPECT_EQ(xrd::truncate_to_low_word(1.999), 1U);
  EXPECT_EQ(xrd::truncate_to_low_word(-0.999), 0U);
  EXPECT_EQ(xrd::truncate_to_low_word(-1.999), 0xFFFFFFFFU);
  EXPECT_EQ(xrd::truncate_to_low_word(-500.0), 0xFFFFFE0CU);
  EXPECT_EQ(xrd::truncate_to_low_word(4294967295.5), 0xFFFFFFFFU);
}

TEST(Arithmetic, LowWordKeepsTheLow32BitsOfLargerNumbers) {
  EXPECT_EQ(xrd::truncate_to_low_word(4294967296.0), 0U);
  EXPECT_EQ(xrd::truncate_to_low_word(4294967303.0), 7U);
  EXPECT_EQ(xrd::truncate_to_low_word(kTwoTo63 - 1024), 0xFFFFFC00U);
  EXPECT_EQ(xrd::truncate_to_low_word(-kTwoTo63 + 1024), 1024U);
}

TEST(Arithmetic, LowWordOfWhatFitsNo64BitIntegerIsZero) {
  EXPECT_EQ(xrd::truncate_to_low_word(kTwoTo63), 0U);
  EXPECT_EQ(xrd::truncate_to_low_word(-kTwoTo63), 0U);
  EXPECT_EQ(xrd::truncate_to_low_word(-kTwoTo63 - 2048), 0U);
  EXPECT_EQ(xrd::truncate_to_low_word(1e300), 0U);
  EXPECT_EQ(xrd::truncate_to_low_word(-1e300), 0U);
  EXPECT_EQ(xrd::truncate_to_low_word(kInfinity), 0U);
  EXPECT_EQ(xrd::truncate_to_low_word(-kInfinity), 0U);
  EXPECT_EQ(xrd::truncate_to_low_word(kNaN), 0U);
  EXPECT_EQ(xrd::truncate_to_low_word(std::numeric_limits<long double>::infinity()), 0U);
  EXPECT_EQ(xrd::truncate_to_low_word(std::numeric_limits<long double>::quiet_NaN()), 0U);
}

TEST(Arithmetic, LowWordHasAllBitsOfExtendedNumbers) {
  // 2^63 - 1 and its neighbours are numbers of the 64-bit mantissa, not of the 53-bit one.
  EXPECT_EQ(xrd::truncate_to_low_word(9223372036854775807.0L), 0xFFFFFFFFU);
  EXPECT_EQ(xrd::truncate_to_low_word(-9223372036854775807.0L), 1U);
  EXPECT_EQ(xrd::truncate_to_low_word(9223372036854775808.0L), 0U);
  EXPECT_EQ(xrd::truncate_to_low_word(9223372036854775809.0L), 0U);
}

TEST(Arithmetic, IntIsTruncatedTowardZero) {
  EXPECT_EQ(xrd::truncate_to_int(0.0), 0);
  EXPECT_EQ(xrd::truncate_to_int(12.9), 12);
  EXPECT_EQ(xrd::truncate_to_int(-12.9), -12);
  EXPECT_EQ(xrd::truncate_to_int(2147483647.9), 2147483647);
  EXPECT_EQ(xrd::truncate_to_int(-2147483647.9), -2147483647);
  EXPECT_EQ(xrd::truncate_to_int(-2147483648.9), std::numeric_limits<int>::min());
}

TEST(Arithmetic, IntOfWhatDoesNotFitIsTheSmallestOne) {
  constexpr int kSmallest = std::numeric_limits<int>::min();
  EXPECT_EQ(xrd::truncate_to_int(2147483648.0), kSmallest);
  EXPECT_EQ(xrd::truncate_to_int(-2147483649.0), kSmallest);
  EXPECT_EQ(xrd::truncate_to_int(1e300), kSmallest);
  EXPECT_EQ(xrd::truncate_to_int(kInfinity), kSmallest);
  EXPECT_EQ(xrd::truncate_to_int(-kInfinity), kSmallest);
  EXPECT_EQ(xrd::truncate_to_int(kNaN), kSmallest);
}

TEST(Arithmetic, QuotientsAreSignedAndTruncated) {
  EXPECT_EQ(xrd::signed_quotient(12000, 4), 3000U);
  EXPECT_EQ(xrd::signed_quotient(7, 2), 3U);
  EXPECT_EQ(xrd::signed_quotient(7, -2), 0xFFFFFFFDU);
  EXPECT_EQ(xrd::signed_quotient(0xFFFFFFF9U, 2), 0xFFFFFFFDU);  // -7 / 2 = -3
  EXPECT_EQ(xrd::signed_quotient(0xFFFFFFF9U, -2), 3U);
  EXPECT_EQ(xrd::signed_quotient(0x80000000U, 2), 0xC0000000U);
}

TEST(Arithmetic, DivisorZeroCountsAsOne) {
  EXPECT_EQ(xrd::signed_quotient(12000, 0), 12000U);
  EXPECT_EQ(xrd::signed_quotient(0x80000000U, 0), 0x80000000U);
  EXPECT_EQ(xrd::signed_quotient(0, 0), 0U);
}

TEST(Arithmetic, TheOneQuotientThatDoesNotFitWraps) {
  EXPECT_EQ(xrd::signed_quotient(0x80000000U, -1), 0x80000000U);
  EXPECT_EQ(xrd::signed_quotient(5, -1), 0xFFFFFFFBU);
  EXPECT_EQ(xrd::signed_quotient(0xFFFFFFFBU, -1), 5U);
}
