#include "tests/locale/locale.h"

#include <gtest/gtest.h>

#include <clocale>
#include <cstdlib>
#include <locale>
#include <optional>
#include <string_view>

namespace test {

namespace {

// glibc looks for locales there while it lives. Commands that tests run have the system's.
class OwnLocales {
 public:
  OwnLocales() { setenv("LOCPATH", XRDIMAGE_LOCALES, 1); }
  OwnLocales(const OwnLocales&) = delete;
  OwnLocales& operator=(const OwnLocales&) = delete;
  ~OwnLocales() { unsetenv("LOCPATH"); }
};

// The locale that the library finds, and must leave.
struct State {
  locale_t thread = uselocale(nullptr);
  std::string process = std::setlocale(LC_ALL, nullptr);

  bool operator==(const State&) const = default;
};

// Runs all tests in the locale that XRDIMAGE_TEST_LOCALE names, and looks whether each leaves the locale as it was.
class LocaleWatch : public testing::EmptyTestEventListener {
 private:
  void OnTestProgramStart(const testing::UnitTest& /*tests*/) override {
    const char* const chosen = std::getenv("XRDIMAGE_TEST_LOCALE");
    if (chosen == nullptr) return;
    const std::string_view name(chosen);
    if (name == "german") locale_.emplace(Whose::kProcess);
    if (name == "german-thread") locale_.emplace(Whose::kThread);
    if (name == "ebcdic-thread") locale_.emplace(Whose::kThread, kGermanEbcdic);
    if (!locale_) std::abort();
  }
  void OnTestStart(const testing::TestInfo& /*test*/) override { before_ = State(); }
  void OnTestEnd(const testing::TestInfo& /*test*/) override { EXPECT_TRUE(State() == before_) << "another locale"; }
  void OnTestProgramEnd(const testing::UnitTest& /*tests*/) override { locale_.reset(); }

  std::optional<CallerLocale> locale_;
  State before_;
};

[[maybe_unused]] const bool watched = [] {
  testing::UnitTest::GetInstance()->listeners().Append(new LocaleWatch);
  return true;
}();

}  // namespace

std::string locales_folder() {
  return XRDIMAGE_LOCALES;
}

Locale make_locale(const char* name) {
  const OwnLocales locales;
  Locale locale(newlocale(LC_ALL_MASK, name, nullptr));
  if (!locale) std::abort();
  return locale;
}

CallerLocale::CallerLocale(Whose whose, const char* name)
    : process_(std::setlocale(LC_ALL, nullptr)), thread_(uselocale(nullptr)) {
  const OwnLocales locales;
  switch (whose) {
    case Whose::kProcess:
      if (std::setlocale(LC_ALL, name) == nullptr) std::abort();
      break;
    case Whose::kCpp:
      std::locale::global(std::locale(name));
      break;
    case Whose::kThread:
      locale_ = make_locale(name);
      uselocale(locale_.get());
      break;
  }
}

CallerLocale::~CallerLocale() {
  uselocale(thread_);
  const OwnLocales locales;
  if (std::locale() != std::locale::classic()) std::locale::global(std::locale::classic());
  std::setlocale(LC_ALL, process_.c_str());
}

}  // namespace test
