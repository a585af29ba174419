#include "host/statistics.h"

#include <algorithm>
#include <cstdint>
#include <limits>

#include "xrdimage.h"

namespace host {

Statistics statistics_of(std::span<const unsigned int> pixels) {
  Statistics result;
  unsigned int minimum = std::numeric_limits<unsigned int>::max();
  std::uint64_t sum = 0;
  for (const unsigned int pixel : pixels) {
    if (pixel == OVERFLOW_MARK) {
      ++result.overflowed;
      continue;
    }
    minimum = std::min(minimum, pixel);
    result.maximum = std::max(result.maximum, pixel);
    sum += pixel;
  }
  result.known = pixels.size() - result.overflowed;
  if (result.known > 0) {
    result.minimum = minimum;
    result.mean = static_cast<double>(sum) / static_cast<double>(result.known);
  }
  return result;
}

}  // namespace host
