// The assertion that guards the few allocations whose failure ends the process.
#pragma once

namespace xrd {

// Prints the standard library's assertion message on standard error and aborts, whatever NDEBUG says: callers and their
// users know the message by its expression, source name and line, so callers of this function state them. A
// conversation may throw instead.
[[noreturn]] void fail_assertion(const char* expression, const char* source, unsigned line, const char* function);

}  // namespace xrd
