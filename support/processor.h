// Chooses the variant of a function that suits the processor.
#pragma once

// For the loops of functions that are compiled for several processors: forced into each variant.
#define XRD_INLINE inline __attribute__((always_inline))

namespace xrd {

// Builds with tests never use the variants if the environment variable XRDIMAGE_PORTABLE is set.
bool has_avx2();

// A function that is compiled twice: for all processors, and for those with AVX2 and BMI2. `ForProcessor<f>::call(...)`
// calls the variant that suits the processor; f is XRD_INLINE, so that both are made of the same loops.
template <auto kFunction>
struct ForProcessor;

template <typename Result, typename... Parameters, Result (*kFunction)(Parameters...)>
struct ForProcessor<kFunction> {
  static Result call(Parameters... parameters) {
#if defined(__x86_64__)
    if (has_avx2()) return call_avx2(parameters...);
#endif
    return kFunction(parameters...);
  }

 private:
#if defined(__x86_64__)
  __attribute__((target("avx2,bmi2"))) static Result call_avx2(Parameters... parameters) {
    return kFunction(parameters...);
  }
#endif
};

}  // namespace xrd
