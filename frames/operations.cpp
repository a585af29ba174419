#include "frames/operations.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <span>
#include <stdexcept>
#include <utility>

#include "frames/grid.h"
#include "frames/options.h"
#include "frames/readers/readers.h"
#include "frames/statistics.h"
#include "processing/local_mean.h"
#include "processing/transforms.h"
#include "support/image_size.h"
#include "xrdimage.h"

namespace frames {

namespace {

using Numbers = std::vector<int>;

constexpr std::int64_t kLargestSigned = std::numeric_limits<std::int32_t>::max();

// The numbers of a marker, and an optional divisor behind them.
Numbers parse_marker(const std::string& text, std::size_t numbers) {
  Numbers marker = parse_integers(text, numbers, numbers + 1);
  marker.resize(numbers + 1, 1);
  if (marker.back() < 1) throw InvalidValue(text, "has a divisor below 1");
  return marker;
}

std::span<unsigned int> pixels_of(Frame& frame) {
  return {frame.counts.data(), frame.counts.size()};
}

// Unknown counts should disturb their neighbours as little as possible.
void fill_unknown(Frame& frame) {
  if (frame.mask.empty()) return;
  const auto largest = static_cast<std::uint32_t>(statistics_of(frame).maximum);
  for (std::size_t i = 0; i < frame.counts.size(); ++i) {
    if (is_unknown(frame, i)) frame.counts[i] = largest;
  }
}

// The flat functions treat counts as unsigned numbers.
void make_unsigned(Frame& frame) {
  fill_unknown(frame);
  if (!frame.is_signed) return;
  constexpr std::uint32_t kLargest = std::numeric_limits<std::int32_t>::max();
  std::size_t negative = 0;
  for (std::uint32_t& count : frame.counts) {
    if (count <= kLargest) continue;
    count = 0;
    ++negative;
  }
  frame.is_signed = false;
  if (negative > 0) frame.notes.push_back(std::to_string(negative) + " negative counts were taken as 0");
}

struct Block {
  std::int64_t sum = 0;
  std::uint8_t mask = 0;  // the mask bits of all its pixels
};

// The block whose first pixel is given.
Block block_at(const Frame& frame, std::size_t first, std::size_t factor) {
  Block block;
  for (std::size_t row = 0; row < factor; ++row, first += static_cast<std::size_t>(frame.width)) {
    for (std::size_t pixel = first; pixel < first + factor; ++pixel) {
      block.sum += frames::count_of(frame, pixel);
      if (!frame.mask.empty()) block.mask = static_cast<std::uint8_t>(block.mask | frame.mask[pixel]);
    }
  }
  return block;
}

bool fits(std::int64_t sum, bool is_signed) {
  return is_signed ? std::in_range<std::int32_t>(sum) : std::in_range<std::uint32_t>(sum);
}

// The flat functions wrap counts that do not fit; `option` is refused then.
void require_up_to(std::int64_t largest, std::int64_t maximum, const std::string& option) {
  if (maximum > largest) throw std::runtime_error(option + " takes no counts above " + std::to_string(largest));
}

// A window is summed in 32 bits.
void average(Frame& frame, int radius) {
  const std::int64_t edge = 2 * std::int64_t{radius};
  const std::int64_t pixels = std::min<std::int64_t>(edge, frame.width) * std::min<std::int64_t>(edge, frame.height);
  const Statistics statistics = statistics_of(frame);
  require_up_to(kLargestSigned / pixels, std::max(statistics.maximum, -statistics.minimum),
                "--mean over " + std::to_string(pixels) + " pixels");
  fill_unknown(frame);
  if (!xrd::average_windows(frame.counts.data(), frame.width, frame.height, radius)) throw std::bad_alloc();
}

// From the smallest to the largest known count.
void take_logarithm(Frame& frame, int base) {
  make_unsigned(frame);
  const Statistics statistics = statistics_of(frame);
  require_up_to(kLargestSigned, statistics.maximum, "--log");
  xrd::take_logarithm(pixels_of(frame), base, static_cast<int>(statistics.minimum),
                      static_cast<int>(statistics.maximum));
}

// No accepted count becomes negative, but negative counts may become larger than a signed count can be: the result is
// unsigned.
void invert(Frame& frame) {
  require_up_to(16777215, statistics_of(frame).maximum, "--invert");
  fill_unknown(frame);
  xrd::invert(pixels_of(frame));
  frame.is_signed = false;
}

void scale_up(Frame& frame) {
  make_unsigned(frame);
  require_up_to(10000, statistics_of(frame).maximum, "--scale-up");  // or all would be multiplied by 0
  ::scale_up(frame.counts.data(), frame.width, frame.height);
}

void scale_to(Frame& frame, int target) {
  make_unsigned(frame);
  scale_up_short(frame.counts.data(), frame.width, frame.height, target);
}

void draw_box(Frame& frame, Numbers numbers) {
  make_unsigned(frame);
  require_up_to(kLargestSigned, statistics_of(frame).maximum, "--box");
  make_short_box(frame.counts.data(), frame.width, frame.height, numbers.data(), numbers.data() + 2, numbers[6]);
}

// The length of the arms depends on the width, or is 20 pixels if there is a divisor.
void draw_cross(Frame& frame, const Numbers& numbers) {
  make_unsigned(frame);
  require_up_to(kLargestSigned, statistics_of(frame).maximum, "--cross");
  make_short_cross(frame.counts.data(), frame.width, frame.height, numbers[0], numbers[1], numbers[2]);
}

// Like to_short, but to_short warns of each halving and cuts bits off counts above 31 bits.
void shift_to_16_bits(Frame& frame) {
  make_unsigned(frame);
  constexpr std::int64_t kLargestWord = 65535;
  const std::int64_t largest = statistics_of(frame).maximum;
  int shift = 0;
  while (largest >> shift > kLargestWord) ++shift;
  if (shift == 0) return;
  for (std::uint32_t& count : frame.counts) count >>= shift;
  if (auto& saturation = frame.header.saturation) saturation = std::ldexp(*saturation, -shift);
  frame.notes.push_back("counts were divided by " + std::to_string(1 << shift) + " to fit 16 bits");
}

void swap_words(Frame& frame) {
  swapword(frame.counts.data(), static_cast<int>(frame.counts.size() * sizeof(std::uint32_t)));
}

Operation parse_crop(const std::string& text) {
  const Numbers numbers = parse_integers(text, 4, 4);
  if (numbers[0] < 0 || numbers[1] < 0 || numbers[2] < 1 || numbers[3] < 1) {
    throw InvalidValue(text, "is not a rectangle X,Y,W,H of pixels");
  }
  return [=](Frame& frame) { crop(frame, numbers[0], numbers[1], numbers[2], numbers[3]); };
}

Operation parse_smooth(const std::string& text) {
  const std::vector<double> widths = parse_reals(text, 1, 2);
  if (widths.front() <= 0 || widths.back() <= 0) throw InvalidValue(text, "must be above 0");
  return [=](Frame& frame) { smooth(frame, widths.front(), widths.back()); };
}

Operation parse_flip(const std::string& text) {
  constexpr std::array<std::pair<const char*, Flip>, 2> kDirections{
      {{"horizontal", Flip::kHorizontal}, {"vertical", Flip::kVertical}}};
  return [direction = choose(text, kDirections)](Frame& frame) { flip(frame, direction); };
}

// For operations that take one whole number, or none.
template <void (*apply)(Frame&, int), int least>
Operation with_number(const std::string& text) {
  return [number = parse_whole<int>(text, least)](Frame& frame) { apply(frame, number); };
}

template <void (*apply)(Frame&)>
Operation alone(const std::string& /*text*/) {
  return apply;
}

std::vector<OperationOption> make_operations() {
  return {
      {"bin", "N", "Sum blocks of N x N pixels", with_number<bin, 1>},
      {"crop", "X,Y,W,H", "Cut out W x H pixels from column X, row Y on", parse_crop},
      {"fit", "WxH", "Crop, or pad with 0, at the right and bottom",
       [](const std::string& text) -> Operation {
         return [size = parse_size(text)](Frame& frame) { fit(frame, size); };
       }},
      {"rotate", "", "Turn clockwise by a quarter", alone<rotate>},
      {"flip", "WAY", "Exchange left and right (horizontal) or top and bottom (vertical)", parse_flip},
      {"smooth", "SX[,SY]", "Smooth with a Gaussian of these standard deviations, in pixels", parse_smooth},
      {"mean", "N", "Average over windows of 2N x 2N pixels", with_number<average, 1>},
      {"log", "N", "Logarithm to base N, stretched to the old maximum", with_number<take_logarithm, 2>},
      {"invert", "", "Replace each count c by 16777215 - c", alone<invert>},
      {"scale-up", "", "Multiply by the whole number that brings the largest near 10000", alone<scale_up>},
      {"scale-to", "N", "Multiply so that the largest becomes N", with_number<scale_to, 0>},
      {"to-16-bits", "", "Halve the counts until the largest is below 65536", alone<shift_to_16_bits>},
      {"swap-words", "", "Reverse the four bytes of each count", alone<swap_words>},
      {"box", "X,Y,L,T,R,B[,DIV]", "Draw a box around X,Y with the largest count / DIV",
       [](const std::string& text) -> Operation {
         return [numbers = parse_marker(text, 6)](Frame& frame) { draw_box(frame, numbers); };
       }},
      {"cross", "X,Y[,DIV]", "Draw a cross at X,Y with the largest count / DIV",
       [](const std::string& text) -> Operation {
         return [numbers = parse_marker(text, 2)](Frame& frame) { draw_cross(frame, numbers); };
       }},
  };
}

}  // namespace

void crop(Frame& frame, int x, int y, int width, int height) {
  if (x >= frame.width || y >= frame.height) throw std::runtime_error("--crop begins outside of the frame");
  const auto columns = static_cast<std::size_t>(frame.width);
  const std::size_t first = static_cast<std::size_t>(y) * columns + static_cast<std::size_t>(x);
  frame = rearranged(frame, std::min(width, frame.width - x), std::min(height, frame.height - y),
                     [=](std::size_t column, std::size_t row) { return first + row * columns + column; });
  if (auto& beam = frame.header.beam_centre) beam = Point{beam->x - x, beam->y - y};
}

void bin(Frame& frame, int factor) {
  if (factor > std::min(frame.width, frame.height)) {
    throw std::runtime_error("--bin " + std::to_string(factor) + " is more than the frame's width or height");
  }
  Frame binned = blank_frame(frame, frame.width / factor, frame.height / factor);
  const auto edge = static_cast<std::size_t>(factor);
  const auto columns = static_cast<std::size_t>(binned.width);
  for (std::size_t pixel = 0; pixel < binned.counts.size(); ++pixel) {
    const std::size_t first = pixel / columns * edge * static_cast<std::size_t>(frame.width) + pixel % columns * edge;
    auto [sum, why] = block_at(frame, first, edge);
    if (!has_no_count(why) && !fits(sum, frame.is_signed)) why = static_cast<std::uint8_t>(why | kUnknown);
    if (why != 0) mask_pixel(binned, pixel, why);
    if (!has_no_count(why)) binned.counts[pixel] = static_cast<std::uint32_t>(sum);  // negative ones wrap
  }
  scale_geometry(binned.header, factor, factor);
  if (auto& saturation = binned.header.saturation) saturation = *saturation * factor * factor;
  frame = std::move(binned);
}

void fit(Frame& frame, Size size) {
  const auto text = [](int width, int height) { return std::to_string(width) + "x" + std::to_string(height); };
  if (!xrd::allocatable_pixels(size.width, size.height)) {
    throw std::runtime_error("cannot fit " + text(frame.width, frame.height) + " pixels to " +
                             text(size.width, size.height));
  }
  Frame fitted = blank_frame(frame, size.width, size.height);
  const auto columns = static_cast<std::size_t>(std::min(frame.width, size.width));
  const auto rows = static_cast<std::size_t>(std::min(frame.height, size.height));
  for (std::size_t row = 0; row < rows; ++row) {
    const std::size_t from = row * static_cast<std::size_t>(frame.width);
    const std::size_t to = row * static_cast<std::size_t>(size.width);
    std::copy_n(frame.counts.begin() + from, columns, fitted.counts.begin() + to);
    for (std::size_t column = 0; column < (frame.mask.empty() ? 0 : columns); ++column) {
      const std::uint8_t why = frame.mask[from + column];
      if (why != 0) mask_pixel(fitted, to + column, why);
    }
  }
  frame = std::move(fitted);
}

// Pixel x, y goes to height - 1 - y, x.
void rotate(Frame& frame) {
  const auto columns = static_cast<std::size_t>(frame.width);
  const auto rows = static_cast<std::size_t>(frame.height);
  Frame rotated = rearranged(frame, frame.height, frame.width,
                             [=](std::size_t x, std::size_t y) { return (rows - 1 - x) * columns + y; });
  if (auto& beam = rotated.header.beam_centre) beam = Point{frame.height - 1 - beam->y, beam->x};
  if (auto& pixel = rotated.header.pixel_size) std::swap(pixel->x, pixel->y);
  frame = std::move(rotated);
}

void flip(Frame& frame, Flip direction) {
  const auto columns = static_cast<std::size_t>(frame.width);
  const auto rows = static_cast<std::size_t>(frame.height);
  const bool horizontal = direction == Flip::kHorizontal;
  frame = rearranged(frame, frame.width, frame.height, [=](std::size_t x, std::size_t y) {
    return horizontal ? y * columns + (columns - 1 - x) : (rows - 1 - y) * columns + x;
  });
  if (auto& beam = frame.header.beam_centre) {
    if (horizontal) {
      beam->x = frame.width - 1 - beam->x;
    } else {
      beam->y = frame.height - 1 - beam->y;
    }
  }
}

const std::vector<OperationOption>& operations() {
  static const std::vector<OperationOption> list = make_operations();
  return list;
}

}  // namespace frames
