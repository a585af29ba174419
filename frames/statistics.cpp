#include "frames/statistics.h"

#include <algorithm>
#include <limits>

namespace frames {

namespace {

// Count is std::int32_t for signed frames, std::uint32_t for others. `is_known` is asked about every pixel.
template <typename Count, typename IsKnown>
Statistics gather(const Counts& counts, IsKnown is_known) {
  Statistics result;
  Count minimum = std::numeric_limits<Count>::max();
  Count maximum = std::numeric_limits<Count>::min();
  std::int64_t sum = 0;  // 2^28 pixels of 32 bits fit
  for (std::size_t i = 0; i < counts.size(); ++i) {
    if (!is_known(i)) continue;
    const auto count = static_cast<Count>(counts[i]);
    minimum = std::min(minimum, count);
    maximum = std::max(maximum, count);
    sum += count;
    ++result.known;
  }
  result.unknown = counts.size() - result.known;
  if (result.known > 0) {
    result.minimum = minimum;
    result.maximum = maximum;
    result.mean = static_cast<double>(sum) / static_cast<double>(result.known);
  }
  return result;
}

template <typename Count>
Statistics gather(const Frame& frame) {
  // Without a mask, the compiler vectorises the loop.
  if (frame.mask.empty()) return gather<Count>(frame.counts, [](std::size_t /*pixel*/) { return true; });
  return gather<Count>(frame.counts, [&](std::size_t pixel) { return !has_no_count(frame.mask[pixel]); });
}

}  // namespace

Statistics statistics_of(const Frame& frame) {
  return frame.is_signed ? gather<std::int32_t>(frame) : gather<std::uint32_t>(frame);
}

}  // namespace frames
