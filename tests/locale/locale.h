// The locale of a calling program, which the library's results must not depend on.
#pragma once

#include <locale.h>

#include <memory>
#include <string>
#include <type_traits>

namespace test {

// German: a decimal comma, and points between groups of digits. localedef makes it when the tests are built.
inline constexpr const char* kGerman = "de_DE.UTF-8";
// The same as EBCDIC has it: bytes of other values are white space.
inline constexpr const char* kGermanEbcdic = "de_DE.IBM273";

// Where they are, for LOCPATH.
std::string locales_folder();

struct LocaleFreer {
  void operator()(locale_t locale) const { freelocale(locale); }
};
using Locale = std::unique_ptr<std::remove_pointer_t<locale_t>, LocaleFreer>;

// One of these locales.
Locale make_locale(const char* name);

// What a caller sets: the process' locale by setlocale, that of C++ (which sets the process', too), or the calling
// thread's.
enum class Whose { kProcess, kCpp, kThread };

// Runs in the locale until it ends, then in the one before.
class CallerLocale {
 public:
  explicit CallerLocale(Whose whose, const char* name = kGerman);
  CallerLocale(const CallerLocale&) = delete;
  CallerLocale& operator=(const CallerLocale&) = delete;
  ~CallerLocale();

 private:
  std::string process_;
  locale_t thread_;
  Locale locale_;
};

}  // namespace test
