#include "frames/operations.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <stdexcept>

#include "tests/frames/frame_of.h"
#include "tests/frames/mask.h"

namespace {

using frames::Flip;
using frames::Frame;
using test::frame_of;
using Counts = std::vector<std::uint32_t>;

Counts counts_of(const Frame& frame) {
  return {frame.counts.begin(), frame.counts.end()};
}

// The operation of this name with this value.
void apply(Frame& frame, const std::string& name, const std::string& value) {
  for (const frames::OperationOption& operation : frames::operations()) {
    if (operation.name == name) return operation.make(value)(frame);
  }
  FAIL() << name;
}

TEST(Operations, FlipExchangesTheSides) {
  Frame frame = frame_of(3, 2, {1, 2, 3, 4, 5, 6});
  frame.mask = test::unknown({true, false, false, false, false, false});
  frame.header.beam_centre = frames::Point{0, 1};
  frames::flip(frame, Flip::kHorizontal);
  EXPECT_EQ(counts_of(frame), (Counts{3, 2, 1, 6, 5, 4}));
  EXPECT_EQ(frame.mask, test::unknown({false, false, true, false, false, false}));
  EXPECT_EQ(frame.header.beam_centre->x, 2);
  EXPECT_EQ(frame.header.beam_centre->y, 1);
  frames::flip(frame, Flip::kVertical);
  EXPECT_EQ(counts_of(frame), (Counts{6, 5, 4, 3, 2, 1}));
  EXPECT_EQ(frame.mask, test::unknown({false, false, false, false, false, true}));
  EXPECT_EQ(frame.header.beam_centre->x, 2);
  EXPECT_EQ(frame.header.beam_centre->y, 0);
}

TEST(Operations, FitCutsAndPads) {
  Frame frame = frame_of(2, 2, {1, 2, 3, 4});
  frame.mask = test::unknown({false, false, true, false});
  frames::fit(frame, {3, 1});
  EXPECT_EQ(counts_of(frame), (Counts{1, 2, 0}));
  frame = frame_of(2, 2, {1, 2, 3, 4});
  frame.mask = test::unknown({false, false, true, false});
  frames::fit(frame, {1, 3});
  EXPECT_EQ(counts_of(frame), (Counts{1, 3, 0}));
  EXPECT_EQ(frame.mask, test::unknown({false, true, false}));
  EXPECT_THROW(frames::fit(frame, {65536, 65536}), std::runtime_error);
  EXPECT_EQ(counts_of(frame), (Counts{1, 3, 0}));
}

// A single bright pixel becomes the Gaussian's own weights, centred on it.
TEST(Smoothing, APointBecomesTheGaussian) {
  constexpr int kEdge = 41;
  constexpr double kCounts = 1e9;
  Counts counts(std::size_t{kEdge} * kEdge);
  counts[20 * kEdge + 20] = static_cast<std::uint32_t>(kCounts);
  Frame frame = frame_of(kEdge, kEdge, counts);
  frames::smooth(frame, 2, 1);
  const auto whole = [](double sigma) {
    double sum = 0;
    for (int i = -100; i <= 100; ++i) sum += std::exp(-0.5 * i * i / (sigma * sigma));
    return sum;
  };
  for (int y = 0; y < kEdge; ++y) {
    for (int x = 0; x < kEdge; ++x) {
      const double expected =
          kCounts * std::exp(-0.5 * ((x - 20) * (x - 20) / 4.0 + (y - 20) * (y - 20))) / (whole(2) * whole(1));
      // Beyond four standard deviations the kernel ends.
      ASSERT_NEAR(frame.counts[static_cast<std::size_t>(y * kEdge + x)], expected, kCounts * 3e-5) << x << "," << y;
    }
  }
}

TEST(Smoothing, NothingIsDarkenedOrCarriedAround) {
  Frame even = frame_of(7, 5, Counts(35, 1000));
  frames::smooth(even, 3, 3);
  EXPECT_EQ(even.width, 7);  // odd ones stay odd
  EXPECT_EQ(counts_of(even), Counts(35, 1000));
  Counts counts(100);
  counts[0] = 1000000;
  Frame corner = frame_of(100, 1, counts);
  frames::smooth(corner, 2, 2);
  EXPECT_GT(corner.counts[0], 0U);
  EXPECT_EQ(corner.counts[99], 0U);
}

TEST(Smoothing, NegativeCountsKeepTheirSign) {
  Frame frame = frame_of(3, 1, {static_cast<std::uint32_t>(-300), static_cast<std::uint32_t>(-300), 0}, true);
  frames::smooth(frame, 0.5, 0.5);
  EXPECT_TRUE(frame.is_signed);
  EXPECT_LT(frames::count_of(frame, 0), -290);
  EXPECT_LT(frames::count_of(frame, 2), 0);
}

TEST(Smoothing, UnknownPixelsHaveNoWeight) {
  Frame frame = frame_of(5, 1, {10, 10, 4000000000, 10, 10});
  frame.mask = test::unknown({false, false, true, false, false});
  frames::smooth(frame, 1, 1);
  EXPECT_EQ(frame.counts[1], 10U);
  EXPECT_EQ(frame.counts[3], 10U);
  EXPECT_TRUE(is_unknown(frame, 2));
}

TEST(Smoothing, WidthsAreAboveZeroAndOfTheFramesOrder) {
  Frame frame = frame_of(2, 1, {1, 2});
  for (const double sigma : {0.0, -1.0, std::nan(""), 1e9, std::numeric_limits<double>::infinity()}) {
    EXPECT_THROW(frames::smooth(frame, sigma, 1), std::runtime_error) << sigma;
    EXPECT_THROW(frames::smooth(frame, 1, sigma), std::runtime_error) << sigma;
  }
  EXPECT_EQ(counts_of(frame), (Counts{1, 2}));
}

TEST(Operations, ValuesAreCheckedBeforeAFrameIs) {
  for (const auto& [name, value] : {std::pair("bin", "0"),
                                    {"bin", "x"},
                                    {"bin", "99999999999"},
                                    {"log", "1"},
                                    {"crop", "1,2,3"},
                                    {"crop", "0,0,0,1"},
                                    {"flip", "sideways"},
                                    {"box", "1,1,1,1,1"},
                                    {"box", "1,1,1,1,1,1,0"},
                                    {"cross", "1"},
                                    {"cross", "1,1,-1"},
                                    {"smooth", "0"},
                                    {"fit", "3"}}) {
    Frame frame = frame_of(1, 1, {1});
    EXPECT_THROW(apply(frame, name, value), frames::InvalidValue) << name << " " << value;
  }
  Frame frame = frame_of(2, 1, {3, 5});
  apply(frame, "bin", "01");  // decimal, as all numbers are
  apply(frame, "flip", "horizontal");
  EXPECT_EQ(counts_of(frame), (Counts{5, 3}));
}

}  // namespace
