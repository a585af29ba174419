// Binning: square blocks of pixels become one pixel.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <utility>

#include "processing/extremes.h"
#include "processing/grid.h"
#include "support/arithmetic.h"
#include "support/conversation.h"
#include "support/image_size.h"
#include "support/message.h"
#include "support/processor.h"
#include "xrdimage.h"

namespace {

struct Block {
  unsigned int sum = 0;  // wraps
  bool marked = false;   // holds an overflowed pixel
};

// Sums the block whose first pixel is given.
Block sum_block(const unsigned int* first, std::size_t width, std::size_t factor) {
  Block block;
  for (std::size_t row = 0; row < factor; ++row, first += width) {
    for (std::size_t column = 0; column < factor; ++column) {
      block.sum += first[column];
      block.marked |= first[column] == OVERFLOW_MARK;
    }
  }
  return block;
}

// Sums a row of blocks; true when one of their pixels is marked. Compilers vectorise this for a
// factor known at compile time.
template <std::size_t factor>
XRD_INLINE bool sum_row(const unsigned int* __restrict first, std::size_t width, std::size_t blocks,
                        unsigned int* __restrict sums) {
  unsigned int marks = 0;
  for (std::size_t block = 0; block < blocks; ++block) {
    unsigned int sum = 0;
    for (std::size_t row = 0; row < factor; ++row) {
      for (std::size_t column = 0; column < factor; ++column) {
        const unsigned int pixel = first[row * width + block * factor + column];
        sum += pixel;
        marks |= pixel == OVERFLOW_MARK ? 1U : 0U;
      }
    }
    sums[block] = sum;
  }
  return marks != 0;
}

using SumRow = bool (*)(const unsigned int*, std::size_t, std::size_t, unsigned int*);

// Null for factors that have no loop of their own.
SumRow sum_row_of(int factor) {
  if (factor == 2) return xrd::ForProcessor<sum_row<2>>::call;
  if (factor == 4) return xrd::ForProcessor<sum_row<4>>::call;
  return nullptr;
}

// The means of half the sum of two pixels on the diagonal of each block of 2 x 2. Half sums are exact, and adding and
// subtracting 1.5 * 2^23 rounds them to whole numbers as the processor is set to round.
XRD_INLINE void average_pairs(const unsigned short* __restrict first, std::size_t width, std::size_t blocks,
                              unsigned short* __restrict means) {
  constexpr float kRounding = 12582912.0F;
  for (std::size_t block = 0; block < blocks; ++block) {
    const int sum = first[2 * block] + first[width + 2 * block + 1];
    const float rounded = static_cast<float>(sum) * 0.5F + kRounding - kRounding;
    means[block] = static_cast<unsigned short>(static_cast<int>(rounded));
  }
}

// The mean along the block's diagonal, rounded half to even, as its low 16 bits. Each diagonal pixel counts `factor`
// times in a 32-bit sum, which may wrap; callers rely on it.
unsigned short diagonal_mean(const unsigned short* first, std::size_t width, std::size_t factor) {
  const auto weight = static_cast<std::uint32_t>(factor);
  std::uint32_t sum = 0;
  for (std::size_t i = 0; i < factor; ++i, first += width + 1) sum += weight * *first;
  const auto signed_sum = static_cast<std::int32_t>(sum);
  const auto pixels = static_cast<std::int32_t>(weight * weight);
  const double mean = std::rint(static_cast<double>(signed_sum) / static_cast<double>(pixels));
  return static_cast<unsigned short>(xrd::truncate_to_low_word(mean));
}

// Blocks along an axis whose first pixel is not the axis' last one: with a factor of 1 the last pixel is left out.
std::size_t visited_blocks(int blocks, int factor, int size) {
  return static_cast<std::size_t>(factor == 1 ? std::clamp(size - 1, 0, blocks) : blocks);
}

// The new array; null, with a message, if sizes or factor are invalid or memory is short.
template <typename Pixel>
xrd::MallocArray<Pixel> allocate_binned(int width, int height, int factor, int new_width, int new_height) {
  const auto pixels =
      width < 0 || height < 0 || factor < 1 ? std::nullopt : xrd::allocatable_pixels(new_width, new_height);
  auto binned = pixels ? xrd::allocate_zeroed<Pixel>(*pixels) : nullptr;
  if (!binned) xrd::print("# " XRD_RED_ERROR ": cannot bin %dx%d pixels by %d\n", width, height, factor);
  return binned;
}

// The number of whole double blocks, times two: callers rely on even sizes.
int even_blocks(int size, int factor) {
  return factor < 1 ? 0 : static_cast<int>(size / (2 * std::int64_t{factor}) * 2);
}

}  // namespace

