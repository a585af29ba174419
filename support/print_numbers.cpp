#include "support/print_numbers.h"

#include <array>
#include <cstdarg>
#include <cstdio>

#include "support/c_locale.h"
#include "support/conversation.h"

namespace xrd {

// NOLINTNEXTLINE(cert-dcl50-cpp): the compiler checks the arguments against the format
int print_numbers(const char* format, ...) {
  std::array<char, 2048> text{};
  std::va_list values;
  va_start(values, format);
  {
    const CLocale locale;
    std::vsnprintf(text.data(), text.size(), format, values);
  }
  va_end(values);
  return print("%s", text.data());
}

}  // namespace xrd
