#include "support/assertion.h"

#undef NDEBUG  // declares __assert_fail in release builds too
#include <cassert>

#include "support/conversation.h"

namespace xrd {

void fail_assertion(const char* expression, const char* source, unsigned line, const char* function) {
  if (Conversation* const conversation = Conversation::current()) conversation->fail_assertion();
  __assert_fail(expression, source, line, function);
}

}  // namespace xrd
