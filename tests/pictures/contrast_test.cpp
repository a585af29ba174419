#include "pictures/contrast.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numeric>
#include <random>

#include "tests/frames/mask.h"
#include "tests/pictures/frames_and_pixels.h"

namespace {

using pictures::automatic_range;
using pictures::CountRange;
using pictures::Scale;
using test::frame_of;
using Levels = std::vector<std::uint8_t>;

constexpr Scale kScales[]{Scale::kLinear, Scale::kSqrt, Scale::kLog};

TEST(AutomaticRange, IsFromThe1ToThe995PercentileByRank) {
  std::vector<std::uint32_t> counts(1000);
  std::iota(counts.rbegin(), counts.rend(), 1);  // the count of rank r is r
  EXPECT_EQ(automatic_range(frame_of(1000, 1, counts)).low, 10);
  EXPECT_EQ(automatic_range(frame_of(1000, 1, counts)).high, 995);
  counts.resize(950);  // 1000 to 51: ranks 9.5 and 945.25 become 10 and 946
  EXPECT_EQ(automatic_range(frame_of(950, 1, counts)).low, 60);
  EXPECT_EQ(automatic_range(frame_of(950, 1, counts)).high, 996);
}

TEST(AutomaticRange, IsWhatSortingFinds) {
  std::mt19937 random(1);
  for (const bool is_signed : {false, true}) {
    for (const int bits : {4, 15, 17, 24, 32}) {
      frames::Frame frame = test::empty_frame(113, 61);
      frame.is_signed = is_signed;
      frame.mask.resize(frame.counts.size());
      std::vector<std::int64_t> sorted;
      for (std::size_t i = 0; i < frame.counts.size(); ++i) {
        std::uint32_t count = static_cast<std::uint32_t>(random()) >> (32 - bits);
        if (is_signed && random() % 2 == 0) count = 0U - count;
        frame.counts[i] = count;
        frame.mask[i] = random() % 5 == 0 ? frames::kUnknown : 0;
        if (!is_unknown(frame, i)) sorted.push_back(is_signed ? static_cast<std::int32_t>(count) : std::int64_t{count});
      }
      std::ranges::sort(sorted);
      const auto rank = [&](double share) {
        return static_cast<std::size_t>(std::ceil(share * static_cast<double>(sorted.size()) - 1e-6)) - 1;
      };
      const CountRange range = automatic_range(frame);
      EXPECT_EQ(range.low, sorted[rank(0.01)]) << is_signed << bits;
      EXPECT_EQ(range.high, sorted[rank(0.995)]) << is_signed << bits;
    }
  }
}

TEST(AutomaticRange, IsNeverEmpty) {
  EXPECT_EQ(automatic_range(frame_of(2, 2, {7, 7, 7, 7})).low, 7);
  EXPECT_EQ(automatic_range(frame_of(2, 2, {7, 7, 7, 7})).high, 8);
  frames::Frame frame = frame_of(2, 1, {5, 9});
  frame.mask = test::unknown({true, true});
  EXPECT_EQ(automatic_range(frame).low, 0);
  EXPECT_EQ(automatic_range(frame).high, 1);
}

TEST(Levels, CutTheRangeIntoEqualPieces) {
  // 0-8 in four levels: two counts each, and the end belongs to the last.
  EXPECT_EQ(pictures::levels_of(frame_of(10, 1, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9}), {0, 8}, Scale::kLinear, 4, 99),
            (Levels{0, 0, 1, 1, 2, 2, 3, 3, 3, 3}));
}

TEST(Levels, FollowTheSquareRoot) {
  // sqrt(t) passes 1/4, 2/4 and 3/4 at 1, 4 and 9 of 16.
  EXPECT_EQ(pictures::levels_of(frame_of(8, 1, {0, 1, 3, 4, 8, 9, 15, 16}), {0, 16}, Scale::kSqrt, 4, 99),
            (Levels{0, 1, 1, 2, 2, 3, 3, 3}));
}

