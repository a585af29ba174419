#include "pictures/fitted.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "frames/grid.h"

namespace pictures {

namespace {

struct Factors {
  int x = 1;
  int y = 1;
};

int divided_up(int number, int divisor) {
  return (number + divisor - 1) / divisor;
}

frames::Frame reduced(const frames::Frame& frame, const Factors& factors) {
  frames::Frame result =
      frames::blank_frame(frame, divided_up(frame.width, factors.x), divided_up(frame.height, factors.y));
  const auto width = static_cast<std::size_t>(result.width);
  std::vector<std::int64_t> sums(result.counts.size());
  std::vector<std::int64_t> known(result.counts.size());
  std::size_t pixel = 0;
  for (int y = 0; y < frame.height; ++y) {
    const std::size_t row = static_cast<std::size_t>(y / factors.y) * width;
    for (int x = 0; x < frame.width; ++x, ++pixel) {
      if (frames::is_unknown(frame, pixel)) continue;
      const std::size_t block = row + static_cast<std::size_t>(x / factors.x);
      sums[block] += frames::count_of(frame, pixel);
      ++known[block];
    }
  }
  for (std::size_t block = 0; block < sums.size(); ++block) {
    if (known[block] == 0) {
      frames::mask_pixel(result, block, frames::kUnknown);
    } else {
      const double mean = static_cast<double>(sums[block]) / static_cast<double>(known[block]);
      result.counts[block] = static_cast<std::uint32_t>(std::llround(mean));  // negative ones wrap
    }
  }
  frames::scale_geometry(result.header, factors.x, factors.y);
  return result;
}

frames::Frame enlarged(const frames::Frame& frame, const Factors& factors) {
  const auto x_factor = static_cast<std::size_t>(factors.x);
  const auto y_factor = static_cast<std::size_t>(factors.y);
  const auto columns = static_cast<std::size_t>(frame.width);
  frames::Frame result =
      frames::rearranged(frame, frame.width * factors.x, frame.height * factors.y,
                         [=](std::size_t x, std::size_t y) { return y / y_factor * columns + x / x_factor; });
  frames::scale_geometry(result.header, 1.0 / factors.x, 1.0 / factors.y);
  return result;
}

}  // namespace

frames::Frame fitted(const frames::Frame& frame, const Room& room) {
  const int width = std::max(room.width, 1);
  const int height = std::max(room.height, 1);
  // If a screen pixel is higher than wide, a pixel of the frame is that many screen pixels wide.
  const int enlarging = std::min(width / (frame.width * room.pixel_height), height / frame.height);
  if (enlarging >= 1) return enlarged(frame, {enlarging * room.pixel_height, enlarging});
  const int reducing = std::max(divided_up(frame.width, width), divided_up(frame.height, height * room.pixel_height));
  return reduced(frame, {reducing, reducing * room.pixel_height});
}

}  // namespace pictures
