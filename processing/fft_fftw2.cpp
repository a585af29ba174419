// Fourier transforms by FFTW 2.
#include <rfftw.h>

#include "processing/fft.h"

namespace xrd {

RealTransform::RealTransform(int size, Direction direction) : size_(size), direction_(direction) {
  const std::scoped_lock lock(planner);
  plan_ = rfftwnd_create_plan(1, &size, direction == Direction::kForward ? FFTW_REAL_TO_COMPLEX : FFTW_COMPLEX_TO_REAL,
                              FFTW_ESTIMATE | FFTW_IN_PLACE | FFTW_THREADSAFE);
}

RealTransform::~RealTransform() {
  const std::scoped_lock lock(planner);
  rfftwnd_destroy_plan(static_cast<rfftwnd_plan>(plan_));
}

void RealTransform::run(double* rows, int count) const {
  const auto plan = static_cast<rfftwnd_plan>(plan_);
  const auto distance = static_cast<int>(stride(size_));
  if (direction_ == Direction::kForward) {
    rfftwnd_real_to_complex(plan, count, rows, 1, distance, nullptr, 0, 0);
  } else {
    rfftwnd_complex_to_real(plan, count, reinterpret_cast<fftw_complex*>(rows), 1, distance / 2, nullptr, 0, 0);
  }
}

ComplexTransform::ComplexTransform(int size, Direction direction) {
  const std::scoped_lock lock(planner);
  plan_ = fftw_create_plan(size, direction == Direction::kForward ? FFTW_FORWARD : FFTW_BACKWARD,
                           FFTW_ESTIMATE | FFTW_THREADSAFE);
}

ComplexTransform::~ComplexTransform() {
  const std::scoped_lock lock(planner);
  fftw_destroy_plan(static_cast<fftw_plan>(plan_));
}

void ComplexTransform::run(double* from, double* to) const {
  fftw_one(static_cast<fftw_plan>(plan_), reinterpret_cast<fftw_complex*>(from), reinterpret_cast<fftw_complex*>(to));
}

}  // namespace xrd
