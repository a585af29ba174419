// Markers drawn into an image in its own brightest value.
#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "processing/extremes.h"
#include "support/arithmetic.h"
#include "xrdimage.h"

namespace {

// An image to draw on; what lies outside of it is not drawn. Coordinates are wide enough for sums of any two ints.
class Canvas {
 public:
  Canvas(unsigned int* pixels, int width, int height, unsigned int value)
      : pixels_(pixels), width_(width), height_(height), value_(value) {}

  std::int64_t width() const { return width_; }
  std::int64_t height() const { return height_; }

  // Columns from `first` below `end` of a row.
  void draw_row(std::int64_t row, std::int64_t first, std::int64_t end) const {
    if (row < 0 || row >= height_) return;
    end = std::min(end, width_);
    for (std::int64_t column = std::max<std::int64_t>(first, 0); column < end; ++column) {
      pixels_[row * width_ + column] = value_;
    }
  }

  // Rows from `first` below `end` of a column.
  void draw_column(std::int64_t column, std::int64_t first, std::int64_t end) const {
    if (column < 0 || column >= width_) return;
    end = std::min(end, height_);
    for (std::int64_t row = std::max<std::int64_t>(first, 0); row < end; ++row) {
      pixels_[row * width_ + column] = value_;
    }
  }

 private:
  unsigned int* pixels_;
  std::int64_t width_;
  std::int64_t height_;
  unsigned int value_;
};

// Arms reach `arm` pixels before the centre and arm - 1 behind it.
void draw_cross(const Canvas& canvas, std::int64_t x, std::int64_t y, std::int64_t arm) {
  canvas.draw_row(y, x - arm, x + arm);
  canvas.draw_column(x, y - arm, y + arm);
}

}  // namespace

extern "C" void make_short_box(unsigned int* Daten, int width, int height, int* centre, int* box, int divisor) {
  const Canvas canvas(Daten, width, height, xrd::signed_quotient(xrd::find_largest(Daten, width, height), divisor));
  const std::int64_t x = centre[0];
  const std::int64_t y = centre[1];
  const std::int64_t left = x - box[0];
  const std::int64_t top = y - box[1];
  const std::int64_t right = x + box[2];
  const std::int64_t bottom = y + box[3];
  // Edges that reach past the image are moved onto its border. The lines end short of the far corner: callers rely on
  // that gap in the box.
  canvas.draw_row(std::max<std::int64_t>(top, 0), left, right);
  canvas.draw_row(std::min(bottom, canvas.height() - 1), left, right);
  canvas.draw_column(std::max<std::int64_t>(left, 0), top, bottom);
  canvas.draw_column(std::min(right, canvas.width() - 1), top, bottom);
}

extern "C" void make_cross(unsigned int* Daten, int width, int height, int x, int y) {
  // Both arms are sized from the width.
  draw_cross(Canvas(Daten, width, height, xrd::find_largest(Daten, width, height)), x, y, width / 100);
}

extern "C" void make_short_cross(unsigned int* Daten, int width, int height, int x, int y, int divisor) {
  constexpr std::int64_t kArm = 20;
  const unsigned int largest = xrd::find_largest(Daten, width, height);
  draw_cross(Canvas(Daten, width, height, xrd::signed_quotient(largest, divisor)), x, y, kArm);
}
