#include "frames/synthetic_frame.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace {

using frames::make_synthetic_frame;
using frames::Mar345Frame;

TEST(SyntheticFrame, TheSeedDecidesTheCounts) {
  const Mar345Frame frame = make_synthetic_frame(100, 5);
  EXPECT_EQ(frame.counts.size(), 10000U);
  EXPECT_EQ(frame.counts, make_synthetic_frame(100, 5).counts);
  EXPECT_NE(frame.counts, make_synthetic_frame(100, 6).counts);
}

TEST(SyntheticFrame, EverySeedGivesOverflowedAndSaturatedPixels) {
  for (const int size : {64, 300}) {
    for (std::uint64_t seed = 0; seed < 10; ++seed) {
      const Mar345Frame frame = make_synthetic_frame(size, seed);
      const auto saturated = std::ranges::count_if(frame.counts, [](std::uint32_t count) { return count >= 256000; });
      const auto overflowed = std::ranges::count_if(frame.counts, [](std::uint32_t count) { return count > 65535; });
      EXPECT_GT(saturated, 0) << "size " << size << " seed " << seed;
      EXPECT_GT(overflowed, saturated + 3) << "size " << size << " seed " << seed;
      EXPECT_LT(overflowed, frame.size * frame.size / 50) << "size " << size << " seed " << seed;
      EXPECT_LE(std::ranges::max(frame.counts), 262143U);
    }
  }
}

class SyntheticFrameOfFullSize : public testing::Test {
 protected:
  // The mean along the part of a circle around the centre that is upwards, where the beam stop is not. Spots are cut.
  double mean_at(double millimetres) const {
    double sum = 0;
    const double radius = millimetres * 1000 / frame_.pixel_length.value();
    const int steps = 400;
    for (int i = 0; i < steps; ++i) {
      const double angle = 3.2 + 2.9 * i / steps;
      sum += std::min(at(frame_.size / 2.0 + radius * std::cos(angle), frame_.size / 2.0 + radius * std::sin(angle)),
                      3000U);
    }
    return sum / steps;
  }

  std::uint32_t at(double x, double y) const {
    return frame_.counts.at(static_cast<std::size_t>(y) * static_cast<std::size_t>(frame_.size) +
                            static_cast<std::size_t>(x));
  }

  Mar345Frame frame_ = make_synthetic_frame(1150, 1);
};

TEST_F(SyntheticFrameOfFullSize, RingsLieWhereTheHeaderPutsThem) {
  // The strongest reflection, of 2.9394 angstrom.
  const double radius = frame_.distance.value() * std::tan(2 * std::asin(frame_.wavelength.value() / 2 / 2.9394));
  EXPECT_NEAR(radius, 70.5, 0.5);
  EXPECT_GT(mean_at(radius), 5 * mean_at(radius - 3));
  EXPECT_GT(mean_at(radius), 5 * mean_at(radius + 3));
}

TEST_F(SyntheticFrameOfFullSize, CornersLieOutsideThePlate) {
  EXPECT_EQ(at(0, 0), 0U);
  EXPECT_EQ(at(1149, 0), 0U);
  EXPECT_EQ(at(0, 1149), 0U);
  EXPECT_EQ(at(1149, 1149), 0U);
  EXPECT_GT(at(575, 1), 0U);
}

TEST_F(SyntheticFrameOfFullSize, BeamStopThrowsAShadow) {
  EXPECT_LT(at(575, 575), 15U);
  EXPECT_LT(at(575, 900), 15U);
  EXPECT_GT(mean_at(8), 60);
}

TEST_F(SyntheticFrameOfFullSize, NoiseGrowsAsTheRootOfTheCounts) {
  // Where the background is flat: near the plate's edge, between two rings. Pixels of a spot are left out.
  double sum = 0;
  double squares = 0;
  int pixels = 0;
  for (int x = 545; x < 605; ++x) {
    for (int y = 72; y < 80; ++y) {
      const double count = at(x, y);
      if (count > 70) continue;
      ++pixels;
      sum += count;
      squares += count * count;
    }
  }
  EXPECT_GT(pixels, 400);
  const double mean = sum / pixels;
  const double variance = squares / pixels - mean * mean;
  EXPECT_NEAR(mean, 28, 2);
  EXPECT_NEAR(variance / mean, 1, 0.25);
}

}  // namespace
