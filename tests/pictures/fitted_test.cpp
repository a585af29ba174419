#include "pictures/fitted.h"

#include <gtest/gtest.h>

#include "tests/frames/mask.h"
#include "tests/pictures/frames_and_pixels.h"

namespace {

using Counts = std::vector<std::uint32_t>;
using pictures::fitted;
using test::frame_of;

TEST(Fitted, BlocksBecomeTheirMeans) {
  const frames::Frame frame = fitted(frame_of(4, 2, {1, 2, 10, 20, 3, 5, 30, 43}), {2, 2});
  EXPECT_EQ(frame.width, 2);
  EXPECT_EQ(frame.height, 1);
  EXPECT_TRUE(frame.counts == Counts({3, 26}));  // 2.75 and 25.75
}

TEST(Fitted, TheLastBlocksMayBeSmaller) {
  const frames::Frame frame = fitted(frame_of(3, 3, {2, 4, 5, 6, 8, 7, 1, 3, 9}), {2, 2});
  EXPECT_EQ(frame.width, 2);
  EXPECT_EQ(frame.height, 2);
  EXPECT_TRUE(frame.counts == Counts({5, 6, 2, 9}));
}

TEST(Fitted, MeansAreOfKnownCounts) {
  frames::Frame frame = frame_of(4, 2, {1, 2, 10, 20, 3, 5, 30, 43});
  frame.mask = test::unknown({false, true, true, true, false, true, true, true});
  const frames::Frame result = fitted(frame, {2, 2});
  EXPECT_EQ(result.counts[0], 2U);
  EXPECT_EQ(result.mask, test::unknown({false, true}));
}

TEST(Fitted, NegativeCountsHaveNegativeMeans) {
  frames::Frame frame = frame_of(2, 2, {0xFFFFFFFF, 0xFFFFFFFD, 0, 0});
  frame.is_signed = true;
  const frames::Frame result = fitted(frame, {1, 1});
  EXPECT_TRUE(result.is_signed);
  EXPECT_TRUE(result.counts == Counts({0xFFFFFFFF}));
}

TEST(Fitted, SmallFramesGrowByAWholeFactor) {
  frames::Frame frame = frame_of(2, 1, {1, 2});
  frame.mask = test::unknown({false, true});
  const frames::Frame result = fitted(frame, {5, 4});
  EXPECT_EQ(result.width, 4);
  EXPECT_EQ(result.height, 2);
  EXPECT_TRUE(result.counts == Counts({1, 1, 2, 2, 1, 1, 2, 2}));
  EXPECT_EQ(result.mask, test::unknown({false, false, true, true, false, false, true, true}));
}

TEST(Fitted, HighPixelsTakeTwiceTheRows) {
  const frames::Frame reduced = fitted(test::empty_frame(40, 40), {10, 10, 2});
  EXPECT_EQ(reduced.width, 10);
  EXPECT_EQ(reduced.height, 5);
  const frames::Frame enlarged = fitted(test::empty_frame(2, 2), {8, 8, 2});
  EXPECT_EQ(enlarged.width, 8);
  EXPECT_EQ(enlarged.height, 4);
}

TEST(Fitted, TheGeometryStaysTrue) {
  frames::Frame frame = test::empty_frame(8, 8);
  frame.header.pixel_size = frames::Point{0.1, 0.2};
  frame.header.beam_centre = frames::Point{1.5, 5.5};  // in the middle of the blocks (0, 1) of 4 x 4 pixels
  const frames::Frame reduced = fitted(frame, {2, 2});
  EXPECT_DOUBLE_EQ(reduced.header.pixel_size->x, 0.4);
  EXPECT_DOUBLE_EQ(reduced.header.pixel_size->y, 0.8);
  EXPECT_DOUBLE_EQ(reduced.header.beam_centre->x, 0.0);
  EXPECT_DOUBLE_EQ(reduced.header.beam_centre->y, 1.0);
  const frames::Frame enlarged = fitted(frame, {16, 16});
  EXPECT_DOUBLE_EQ(enlarged.header.pixel_size->y, 0.1);
  EXPECT_DOUBLE_EQ(enlarged.header.beam_centre->x, 3.5);
}

TEST(Fitted, TheSmallestRoomHoldsAPixel) {
  const frames::Frame frame = fitted(test::empty_frame(7, 9), {0, -3});
  EXPECT_EQ(frame.width, 1);
  EXPECT_EQ(frame.height, 1);
}

}  // namespace