extern "C" int binning(unsigned int** Daten, int factor, int* width, int* height) {
  const int new_width = even_blocks(*width, factor);
  const int new_height = even_blocks(*height, factor);
  auto binned = allocate_binned<unsigned int>(*width, *height, factor, new_width, new_height);
  if (!binned) return 0;

  const auto columns = static_cast<std::size_t>(*width);
  const auto edge = static_cast<std::size_t>(factor);
  const std::size_t block_rows = visited_blocks(new_height, factor, *height);
  const std::size_t block_columns = visited_blocks(new_width, factor, *width);
  const SumRow sum_row = sum_row_of(factor);
  unsigned int largest = 0;
  for (std::size_t by = 0; by < block_rows; ++by) {
    unsigned int* pixel = binned.get() + by * static_cast<std::size_t>(new_width);
    const unsigned int* first = *Daten + by * edge * columns;
    if (sum_row != nullptr && !sum_row(first, columns, block_columns, pixel)) {
      largest = std::max(largest, xrd::find_extremes(pixel, block_columns, 0).largest);
      continue;
    }
    for (std::size_t bx = 0; bx < block_columns; ++bx, first += edge) {
      const Block block = sum_block(first, columns, edge);
      largest = std::max(largest, block.sum);  // also the sum of a marked block
      *pixel++ = block.marked ? OVERFLOW_MARK : block.sum;
    }
  }
  xrd::replace_grid({Daten, width, height}, std::move(binned), new_width, new_height);
  return static_cast<int>(largest);
}

extern "C" int short_binning(unsigned short** Daten_ushort, int factor, int* width, int* height) {
  const int new_width = factor < 1 ? 0 : *width / factor;
  const int new_height = factor < 1 ? 0 : *height / factor;
  auto binned = allocate_binned<unsigned short>(*width, *height, factor, new_width, new_height);
  if (!binned) return 0;

  const auto columns = static_cast<std::size_t>(*width);
  const auto edge = static_cast<std::size_t>(factor);
  const auto new_columns = static_cast<std::size_t>(new_width);
  const std::size_t block_rows = visited_blocks(new_height, factor, *height);
  const std::size_t block_columns = visited_blocks(new_width, factor, *width);
  for (std::size_t by = 0; by < block_rows; ++by) {
    const unsigned short* first = *Daten_ushort + by * edge * columns;
    if (factor == 2) {
      xrd::ForProcessor<average_pairs>::call(first, columns, block_columns, binned.get() + by * new_columns);
      continue;
    }
    for (std::size_t bx = 0; bx < block_columns; ++bx, first += edge) {
      binned[by * new_columns + bx] = diagonal_mean(first, columns, edge);
    }
  }
  // Two or more columns left over make one block more in each row, which callers find in the first pixel of the next
  // row. Its diagonal continues in the next row of the image.
  if (new_columns > 0 && *width % factor >= 2) {
    for (std::size_t by = 0; by + 1 < block_rows; ++by) {
      const unsigned short* first = *Daten_ushort + by * edge * columns + new_columns * edge;
      binned[(by + 1) * new_columns] = diagonal_mean(first, columns, edge);
    }
  }
  xrd::replace_grid({Daten_ushort, width, height}, std::move(binned), new_width, new_height);
  return 0;
}
