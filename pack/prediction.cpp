#include "pack/prediction.h"

#include <algorithm>
#include <array>
#include <utility>

#include "pack/packed_format.h"

namespace xrd {

namespace {

short low_word(std::int32_t value) {
  return static_cast<short>(static_cast<std::uint16_t>(value));
}

// Adds prediction and difference as the format does: wrapping.
short restored(int prediction, std::int32_t difference) {
  return low_word(
      static_cast<std::int32_t>(static_cast<std::uint32_t>(prediction) + static_cast<std::uint32_t>(difference)));
}

// One row of a band, on its way. It looks at the row above through three values that move along.
struct Lane {
  short* pixel;                    // next to be restored
  const std::int32_t* difference;  // of that pixel
  int before;                      // pixel before it
  int above_left;
  int above;

  // Restores a pixel, given the one above to its right.
  void step(int above_right) {
    const int sum = before + (above_left + above + above_right + 2);
    // Divides by four towards zero: the bias is added for a negative sum only.
    before = restored((sum + (sum < 0 ? 3 : 0)) >> 2, *difference++);
    *pixel++ = static_cast<short>(before);
    above_left = above;
    above = above_right;
  }
};

}  // namespace

void restore_pixels(short* img, std::size_t width, std::size_t first, std::size_t end,
                    const std::int32_t* differences) {
  std::size_t index = first;
  if (index == 0 && index < end) img[index++] = low_word(*differences++);
  for (const std::size_t left_predicted = std::min(width + 1, end); index < left_predicted; ++index) {
    img[index] = restored(img[index - 1], *differences++);
  }
  for (; index < end; ++index) {
    img[index] = restored(predict(img + index, static_cast<std::ptrdiff_t>(width)), *differences++);
  }
}

namespace {

using Lanes = std::array<Lane, kBandRows>;

// kBandRows rows, from pixel `first` on, and their differences.
struct Band {
  short* img;
  std::size_t width;
  std::size_t first;
  const std::int32_t* differences;

  short* pixel(std::size_t row, std::size_t column) const { return img + first + row * width + column; }
  const short* above(std::size_t row, std::size_t column) const { return pixel(row, column) - width; }
  const std::int32_t* difference(std::size_t row, std::size_t column) const {
    return differences + row * width + column;
  }

  // Restores the pixels from `column` to `end` of the row, one after the other.
  void restore(std::size_t row, std::size_t column, std::size_t end) const {
    restore_pixels(img, width, first + row * width + column, first + row * width + end, difference(row, column));
  }
};

// How many pixels a row is restored before the last one begins.
constexpr std::size_t head_start(std::size_t row) {
  return 2 * (kBandRows - 1 - row);
}

// Row by row, until all are two pixels apart. The guess stands where the last pixel of each row will be.
Lanes begin_rows(const Band& band) {
  for (std::size_t row = 0; row + 1 < kBandRows; ++row) *band.pixel(row, band.width - 1) = band.img[band.first - 1];
  Lanes lanes;  // NOLINT: set below
  for (std::size_t row = 0; row < kBandRows; ++row) {
    lanes[row] = {band.pixel(row, 0), band.difference(row, 0), band.pixel(row, 0)[-1], band.above(row, 0)[-1],
                  *band.above(row, 0)};
    for (std::size_t column = 0; column < head_start(row); ++column) lanes[row].step(*band.above(row, column + 1));
  }
  return lanes;
}

// Side by side. The value above to the right is the one that the lane above restored one step ago.
void run_side_by_side(const Band& band, const Lanes& lanes) {
  const std::size_t steps = band.width - 1 - head_start(0);
  const short* above_first = band.above(0, 0) + 1 + head_start(0);
  auto [lane0, lane1, lane2, lane3] = lanes;
  for (std::size_t step = 0; step < steps; ++step) {
    const int right1 = lane0.before;
    const int right2 = lane1.before;
    const int right3 = lane2.before;
    lane0.step(above_first[step]);
    lane1.step(right1);
    lane2.step(right2);
    lane3.step(right3);
  }
}

// Repairs what the guesses spoilt, and restores the rows' ends.
void mend_rows(const Band& band) {
  std::size_t spoilt = 0;  // columns of the row above that have been restored again
  for (std::size_t row = 0; row < kBandRows; ++row) {
    const std::size_t reached = band.width - 1 - 2 * row;
    std::size_t column = 0;
    for (bool changed = true; row > 0 && column < reached && (changed || column <= spoilt); ++column) {
      const short before = *band.pixel(row, column);
      band.restore(row, column, column + 1);
      changed = *band.pixel(row, column) != before;
    }
    spoilt = column;
    band.restore(row, reached, band.width);
  }
}

}  // namespace

// Each pixel waits for the one before it, so that a row alone leaves most of the processor idle. Four rows are
// therefore restored side by side, each two pixels behind the row above, which is as close as the prediction's upper
// right neighbour allows.
//
// A row's first pixel follows the last one of the row above, which is not known yet: it is guessed. Predictions shrink
// the error fourfold at each pixel, so that it has vanished after some ten pixels, and what follows is right. When the
// row above is complete, the first pixels are restored again, until that changes nothing any more; this check makes the
// result exact. The last pixels of a row, which depend on the first ones of the next through the upper right neighbour,
// are restored only then.
void restore_band(short* img, std::size_t width, std::size_t first, const std::int32_t* differences) {
  const Band band{img, width, first, differences};
  run_side_by_side(band, begin_rows(band));
  mend_rows(band);
}

}  // namespace xrd
