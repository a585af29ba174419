#include <algorithm>
#include <cstdio>

#include "tests/program/program.h"

namespace {

using test::Result;

constexpr std::ptrdiff_t kScreenLines = 24;

TEST(Program, WithoutASubcommandItShowsItsHelp) {
  const test::Workplace place;
  const Result result = place.xrdimage("");
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(result.out, place.xrdimage("--help").out);
  for (const char* name : {"info", "convert", "view", "diff", "sample", "Examples:"}) {
    EXPECT_NE(result.out.find(name), std::string::npos) << name;
  }
  EXPECT_LE(std::ranges::count(result.out, '\n'), kScreenLines) << result.out;
}

// The length of the longest line, as a terminal shows it.
std::size_t widest_line(const std::string& text) {
  std::size_t widest = 0;
  std::size_t columns = 0;
  for (const char c : text) {
    columns = c == '\n' ? 0 : columns + ((static_cast<unsigned char>(c) & 0xC0) != 0x80 ? 1 : 0);
    widest = std::max(widest, columns);
  }
  return widest;
}

TEST(Program, HelpOfEverySubcommandFitsAScreenAndHasExamples) {
  const test::Workplace place;
  for (const std::string name : {"info", "convert", "view", "diff", "sample", "completion", "manual", "licenses"}) {
    const Result result = place.xrdimage(name + " --help");
    EXPECT_EQ(result.status, 0);
    EXPECT_NE(result.out.find("xrdimage " + name), std::string::npos) << result.out;
    EXPECT_NE(result.out.find("Example"), std::string::npos) << result.out;
    EXPECT_LE(std::ranges::count(result.out, '\n'), 30) << result.out;
    EXPECT_LE(widest_line(result.out), 80U) << result.out;
  }
}

TEST(Program, UsageNamesTheOptionsThatMustBeGiven) {
  const test::Workplace place;
  EXPECT_NE(place.xrdimage("convert --help").out.find("Usage: xrdimage convert [OPTIONS] [FILE...] --output OUT\n"),
            std::string::npos);
}

TEST(Program, HelpNamesTheFormatsThatCanBeWritten) {
  const test::Workplace place;
  EXPECT_NE(place.xrdimage("convert --help").out.find("For folders: png tiff adsc edf mar345 packed raw npy\n"),
            std::string::npos);
}

TEST(Program, HelpAllExplainsWhatHelpOnlyNames) {
  const test::Workplace place;
  const std::string brief = place.xrdimage("convert --help").out;
  const std::string whole = place.xrdimage("convert --help-all").out;
  EXPECT_NE(brief.find("--rings"), std::string::npos);
  EXPECT_EQ(brief.find("Sum blocks of N x N pixels"), std::string::npos);
  EXPECT_NE(whole.find("Sum blocks of N x N pixels"), std::string::npos) << whole;
}

TEST(Program, TellsItsVersion) {
  const test::Workplace place;
  const Result result = place.xrdimage("--version");
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out, "xrdimage 1.0.0\n");
}

TEST(Program, WrongArgumentsAreOneLineOnStandardError) {
  const test::Workplace place;
  for (const char* arguments : {"bogus", "--bogus", "info", "convert one.mar2300", "convert --box 1,2 a -o b",
                                "convert --bin x a -o b", "info --format xi a.xi", "convert a -o b --colors pink",
                                "convert a -o b.png --crop 1,2,3", "view a --rings 0"}) {
    const Result result = place.xrdimage(arguments);
    EXPECT_EQ(result.status, 2) << arguments;
    EXPECT_EQ(result.out, "") << arguments;
    EXPECT_TRUE(result.err.starts_with("xrdimage: ")) << result.err;
    EXPECT_EQ(std::ranges::count(result.err, '\n'), 1) << result.err;
  }
}

TEST(Program, WordsOfTheUserSteerNoTerminal) {
  const test::Workplace place;
  for (const std::string arguments :
       {"--%", "info a --size %", "info a --depth %", "info a --format %", "info a --shard %", "convert a -o b --to %",
        "view a --range %", "view a --rings %", "completion %", "sample a --size %", "diff a b %"}) {
    const std::string hostile = "'x\x1B]0;\u009B\x9B\u202E\n\x7F'";
    const Result result = place.xrdimage(std::string(arguments).replace(arguments.find('%'), 1, hostile));
    EXPECT_EQ(result.status, 2) << arguments;
    EXPECT_NE(result.err.find("x?]0;?????"), std::string::npos) << result.err;
    EXPECT_EQ(result.err.find_first_of("\x1B\x9B\x7F\xE2"), std::string::npos) << result.err;
    EXPECT_EQ(std::ranges::count(result.err, '\n'), 1) << result.err;
  }
}

