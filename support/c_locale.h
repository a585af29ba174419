// The C locale, whatever the caller's is: files and messages have decimal points everywhere.
#pragma once

#include <locale.h>  // as POSIX has it: newlocale, uselocale

namespace xrd {

// While it lives, the calling thread works in the C locale: numbers have a decimal point and no grouping, white space
// is that of ASCII. Then the thread has the locale again that it had, its own or the process'. Other threads see
// nothing of it, errno stays, and nothing is allocated: glibc hands out a constant. Hold it around the scanning and
// making of text only: what the caller provides (streams, handlers, commands) runs in the caller's locale.
class CLocale {
 public:
  CLocale() : previous_(uselocale(newlocale(LC_ALL_MASK, "C", nullptr))) {}
  CLocale(const CLocale&) = delete;
  CLocale& operator=(const CLocale&) = delete;
  ~CLocale() { uselocale(previous_); }

 private:
  locale_t previous_;
};

// White space as the C locale has it.
constexpr bool is_space(char character) {
  return character == ' ' || (character >= '\t' && character <= '\r');
}

}  // namespace xrd
