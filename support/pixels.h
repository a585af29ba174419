// Sixteen-bit samples and the 32-bit pixels that they become.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <span>

#include "support/reading.h"

namespace xrd {

static_assert(std::endian::native == std::endian::little, "samples are taken in the processor's order");

// Reads up to `bytes` bytes to the beginning of `array`, whose values are not set yet; the rest of it becomes 0.
// Returns how many bytes were read.
template <typename T>
std::size_t read_zero_padded(std::span<T> array, std::size_t bytes, std::FILE* stream) {
  if (array.empty()) return 0;
  auto* first = reinterpret_cast<unsigned char*>(array.data());
  const std::size_t read = read_bytes(first, bytes, stream);
  std::memset(first + read, 0, array.size_bytes() - read);
  return read;
}

// The half of an array of 32-bit pixels from which widen_samples spreads as many 16-bit samples.
template <typename Pixel>
std::span<short> sample_half(std::span<Pixel> image) {
  static_assert(sizeof(Pixel) == 2 * sizeof(short));
  return {reinterpret_cast<short*>(image.data()) + image.size(), image.size()};
}

// Turns the samples in the array's upper half into its pixels, pixel = convert(unsigned 16-bit sample). No second array
// is needed: up to pixel i nothing is overwritten beyond sample i.
template <typename Pixel, typename Convert>
void widen_samples(std::span<Pixel> image, Convert convert) {
  // By way of a small buffer, so that the compiler sees that source and destination are apart.
  std::array<std::uint16_t, 256> samples;  // NOLINT: filled before it is read
  const auto* source = reinterpret_cast<const unsigned char*>(image.data()) + image.size() * sizeof(std::uint16_t);
  for (std::size_t first = 0; first < image.size(); first += samples.size()) {
    const std::size_t count = std::min(samples.size(), image.size() - first);
    std::memcpy(samples.data(), source + first * sizeof(std::uint16_t), count * sizeof(std::uint16_t));
    for (std::size_t i = 0; i < count; ++i) image[first + i] = convert(samples[i]);
  }
}

// Fills `image` with unsigned 16-bit samples, one per pixel. Pixels that a short stream lacks are zero.
inline void read_widened(std::span<unsigned int> image, std::FILE* stream) {
  const std::span<short> samples = sample_half(image);
  read_zero_padded(samples, samples.size_bytes(), stream);
  widen_samples(image, [](std::uint16_t sample) -> unsigned int { return sample; });
}

}  // namespace xrd
