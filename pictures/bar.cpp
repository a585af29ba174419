#include "pictures/bar.h"

#include <stdexcept>
#include <string>

#include "support/image_size.h"

namespace pictures {

namespace {

// Narrower pictures have no room for counts, and few rows for the colours.
constexpr int kNarrow = 100;

int ramp_height(int width, const Pen& pen) {
  return width < kNarrow ? 4 : 10 * pen.text;
}

int rim(int width, const Pen& pen) {
  return width < kNarrow ? 1 : 3 * pen.text;
}

// With its middle at this column, if the picture's edges allow.
int text_left(const std::string& text, int middle, const Picture& picture, const Pen& pen) {
  const int width = text_width(text, pen);
  return std::clamp(middle - width / 2, 0, std::max(picture.width - width, 0));
}

void draw_counts(Picture& picture, int top, const Pen& pen, const CountRange& range, Scale scale) {
  const std::string low = std::to_string(range.low);
  const std::string middle = std::to_string(middle_count(range, scale));
  const std::string high = std::to_string(range.high);
  const int side = rim(picture.width, pen);
  const int low_left = text_left(low, side, picture, pen);
  const int middle_left = text_left(middle, picture.width / 2, picture, pen);
  const int high_left = text_left(high, picture.width - side, picture, pen);
  const int low_right = low_left + text_width(low, pen);
  if (low_right > high_left) return;
  draw_text(picture, {low_left, top}, low, pen);
  draw_text(picture, {high_left, top}, high, pen);
  if (low_right <= middle_left && middle_left + text_width(middle, pen) <= high_left) {
    draw_text(picture, {middle_left, top}, middle, pen);
  }
}

}  // namespace

int bar_height(int width, const Pen& pen) {
  const int ramp = 2 * rim(width, pen) + ramp_height(width, pen);
  return width < kNarrow ? ramp : ramp + text_height(pen) + pen.text;
}

void add_bar(Picture& picture, const Pen& pen, int levels, const CountRange& range, Scale scale) {
  const int side = rim(picture.width, pen);
  const int top = picture.height + side;
  const int bottom = top + ramp_height(picture.width, pen);
  picture.height += bar_height(picture.width, pen);
  if (!xrd::allocatable_pixels(picture.width, picture.height)) throw std::runtime_error("is too large for a bar");
  picture.pixels.resize(static_cast<std::size_t>(picture.width) * static_cast<std::size_t>(picture.height), pen.paper);
  const int columns = picture.width - 2 * side;
  for (int column = 0; column < columns; ++column) {
    const int x = side + column;
    fill_box(picture, {x, top, x + 1, bottom}, static_cast<std::uint8_t>(std::int64_t{column} * levels / columns));
  }
  if (picture.width >= kNarrow) draw_counts(picture, bottom + side / 2, pen, range, scale);
}

}  // namespace pictures
