// Helpers for the words and bytes of mar345 files.
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "support/conversation.h"
#include "support/processor.h"
#include "xrdimage.h"

namespace {

// Square tiles that are turned together. Their rows are vectors, so that compilers exchange rows and columns by vector
// instructions.
constexpr std::size_t kTile = 8;
typedef std::uint16_t TileRow __attribute__((vector_size(kTile * sizeof(std::uint16_t))));
using Tile = std::array<TileRow, kTile>;

// Exchanges rows and columns: each of the three rounds moves one bit of a value's column number to its row number.
Tile transposed(Tile tile) {
  for (std::size_t round = 0; round < 3; ++round) {
    Tile next;
    for (std::size_t i = 0; i < kTile / 2; ++i) {
      next[2 * i] = __builtin_shufflevector(tile[i], tile[i + kTile / 2], 0, 8, 1, 9, 2, 10, 3, 11);
      next[2 * i + 1] = __builtin_shufflevector(tile[i], tile[i + kTile / 2], 4, 12, 5, 13, 6, 14, 7, 15);
    }
    tile = next;
  }
  return tile;
}

class Square {
 public:
  Square(unsigned short* pixels, std::size_t edge) : pixels_(pixels), edge_(edge) {}

  // Moves the pixel and the three that it meets on its way around.
  void turn_pixel(std::size_t i, std::size_t j) const {
    const std::size_t last = edge_ - 1;
    const unsigned short moved = *at(last - j, i);
    *at(last - j, i) = *at(last - i, last - j);
    *at(last - i, last - j) = *at(j, last - i);
    *at(j, last - i) = *at(i, j);
    *at(i, j) = moved;
  }

  // The same for a tile, of which this is the first pixel.
  void turn_tile(std::size_t i, std::size_t j) const {
    const std::size_t last = edge_ - kTile;
    const Tile upper_left = turned(last - j, i);
    const Tile upper_right = turned(i, j);
    const Tile lower_right = turned(j, last - i);
    const Tile lower_left = turned(last - i, last - j);
    store(upper_left, i, j);
    store(upper_right, j, last - i);
    store(lower_right, last - i, last - j);
    store(lower_left, last - j, i);
  }

 private:
  unsigned short* at(std::size_t row, std::size_t column) const { return pixels_ + row * edge_ + column; }

  // The tile turned clockwise: its rows become columns, the last one first.
  Tile turned(std::size_t row, std::size_t column) const {
    Tile tile;
    for (std::size_t i = 0; i < kTile; ++i) std::memcpy(&tile[i], at(row + kTile - 1 - i, column), sizeof tile[i]);
    return transposed(tile);
  }

  void store(const Tile& tile, std::size_t row, std::size_t column) const {
    for (std::size_t i = 0; i < kTile; ++i) std::memcpy(at(row + i, column), &tile[i], sizeof tile[i]);
  }

  unsigned short* pixels_;
  std::size_t edge_;
};

XRD_INLINE void swap_words(unsigned char* bytes, int words) {
  for (int i = 0; i < words; ++i, bytes += 4) {
    std::uint32_t word = 0;
    std::memcpy(&word, bytes, sizeof word);
    word = __builtin_bswap32(word);
    std::memcpy(bytes, &word, sizeof word);
  }
}

}  // namespace

extern "C" void swapword(void* data, int nbytes) {
  xrd::ForProcessor<swap_words>::call(static_cast<unsigned char*>(data), nbytes / 4);
}

extern "C" void swapbytes(short* data, int nbytes) {
  const int words = nbytes >> 1;
  for (int i = 0; i < words; ++i) {
    // The arithmetic shift keeps the sign: 0xabcd becomes 0xffab, and callers rely on it.
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
  xrd::print("unpacking %d ", code);
  if (code >= 16384) {
    xrd::print(" 1 ");
    return 2 * code - 32768;
  }
  if (code >= 0 || code == -32767) return code;
  if (code == -32768) {
    xrd::print(" 4 ");
    return 131068;
  }
  if (code < -16384) {
    xrd::print(" 2 ");
    return 4 * code + 131072;
  }
  xrd::print(" 3 ");
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
  const Square square(image, edge);
  const std::size_t rows = edge / 2;
  const std::size_t columns = (edge + 1) / 2;
  const std::size_t tiled_rows = rows / kTile * kTile;
  const std::size_t tiled_columns = columns / kTile * kTile;
  for (std::size_t i = 0; i < tiled_rows; i += kTile) {
    for (std::size_t j = 0; j < tiled_columns; j += kTile) square.turn_tile(i, j);
  }
  for (std::size_t i = 0; i < rows; ++i) {
    for (std::size_t j = i < tiled_rows ? tiled_columns : 0; j < columns; ++j) square.turn_pixel(i, j);
  }
}
