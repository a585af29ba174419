// Fourier transforms by FFTW 3. Plans are made without looking at arrays, so that they fit any array.
#include <fftw3.h>

#include "processing/fft.h"

namespace xrd {

namespace {

fftw_complex* complex_numbers(double* values) {
  return reinterpret_cast<fftw_complex*>(values);
}

}  // namespace

RealTransform::RealTransform(int size, Direction direction) : size_(size), direction_(direction) {
  const std::scoped_lock lock(planner);
  double* const any = fftw_alloc_real(stride(size));
  plan_ = direction == Direction::kForward ? fftw_plan_dft_r2c_1d(size, any, complex_numbers(any), FFTW_ESTIMATE)
                                           : fftw_plan_dft_c2r_1d(size, complex_numbers(any), any, FFTW_ESTIMATE);
  fftw_free(any);
}

RealTransform::~RealTransform() {
  const std::scoped_lock lock(planner);
  fftw_destroy_plan(static_cast<fftw_plan>(plan_));
}

void RealTransform::run(double* rows, int count) const {
  const auto plan = static_cast<fftw_plan>(plan_);
  for (int row = 0; row < count; ++row, rows += stride(size_)) {
    if (direction_ == Direction::kForward) {
      fftw_execute_dft_r2c(plan, rows, complex_numbers(rows));
    } else {
      fftw_execute_dft_c2r(plan, complex_numbers(rows), rows);
    }
  }
}

ComplexTransform::ComplexTransform(int size, Direction direction) {
  const std::scoped_lock lock(planner);
  fftw_complex* const from = fftw_alloc_complex(static_cast<std::size_t>(size));
  fftw_complex* const to = fftw_alloc_complex(static_cast<std::size_t>(size));
  plan_ =
      fftw_plan_dft_1d(size, from, to, direction == Direction::kForward ? FFTW_FORWARD : FFTW_BACKWARD, FFTW_ESTIMATE);
  fftw_free(from);
  fftw_free(to);
}

ComplexTransform::~ComplexTransform() {
  const std::scoped_lock lock(planner);
  fftw_destroy_plan(static_cast<fftw_plan>(plan_));
}

void ComplexTransform::run(double* from, double* to) const {
  fftw_execute_dft(static_cast<fftw_plan>(plan_), complex_numbers(from), complex_numbers(to));
}

}  // namespace xrd
