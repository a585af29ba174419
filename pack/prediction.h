// From differences to pixels.
#pragma once

#include <cstddef>
#include <cstdint>

namespace xrd {

// Restores img[first] to img[end - 1] of an image `width` pixels wide from their differences. Pixels before them are
// restored already. `differences` begins with that of img[first].
void restore_pixels(short* img, std::size_t width, std::size_t first, std::size_t end, const std::int32_t* differences);

// Rows that restore_band restores at a time.
inline constexpr std::size_t kBandRows = 4;

// Width from which on restore_band works.
inline constexpr std::size_t kNarrowestBand = 64;

// As restore_pixels does, kBandRows * width pixels from img[first] on, first > width; faster.
void restore_band(short* img, std::size_t width, std::size_t first, const std::int32_t* differences);

}  // namespace xrd
