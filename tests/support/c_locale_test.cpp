#include "support/c_locale.h"

#include <gtest/gtest.h>

#include <array>
#include <cctype>
#include <cerrno>
#include <clocale>
#include <cstdio>
#include <future>
#include <string>

#include "support/print_numbers.h"
#include "tests/environment.h"
#include "tests/locale/locale.h"

namespace {

using test::CallerLocale;
using test::Whose;

std::string half() {
  std::array<char, 8> text{};
  std::snprintf(text.data(), text.size(), "%.1f", 0.5);
  return text.data();
}

}  // namespace

TEST(CLocale, NumbersHaveAPointWhileItLives) {
  for (const Whose whose : {Whose::kProcess, Whose::kCpp, Whose::kThread}) {
    const CallerLocale caller(whose);
    EXPECT_EQ(half(), "0,5");
    {
      const xrd::CLocale outer;
      EXPECT_EQ(half(), "0.5");
      {
        const xrd::CLocale inner;
        EXPECT_EQ(half(), "0.5");
      }
      EXPECT_EQ(half(), "0.5");
    }
    EXPECT_EQ(half(), "0,5");
  }
}

TEST(CLocale, TheThreadHasExactlyTheLocaleAgainThatItHad) {
  const locale_t before = uselocale(nullptr);
  { const xrd::CLocale locale; }
  EXPECT_EQ(uselocale(nullptr), before);
  const CallerLocale process(Whose::kProcess);
  uselocale(LC_GLOBAL_LOCALE);
  { const xrd::CLocale locale; }
  EXPECT_EQ(uselocale(nullptr), LC_GLOBAL_LOCALE);
  EXPECT_STREQ(std::setlocale(LC_ALL, nullptr), test::kGerman);
  const CallerLocale thread(Whose::kThread);
  const locale_t own = uselocale(nullptr);
  EXPECT_NE(own, LC_GLOBAL_LOCALE);
  { const xrd::CLocale locale; }
  EXPECT_EQ(uselocale(nullptr), own);
}

TEST(CLocale, OtherThreadsSeeNothingOfIt) {
  const CallerLocale caller(Whose::kProcess);
  const xrd::CLocale locale;
  EXPECT_EQ(std::async(std::launch::async, half).get(), "0,5");
}

TEST(CLocale, ErrnoStaysAndLocalesAreOneConstant) {
  const CallerLocale caller(Whose::kThread);
  locale_t first = nullptr;
  errno = 77;
  {
    const xrd::CLocale locale;
    first = uselocale(nullptr);
  }
  EXPECT_EQ(errno, 77);
  const xrd::CLocale locale;
  EXPECT_EQ(uselocale(nullptr), first);  // so that none need be released
}

TEST(CLocale, WhiteSpaceIsThatOfC) {
  const xrd::CLocale locale;
  for (int byte = 0; byte < 256; ++byte) {
    EXPECT_EQ(xrd::is_space(static_cast<char>(byte)), std::isspace(byte) != 0) << byte;
  }
}

TEST(PrintNumbers, PrintsAsTheCLibraryDoesInTheCLocale) {
  const CallerLocale caller(Whose::kProcess);
  int result = 0;
  const auto output = test::capture([&] { result = xrd::print_numbers("%s %5.2f %d%%\n", "a%d", 1.5, 3); });
  EXPECT_EQ(output.out, "a%d  1.50 3%\n");
  EXPECT_EQ(output.err, "");
  EXPECT_EQ(result, 13);
  EXPECT_EQ(half(), "0,5");
}

TEST(PrintNumbers, LongMessagesAreCut) {
  const auto output = test::capture([] { EXPECT_EQ(xrd::print_numbers("%3000d", 1), 2047); });
  EXPECT_EQ(output.out, std::string(2047, ' '));
}
