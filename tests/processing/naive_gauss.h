// Gaussian smoothing step by step, each rounding to single precision forced through memory. With FFTW 2 the library
// must agree with it in every bit. The transforms of FFTW 3 add up in an order that depends on how they are called, so
// that their last bits differ.
#pragma once

#if defined(XRDIMAGE_FFTW3)
#include <fftw3.h>
#else
#include <rfftw.h>
#endif

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "tests/processing/replaced_image.h"

namespace naive {

using Reals = std::vector<double>;

inline float single(double value) {
  const volatile auto rounded = static_cast<float>(value);
  return rounded;
}

inline double normalising_factor(float sigma_x, float sigma_y) {
  constexpr long double kTwoPi = 6.2831855F;
  const volatile auto product = static_cast<float>(kTwoPi * sigma_x * sigma_y);
  return single(1.0 / product);
}

inline std::size_t kernel_size(int x, int y) {
  return static_cast<std::size_t>(x) * static_cast<std::size_t>(y + 2);
}

// Where the value of a row (of the image's column, that is) stands in such an array.
inline std::size_t place(int row, int column, int y) {
  return static_cast<std::size_t>(row) * static_cast<std::size_t>(y + 2) + static_cast<std::size_t>(column);
}

// Writes the samples of fill_gauss to an array of kernel_size().
inline void fill_kernel(Reals& kernel, int x, int y, float sigma_x, float sigma_y) {
  const float cx = single((x + 1) * 0.5);
  const float cy = single((y + 1) * 0.5);
  const double n = normalising_factor(sigma_x, sigma_y);
  for (int i = 1; i <= x; ++i) {
    for (int j = 1; j <= y; ++j) {
      const float a = single((i - static_cast<double>(cx)) * (1.0 / sigma_x));
      const double b = (j - static_cast<double>(cy)) * (1.0 / sigma_y);
      const double v = std::exp(-std::pow(static_cast<double>(a), 2.0) - std::pow(b, 2.0));
      const int row = i <= x / 2 ? i + x / 2 - 1 : i - x / 2 - 1;
      const int column = j <= y / 2 ? j + y / 2 - 1 : j - y / 2 - 1;
      kernel[place(row, column, y)] = single(v * n);
    }
  }
}

// The kernel before its transformation; what is not a sample is 0.
inline Reals kernel(int x, int y, float sigma_x, float sigma_y) {
  Reals samples(kernel_size(x, y));
  fill_kernel(samples, x, y, sigma_x, sigma_y);
  return samples;
}

#if defined(XRDIMAGE_FFTW3)
inline void run(fftw_plan plan) {
  fftw_execute(plan);
  fftw_destroy_plan(plan);
}

inline void transform(Reals& values, int x, int y) {
  run(fftw_plan_dft_r2c_2d(x, y, values.data(), reinterpret_cast<fftw_complex*>(values.data()), FFTW_ESTIMATE));
}

inline void transform_back(Reals& values, int x, int y) {
  run(fftw_plan_dft_c2r_2d(x, y, reinterpret_cast<fftw_complex*>(values.data()), values.data(), FFTW_ESTIMATE));
}
#else
struct PlanDestroyer {
  void operator()(rfftwnd_plan plan) const { rfftwnd_destroy_plan(plan); }
};
using Plan = std::unique_ptr<fftwnd_data, PlanDestroyer>;

inline Plan make_plan(int x, int y, fftw_direction direction) {
  return Plan(rfftw2d_create_plan(x, y, direction, FFTW_IN_PLACE | FFTW_ESTIMATE));
}

inline void transform(Reals& values, int x, int y) {
  rfftwnd_one_real_to_complex(make_plan(x, y, FFTW_REAL_TO_COMPLEX).get(), values.data(), nullptr);
}

inline void transform_back(Reals& values, int x, int y) {
  const auto plan = make_plan(x, y, FFTW_COMPLEX_TO_REAL);
  rfftwnd_one_complex_to_real(plan.get(), reinterpret_cast<fftw_complex*>(values.data()), nullptr);
}
#endif

// What the product with the kernel does to the image's numbers first.
using Rounding = double (*)(double);
inline double to_single(double value) {
  return single(value);
}
inline double untouched(double value) {
  return value;
}

inline void multiply(Reals& values, const Reals& kernel, Rounding real, Rounding imaginary) {
  for (std::size_t k = 0; k < values.size(); k += 2) {
    const double re = real(values[k]);
    const double im = imaginary(values[k + 1]);
    const double gr = kernel[k];
    const double gi = kernel[k + 1];
    values[k] = gr * re - gi * im;
    values[k + 1] = im * gr + re * gi;
  }
}

// The smoothed image before the magnitude is taken, in counts: X columns of Y + 2 values. Sizes are even.
template <typename Pixel>
Reals convolved(const test::Image<Pixel>& image, int sigma_x, int sigma_y, Rounding real = to_single,
                Rounding imaginary = to_single) {
  const int x = image.width;
  const int y = image.height;
  Reals gauss = kernel(x, y, static_cast<float>(sigma_x), static_cast<float>(sigma_y));
  transform(gauss, x, y);
  Reals work(kernel_size(x, y));
  for (int i = 0; i < x; ++i) {
    for (int j = 0; j < y; ++j) work[place(i, j, y)] = image.at(i, j);
  }
  transform(work, x, y);
  multiply(work, gauss, real, imaginary);
  transform_back(work, x, y);
  return work;
}

// The image that work values stand for.
template <typename Pixel>
test::Image<Pixel> magnitudes(const Reals& work, int x, int y) {
  auto image = test::Image<Pixel>::blank(x, y);
  const double s = 1.0 / (x * y);
  for (int i = 0; i < x; ++i) {
    for (int j = 0; j < y; ++j) {
      const double v = work[place(i, j, y)];
      image.at(i, j) = static_cast<Pixel>(static_cast<std::int64_t>(std::sqrt(v * s * v * s)));
    }
  }
  return image;
}

template <typename Pixel>
test::Image<Pixel> smoothed(const test::Image<Pixel>& image, int sigma_x, int sigma_y, Rounding real = to_single,
                            Rounding imaginary = to_single) {
  return magnitudes<Pixel>(convolved(image, sigma_x, sigma_y, real, imaginary), image.width, image.height);
}

// The convolution as a sum over all pixels, around the borders.
template <typename Pixel>
std::vector<long double> convolved_directly(const test::Image<Pixel>& image, int sigma_x, int sigma_y) {
  const int x = image.width;
  const int y = image.height;
  const Reals gauss = kernel(x, y, static_cast<float>(sigma_x), static_cast<float>(sigma_y));
  std::vector<long double> sums;
  for (int row = 0; row < y; ++row) {
    for (int column = 0; column < x; ++column) {
      long double sum = 0;
      for (int j = 0; j < y; ++j) {
        for (int i = 0; i < x; ++i) {
          const double sample = gauss[place((column - i + x) % x, (row - j + y) % y, y)];
          sum += static_cast<long double>(image.at(i, j)) * sample;
        }
      }
      sums.push_back(sum);
    }
  }
  return sums;
}

}  // namespace naive
