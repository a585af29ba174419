// Functions that replace the caller's array, and the local mean.
#include <algorithm>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "bench/limits.h"
#include "bench/plain.h"
#include "bench/rows.h"
#include "support/memory.h"
#include "xrdimage.h"

namespace bench {

namespace {

// The caller's array, before and after.
template <typename Pixel>
struct Grid {
  explicit Grid(const Frame& measured) : frame(measured), original(measured.counts.begin(), measured.counts.end()) {}

  void restore() {
    width = frame.width;
    height = frame.height;
    pixels.reset(static_cast<Pixel*>(std::malloc(original.size() * sizeof(Pixel))));
    std::ranges::copy(original, pixels.get());
  }

  // Calls a function of the library that replaces the array.
  template <typename Function>
  void replace(Function function) {
    Pixel* array = pixels.release();
    function(&array, &width, &height);
    pixels.reset(array);
  }

  void take(Pixel* replacement, int new_width, int new_height) {
    pixels.reset(replacement);
    width = new_width;
    height = new_height;
  }

  // Reads the array once and writes one of the new size, which takes its place.
  void take_least(int new_width, int new_height) {
    const std::size_t bytes =
        static_cast<std::size_t>(new_width) * static_cast<std::size_t>(new_height) * sizeof(Pixel);
    auto* replacement = static_cast<Pixel*>(std::malloc(bytes));
    const std::size_t copied = std::min(bytes, original.size() * sizeof(Pixel));
    std::memcpy(replacement, pixels.get(), copied);
    const auto* rest = reinterpret_cast<const unsigned char*>(pixels.get()) + copied;
    read_once(rest, original.size() * sizeof(Pixel) - copied);
    write_once(reinterpret_cast<unsigned char*>(replacement) + copied, bytes - copied);
    take(replacement, new_width, new_height);
  }

  Bytes results() const {
    Bytes bytes = bytes_of(pixels.get(), static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
    const Bytes size = bytes_of(&width, 1);
    bytes.insert(bytes.end(), size.begin(), size.end());
    return bytes;
  }

  const Frame& frame;
  std::vector<Pixel> original;
  xrd::MallocArray<Pixel> pixels;
  int width = 0;
  int height = 0;
};

Row binning_row(const Frame& frame, int factor) {
  const auto grid = std::make_shared<Grid<unsigned int>>(frame);
  const int width = frame.width / (2 * factor) * 2;
  const int height = frame.height / (2 * factor) * 2;
  return {
      .name = "binning_" + std::to_string(factor),
      .prepare = [=] { grid->restore(); },
      .library = [=] { grid->replace([=](auto** p, int* x, int* y) { binning(p, factor, x, y); }); },
      .plain = [=] { grid->take(plain::bin(grid->pixels.get(), factor, grid->width, grid->height), width, height); },
      .limit = [=] { grid->take_least(width, height); },
      .results = [=] { return grid->results(); }};
}

Row short_binning_row(const Frame& frame) {
  constexpr int kFactor = 2;
  const auto grid = std::make_shared<Grid<unsigned short>>(frame);
  const int width = frame.width / kFactor;
  const int height = frame.height / kFactor;
  return {
      .name = "short_binning_2",
      .prepare = [=] { grid->restore(); },
      .library = [=] { grid->replace([](auto** p, int* x, int* y) { short_binning(p, kFactor, x, y); }); },
      .plain =
          [=] { grid->take(plain::bin_short(grid->pixels.get(), kFactor, grid->width, grid->height), width, height); },
      .limit = [=] { grid->take_least(width, height); },
      .results = [=] { return grid->results(); }};
}

Row fit_row(const Frame& frame) {
  const auto grid = std::make_shared<Grid<unsigned int>>(frame);
  const int width = frame.width + 4;
  const int height = frame.height + 4;
  return {
      .name = "fit_to_new_dimension",
      .prepare = [=] { grid->restore(); },
      .library =
          [=] { grid->replace([=](auto** p, int* x, int* y) { fit_to_new_dimension(p, x, y, width, height); }); },
      .plain =
          [=] { grid->take(plain::fit(grid->pixels.get(), grid->width, grid->height, width, height), width, height); },
      .limit = [=] { grid->take_least(width, height); },
      .results = [=] { return grid->results(); }};
}

// The limit is the time at radius 2: the window's size should cost little.
Row local_mean_row(const Frame& frame, int radius) {
  const auto grid = std::make_shared<Grid<unsigned int>>(frame);
  const auto average = [=](int r) { mittle_Daten(grid->pixels.get(), grid->width, grid->height, r); };
  std::function<void()> at_radius_two;
  if (radius > 2) at_radius_two = [=] { average(2); };
  return {.name = "mittle_Daten_" + std::to_string(radius),
          .prepare = [=] { grid->restore(); },
          .library = [=] { average(radius); },
          .plain = [=] { plain::local_mean(grid->pixels.get(), grid->width, grid->height, radius); },
          .limit = at_radius_two,
          .results = [=] { return grid->results(); }};
}

}  // namespace

Rows grid_rows(const Frame& frame) {
  return {binning_row(frame, 2),    binning_row(frame, 4),    short_binning_row(frame), fit_row(frame),
          local_mean_row(frame, 2), local_mean_row(frame, 5), local_mean_row(frame, 20)};
}

}  // namespace bench
