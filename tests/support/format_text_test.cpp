#include "support/format_text.h"

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "support/c_locale.h"

namespace {

constexpr std::size_t kField = 256;

// The text as a field of `size` characters shows it. Fails when anything is written behind the field.
std::string formatted(const std::string& text, std::size_t size = kField) {
  std::array<char, kField + 8> memory{};
  memory.fill('#');
  xrd::format_text(std::span(memory).first(size), text.c_str());
  for (std::size_t i = size; i < memory.size(); ++i) EXPECT_EQ(memory.at(i), '#') << text << " wrote at " << i;
  return memory.data();
}

std::string repeated(std::string_view text, std::size_t times) {
  std::string result;
  for (std::size_t i = 0; i < times; ++i) result += text;
  return result;
}

// The parts of a conversion, put together.
std::string joined(std::initializer_list<std::string_view> parts) {
  std::string text;
  for (const std::string_view part : parts) text += part;
  return text;
}

const std::string kBlanks(kField, ' ');
const std::string kZeros(kField, '0');

}  // namespace

TEST(FormatText, TextWithoutConversionsStays) {
  EXPECT_EQ(formatted(""), "");
  EXPECT_EQ(formatted("/data/frame_001.mar2300"), "/data/frame_001.mar2300");
  EXPECT_EQ(formatted("\\n \xFC\xE4\x01"), "\\n \xFC\xE4\x01");
}

TEST(FormatText, PercentSigns) {
  EXPECT_EQ(formatted("%%"), "%");
  EXPECT_EQ(formatted("100%% of%%%%"), "100% of%%");
  EXPECT_EQ(formatted("%%d"), "%d");
  EXPECT_EQ(formatted("%%%d"), "%0");
}

TEST(FormatText, IntegersAreZero) {
  EXPECT_EQ(formatted("a%db"), "a0b");
  EXPECT_EQ(formatted("%i %o %u %x %X"), "0 0 0 0 0");
  EXPECT_EQ(formatted("%hhd %hd %ld %lld %qd %jd %zd %td"), "0 0 0 0 0 0 0 0");
  EXPECT_EQ(formatted("%+d|% d|%#x|%#o|%'d"), "+0| 0|0|0|0");
  EXPECT_EQ(formatted("%5d|%-5d|%05d|%+05d"), "    0|0    |00000|+0000");
  EXPECT_EQ(formatted("%.3d|%6.3d|%-6.3d|%06.3d"), "000|   000|000   |   000");
  EXPECT_EQ(formatted("[%.0d][%.d][%3.0d][%+.0d][%#.0o]"), "[][][   ][+][0]");
}

TEST(FormatText, RealsAreZero) {
  EXPECT_EQ(formatted("%f %F %e %E %g %G"), "0.000000 0.000000 0.000000e+00 0.000000E+00 0 0");
  EXPECT_EQ(formatted("%lf %Lf %Lg"), "0.000000 0.000000 0");
  EXPECT_EQ(formatted("%a %A"), "0x0p+0 0X0P+0");
  EXPECT_EQ(formatted("%.0f|%#.0f|%.2f|%8.2f|%-8.2f|%08.2f|%+.1f"), "0|0.|0.00|    0.00|0.00    |00000.00|+0.0");
  EXPECT_EQ(formatted("%.2e|%#g|%.3a"), "0.00e+00|0.00000|0x0.000p+0");
}

TEST(FormatText, PointersAreNull) {
  EXPECT_EQ(formatted("%p|%8p|%-8p|"), "(nil)|   (nil)|(nil)   |");
}

TEST(FormatText, TextsAndCharactersGiveNothing) {
  EXPECT_EQ(formatted("a%sb%cc"), "abc");
  EXPECT_EQ(formatted("a%lsb%lcc%Sd%Ce"), "abcde");
  EXPECT_EQ(formatted("[%20s][%-20s][%.5s][%20.5s][%20c][%*s]"), "[][][][][][]");
  EXPECT_EQ(formatted(repeated("%s", 1000) + "end"), "end");
}

TEST(FormatText, NothingIsStoredForN) {
  EXPECT_EQ(formatted("a%nb"), "ab");
  EXPECT_EQ(formatted("a%hhnb%hnc%lnd%llne%jnf%zng%tnh"), "abcdefgh");
  EXPECT_EQ(formatted("[%20n][%1$n][%*n]"), "[][][]");
  EXPECT_EQ(formatted(repeated("%n", 1000) + "end"), "end");
}

