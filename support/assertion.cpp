#include "support/assertion.h"

#undef NDEBUG  // declares __assert_fail in release builds too
#include <cassert>

namespace xrd {

void fail_assertion(const char* expression, const char* source, unsigned line, const char* function) {
  __assert_fail(expression, source, line, function);
}

}  // namespace xrd
