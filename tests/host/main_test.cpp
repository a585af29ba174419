#include <algorithm>

#include "tests/host/program.h"

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
  EXPECT_NE(place.xrdimage("convert --help").out.find("Format, for folders: png edf tif img mar pck raw npy\n"),
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

TEST(Program, AnUnwritableStandardOutputIsAnError) {
  const test::Workplace place;
  const Result result = place.run("\"$xrdimage\" --help >/dev/full");
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "xrdimage: standard output cannot be written: No space left on device\n");
}

TEST(Program, ClosedStandardStreamsDoNoHarm) {
  const test::Workplace place;
  place.write("frame.mar2300", test::small_mar345());
  EXPECT_EQ(place.run("exec \"$xrdimage\" convert frame.mar2300 -o out.raw <&- >&- 2>&-").status, 0);
  EXPECT_EQ(test::read_file("out.raw"), std::string("\x05\0\x05\0\xFF\xFF\xFF\xFF", 8));
}

}  // namespace