TEST(FormatText, StarsTakeTheValueZero) {
  EXPECT_EQ(formatted("[%*d][%-*d][%0*d]"), "[0][0][0]");
  EXPECT_EQ(formatted("[%.*d][%*.*d][%5.*d]"), "[][][     ]");
  EXPECT_EQ(formatted("[%.*f][%*f]"), "[0][0.000000]");
}

TEST(FormatText, NumberedArgumentsAreZeroToo) {
  EXPECT_EQ(formatted("%1$d %2$5d %99999999999$x"), "0     0 0");
  EXPECT_EQ(formatted("[%1$*2$d][%1$.*2$d][%1$*2$.*3$d]"), "[0][][]");
  EXPECT_EQ(formatted("a%1$sb%2$cc%3$nd"), "abcd");
  EXPECT_EQ(formatted("%1$.2f"), "0.00");
}

TEST(FormatText, IncompleteConversionsAtTheEndAreDropped) {
  EXPECT_EQ(formatted("100%%%"), "100%");
  for (const char* rest : {"%", "%5", "%-", "%05", "%.", "%.3", "%5.3", "%*", "%.*", "%l", "%ll", "%h", "%z", "%1$",
                           "%1$*2$", "%- +#0'", "%123456789012345678901234567890"}) {
    EXPECT_EQ(formatted(joined({"100", rest})), "100") << rest;
  }
}

TEST(FormatText, WhatIsNoConversionStays) {
  EXPECT_EQ(formatted("%y"), "%y");
  EXPECT_EQ(formatted("%/%(%!"), "%/%(%!");
  EXPECT_EQ(formatted("50%\xFC"), "50%\xFC");
  EXPECT_EQ(formatted("%5.3y %d"), "%5.3y 0");
  EXPECT_EQ(formatted("%$d"), "%$d");
  EXPECT_EQ(formatted("%\n%d"), "%\n0");
}

TEST(FormatText, WhatIsNoConversionStaysAsTheCLibraryPrintsIt) {
  EXPECT_EQ(formatted("%ly|%hhy|%zy|%hly"), "%y|%y|%y|%ly");  // without its one length modifier
  EXPECT_EQ(formatted("%3$y|%1$5y|%*y|%.*y"), "%y|%5y|%y|%.0y");
  EXPECT_EQ(formatted("%.y|%05y|%-05y|%0-5y"), "%.0y|%05y|%-5y|%-5y");
  EXPECT_EQ(formatted("%+ y|% +y|%I'-+# 7.9y"), "%+y|%+y|%#'+-I7.9y");
  EXPECT_EQ(formatted("%2147483647y"), "%2147483647y");
}

TEST(FormatText, ErrorsAreThatThereIsNone) {
  EXPECT_EQ(formatted("a%mb"), "aSuccessb");
  EXPECT_EQ(formatted("50%.mar2300"), "50ar2300");
  EXPECT_EQ(formatted("[%.3m][%9m][%-9m][%9.3m][%09m][%+m][%lm]"),
            "[Suc][  Success][Success  ][      Suc][  Success][Success][Success]");
  EXPECT_EQ(formatted("[%#m][%#3m]"), "[0][  0]");
}

TEST(FormatText, ResultsAreCutAtTheFieldsSize) {
  EXPECT_EQ(formatted(std::string(255, 'x')), std::string(255, 'x'));
  EXPECT_EQ(formatted(std::string(256, 'x')), std::string(255, 'x'));
  EXPECT_EQ(formatted(std::string(100000, 'x')), std::string(255, 'x'));
  EXPECT_EQ(formatted(std::string(253, 'x') + "%d%d%d"), std::string(253, 'x') + "00");
  EXPECT_EQ(formatted(std::string(252, 'x') + "%.10f"), std::string(252, 'x') + "0.0");
  EXPECT_EQ(formatted(std::string(255, 'x') + "%d"), std::string(255, 'x'));
  EXPECT_EQ(formatted(repeated("%%", 300)), std::string(255, '%'));
  EXPECT_EQ(formatted(repeated("%d", 100000)), std::string(255, '0'));
}

