// One-dimensional Fourier transforms, by the library that was chosen when the build was configured (XRDIMAGE_FFT). They
// run in any number of threads at once. Arrays begin at multiples of 16 bytes, as malloc makes them.
#pragma once

#include <cstddef>
#include <mutex>

#include "support/fork.h"

namespace xrd {

// Neither library can make or destroy two plans at the same time.
inline std::mutex planner;  // NOLINT(cppcoreguidelines-avoid-non-const-global-variables)
inline const int planner_in_forks = keep_free_in_forks<planner>();

enum class Direction { kForward, kBackward };

// Between rows of `size` real values and the size / 2 + 1 complex numbers that they become, in place.
class RealTransform {
 public:
  RealTransform(int size, Direction direction);
  RealTransform(const RealTransform&) = delete;
  RealTransform& operator=(const RealTransform&) = delete;
  ~RealTransform();

  // The distance of rows in values: enough room for the complex numbers.
  static std::size_t stride(int size) { return 2 * (static_cast<std::size_t>(size) / 2 + 1); }

  void run(double* rows, int count) const;

 private:
  int size_;
  Direction direction_;
  void* plan_ = nullptr;
};

// Of `size` complex numbers, pairs of real values, from one array to another.
class ComplexTransform {
 public:
  ComplexTransform(int size, Direction direction);
  ComplexTransform(const ComplexTransform&) = delete;
  ComplexTransform& operator=(const ComplexTransform&) = delete;
  ~ComplexTransform();

  void run(double* from, double* to) const;

 private:
  void* plan_ = nullptr;
};

}  // namespace xrd
