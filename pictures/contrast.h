// From counts to levels: 0 for the faintest, one colour each.
#pragma once

#include <cstdint>
#include <vector>

#include "frames/frame.h"

namespace pictures {

// The counts of the first and the last level; counts beyond look the same.
struct CountRange {
  std::int64_t low = 0;
  std::int64_t high = 1;
};

enum class Scale { kLinear, kSqrt, kLog };

// From the 1 % to the 99.5 % percentile of the known counts: bright spots and dead pixels would leave the rings dark.
// The percentile of a share is the count of rank ceil(share * known pixels), at least 1, among the sorted ones. The
// range is never empty: high is at least low + 1.
CountRange automatic_range(const frames::Frame& frame);

// How far a count is on its way through the range, from 0 to 1. With t = (count - low) / (high - low), limited to 0
// to 1, that is t, sqrt(t), or log1p(t * (high - low)) / log1p(high - low).
double share_of(std::int64_t count, const CountRange& range, Scale scale);

// floor(share * levels), at most levels - 1.
int level_of(std::int64_t count, const CountRange& range, Scale scale, int levels);

// The count in the middle of the levels.
std::int64_t middle_count(const CountRange& range, Scale scale);

// The level of each pixel, as level_of() gives it, or `unknown`. At most 256 levels.
std::vector<std::uint8_t> levels_of(const frames::Frame& frame, const CountRange& range, Scale scale, int levels,
                                    std::uint8_t unknown);

}  // namespace pictures
