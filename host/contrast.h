// From counts to colours.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace host {

// The counts that are shown as the darkest and the brightest colour; those beyond look the same.
struct Contrast {
  std::int64_t low = 0;
  std::int64_t high = 1;
};

// The share of the pixels that the automatic contrast tells apart. The rest, bright spots, would leave the rings dark.
inline constexpr double kContrastShare = 0.995;

// From 0 to the count that the share of the pixels does not exceed, at least 1. Overflowed pixels are left out.
Contrast automatic_contrast(std::span<const unsigned int> pixels);

// The colour of a count, from 0 to colours - 1: the range is cut into as many equal pieces as there are colours.
constexpr std::uint8_t colour_of(std::int64_t count, const Contrast& contrast, std::size_t colours) {
  if (count <= contrast.low) return 0;
  if (count >= contrast.high) return static_cast<std::uint8_t>(colours - 1);
  const auto steps = static_cast<std::int64_t>(colours);
  return static_cast<std::uint8_t>((count - contrast.low) * steps / (contrast.high - contrast.low));
}

// One colour per pixel; the overflowed ones are the brightest.
std::vector<std::uint8_t> coloured(std::span<const unsigned int> pixels, const Contrast& contrast, std::size_t colours);

}  // namespace host
