// Image sizes, computed once and checked.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>

namespace xrd {

// No detector reaches this (16384 x 16384 pixels, 1 GiB of Daten); a header that claims more is damaged.
inline constexpr std::size_t kMaxPixels = std::size_t{1} << 28;

// width x height for an image that is to be allocated. Nothing for an invalid size: negative, or above
// kMaxPixels. Zero is a size.
constexpr std::optional<std::size_t> allocatable_pixels(int width, int height) {
  if (width < 0 || height < 0) return std::nullopt;
  const auto pixels = static_cast<std::uint64_t>(width) * static_cast<std::uint64_t>(height);
  if (pixels > kMaxPixels) return std::nullopt;
  return static_cast<std::size_t>(pixels);
}

// width x height for an array of `bytes_per_pixel` that the caller passes. Zero if either is below 1, if the
// product does not fit an int, or if no array could be that large.
constexpr std::size_t caller_pixels(int width, int height, std::size_t bytes_per_pixel) {
  if (width < 1 || height < 1) return 0;
  const auto pixels = static_cast<std::uint64_t>(width) * static_cast<std::uint64_t>(height);
  constexpr std::uint64_t kLargestCount = std::numeric_limits<int>::max();
  constexpr std::uint64_t kLargestArray = std::numeric_limits<std::ptrdiff_t>::max();
  return pixels > std::min(kLargestCount, kLargestArray / bytes_per_pixel) ? 0 : static_cast<std::size_t>(pixels);
}

// The same for a count of pixels; negative counts give 0.
constexpr std::size_t caller_pixels(int count) {
  return count < 0 ? 0 : static_cast<std::size_t>(count);
}

}  // namespace xrd
