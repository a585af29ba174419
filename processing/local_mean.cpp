// Local mean filter.
//
// Fast because a window's sum is carried along instead of being added up again: from pixel to pixel it gains a column
// and loses one, and each column's sum gains a row and loses one from row to row. All sums wrap at 32 bits, so that
// this is exact, although the image changes under the window: the pixel that has just been stored is exchanged in its
// column's sum. The division by the window's size, which the next sum waits for, is a multiplication.
#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstdio>

#include "support/image_size.h"
#include "support/memory.h"
#include "support/message.h"
#include "xrdimage.h"

namespace {

// Truncating division of 32-bit numbers by a positive one.
//
// With 2^bits the smallest power of two not below the divisor, factor is the first whole number above 2^(31 + bits) /
// divisor; it is below 2^32. What it exceeds that by, at most 1, makes a result too large in magnitude by more than 0
// and at most |dividend| / 2^(31 + bits) <= 1 / divisor: not enough to reach the next whole number. The shift rounds
// negative results down, past the quotient that is cut towards zero, hence the 1.
class Divisor {
 public:
  explicit Divisor(std::uint32_t divisor)
      : shift_(31 + static_cast<int>(std::bit_width(divisor - 1))),
        factor_(static_cast<std::int64_t>((std::uint64_t{1} << shift_) / divisor) + 1) {}

  std::int32_t quotient(std::int32_t dividend) const {
    return static_cast<std::int32_t>(dividend * factor_ >> shift_) + (dividend < 0 ? 1 : 0);
  }

 private:
  int shift_;
  std::int64_t factor_;
};

class LocalMean {
 public:
  // `column_sums` has room for a value per column.
  LocalMean(unsigned int* image, int width, int height, int radius, unsigned int* column_sums)
      : image_(image),
        width_(width),
        height_(height),
        radius_(std::min(radius, std::max(width, height))),  // a larger one covers no more
        column_sums_(column_sums) {}

  void run() {
    // Before the first row the window holds the rows from 0 to radius - 2.
    std::fill_n(column_sums_, width_, 0U);
    for (std::ptrdiff_t row = 0; row < std::min(radius_ - 1, height_); ++row) add_row(row);
    for (std::ptrdiff_t row = 0; row < height_; ++row) {
      if (row + radius_ - 1 < height_) add_row(row + radius_ - 1);
      if (row - radius_ - 1 >= 0) subtract_row(row - radius_ - 1);
      average_row(row, std::min(row + radius_, height_) - std::max<std::ptrdiff_t>(row - radius_, 0));
    }
  }

 private:
  void add_row(std::ptrdiff_t row) {
    const unsigned int* pixels = image_ + row * width_;
    for (std::ptrdiff_t column = 0; column < width_; ++column) column_sums_[column] += pixels[column];
  }

  void subtract_row(std::ptrdiff_t row) {
    const unsigned int* pixels = image_ + row * width_;
    for (std::ptrdiff_t column = 0; column < width_; ++column) column_sums_[column] -= pixels[column];
  }

  // Replaces the pixels of a row, whose window has `rows` rows, in order; keeps the column sums up to date.
  void average_row(std::ptrdiff_t row, std::ptrdiff_t rows) {
    unsigned int* pixels = image_ + row * width_;
    unsigned int sum = 0;
    for (std::ptrdiff_t column = 0; column < std::min(radius_ - 1, width_); ++column) sum += column_sums_[column];
    // The window grows at the left border, is whole between, and shrinks at the right border.
    const std::ptrdiff_t whole_from = std::min(radius_, width_);
    const std::ptrdiff_t whole_to = std::max(width_ - radius_ + 1, whole_from);
    for (std::ptrdiff_t column = 0; column < whole_from; ++column) step(pixels, column, rows, sum);
    sum = average_whole(pixels, {whole_from, whole_to}, Divisor(static_cast<std::uint32_t>(rows * 2 * radius_)), sum);
    for (std::ptrdiff_t column = whole_to; column < width_; ++column) step(pixels, column, rows, sum);
  }

  struct Columns {
    std::ptrdiff_t first;
    std::ptrdiff_t end;
  };

  // The pixels whose windows lie between the left and the right border. Takes and returns the sum before the window has
  // moved on.
  unsigned int average_whole(unsigned int* __restrict pixels, Columns columns, Divisor size, unsigned int sum) {
    unsigned int* __restrict column_sums = column_sums_;
    for (std::ptrdiff_t column = columns.first; column < columns.end; ++column) {
      const unsigned int left = column > radius_ ? column_sums[column - radius_ - 1] : 0;
      sum += column_sums[column + radius_ - 1] - left;
      const unsigned int old = pixels[column];
      const unsigned int without_old = sum - old;  // beside the division, for which the next sum waits
      const auto mean = static_cast<unsigned int>(size.quotient(static_cast<std::int32_t>(sum)));
      pixels[column] = mean;
      column_sums[column] += mean - old;
      sum = without_old + mean;
    }
    return sum;
  }

  // One pixel near the left or right border.
  void step(unsigned int* pixels, std::ptrdiff_t column, std::ptrdiff_t rows, unsigned int& sum) {
    if (column + radius_ - 1 < width_) sum += column_sums_[column + radius_ - 1];
    if (column - radius_ - 1 >= 0) sum -= column_sums_[column - radius_ - 1];
    const std::ptrdiff_t columns = std::min(column + radius_, width_) - std::max<std::ptrdiff_t>(column - radius_, 0);
    const auto count = static_cast<std::int32_t>(rows * columns);
    store(pixels, column, static_cast<unsigned int>(static_cast<std::int32_t>(sum) / count), sum);
  }

  // Stored at once: hosts rely on later windows seeing the means.
  void store(unsigned int* pixels, std::ptrdiff_t column, unsigned int mean, unsigned int& sum) {
    const unsigned int change = mean - pixels[column];
    pixels[column] = mean;
    column_sums_[column] += change;
    sum += change;
  }

  unsigned int* image_;
  std::ptrdiff_t width_;
  std::ptrdiff_t height_;
  std::ptrdiff_t radius_;
  unsigned int* column_sums_;
};

}  // namespace

extern "C" void mittle_Daten(unsigned int* Daten, int width, int height, int radius) {
  if (radius < 1 || xrd::caller_pixels(width, height, sizeof *Daten) == 0) return;
  const auto column_sums = xrd::allocate_zeroed<unsigned int>(static_cast<std::size_t>(width));
  if (!column_sums) {
    std::printf("# " XRD_RED_ERROR ": cannot average %dx%d pixels\n", width, height);
    return;
  }
  LocalMean(Daten, width, height, radius, column_sums.get()).run();
}
