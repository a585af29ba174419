#include "frames/statistics.h"

#include <gtest/gtest.h>

#include <vector>

#include "tests/frames/frame_of.h"
#include "tests/frames/mask.h"

namespace {

using frames::Statistics;
using frames::statistics_of;

frames::Frame row_of(const std::vector<std::uint32_t>& counts) {
  return test::frame_of(static_cast<int>(counts.size()), 1, counts);
}

TEST(Statistics, UnknownPixelsAreCountedAndLeftOut) {
  frames::Frame frame = row_of({4, 1, 9, 2, 1000});
  frame.mask = test::unknown({false, true, false, false, true});
  const Statistics result = statistics_of(frame);
  EXPECT_EQ(result.minimum, 2);
  EXPECT_EQ(result.maximum, 9);
  EXPECT_DOUBLE_EQ(result.mean, 5);
  EXPECT_EQ(result.known, 3U);
  EXPECT_EQ(result.unknown, 2U);
}

TEST(Statistics, SumsDoNotOverflow) {
  const Statistics result = statistics_of(row_of(std::vector<std::uint32_t>(1000, 0xFFFFFFFF)));
  EXPECT_EQ(result.minimum, 0xFFFFFFFFLL);
  EXPECT_DOUBLE_EQ(result.mean, 4294967295.0);
}

TEST(Statistics, SignedCountsMayBeNegative) {
  frames::Frame frame = row_of({0xFFFFFFFE, 3, 0x80000000});
  frame.is_signed = true;
  const Statistics result = statistics_of(frame);
  EXPECT_EQ(result.minimum, -2147483648LL);
  EXPECT_EQ(result.maximum, 3);
  EXPECT_DOUBLE_EQ(result.mean, (-2.0 + 3.0 - 2147483648.0) / 3);
}

TEST(Statistics, NothingIsKnownOfUnknownPixelsAlone) {
  frames::Frame frame = row_of({7, 7, 7});
  frame.mask = test::unknown({true, true, true});
  const Statistics result = statistics_of(frame);
  EXPECT_EQ(result.known, 0U);
  EXPECT_EQ(result.unknown, 3U);
}

}  // namespace
