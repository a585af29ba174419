// Helpers for the words and bytes of mar345 files.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "xrdimage.h"

extern "C" void swapword(void* data, int nbytes) {
  auto* bytes = static_cast<unsigned char*>(data);
  const int words = nbytes / 4;
  for (int i = 0; i < words; ++i, bytes += 4) {
    std::uint32_t word = 0;
    std::memcpy(&word, bytes, sizeof word);
    word = __builtin_bswap32(word);
    std::memcpy(bytes, &word, sizeof word);
  }
}

extern "C" void swapbytes(short* data, int nbytes) {
  const int words = nbytes >> 1;
  for (int i = 0; i < words; ++i) {
    // The arithmetic shift keeps the sign: hosts know 0xabcd to become 0xffab.
    const int word = data[i];
    const auto low = static_cast<std::uint16_t>(static_cast<std::uint16_t>(word) << 8);
    data[i] = static_cast<short>(low | static_cast<std::uint16_t>(word >> 8));
  }
}

extern "C" short packi32(int value) {
  unsigned code = 0x8000;
  if (value < 0 || value >= 131068) {
    code = 0x8000;
  } else if (value < 16384) {
    code = static_cast<unsigned>(value);
  } else if (value < 32768) {
    code = 0x4000U | static_cast<unsigned>(value / 2);
  } else if (value < 65534) {
    code = 0x8000U | static_cast<unsigned>(value / 4);
  } else {
    code = 0xC000U | static_cast<unsigned>(value / 8);
  }
  return static_cast<short>(code);
}

extern "C" int unpack_i32(short code) {
  std::printf("unpacking %d ", code);
  if (code >= 16384) {
    std::printf(" 1 ");
    return 2 * code - 32768;
  }
  if (code >= 0 || code == -32767) return code;
  if (code == -32768) {
    std::printf(" 4 ");
    return 131068;
  }
  if (code < -16384) {
    std::printf(" 2 ");
    return 4 * code + 131072;
  }
  std::printf(" 3 ");
  return 8 * code + 131072;
}

extern "C" char* long_to_char(const int* source, char* target) {
  std::size_t i = 0;
  do {
    target[i] = static_cast<char>(source[i] & 0xFF);
  } while (source[i++] != 0);
  return target;
}

extern "C" void rotate_clock1(unsigned short* image, int n) {
  if (n < 2) return;
  const auto edge = static_cast<std::size_t>(n);
  const auto pixel = [&](std::size_t row, std::size_t column) -> unsigned short& { return image[row * edge + column]; };
  for (std::size_t i = 0; i < edge / 2; ++i) {
    for (std::size_t j = 0; j < (edge + 1) / 2; ++j) {
      const unsigned short moved = pixel(edge - 1 - j, i);
      pixel(edge - 1 - j, i) = pixel(edge - 1 - i, edge - 1 - j);
      pixel(edge - 1 - i, edge - 1 - j) = pixel(j, edge - 1 - i);
      pixel(j, edge - 1 - i) = pixel(i, j);
      pixel(i, j) = moved;
    }
  }
}
