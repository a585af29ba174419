#include "support/header_keys.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "tests/formats/naive_headers.h"

namespace {

struct Closer {
  void operator()(std::FILE* stream) const { std::fclose(stream); }
};

std::unique_ptr<std::FILE, Closer> stream_of(const std::string& bytes) {
  std::unique_ptr<std::FILE, Closer> stream(std::tmpfile());
  std::fwrite(bytes.data(), 1, bytes.size(), stream.get());
  std::rewind(stream.get());
  return stream;
}

// One key of each kind.
struct Values {
  int whole = -1;
  float single = -1;
  double real = -1;
  std::array<char, 6> text{};
  std::array<xrd::HeaderWord, 3> words{};
  std::array<xrd::HeaderKey, 5> keys = {{
      {"WHOLE=%d;", &whole},
      {"SINGLE : %f", &single},
      {"REAL %*s %lf", &real},
      {"TEXT=%s;", std::span<char>(text)},
      {"WORDS=%s %s %s", xrd::HeaderWords{words.data(), 3}},
  }};

  // The index of the key that the line matches; -1 for none.
  int match(const char* line) {
    const xrd::HeaderKey* key = xrd::match_header_line(line, keys);
    return key == nullptr ? -1 : static_cast<int>(key - keys.data());
  }
};

}  // namespace

TEST(HeaderKeys, EachKindOfValueIsStored) {
  Values values;
  EXPECT_EQ(values.match("WHOLE=12;\n"), 0);
  EXPECT_EQ(values.match("SINGLE : 1.5\n"), 1);
  EXPECT_EQ(values.match("REAL = 2.25 ;\n"), 2);
  EXPECT_EQ(values.match("TEXT=abc;\n"), 3);
  EXPECT_EQ(values.match("WORDS=one two three four\n"), 4);
  EXPECT_EQ(values.whole, 12);
  EXPECT_EQ(values.single, 1.5F);
  EXPECT_EQ(values.real, 2.25);
  EXPECT_STREQ(values.text.data(), "abc;");
  EXPECT_STREQ(values.words[0].data(), "one");
  EXPECT_STREQ(values.words[1].data(), "two");
  EXPECT_STREQ(values.words[2].data(), "three");
}

TEST(HeaderKeys, FirstMatchingKeyDecides) {
  int first = -1;
  int second = -1;
  const xrd::HeaderKey keys[] = {{"N=%d", &first}, {"N=%d", &second}};
  EXPECT_EQ(xrd::match_header_line("N=3", keys), &keys[0]);
  EXPECT_EQ(first, 3);
  EXPECT_EQ(second, -1);
}

TEST(HeaderKeys, KeyWhoseValueDoesNotConvertIsPassedBy) {
  int whole = -1;
  std::array<char, 10> text{};
  const xrd::HeaderKey keys[] = {{"N=%d", &whole}, {"N=%s", std::span<char>(text)}};
  EXPECT_EQ(xrd::match_header_line("N=x3", keys), &keys[1]);
  EXPECT_EQ(whole, -1);
  EXPECT_STREQ(text.data(), "x3");
}

TEST(HeaderKeys, LineWithoutKeyMatchesNothing) {
  Values values;
  for (const char* line : {"", "\n", "OTHER=1;\n", " WHOLE=1;\n", "WHOLE:1;\n", "WHOLE=;\n", "WHOLE=", "TEXT=\n",
                           "TEXT=   \n", "REAL = \n", "REAL 5\n", "SINGLE 5\n", "WORDS=  \n"}) {
    EXPECT_EQ(values.match(line), -1) << line;
  }
  EXPECT_EQ(values.whole, -1);
  EXPECT_EQ(values.single, -1);
  EXPECT_EQ(values.real, -1);
  EXPECT_STREQ(values.text.data(), "");
}

TEST(HeaderKeys, BlanksInPatternsMatchAnyNumberOfBlanks) {
  Values values;
  EXPECT_EQ(values.match("SINGLE:7"), 1);
  EXPECT_EQ(values.single, 7);
  EXPECT_EQ(values.match("SINGLE \t\r\n   :   8"), 1);
  EXPECT_EQ(values.single, 8);
  EXPECT_EQ(values.match("REAL=\t9"), 2);
  EXPECT_EQ(values.real, 9);
}

TEST(HeaderKeys, TextBehindTheLastValueIsNotNeeded) {
  Values values;
  EXPECT_EQ(values.match("WHOLE=4"), 0);
  EXPECT_EQ(values.whole, 4);
  EXPECT_EQ(values.match("WHOLE=5.7,"), 0);
  EXPECT_EQ(values.whole, 5);
}