TEST(Levels, FollowTheLogarithm) {
  // log(1 + n) / log(256) passes 1/8 at n = 1, 2/8 at 3, 4/8 at 15; 100 is low.
  EXPECT_EQ(
      pictures::levels_of(frame_of(8, 1, {90, 100, 101, 102, 104, 114, 116, 400}), {100, 355}, Scale::kLog, 8, 99)[0],
      0);
  const Levels levels =
      pictures::levels_of(frame_of(7, 1, {90, 100, 102, 104, 114, 116, 400}), {100, 355}, Scale::kLog, 8, 99);
  EXPECT_EQ(levels, (Levels{0, 0, 1, 2, 3, 4, 7}));
}

TEST(Levels, OfUnknownPixelsAreTheirOwn) {
  frames::Frame frame = frame_of(3, 1, {0, 5, 9});
  frame.mask = test::unknown({false, true, false});
  EXPECT_EQ(pictures::levels_of(frame, {0, 9}, Scale::kLinear, 10, 99), (Levels{0, 99, 9}));
}

TEST(Levels, OfNegativeCountsAreInTheirPlace) {
  frames::Frame frame = frame_of(4, 1, {0x80000000, 0xFFFFFFFF, 0, 0x7FFFFFFF});
  frame.is_signed = true;
  EXPECT_EQ(pictures::levels_of(frame, {-2, 2}, Scale::kLinear, 4, 99), (Levels{0, 1, 2, 3}));
}

// Each pixel against the formula, written once more: around every place where the level may change.
TEST(Levels, AreThoseOfTheFormulaForEveryCount) {
  for (const CountRange range : {CountRange{0, 1}, CountRange{3, 12}, CountRange{-7, 300}, CountRange{0, 4097},
                                 CountRange{10, 65545}, CountRange{-100, 70000}, CountRange{0, 3000000},
                                 CountRange{0, 0xFFFFFFFFLL}, CountRange{-0x80000000LL, 0xFFFFFFFFLL}}) {
    std::vector<std::uint32_t> counts;
    const std::int64_t width = range.high - range.low;
    const std::int64_t step = std::max<std::int64_t>(width / 60000, 1);
    std::mt19937_64 random(2);
    const auto add = [&](std::int64_t count) {
      if (count >= 0 && count <= 0xFFFFFFFFLL) counts.push_back(static_cast<std::uint32_t>(count));
    };
    for (std::int64_t count = range.low - 2; count <= range.high + 2; count += step) {
      add(count + static_cast<std::int64_t>(random() % static_cast<std::uint64_t>(step)));
    }
    for (int count = 0; count < 20000; ++count) add(range.low + count);
    for (int level = 0; level <= 253; ++level) {
      const double t = level / 253.0;
      for (const double share : {t, t * t, std::expm1(t * std::log1p(width)) / static_cast<double>(width)}) {
        for (int beside = -2; beside <= 2; ++beside)
          add(range.low + std::llround(share * static_cast<double>(width)) + beside);
      }
    }
    const frames::Frame frame = frame_of(static_cast<int>(counts.size()), 1, counts);
    for (const Scale scale : kScales) {
      for (const int levels : {4, 253, 255}) {
        const Levels found = pictures::levels_of(frame, range, scale, levels, 99);
        std::size_t wrong = 0;
        for (std::size_t i = 0; i < counts.size(); ++i) {
          const auto width_d = static_cast<double>(width);
          const double t = std::clamp(static_cast<double>(std::int64_t{counts[i]} - range.low) / width_d, 0.0, 1.0);
          double f = t;
          if (scale == Scale::kSqrt) f = std::sqrt(t);
          if (scale == Scale::kLog) f = std::log1p(t * width_d) / std::log1p(width_d);
          if (found[i] != std::min(static_cast<int>(std::floor(f * levels)), levels - 1)) ++wrong;
        }
        EXPECT_EQ(wrong, 0U) << range.low << "-" << range.high << " in " << levels;
      }
    }
  }
}

TEST(Levels, HaveAMiddleCount) {
  EXPECT_EQ(pictures::middle_count({100, 500}, Scale::kLinear), 300);
  EXPECT_EQ(pictures::middle_count({100, 500}, Scale::kSqrt), 200);
  EXPECT_EQ(pictures::middle_count({100, 355}, Scale::kLog), 115);  // 1 + 15 is the root of 1 + 255
}

}  // namespace
