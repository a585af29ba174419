// Local mean filter.
//
// Fast because a window's sum is carried along instead of being added up again: from pixel to pixel it gains a column
// and loses one, and each column's sum gains a row and loses one from row to row. All sums wrap at 32 bits, so that
// this is exact, although the image changes under the window: the pixel that has just been stored is exchanged in its
// column's sum. The division by the window's size, which the next sum waits for, is a multiplication, and two rows are
// averaged side by side.
#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <utility>

#include "processing/local_mean.h"
#include "support/conversation.h"
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
  // `memory` has room for kArrays values per column, which are 0.
  static constexpr std::size_t kArrays = 3;

  LocalMean(unsigned int* image, int width, int height, int radius, unsigned int* memory)
      : image_(image),
        width_(width),
        height_(height),
        radius_(std::min(radius, std::max(width, height))),  // a larger one covers no more
        whole_from_(std::min(radius_ + 1, width_)),
        whole_to_(std::max(width_ - radius_ + 1, whole_from_)),
        column_sums_(memory),
        next_column_sums_(memory + width_),
        no_pixels_(memory + 2 * width_) {}

  void run() {
    // Before the first row the window holds the rows from 0 to radius - 2.
    for (std::ptrdiff_t row = 0; row < std::min(radius_ - 1, height_); ++row) {
      for (std::ptrdiff_t column = 0; column < width_; ++column) column_sums_[column] += image_[row * width_ + column];
    }
    std::ptrdiff_t row = 0;
    for (; row + 1 < height_; row += 2) average_two_rows(row);
    if (row < height_) {
      move_down(row, {0, width_}, column_sums_, column_sums_);
      Lane last = begin_row(row, column_sums_);
      average(last, {0, width_});
    }
  }

 private:
  // A row in progress, and the sum of its next pixel's window before the window moves on.
  struct Lane {
    unsigned int* pixels;
    unsigned int* column_sums;
    std::ptrdiff_t rows;  // of the window
    Divisor whole_size;
    unsigned int sum;
  };

  struct Columns {
    std::ptrdiff_t first;
    std::ptrdiff_t end;
  };

  // A row of the image; zeros outside.
  const unsigned int* row_or_none(std::ptrdiff_t row) const {
    return row >= 0 && row < height_ ? image_ + row * width_ : no_pixels_;
  }
  const unsigned int* entering(std::ptrdiff_t row) const { return row_or_none(row + radius_ - 1); }
  const unsigned int* leaving(std::ptrdiff_t row) const { return row_or_none(row - radius_ - 1); }

  // Makes the column sums of a row's windows from those of the row before.
  void move_down(std::ptrdiff_t row, Columns columns, const unsigned int* before, unsigned int* sums) const {
    const unsigned int* enters = entering(row);
    const unsigned int* leaves = leaving(row);
    for (std::ptrdiff_t column = columns.first; column < columns.end; ++column) {
      sums[column] = before[column] + enters[column] - leaves[column];
    }
  }

  Lane begin_row(std::ptrdiff_t row, unsigned int* column_sums) const {
    const std::ptrdiff_t rows = std::min(row + radius_, height_) - std::max<std::ptrdiff_t>(row - radius_, 0);
    unsigned int sum = 0;
    for (std::ptrdiff_t column = 0; column < std::min(radius_ - 1, width_); ++column) sum += column_sums[column];
    // If no window is whole, one may have more columns than fit.
    const std::ptrdiff_t whole_columns = whole_from_ < whole_to_ ? 2 * radius_ : 1;
    return {image_ + row * width_, column_sums, rows, Divisor(static_cast<std::uint32_t>(rows * whole_columns)), sum};
  }

  // Replaces pixels of the row, in order. The window grows at the left border, is whole between, and shrinks at the
  // right border.
  void average(Lane& lane, Columns columns) const {
    std::ptrdiff_t column = columns.first;
    for (; column < std::min(columns.end, whole_from_); ++column) step(lane, column);
    for (; column < std::min(columns.end, whole_to_); ++column) step_whole(lane, column);
    for (; column < columns.end; ++column) step(lane, column);
  }

  // Two rows side by side, as each pixel waits for the one before it. The lower row follows as many columns behind as
  // its windows reach ahead, so that they see the upper row's means.
  void average_two_rows(std::ptrdiff_t row) {
    const Columns side_by_side{std::min(whole_from_ + radius_, width_), std::max(whole_to_, whole_from_ + radius_)};
    move_down(row, {0, width_}, column_sums_, column_sums_);
    Lane upper = begin_row(row, column_sums_);
    average(upper, {0, side_by_side.first});
    move_down(row + 1, {0, side_by_side.first}, column_sums_, next_column_sums_);
    Lane lower = begin_row(row + 1, next_column_sums_);
    if (side_by_side.first < side_by_side.end && side_by_side.end <= width_) {
      average(lower, {0, side_by_side.first - radius_});
      average_side_by_side(upper, lower, row + 1, side_by_side);
      average(upper, {side_by_side.end, width_});
      move_down(row + 1, {side_by_side.end, width_}, column_sums_, next_column_sums_);
      average(lower, {side_by_side.end - radius_, width_});
    } else {
      average(upper, {side_by_side.first, width_});
      move_down(row + 1, {side_by_side.first, width_}, column_sums_, next_column_sums_);
      average(lower, {0, width_});
    }
    std::swap(column_sums_, next_column_sums_);
  }

  // Columns of the upper row, and as many of the lower one, `radius` columns behind. Both windows are whole.
  void average_side_by_side(Lane& upper, Lane& lower, std::ptrdiff_t lower_row, Columns columns) const {
    const unsigned int* const enters = entering(lower_row);
    const unsigned int* const leaves = leaving(lower_row);
    Lane above = upper;  // local copies, which the compiler keeps in registers
    Lane below = lower;
    for (std::ptrdiff_t column = columns.first; column < columns.end; ++column) {
      step_whole(above, column);
      below.column_sums[column] = above.column_sums[column] + enters[column] - leaves[column];
      step_whole(below, column - radius_);
    }
    upper = above;
    lower = below;
  }

  // One pixel whose window lies between the left and the right border.
  void step_whole(Lane& lane, std::ptrdiff_t column) const {
    const unsigned int sum =
        lane.sum + (lane.column_sums[column + radius_ - 1] - lane.column_sums[column - radius_ - 1]);
    const unsigned int old = lane.pixels[column];
    const unsigned int without_old = sum - old;  // beside the division, for which the next sum waits
    const auto mean = static_cast<unsigned int>(lane.whole_size.quotient(static_cast<std::int32_t>(sum)));
    // Stored at once: callers rely on later windows seeing the means.
    lane.pixels[column] = mean;
    lane.column_sums[column] += mean - old;
    lane.sum = without_old + mean;
  }

  // One pixel near the left or right border.
  void step(Lane& lane, std::ptrdiff_t column) const {
    if (column + radius_ - 1 < width_) lane.sum += lane.column_sums[column + radius_ - 1];
    if (column - radius_ - 1 >= 0) lane.sum -= lane.column_sums[column - radius_ - 1];
    const std::ptrdiff_t columns = std::min(column + radius_, width_) - std::max<std::ptrdiff_t>(column - radius_, 0);
    const auto count = static_cast<std::int32_t>(lane.rows * columns);
    const auto mean = static_cast<unsigned int>(static_cast<std::int32_t>(lane.sum) / count);
    const unsigned int change = mean - lane.pixels[column];
    lane.pixels[column] = mean;
    lane.column_sums[column] += change;
    lane.sum += change;
  }

  unsigned int* image_;
  std::ptrdiff_t width_;
  std::ptrdiff_t height_;
  std::ptrdiff_t radius_;
  // The columns whose windows lie between the borders, and that a column leaves.
  std::ptrdiff_t whole_from_;
  std::ptrdiff_t whole_to_;
  unsigned int* column_sums_;
  unsigned int* next_column_sums_;
  const unsigned int* no_pixels_;
};

}  // namespace

namespace xrd {

bool average_windows(unsigned int* image, int width, int height, int radius) {
  if (radius < 1 || caller_pixels(width, height, sizeof *image) == 0) return true;
  const auto column_sums = allocate_zeroed<unsigned int>(LocalMean::kArrays * static_cast<std::size_t>(width));
  if (!column_sums) return false;
  LocalMean(image, width, height, radius, column_sums.get()).run();
  return true;
}

}  // namespace xrd

extern "C" void mittle_Daten(unsigned int* Daten, int width, int height, int radius) {
  if (!xrd::average_windows(Daten, width, height, radius)) {
    xrd::print("# " XRD_RED_ERROR ": cannot average %dx%d pixels\n", width, height);
  }
}