// Those that print something when all is well, or have it to do at the end.
class StandardOutput : public testing::Test {
 protected:
  StandardOutput() {
    place_.write("a.mar2300", test::small_mar345());
    place_.write("b.mar2300", test::small_mar345());
    place_.write("list", "a.mar2300\nb.mar2300\n");
  }

  const std::vector<std::string> talkative_{"",
                                            "--help",
                                            "--help-all",
                                            "--version",
                                            "convert --help",
                                            "completion bash",
                                            "completion zsh",
                                            "manual",
                                            "licenses",
                                            "info a.mar2300",
                                            "info --json a.mar2300 b.mar2300",
                                            "info --csv -j 2 --files-from list",
                                            "diff a.mar2300 b.mar2300",
                                            "convert a.mar2300 -o out.raw",
                                            "sample out.mar2300 --size 64",
                                            "view --terminal a.mar2300",
                                            "view --classic a.mar2300"};
  const std::vector<std::string> others_{"convert a.mar2300 b.mar2300 -o out/ --to raw",
                                         "convert a.mar2300 b.mar2300 -o out/ --to raw -j 2 -v --classic",
                                         "info missing.mar2300",
                                         "diff a.mar2300 missing.mar2300",
                                         "--bogus",
                                         "convert a.mar2300"};
  const std::vector<std::string> files_{"a.mar2300", "b.mar2300", "list"};
  test::Workplace place_;
};

TEST_F(StandardOutput, IsToBeOpenForWritingBeforeAnythingIsDone) {
  std::vector<std::string> all = talkative_;
  all.insert(all.end(), others_.begin(), others_.end());
  for (const std::string& arguments : all) {
    for (const char* output : {">&-", "1</dev/null"}) {
      const Result result = place_.run("exec \"$xrdimage\" " + arguments + " " + output);
      EXPECT_EQ(result.status, 2) << arguments;
      EXPECT_EQ(result.err, "xrdimage: standard output is not open for writing\n") << arguments;
      EXPECT_EQ(place_.files(), files_) << arguments;
    }
    EXPECT_EQ(place_.run("exec \"$xrdimage\" " + arguments + " <&- >&- 2>&-").status, 2) << arguments;
    EXPECT_EQ(place_.files(), files_) << arguments;
  }
}

TEST_F(StandardOutput, OnAFullDeviceIsAnErrorOfTheSameStatus) {
  for (const std::string& arguments : talkative_) {
    const Result result = place_.run("exec \"$xrdimage\" " + arguments + " >/dev/full");
    EXPECT_EQ(result.status, 2) << arguments;
    EXPECT_TRUE(result.err.ends_with("xrdimage: standard output cannot be written: No space left on device\n") ||
                result.err.ends_with("xrdimage: standard output cannot be written completely; is the disk full?\n"))
        << arguments << result.err;
  }
  EXPECT_EQ(place_.run("\"$xrdimage\" --help >/dev/full").err,
            "xrdimage: standard output cannot be written: No space left on device\n");
}

// The lines of --verbose are the workers' own.
TEST_F(StandardOutput, OnAFullDeviceEndsABatch) {
  for (const char* name : {"c.raw", "d.raw"}) place_.write(name, std::string(8, '\0'));
  for (const char* command : {"convert -o out/ --to raw", "info"}) {
    const Result result = place_.run(std::string("exec \"$xrdimage\" ") + command +
                                     " -v --classic --size 2x2 c.raw d.raw missing.raw -j 1 >/dev/full");
    EXPECT_EQ(result.status, 2) << command;
    EXPECT_EQ(result.err, "xrdimage: standard output cannot be written: No space left on device\n");
  }
}

TEST_F(StandardOutput, OnAFullDeviceDoesNotHideAnotherError) {
  const Result result = place_.run("exec \"$xrdimage\" info -v --classic --format tiff a.mar2300 >/dev/full");
  EXPECT_EQ(result.status, 2);
  EXPECT_NE(result.err.find("xrdimage: a.mar2300: "), std::string::npos) << result.err;
  EXPECT_NE(result.err.find("\nxrdimage: standard output cannot be written"), std::string::npos) << result.err;
}

TEST(Program, AClosedStandardInputOrErrorDoesNoHarm) {
  const test::Workplace place;
  place.write("frame.mar2300", test::small_mar345());
  for (const char* closed : {"<&-", "2>&-", "<&- 2>&-"}) {
    EXPECT_EQ(place.run(std::string("exec \"$xrdimage\" convert frame.mar2300 -o out.raw ") + closed).status, 0);
    EXPECT_EQ(test::read_file("out.raw"), std::string("\x05\0\x05\0\xFF\xFF\xFF\xFF", 8));
    std::remove("out.raw");
  }
}

}  // namespace