TEST(HeaderKeys, TextIsCutAtItsField) {
  Values values;
  values.match("TEXT=12345");
  EXPECT_STREQ(values.text.data(), "12345");
  values.match("TEXT=123456");
  EXPECT_STREQ(values.text.data(), "12345");
  values.match(("TEXT=" + std::string(249, 'x')).c_str());
  EXPECT_STREQ(values.text.data(), "xxxxx");
}

TEST(HeaderKeys, TextIsTakenAsAFormatString) {
  Values values;
  values.match("TEXT=a%db%%");
  EXPECT_STREQ(values.text.data(), "a0b%");
  values.match("TEXT=%s%n%c");
  EXPECT_STREQ(values.text.data(), "");
  values.match("TEXT=%300d");
  EXPECT_STREQ(values.text.data(), "     ");
}

TEST(HeaderKeys, WordsAreKeptOnlyWhenAllAreThere) {
  Values values;
  values.match("WORDS=a b c");
  values.match("WORDS=d e");
  values.match("WORDS=f");
  EXPECT_STREQ(values.words[0].data(), "a");
  EXPECT_STREQ(values.words[1].data(), "b");
  EXPECT_STREQ(values.words[2].data(), "c");
}

TEST(HeaderKeys, WordsAreAsLongAsALine) {
  Values values;
  const std::string word(245, 'w');
  values.match(("WORDS=" + word + " b c").c_str());
  EXPECT_EQ(std::string(values.words[0].data()), word);
}

TEST(HeaderKeys, BracedHeaderEndsWithTheBraceLine) {
  Values values;
  const std::string header = "{\nWHOLE=1;\nTEXT=a\r\n}x\n";
  const auto stream = stream_of(header + "WHOLE=2;\n");
  xrd::read_braced_header(stream.get(), values.keys);
  EXPECT_EQ(values.whole, 1);
  EXPECT_STREQ(values.text.data(), "a");
  EXPECT_EQ(std::ftell(stream.get()), static_cast<long>(header.size()));
}

TEST(HeaderKeys, BracedHeaderEndsWithTheFile) {
  Values values;
  const auto stream = stream_of("{\nWHOLE=1;\n }\nWHOLE=2");
  xrd::read_braced_header(stream.get(), values.keys);
  EXPECT_EQ(values.whole, 2);
  EXPECT_EQ(std::fgetc(stream.get()), EOF);
}

TEST(HeaderKeys, RandomHeadersReadAsByHand) {
  constexpr auto kKeys =
      std::to_array<std::string_view>({"WHOLE=", "SINGLE : ", "REAL = ", "TEXT=", "WORDS=", "OTHER="});
  test::Random random(7);
  for (int round = 0; round < 2000; ++round) {
    const std::string file = test::random_items(random, kKeys,
                                                [&random](const std::string& key) {
                                                  return key + test::random_of(random, test::kNumbers) + " " +
                                                         test::random_of(random, test::kWords) + " w";
                                                }) +
                             test::random_closing_line(random) + test::random_bytes(random, 20);
    Values expected;
    const test::BracedHeader header = test::split_header(file);
    for (const std::string& text : test::texts_after(header.lines, "WHOLE=")) {
      expected.whole = test::whole_number(text).value_or(expected.whole);
    }
    for (const std::string& text : test::texts_after(header.lines, "REAL")) {
      const auto value = test::behind_first_word(text);
      if (value) expected.real = test::real_number(*value).value_or(expected.real);
    }
    std::string text_value;
    for (const std::string& text : test::texts_after(header.lines, "TEXT=")) {
      if (const auto found = test::words(text); !found.empty()) text_value = test::as_format(found.front(), 5);
    }
    std::vector<std::string> words(3);
    for (const std::string& text : test::texts_after(header.lines, "WORDS=")) {
      if (const auto found = test::words(text); found.size() >= 3) words.assign(found.begin(), found.begin() + 3);
    }

    Values values;
    const auto stream = stream_of(file);
    xrd::read_braced_header(stream.get(), values.keys);
    EXPECT_EQ(values.whole, expected.whole);
    EXPECT_TRUE(values.real == expected.real || (values.real != values.real && expected.real != expected.real));
    EXPECT_EQ(std::string(values.text.data()), text_value);
    for (std::size_t i = 0; i < 3; ++i) EXPECT_EQ(std::string(values.words[i].data()), words[i]);
    EXPECT_EQ(std::ftell(stream.get()), static_cast<long>(header.end));
    if (testing::Test::HasFailure()) FAIL() << "round " << round << ", file:\n" << file;
  }
}