TEST(FormatText, SmallFields) {
  EXPECT_EQ(formatted("%d%f", 2), "0");
  EXPECT_EQ(formatted("abc%d", 4), "abc");
  EXPECT_EQ(formatted("%y", 2), "%");
  EXPECT_EQ(formatted("abc", 1), "");
  EXPECT_EQ(formatted("%f", 1), "");
}

TEST(FormatText, AFieldWithoutRoomIsLeftAlone) {
  char guard = '#';
  xrd::format_text(std::span(&guard, 0), "abc%d");
  EXPECT_EQ(guard, '#');
}

TEST(FormatText, LargeWidthsFillTheField) {
  for (const char* width : {"255", "256", "1000", "1000000", "2147483647", "2147483648", "99999999999999999999999"}) {
    const bool fits = std::string_view(width) == "255";
    EXPECT_EQ(formatted(joined({"%", width, "d"})),
              fits ? joined({kBlanks.substr(0, 254), "0"}) : kBlanks.substr(0, 255));
    EXPECT_EQ(formatted(joined({"%0", width, "d"})), kZeros.substr(0, 255));
    EXPECT_EQ(formatted(joined({"%-", width, "dx"})), joined({"0", kBlanks.substr(0, 254)}));
    EXPECT_EQ(formatted(joined({"%+0", width, "d"})), joined({"+", kZeros.substr(0, 254)}));
    EXPECT_EQ(formatted(joined({"%", width, "sx"})), "x");
  }
}

TEST(FormatText, LargePrecisionsFillTheField) {
  for (const char* precision : {"255", "256", "1000", "1000000", "2147483647", "4294967296", "99999999999999999999"}) {
    EXPECT_EQ(formatted(joined({"%.", precision, "d"})), kZeros.substr(0, 255));
    EXPECT_EQ(formatted(joined({"%.", precision, "f"})), joined({"0.", kZeros.substr(0, 253)}));
    EXPECT_EQ(formatted(joined({"%+.", precision, "e"})), joined({"+0.", kZeros.substr(0, 252)}));
    EXPECT_EQ(formatted(joined({"%.", precision, "a"})), joined({"0x0.", kZeros.substr(0, 251)}));
    EXPECT_EQ(formatted(joined({"%.", precision, "gx"})), "0x");
  }
}

TEST(FormatText, LargeWidthsAndPrecisionsTogether) {
  EXPECT_EQ(formatted("%300.290d"), joined({kBlanks.substr(0, 10), kZeros.substr(0, 245)}));
  EXPECT_EQ(formatted("%1000.990d"), joined({kBlanks.substr(0, 10), kZeros.substr(0, 245)}));
  EXPECT_EQ(formatted("%1000000.999990d"), joined({kBlanks.substr(0, 10), kZeros.substr(0, 245)}));
  EXPECT_EQ(formatted("%1000000.2000000d"), kZeros.substr(0, 255));
  EXPECT_EQ(formatted("%-1000000.10dx"), joined({kZeros.substr(0, 10), kBlanks.substr(0, 245)}));
  EXPECT_EQ(formatted("%1000000.10d"), kBlanks.substr(0, 255));
  EXPECT_EQ(formatted("%1003.999f"), joined({"  0.", kZeros.substr(0, 251)}));
  EXPECT_EQ(formatted("%+1003.999f"), joined({" +0.", kZeros.substr(0, 251)}));
  EXPECT_EQ(formatted("%1000.999f"), joined({"0.", kZeros.substr(0, 253)}));
  EXPECT_EQ(formatted("%01003.999f"), joined({"000.", kZeros.substr(0, 251)}));
  EXPECT_EQ(formatted("%#1003.999g"), joined({"   0.", kZeros.substr(0, 250)}));
  EXPECT_EQ(formatted("%-2000000000.1999999999d"), kZeros.substr(0, 255));
}

TEST(FormatText, ConversionsAfterALargeOneAreCutAway) {
  EXPECT_EQ(formatted("%500d%s%d%n"), kBlanks.substr(0, 255));
  EXPECT_EQ(formatted(repeated("%1000000d", 10000)), kBlanks.substr(0, 255));
}

namespace {

// A conversion and the type of argument that it takes.
struct Conversion {
  std::string text;
  std::string length;
  char specifier;
  int stars;
};

class Generator {
 public:
  Conversion next() {
    Conversion conversion{"%", "", pick("diouxXbBeEfFgGaAp%m_y\xFC"), 0};
    const auto flags = random_() % 4;
    for (std::size_t i = 0; i < flags; ++i) conversion.text += pick("-+ #0'I");
    conversion.text += number(conversion, "");
    conversion.text += number(conversion, ".");
    conversion.length = length(conversion.specifier);
    conversion.text += conversion.length + conversion.specifier;
    return conversion;
  }

