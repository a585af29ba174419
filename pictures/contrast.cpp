#include "pictures/contrast.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <numeric>

namespace pictures {

namespace {

// Counts as unsigned numbers that sort alike: `bits ^ flip`, which stand for `bits ^ flip` + first.
struct Order {
  std::uint32_t flip;
  std::int64_t first;
};

Order order_of(const frames::Frame& frame) {
  return frame.is_signed ? Order{0x80000000, -0x80000000LL} : Order{0, 0};
}

// The number of counts for each value of the upper or lower 16 bits.
constexpr std::size_t kHalves = 65536;
using Histogram = std::vector<std::uint32_t>;

Histogram upper_halves(const frames::Frame& frame, const Order& order) {
  // Neighbours have the same half: in tables of their own, they do not wait for each other's increments.
  constexpr std::size_t kTables = 4;
  std::vector<std::uint32_t> tables(kTables * kHalves);
  const std::uint32_t* counts = frame.counts.data();
  const std::size_t size = frame.counts.size();
  std::size_t i = 0;
  for (; i + kTables <= size; i += kTables) {
    for (std::size_t t = 0; t < kTables; ++t) ++tables[t * kHalves + ((counts[i + t] ^ order.flip) >> 16)];
  }
  for (; i < size; ++i) ++tables[(counts[i] ^ order.flip) >> 16];
  for (i = 0; i < frame.mask.size(); ++i) {
    if (frames::has_no_count(frame.mask[i])) --tables[(counts[i] ^ order.flip) >> 16];  // may wrap, the sum does not
  }
  Histogram sums(kHalves);
  for (std::size_t half = 0; half < kHalves; ++half) {
    for (std::size_t t = 0; t < kTables; ++t) sums[half] += tables[t * kHalves + half];
  }
  return sums;
}

// For the counts with this upper half.
Histogram lower_halves(const frames::Frame& frame, const Order& order, std::uint32_t upper) {
  Histogram sums(kHalves);
  for (const std::uint32_t bits : frame.counts) {
    const std::uint32_t key = bits ^ order.flip;
    if (key >> 16 == upper) ++sums[key & 0xFFFF];
  }
  for (std::size_t i = 0; i < frame.mask.size(); ++i) {
    const std::uint32_t key = frame.counts[i] ^ order.flip;
    if (frames::has_no_count(frame.mask[i]) && key >> 16 == upper) --sums[key & 0xFFFF];
  }
  return sums;
}

struct Place {
  std::uint32_t half;
  std::uint64_t rank;  // among those of this half, from 1
};

Place place_of(std::uint64_t rank, const Histogram& histogram) {
  std::uint32_t half = 0;
  while (rank > histogram[half]) rank -= histogram[half++];
  return {half, rank};
}

std::uint64_t rank_of(std::uint64_t permille, std::uint64_t pixels) {
  return std::max<std::uint64_t>((pixels * permille + 999) / 1000, 1);
}

// Levels go up at `thresholds`, so that a level is found without a logarithm. Positions, counted from the range's low
// end, are looked up by their exponent and the first bits behind it: up to 4096 each has an entry of its own, and
// beyond that an entry is too narrow for more than one threshold. Entries are of their first positions.
class LevelTable {
 public:
  LevelTable(const CountRange& range, Scale scale, int levels) {
    for (int level = 1; level < levels; ++level) thresholds_.push_back(threshold(level, range, scale, levels));
    thresholds_.push_back(range.high - range.low + 1);
    entries_.resize(entry_of(range.high - range.low) + 1);
    std::uint8_t level = 0;
    for (std::size_t entry = 0; entry < entries_.size(); ++entry) {
      while (static_cast<double>(thresholds_[level]) <= first_position(entry)) ++level;
      entries_[entry] = level;
    }
  }

  std::uint8_t operator[](std::int64_t position) const {
    const std::uint8_t level = entries_[entry_of(position)];
    return static_cast<std::uint8_t>(level + (position >= thresholds_[level] ? 1 : 0));
  }

