// Lists of files, also such as have no end.
#include "program/name_list.h"

#include <climits>

#include "frames/failure.h"
#include "support/files.h"
#include "tests/program/program.h"

namespace {

using test::Result;
using Names = std::vector<std::string>;

constexpr std::size_t kLongest = PATH_MAX - 1;

Names names_of(const std::string& text) {
  const test::TemporaryDirectory directory;
  const xrd::FileHandle stream = xrd::open_file(directory.write("list", text).c_str(), "r");
  Names names;
  program::read_names(stream.get(), "list", names);
  return names;
}

// What the user reads.
std::string refusal_of(const std::string& text) {
  try {
    names_of(text);
  } catch (const frames::Failure& failure) {
    return failure.what();
  }
  return "none";
}

// A word with a NUL behind it.
std::string ended(const std::string& word) {
  return word + '\0';
}

TEST(NameList, LinesOfAnyLengthThatAPathMayHave) {
  const std::string longest(kLongest, 'x');
  EXPECT_EQ(names_of(longest + "\na\n" + longest), (Names{longest, "a", longest}));
  EXPECT_EQ(names_of(longest + "\r\n" + longest + "\r\n"), (Names{longest, longest}));
  EXPECT_EQ(names_of("\n\na\n\r\nb\r"), (Names{"a", "b"}));
  EXPECT_EQ(names_of(""), Names{});
}

TEST(NameList, NamesThatEndWithNulsAreTakenWhole) {
  const std::string longest(kLongest, '\n');
  EXPECT_EQ(names_of(ended(longest) + ended("b\r") + "c"), (Names{longest, "b\r", "c"}));
  EXPECT_EQ(names_of(ended("one")), Names{"one"});
}

TEST(NameList, ManyBlocksAreOneList) {
  Names names;
  std::string lines;
  std::string nuls;
  for (int i = 0; i < 20000; ++i) {
    names.push_back("frame_" + std::to_string(i));
    lines += names.back() + "\n";
    nuls += ended(names.back());
  }
  EXPECT_EQ(names_of(lines), names);
  EXPECT_EQ(names_of(nuls), names);
}

TEST(NameList, WhatNoPathCanBeIsToldWithItsLine) {
  const std::string too_long(kLongest + 1, 'x');
  const std::string limit = " is longer than a path may be (4095 bytes)";
  EXPECT_EQ(refusal_of("a\n\n" + too_long + "\n"), "list: line 3" + limit);
  EXPECT_EQ(refusal_of(too_long), "list: line 1" + limit);
  EXPECT_EQ(refusal_of(too_long + "\r\n"), "list: line 1" + limit);
  EXPECT_EQ(refusal_of(ended("a") + too_long), "list: name 2" + limit);
  EXPECT_EQ(refusal_of(ended("a") + ended("") + ended("b")), "list: name 2 is empty");
  EXPECT_EQ(refusal_of(std::string(kLongest, 'x') + "\nb\n" + ended("c")), "list: line 3 contains a NUL byte");
}

TEST(NameList, LongNamesWithoutAnEndAreRefused) {
  const test::Workplace place;
  const Result result = place.run(
      "ulimit -S -v 1500000; \"$xrdimage\" --version >/dev/null 2>&1 || ulimit -S -v unlimited; "
      "yes $(printf '%04000d' 0) 2>/dev/null | timeout 60 \"$xrdimage\" info --files-from -");
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "xrdimage: standard input: has more than 536870912 bytes of names\n");
}

// Each in seconds and in little memory. (Sanitizers reserve more.)
TEST(NameList, ListsWithoutAnEndAreRefused) {
  const test::Workplace place;
  const std::string limit = "ulimit -S -v 600000; \"$xrdimage\" --version >/dev/null 2>&1 || ulimit -S -v unlimited; ";
  for (const char* subcommand : {"info", "convert -o out/ --to edf"}) {
    const auto error_of = [&](const std::string& before, const std::string& list) {
      std::string command = limit;
      command.append(before)
          .append("timeout 20 \"$xrdimage\" ")
          .append(subcommand)
          .append(" --files-from ")
          .append(list);
      const Result result = place.run(command);
      EXPECT_EQ(result.status, 1) << before << list;
      EXPECT_EQ(result.out, "");
      return result.err;
    };
    EXPECT_EQ(error_of("", "/dev/zero"), "xrdimage: /dev/zero: name 1 is empty\n");
    EXPECT_EQ(error_of("yes 2>/dev/null | tr -d '\\n' | ", "-"),
              "xrdimage: standard input: line 1 is longer than a path may be (4095 bytes)\n");
    EXPECT_EQ(error_of("yes '' 2>/dev/null | ", "-"), "xrdimage: standard input: lists more than 16777216 files\n");
  }
}

}  // namespace
