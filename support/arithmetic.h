// Number conversions that the language leaves undefined, given one outcome on every processor.
#pragma once

#include <cstdint>
#include <limits>

namespace xrd {

// Truncates to a 64-bit integer and takes its low 32 bits; 0 for NaN and for values that do not fit 64 bits.
template <typename Real>
std::uint32_t truncate_to_low_word(Real value) {
  constexpr Real kTwoTo63 = Real{9223372036854775808.0};
  if (!(value > -kTwoTo63 && value < kTwoTo63)) return 0;
  return static_cast<std::uint32_t>(static_cast<std::int64_t>(value));
}

// Truncates to an int; NaN and values that do not fit give the smallest int, as on x86 processors.
inline int truncate_to_int(double value) {
  if (!(value > -2147483649.0 && value < 2147483648.0)) return std::numeric_limits<int>::min();
  return static_cast<int>(value);
}

// The pixel divided by the divisor as signed numbers, truncating. A divisor of 0 counts as 1; the one quotient that
// does not fit wraps.
inline std::uint32_t signed_quotient(std::uint32_t pixel, int divisor) {
  if (divisor == 0) return pixel;
  if (divisor == -1) return 0U - pixel;
  return static_cast<std::uint32_t>(static_cast<std::int32_t>(pixel) / divisor);
}

}  // namespace xrd
