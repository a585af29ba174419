// The C locale, whatever the caller's is: files and messages have decimal points everywhere.
#pragma once

#include <locale.h>  // POSIX: newlocale, uselocale

namespace xrd {

// While it lives, the calling thread works in the C locale: numbers have a decimal point and no grouping, white space
// is that of ASCII. Then the thread gets its old locale back, its own or the process'. Other threads see
// nothing of it, errno stays, and nothing is allocated: glibc returns a constant. Hold it only while text is scanned or
// made: the caller's streams, handlers and commands run in the caller's locale.
class CLocale {
 public:
  CLocale() : previous_(uselocale(newlocale(LC_ALL_MASK, "C", nullptr))) {}
  CLocale(const CLocale&) = delete;
  CLocale& operator=(const CLocale&) = delete;
  ~CLocale() { uselocale(previous_); }

 private:
  locale_t previous_;
};

// White space of the C locale.
constexpr bool is_space(char character) {
  return character == ' ' || (character >= '\t' && character <= '\r');
}

}  // namespace xrd
