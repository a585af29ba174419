#include "host/pictures/fitted.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace host {

namespace {

struct Factors {
  int x = 1;
  int y = 1;
};

int divided_up(int number, int divisor) {
  return (number + divisor - 1) / divisor;
}

frames::Frame empty_frame(const frames::Frame& frame, int width, int height) {
  frames::Frame result;
  result.format = frame.format;
  result.width = width;
  result.height = height;
  result.counts = frames::Counts(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
  result.is_signed = frame.is_signed;
  result.header = frame.header;
  result.notes = frame.notes;
  return result;
}

// `factors` are pixels of the frame per new pixel. The centre of a pixel has whole coordinates.
void adjust_geometry(frames::Header& header, double x_factor, double y_factor) {
  if (header.pixel_size) header.pixel_size = {header.pixel_size->x * x_factor, header.pixel_size->y * y_factor};
  if (header.beam_centre) {
    header.beam_centre = {(header.beam_centre->x + 0.5) / x_factor - 0.5,
                          (header.beam_centre->y + 0.5) / y_factor - 0.5};
  }
}

frames::Frame reduced(const frames::Frame& frame, const Factors& factors) {
  frames::Frame result = empty_frame(frame, divided_up(frame.width, factors.x), divided_up(frame.height, factors.y));
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
  if (!frame.unknown.empty()) result.unknown.resize(sums.size());
  for (std::size_t block = 0; block < sums.size(); ++block) {
    if (known[block] == 0) {
      result.unknown[block] = true;
    } else {
      const double mean = static_cast<double>(sums[block]) / static_cast<double>(known[block]);
      result.counts[block] = static_cast<std::uint32_t>(std::llround(mean));  // negative ones wrap
    }
  }
  adjust_geometry(result.header, factors.x, factors.y);
  return result;
}

frames::Frame enlarged(const frames::Frame& frame, const Factors& factors) {
  frames::Frame result = empty_frame(frame, frame.width * factors.x, frame.height * factors.y);
  if (!frame.unknown.empty()) result.unknown.resize(result.counts.size());
  std::size_t pixel = 0;
  for (int y = 0; y < result.height; ++y) {
    const std::size_t row = static_cast<std::size_t>(y / factors.y) * static_cast<std::size_t>(frame.width);
    for (int x = 0; x < result.width; ++x, ++pixel) {
      const std::size_t source = row + static_cast<std::size_t>(x / factors.x);
      result.counts[pixel] = frame.counts[source];
      if (!frame.unknown.empty()) result.unknown[pixel] = frame.unknown[source];
    }
  }
  adjust_geometry(result.header, 1.0 / factors.x, 1.0 / factors.y);
  return result;
}

}  // namespace

frames::Frame fitted(const frames::Frame& frame, const Room& room) {
  const int width = std::max(room.width, 1);
  const int height = std::max(room.height, 1);
  // Where pixels are higher than wide, a frame's pixel is made as many wide as they are high.
  const int enlarging = std::min(width / (frame.width * room.pixel_height), height / frame.height);
  if (enlarging >= 1) return enlarged(frame, {enlarging * room.pixel_height, enlarging});
  const int reducing = std::max(divided_up(frame.width, width), divided_up(frame.height, height * room.pixel_height));
  return reduced(frame, {reducing, reducing * room.pixel_height});
}

}  // namespace host