 private:
  char pick(std::string_view characters) { return characters[random_() % characters.size()]; }

  // Nothing, '*', or a number: mostly small, sometimes around the sizes of fields.
  std::string number(Conversion& conversion, std::string_view introduction) {
    switch (random_() % 8) {
      case 0:
      case 1:
        return "";
      case 2:
        ++conversion.stars;
        return joined({introduction, "*"});
      case 3:
        return joined({introduction, std::to_string(1 + random_() % 1200)});
      case 4:
        return joined({introduction, std::to_string(250 + random_() % 10)});
      case 5:
        return introduction.empty() ? "" : ".";
      default:
        return joined({introduction, std::to_string(1 + random_() % 20)});
    }
  }

  std::string length(char specifier) {
    constexpr std::string_view kIntegers = "diouxXbBm_y\xFC";
    constexpr std::string_view kReals = "eEfFgGaA";
    constexpr std::array kIntegerLengths{"", "", "hh", "h", "l", "ll", "q", "j", "z", "t"};
    constexpr std::array kRealLengths{"", "", "l", "L"};
    if (kIntegers.find(specifier) != std::string_view::npos) return kIntegerLengths.at(random_() % 10);
    if (kReals.find(specifier) != std::string_view::npos) return kRealLengths.at(random_() % 4);
    return "";
  }

  std::mt19937 random_{29};  // the same conversions in each run
};

template <typename Zero>
std::string printed_with(const Conversion& conversion, Zero zero, std::size_t size) {
  std::array<char, kField> field{};
  const char* format = conversion.text.c_str();
  switch (conversion.stars) {
    case 0:
      std::snprintf(field.data(), size, format, zero);
      break;
    case 1:
      std::snprintf(field.data(), size, format, 0, zero);
      break;
    default:
      std::snprintf(field.data(), size, format, 0, 0, zero);
      break;
  }
  return field.data();
}

// What the C library makes of the conversion, given zeros of the right types.
std::string printed(const Conversion& conversion, std::size_t size) {
  const xrd::CLocale locale;
  errno = 0;  // which "%m" shows
  constexpr std::string_view kReals = "eEfFgGaA";
  if (kReals.find(conversion.specifier) != std::string_view::npos) {
    return conversion.length == "L" ? printed_with(conversion, 0.0L, size) : printed_with(conversion, 0.0, size);
  }
  if (conversion.specifier == 'p') return printed_with(conversion, static_cast<void*>(nullptr), size);
  if (conversion.length == "l") return printed_with(conversion, 0L, size);
  if (conversion.length == "ll" || conversion.length == "q") return printed_with(conversion, 0LL, size);
  if (conversion.length == "j") return printed_with(conversion, std::intmax_t{0}, size);
  if (conversion.length == "z") return printed_with(conversion, std::size_t{0}, size);
  if (conversion.length == "t") return printed_with(conversion, std::ptrdiff_t{0}, size);
  return printed_with(conversion, 0, size);
}

}  // namespace

TEST(FormatText, RandomConversionsArePrintedAsTheCLibraryPrintsZeros) {
  Generator generator;
  for (int i = 0; i < 50000; ++i) {
    const Conversion conversion = generator.next();
    EXPECT_EQ(formatted(conversion.text), printed(conversion, kField)) << conversion.text;
    const std::size_t size = 1 + static_cast<std::size_t>(i) % 40;
    EXPECT_EQ(formatted(conversion.text, size), printed(conversion, size)) << conversion.text;
  }
}

TEST(FormatText, RandomTextsStayInTheirField) {
  std::mt19937 random(31);  // the same texts in each run
  constexpr std::string_view kCharacters = "%%%%$*.-+ #0'I123456789hlLqjzZtdiouxXeEfFgGaAcsCSpnmybB\xFC";
  for (int i = 0; i < 20000; ++i) {
    std::string text;
    for (std::size_t length = random() % 60; length > 0; --length) text += kCharacters[random() % kCharacters.size()];
    const std::size_t size = 1 + random() % kField;
    EXPECT_EQ(formatted(text, size), formatted(text).substr(0, size - 1)) << text;
  }
}
