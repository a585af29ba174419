// Gaussian smoothing. The limit of the whole is its three transforms in one thread.
#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "bench/limits.h"
#include "bench/plain.h"
#include "bench/rows.h"
#include "support/memory.h"
#include "tests/processing/naive_gauss.h"
#include "xrdimage.h"

namespace bench {

namespace {

constexpr int kSigma = 3;
#if defined(XRDIMAGE_FFTW3)
constexpr const char* kBackend = ", FFTW 3";
#else
constexpr const char* kBackend = "";
#endif

Row fill_gauss_row(const Frame& frame) {
  const auto kernel = std::make_shared<naive::Reals>(naive::kernel_size(frame.width, frame.height));
  return {.name = "fill_gauss",
          .prepare = [=] { std::ranges::fill(*kernel, 0.0); },
          .library = [=, &frame] { fill_gauss(kernel->data(), frame.width, frame.height, kSigma, kSigma); },
          .plain = [=, &frame] { naive::fill_kernel(*kernel, frame.width, frame.height, kSigma, kSigma); },
          .limit = [=] { write_once(kernel->data(), kernel->size() * sizeof(double)); },
          .results = [=] { return bytes_of(kernel->data(), kernel->size()); }};
}

void transform_three_times(naive::Reals& kernel, naive::Reals& image, int x, int y) {
  naive::transform(kernel, x, y);
  naive::transform(image, x, y);
  naive::transform_back(image, x, y);
}

template <typename Pixel, typename Function>
Row smoothing_row(const std::string& name, const Frame& frame, Function smooth) {
  struct State {
    test::Image<Pixel> image;
    xrd::MallocArray<Pixel> pixels;
    naive::Reals kernel;
    naive::Reals work;
  };
  const auto state = std::make_shared<State>();
  const int x = frame.width;
  const int y = frame.height;
  const std::size_t count = frame.pixels();
  const auto restore = [=, &frame] {
    state->image = {x, y, {frame.counts.begin(), frame.counts.end()}};
    state->kernel.assign(naive::kernel_size(x, y), 1.0);
    state->work.assign(naive::kernel_size(x, y), 1.0);
    state->pixels.reset(static_cast<Pixel*>(std::malloc(count * sizeof(Pixel))));
    std::ranges::copy(state->image.pixels, state->pixels.get());
  };
  return {.name = name + kBackend,
          .prepare = restore,
          .library =
              [=] {
                Pixel* array = state->pixels.release();
                int width = x;
                int height = y;
                smooth(&array, &width, &height, kSigma, kSigma);
                state->pixels.reset(array);
              },
          .plain =
              [=] {
                const auto smoothed = naive::smoothed(state->image, kSigma, kSigma);
                std::ranges::copy(smoothed.pixels, state->pixels.get());
              },
          .limit = [=] { transform_three_times(state->kernel, state->work, x, y); },
          .results = [=] { return bytes_of(state->pixels.get(), count); }};
}

}  // namespace

Rows smoothing_rows(const Frame& frame) {
  return {fill_gauss_row(frame), smoothing_row<unsigned int>("falte_gauss", frame, falte_gauss),
          smoothing_row<unsigned short>("falte_short_gauss", frame, falte_short_gauss)};
}

}  // namespace bench
