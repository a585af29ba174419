// Text that callers expect to be treated as a format string, although it has no arguments.
#pragma once

#include <cstddef>
#include <span>

namespace xrd {

// Writes `text` to `field`, cut to fit and NUL-terminated, as a formatted print with `text` as its format would, every
// argument being zero, in the C locale: "%d" gives 0 with its flags, width and precision, "%s" and "%c" give nothing,
// "%n" stores nothing, "%m" gives the text of error number zero, "%%" a percent sign. An incomplete conversion at the
// end is dropped; a percent sign before anything else is no conversion and stays, as the C library prints it again. No
// conversion reads or writes memory.
void format_text(std::span<char> field, const char* text);

}  // namespace xrd
