#include "host/contrast.h"

#include <algorithm>
#include <cmath>
#include <iterator>

#include "xrdimage.h"

namespace host {

Contrast automatic_contrast(std::span<const unsigned int> pixels) {
  std::vector<unsigned int> known;
  known.reserve(pixels.size());
  std::ranges::copy_if(pixels, std::back_inserter(known), [](unsigned int pixel) { return pixel != OVERFLOW_MARK; });
  if (known.empty()) return {};
  const auto rank = static_cast<std::ptrdiff_t>(std::ceil(kContrastShare * static_cast<double>(known.size()))) - 1;
  std::ranges::nth_element(known, known.begin() + rank);
  return {0, std::max(known[static_cast<std::size_t>(rank)], 1U)};
}

std::vector<std::uint8_t> coloured(std::span<const unsigned int> pixels, const Contrast& contrast,
                                   std::size_t colours) {
  std::vector<std::uint8_t> result(pixels.size());
  std::ranges::transform(pixels, result.begin(), [&](unsigned int pixel) {
    return pixel == OVERFLOW_MARK ? static_cast<std::uint8_t>(colours - 1) : colour_of(pixel, contrast, colours);
  });
  return result;
}

}  // namespace host
