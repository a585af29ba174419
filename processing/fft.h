// One-dimensional Fourier transforms, by the library that was chosen when the build was configured (XRDIMAGE_FFT).
#pragma once

#include <cstddef>

namespace xrd {

enum class Direction { kForward, kBackward };

// Between rows of `size` real values and the size / 2 + 1 complex numbers that they become, in place.
class RealTransform {
 public:
  RealTransform(int size, Direction direction);
  RealTransform(const RealTransform&) = delete;
  RealTransform& operator=(const RealTransform&) = delete;
  ~RealTransform();

  // The values from one row to the next: so many that the complex numbers have room.
  static std::size_t stride(int size) { return 2 * (static_cast<std::size_t>(size) / 2 + 1); }

  void run(double* rows, int count) const;

 private:
  int size_;
  Direction direction_;
  void* plan_;
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
  void* plan_;
};

}  // namespace xrd
