#include "host/statistics.h"

#include <gtest/gtest.h>

#include <vector>

#include "xrdimage.h"

namespace {

using host::Statistics;
using host::statistics_of;

TEST(Statistics, OverflowedPixelsAreCountedAndLeftOut) {
  const Statistics result = statistics_of(std::vector<unsigned>{4, OVERFLOW_MARK, 9, 2, OVERFLOW_MARK});
  EXPECT_EQ(result.minimum, 2U);
  EXPECT_EQ(result.maximum, 9U);
  EXPECT_DOUBLE_EQ(result.mean, 5);
  EXPECT_EQ(result.known, 3U);
  EXPECT_EQ(result.overflowed, 2U);
}

TEST(Statistics, SumsDoNotOverflow) {
  const Statistics result = statistics_of(std::vector<unsigned>(1000, 0xFFFFFFFF));
  EXPECT_EQ(result.minimum, 0xFFFFFFFF);
  EXPECT_DOUBLE_EQ(result.mean, 4294967295.0);
}

TEST(Statistics, NothingIsKnownOfOverflowedPixelsAlone) {
  const Statistics result = statistics_of(std::vector<unsigned>(3, OVERFLOW_MARK));
  EXPECT_EQ(result.known, 0U);
  EXPECT_EQ(result.overflowed, 3U);
}

}  // namespace
