#include "support/printable.h"

#include <gtest/gtest.h>

namespace {

using xrd::printable;

TEST(Printable, LettersStayWhateverTheirBytes) {
  // The second of é is A9, of € 82, of Û 9B.
  for (const char* text : {"", "a b~", "é", "€", "Û", "μm", "Åß°", "日本", "\U0001F52C", "\u00A0", "\uFFFD"}) {
    EXPECT_EQ(printable(text), text);
  }
}

TEST(Printable, ControlCharactersBecomeQuestionMarks) {
  EXPECT_EQ(printable(std::string_view("\0\a\b\t\n\r\x1B\x1F\x7F", 9)), "?????????");
  EXPECT_EQ(printable("a\u0080b\u009B31mc\u009Fd"), "a?b?31mc?d");
}

TEST(Printable, BytesThatAreNoUtf8BecomeQuestionMarks) {
  EXPECT_EQ(printable("a\x9B"
                      "31m"),
            "a?31m");
  EXPECT_EQ(printable("M\xE4rz \x80\x9F"), "M?rz ??");
  EXPECT_EQ(printable("\xE2\x82"), "??");
  EXPECT_EQ(printable("\xC2\x1B[m"), "??[m");
  EXPECT_EQ(printable("\xC1\x9B\xE0\x82\x9B"), "?????");
}

TEST(Printable, WhatBreaksOrReordersALineBecomesQuestionMarks) {
  EXPECT_EQ(printable("\u061C\u200E\u200F"), "???");
  EXPECT_EQ(printable("\u2028\u2029\u202A\u202B\u202C\u202D\u202E"), "???????");
  EXPECT_EQ(printable("\u2066\u2067\u2068\u2069"), "????");
  // The neighbours of these.
  EXPECT_EQ(printable("\u061B\u061D\u200D\u2010\u2027\u202F\u2065\u206A"),
            "\u061B\u061D\u200D\u2010\u2027\u202F\u2065\u206A");
}

TEST(Printable, AMessageIsOneLine) {
  EXPECT_EQ(xrd::message_line("xrdimage", "a\nb\x1B\xC3\xA9"), "xrdimage: a?b?é\n");
}

}  // namespace
