#include "support/text_field.h"

#include <gtest/gtest.h>

#include <array>
#include <string>

namespace {

// The first `size` characters of a longer array, which shows what is written behind them.
std::string copied(std::size_t size, std::string_view text) {
  std::array<char, 10> memory{};
  memory.fill('#');
  xrd::copy_cut(std::span(memory).first(size), text);
  return {memory.begin(), memory.end()};
}

}  // namespace

TEST(TextField, ShortTextsEndWithNul) {
  EXPECT_EQ(copied(6, "abc"), std::string("abc\0######", 10));
  EXPECT_EQ(copied(6, ""), std::string("\0#########", 10));
}

TEST(TextField, LongTextsAreCut) {
  EXPECT_EQ(copied(6, "abcde"), std::string("abcde\0####", 10));
  EXPECT_EQ(copied(6, "abcdef"), std::string("abcde\0####", 10));
  EXPECT_EQ(copied(6, "abcdefghijklmnop"), std::string("abcde\0####", 10));
  EXPECT_EQ(copied(1, "abc"), std::string("\0#########", 10));
}

TEST(TextField, PercentSignsAreText) {
  EXPECT_EQ(copied(9, "50%d%n%s"), std::string("50%d%n%s\0#", 10));
}
