#include "frames/writers/header_text.h"

#include <gtest/gtest.h>

namespace {

TEST(HeaderText, NumbersHaveUpToTwelveDigits) {
  EXPECT_EQ(frames::number_text(0), "0");
  EXPECT_EQ(frames::number_text(1.54179), "1.54179");
  EXPECT_EQ(frames::number_text(-0.5), "-0.5");
  EXPECT_EQ(frames::number_text(0.1 + 0.2), "0.3");
  EXPECT_EQ(frames::number_text(1.54179 * 1e-10), "1.54179e-10");
  EXPECT_EQ(frames::number_text(4294967295.0), "4294967295");
  EXPECT_EQ(frames::number_text(100.0 / 3), "33.3333333333");
}

TEST(HeaderText, ValuesAreOneLineThatEndsNothing) {
  EXPECT_EQ(frames::header_value(" PILATUS 300K, S/N = 3\n"), "PILATUS 300K, S/N = 3");
  EXPECT_EQ(frames::header_value("a;b{c}d\ne\tf\x7Fg"), "a b c d e f g");
  EXPECT_EQ(frames::header_value("für"), "für");
  EXPECT_EQ(frames::header_value(std::string(300, 'x')), std::string(200, 'x'));
  EXPECT_EQ(frames::header_value(";;"), "");
}

TEST(HeaderText, BracedHeaderFillsBlocks) {
  // 2 + 507 + 3 bytes fill a block; one more needs another.
  EXPECT_EQ(frames::braced_header("A=1;\n"), "{\nA=1;\n" + std::string(502, ' ') + "\n}\n");
  EXPECT_EQ(frames::braced_header(std::string(507, 'x')), "{\n" + std::string(507, 'x') + "\n}\n");
  EXPECT_EQ(frames::braced_header(std::string(508, 'x')),
            "{\n" + std::string(508, 'x') + std::string(511, ' ') + "\n}\n");
  EXPECT_EQ(frames::braced_header_bytes(507), 512U);
  EXPECT_EQ(frames::braced_header_bytes(508), 1024U);
}

TEST(HeaderText, WhatIsNotKnownIsLeftOut) {
  frames::HeaderLines items(4, "=", ";");
  items.add("A", std::optional<double>());
  items.add("B", 2.5);
  items.add_text("C", std::nullopt);
  items.add_text("D", "\n");
  items.add_text("LONGER", "x");
  EXPECT_EQ(items.text(), "B   =2.5;LONGER=x;");
}

}  // namespace
