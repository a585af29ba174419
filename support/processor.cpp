#include "support/processor.h"

#include <cstdlib>

namespace xrd {

namespace {

bool find_avx2() {
#if defined(XRDIMAGE_CHOOSES_VARIANT)
  if (std::getenv("XRDIMAGE_PORTABLE") != nullptr) return false;
#endif
#if defined(__x86_64__)
  __builtin_cpu_init();
  return __builtin_cpu_supports("avx2") != 0 && __builtin_cpu_supports("bmi2") != 0;
#else
  return false;
#endif
}

}  // namespace

bool has_avx2() {
  static const bool found = find_avx2();
  return found;
}

}  // namespace xrd