 private:
  static constexpr int kShift = 52 - 11;
  static constexpr std::uint64_t kFirst = std::bit_cast<std::uint64_t>(1.0) >> kShift;

  static std::size_t entry_of(std::int64_t position) {
    return static_cast<std::size_t>((std::bit_cast<std::uint64_t>(static_cast<double>(position + 1)) >> kShift) -
                                    kFirst);
  }
  static double first_position(std::size_t entry) { return std::bit_cast<double>((entry + kFirst) << kShift) - 1.0; }

  // The first position of at least this level.
  static std::int64_t threshold(int level, const CountRange& range, Scale scale, int levels) {
    std::int64_t below = 0;
    std::int64_t there = range.high - range.low;
    while (there - below > 1) {
      const std::int64_t middle = below + (there - below) / 2;
      (level_of(range.low + middle, range, scale, levels) >= level ? there : below) = middle;
    }
    return there;
  }

  std::vector<std::int64_t> thresholds_;  // of level + 1; the last level has one that is never reached
  std::vector<std::uint8_t> entries_;
};

}  // namespace

CountRange automatic_range(const frames::Frame& frame) {
  const Order order = order_of(frame);
  const Histogram upper = upper_halves(frame, order);
  const auto known = std::accumulate(upper.begin(), upper.end(), std::uint64_t{0});
  if (known == 0) return {};
  const Place low_place = place_of(rank_of(10, known), upper);
  const Place high_place = place_of(rank_of(995, known), upper);
  Histogram lower = lower_halves(frame, order, low_place.half);
  const std::uint32_t low = place_of(low_place.rank, lower).half;
  if (high_place.half != low_place.half) lower = lower_halves(frame, order, high_place.half);
  const std::uint32_t high = place_of(high_place.rank, lower).half;

  CountRange range;
  range.low = order.first + (std::int64_t{low_place.half} << 16) + low;
  range.high = order.first + (std::int64_t{high_place.half} << 16) + high;
  range.high = std::max(range.high, range.low + 1);
  return range;
}

double share_of(std::int64_t count, const CountRange& range, Scale scale) {
  const auto width = static_cast<double>(range.high - range.low);
  const double t = static_cast<double>(std::clamp(count, range.low, range.high) - range.low) / width;
  switch (scale) {
    case Scale::kSqrt:
      return std::sqrt(t);
    case Scale::kLog:
      return std::log1p(t * width) / std::log1p(width);
    default:
      return t;
  }
}

int level_of(std::int64_t count, const CountRange& range, Scale scale, int levels) {
  return std::min(static_cast<int>(share_of(count, range, scale) * levels), levels - 1);
}

std::int64_t middle_count(const CountRange& range, Scale scale) {
  const auto width = static_cast<double>(range.high - range.low);
  switch (scale) {
    case Scale::kSqrt:
      return range.low + std::llround(width / 4.0);
    case Scale::kLog:
      return range.low + std::llround(std::expm1(std::log1p(width) / 2.0));
    default:
      return range.low + std::llround(width / 2.0);
  }
}

std::vector<std::uint8_t> levels_of(const frames::Frame& frame, const CountRange& range, Scale scale, int levels,
                                    std::uint8_t unknown) {
  const LevelTable table(range, scale, levels);
  const Order order = order_of(frame);
  const std::int64_t low = range.low - order.first;
  const std::int64_t high = range.high - order.first;
  std::vector<std::uint8_t> result(frame.counts.size());
  std::ranges::transform(frame.counts, result.begin(), [&](std::uint32_t bits) {
    return table[std::clamp(std::int64_t{bits ^ order.flip}, low, high) - low];
  });
  for (std::size_t i = 0; i < frame.mask.size(); ++i) {
    if (frames::has_no_count(frame.mask[i])) result[i] = unknown;
  }
  return result;
}

}  // namespace pictures
