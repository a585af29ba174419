// Pixel blocks from a stream.
#pragma once

#include <bit>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <span>

namespace xrd {

static_assert(std::endian::native == std::endian::little, "pixels are read in the processor's order");

// Fills the zeroed `image` with unsigned 16-bit samples, one to a pixel. What a short stream lacks stays zero.
//
// The samples are read in one block into the image's upper half and spread out from there: pixel i overwrites nothing
// beyond sample i itself, which has been taken by then.
inline void read_widened(std::span<unsigned int> image, std::FILE* stream) {
  auto* samples = reinterpret_cast<unsigned char*>(image.data()) + image.size() * sizeof(std::uint16_t);
  static_cast<void>(std::fread(samples, 1, image.size() * sizeof(std::uint16_t), stream));
  for (std::size_t i = 0; i < image.size(); ++i) {
    std::uint16_t sample = 0;
    std::memcpy(&sample, samples + i * sizeof sample, sizeof sample);
    image[i] = sample;
  }
}

}  // namespace xrd
