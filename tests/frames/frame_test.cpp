#include "frames/frame.h"

#include <gtest/gtest.h>

#include "tests/frames/frame_of.h"
#include "tests/frames/mask.h"

namespace {

TEST(Frame, CountsOfSignedFormatsHaveASign) {
  const std::vector<std::uint32_t> bits{5, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF};
  const frames::Frame with_sign = test::frame_of(4, 1, bits, true);
  const frames::Frame natural = test::frame_of(4, 1, bits);
  EXPECT_EQ(count_of(with_sign, 0), 5);
  EXPECT_EQ(count_of(with_sign, 1), 2147483647);
  EXPECT_EQ(count_of(with_sign, 2), -2147483648LL);
  EXPECT_EQ(count_of(with_sign, 3), -1);
  EXPECT_EQ(count_of(natural, 2), 2147483648LL);
  EXPECT_EQ(count_of(natural, 3), 4294967295LL);
}

TEST(Frame, WithoutAMaskAllPixelsAreKnown) {
  frames::Frame frame = test::frame_of(2, 1, {1, 2});
  EXPECT_FALSE(is_unknown(frame, 1));
  frame.mask = test::unknown({false, true});
  EXPECT_FALSE(is_unknown(frame, 0));
  EXPECT_TRUE(is_unknown(frame, 1));
}

}  // namespace
