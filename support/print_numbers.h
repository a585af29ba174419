// Messages with real numbers.
#pragma once

namespace xrd {

// Prints to standard output like std::printf, and returns the same, with a decimal point in every locale. The stream is
// written to in the caller's own locale. A message has at most 2047 characters.
[[gnu::format(printf, 1, 2)]] int print_numbers(const char* format, ...);

}  // namespace xrd
