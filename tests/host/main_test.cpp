#include <algorithm>

#include "tests/host/program.h"

namespace {

using test::Result;

TEST(Program, WithoutASubcommandItShowsItsHelp) {
  const test::Workplace place;
  const Result result = place.xrdimage("");
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(result.out, place.xrdimage("--help").out);
  for (const char* name : {"info", "convert", "view", "sample", "Examples:"}) {
    EXPECT_NE(result.out.find(name), std::string::npos) << name;
  }
  EXPECT_LE(std::ranges::count(result.out, '\n'), 24) << "more than a screen";
}

TEST(Program, EverySubcommandHasHelpWithExamples) {
  const test::Workplace place;
  for (const std::string name : {"info", "convert", "view", "sample"}) {
    const long lines = name == "convert" ? 40 : 30;  // the library's operations are many
    const Result result = place.xrdimage(name + " --help");
    EXPECT_EQ(result.status, 0);
    EXPECT_NE(result.out.find("  xrdimage " + name), std::string::npos) << result.out;
    EXPECT_LE(std::ranges::count(result.out, '\n'), lines) << result.out;
  }
}

TEST(Program, TellsItsVersion) {
  const test::Workplace place;
  const Result result = place.xrdimage("--version");
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out, "xrdimage 1.0.0\n");
}

TEST(Program, WrongArgumentsAreOneLineOnStandardError) {
  const test::Workplace place;
  for (const char* arguments : {"bogus", "--bogus", "info", "convert one.mar2300", "convert --box 1,2 a b",
                                "convert --bin x a b", "info --type xi a.xi"}) {
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
  EXPECT_EQ(place.run("exec \"$xrdimage\" convert frame.mar2300 out.raw <&- >&- 2>&-").status, 0);
  EXPECT_EQ(test::read_file("out.raw"), std::string("\x05\0\x05\0\xFF\xFF\xFF\xFF", 8));
}

}  // namespace
