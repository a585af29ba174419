// What the decoder and the encoder of the CCP4 packed format share.
#pragma once

#include <array>
#include <cstdint>
#include <span>

namespace xrd {

// The header line, given the format of its two numbers; it is between line feeds.
#define XRD_PACKED_TITLE "CCP4 packed image"
#define XRD_PACKED_LINE(number) XRD_PACKED_TITLE ", X: " number ", Y: " number

// Chunk header: the base-2 logarithm of the number of differences, then the code of their width, three bits each.
inline constexpr int kChunkCodeBits = 3;
inline constexpr int kChunkHeaderBits = 6;
inline constexpr int kLargestChunk = 128;

// Width in bits of a difference field, by its code.
inline constexpr std::array<int, 8> kFieldBits{0, 4, 5, 6, 7, 8, 16, 32};

// The code of a width; 0 for widths without a code.
constexpr unsigned field_code(int bits) {
  for (unsigned code = 1; code < kFieldBits.size(); ++code) {
    if (kFieldBits[code] == bits) return code;
  }
  return 0;
}

// The `bits` lowest bits set; 0 to 32.
constexpr std::uint32_t low_bits(int bits) {
  return bits >= 32 ? ~std::uint32_t{0} : (std::uint32_t{1} << bits) - 1;
}

// The prediction of pixel p > width: the rounded mean of the pixel before and three above. Neighbours are taken by
// index across row ends, and the division truncates towards zero.
inline int predict(const short* pixel, std::ptrdiff_t width) {
  return (pixel[-1] + pixel[1 - width] + pixel[-width] + pixel[-1 - width] + 2) / 4;
}

}  // namespace xrd
