// Which variant of a function suits the processor.
#pragma once

// A function that is compiled for processors with AVX2 (and BMI2), beside its portable twin. Both are made of the same
// loops, which are therefore forced into them.
#define XRD_INLINE inline __attribute__((always_inline))
#if defined(__x86_64__)
#define XRD_AVX2 __attribute__((target("avx2,bmi2")))
#endif

namespace xrd {

// Builds with tests never take the variants where the environment variable XRDIMAGE_PORTABLE is set.
bool has_avx2();

}  // namespace xrd
