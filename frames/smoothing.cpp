// Gaussian smoothing of frames: a separable convolution, along the rows and then along the columns.
//
// Weights and weighted counts are convolved alike, and their quotient is the result. So a pixel of unknown count, and
// one beyond the edges, has no weight, and a constant frame stays constant up to its edges.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <stdexcept>
#include <vector>

#include "frames/operations.h"

namespace frames {

namespace {

constexpr double kLargestSigma = 10000;

// One side of the kernel, the middle first; beyond four standard deviations lie 0.006 % of the whole.
std::vector<double> half_kernel(double sigma) {
  const auto radius = static_cast<std::size_t>(std::ceil(4 * sigma));
  std::vector<double> kernel(radius + 1);
  for (std::size_t i = 0; i < kernel.size(); ++i) {
    const double distance = static_cast<double>(i) / sigma;
    kernel[i] = std::exp(-0.5 * distance * distance);
  }
  return kernel;
}

// Convolves lines of `length` numbers. Numbers of a line are `stride` apart, and `lines` lines lie side by side, so
// that the inner loop runs over neighbours in memory.
void convolve(std::vector<double>& image, const std::vector<double>& kernel, std::size_t length, std::size_t lines) {
  std::vector<double> result(image.size());
  for (std::size_t place = 0; place < length; ++place) {
    double* const target = result.data() + place * lines;
    const std::size_t first = place - std::min(place, kernel.size() - 1);
    const std::size_t last = std::min(place + kernel.size() - 1, length - 1);
    for (std::size_t from = first; from <= last; ++from) {
      const double weight = kernel[from > place ? from - place : place - from];
      const double* const source = image.data() + from * lines;
      for (std::size_t line = 0; line < lines; ++line) target[line] += weight * source[line];
    }
  }
  image.swap(result);
}

std::vector<double> transposed(const std::vector<double>& image, std::size_t width, std::size_t height) {
  constexpr std::size_t kTile = 32;  // lines of both arrays stay in the cache
  std::vector<double> result(image.size());
  for (std::size_t top = 0; top < height; top += kTile) {
    for (std::size_t left = 0; left < width; left += kTile) {
      for (std::size_t y = top; y < std::min(top + kTile, height); ++y) {
        for (std::size_t x = left; x < std::min(left + kTile, width); ++x)
          result[x * height + y] = image[y * width + x];
      }
    }
  }
  return result;
}

}  // namespace

void smooth(Frame& frame, double sigma_x, double sigma_y) {
  if (!(sigma_x > 0 && sigma_y > 0 && sigma_x <= kLargestSigma && sigma_y <= kLargestSigma)) {
    throw std::runtime_error("cannot be smoothed: widths must be above 0 and at most 10000 pixels");
  }
  const auto width = static_cast<std::size_t>(frame.width);
  const auto height = static_cast<std::size_t>(frame.height);
  const std::size_t pixels = frame.counts.size();
  const auto both_ways = [&](std::vector<double> image) {
    convolve(image, half_kernel(sigma_y), height, width);
    image = transposed(image, width, height);
    convolve(image, half_kernel(sigma_x), width, height);
    return transposed(image, height, width);
  };
  std::vector<double> counts(pixels);
  std::vector<double> weights(pixels);
  for (std::size_t pixel = 0; pixel < pixels; ++pixel) {
    if (is_unknown(frame, pixel)) continue;
    counts[pixel] = static_cast<double>(count_of(frame, pixel));
    weights[pixel] = 1;
  }
  counts = both_ways(std::move(counts));
  weights = both_ways(std::move(weights));
  for (std::size_t pixel = 0; pixel < pixels; ++pixel) {
    if (is_unknown(frame, pixel)) continue;
    frame.counts[pixel] =
        static_cast<std::uint32_t>(std::llround(counts[pixel] / weights[pixel]));  // negative ones wrap
  }
}

}  // namespace frames
