#include "support/utf8.h"

#include <gtest/gtest.h>

namespace {

using xrd::first_character;

void expect_character(std::string_view text, std::size_t bytes, char32_t code) {
  EXPECT_EQ(first_character(text).bytes, bytes) << text;
  EXPECT_EQ(first_character(text).code, code) << text;
  EXPECT_EQ(first_character(std::string(text) + "\x80").bytes, bytes) << text;
}

void expect_none(std::string_view text) {
  EXPECT_EQ(first_character(text).bytes, 1U) << text;
  EXPECT_EQ(first_character(text).code, std::nullopt) << text;
}

TEST(Utf8, CharactersHaveOneToFourBytes) {
  expect_character(std::string_view("\0", 1), 1, 0);
  expect_character("a", 1, 'a');
  expect_character("\x7F", 1, 0x7F);
  expect_character("\xC2\x80", 2, 0x80);
  expect_character("\xC3\xA9", 2, U'é');
  expect_character("\xDF\xBF", 2, 0x7FF);
  expect_character("\xE0\xA0\x80", 3, 0x800);
  expect_character("\xE2\x82\xAC", 3, U'€');
  expect_character("\xED\x9F\xBF", 3, 0xD7FF);
  expect_character("\xEE\x80\x80", 3, 0xE000);
  expect_character("\xEF\xBF\xBF", 3, 0xFFFF);
  expect_character("\xF0\x90\x80\x80", 4, 0x10000);
  expect_character("\xF4\x8F\xBF\xBF", 4, 0x10FFFF);
}

TEST(Utf8, BytesThatBeginNoCharacterStandAlone) {
  for (const char* text : {"\x80", "\x9B", "\xBF", "\xC2", "\xC2z", "\xE2\x82", "\xE2\x82z", "\xE2z\xAC",
                           "\xF0\x90\x80", "\xF8\x88\x80\x80\x80", "\xFE", "\xFF"}) {
    expect_none(text);
  }
}

TEST(Utf8, WhatIsWrittenLongerThanNeededIsNone) {
  for (const char* text : {"\xC0\x80", "\xC1\x9B", "\xC1\xBF", "\xE0\x82\x9B", "\xE0\x9F\xBF", "\xF0\x80\x82\x9B"}) {
    expect_none(text);
  }
}

TEST(Utf8, SurrogatesAndWhatLiesBeyondAreNone) {
  for (const char* text : {"\xED\xA0\x80", "\xED\xBF\xBF", "\xF4\x90\x80\x80", "\xF7\xBF\xBF\xBF"}) expect_none(text);
}

}  // namespace
