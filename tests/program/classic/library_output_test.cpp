#include "program/classic/library_output.h"

#include <unistd.h>

#include <array>
#include <cstdio>
#include <stdexcept>

#include "support/conversation.h"
#include "support/tiff.h"
#include "tests/environment.h"

namespace {

using xrd::LibraryReport;
using xrd::parse_library_output;
using Texts = std::vector<std::string>;

TEST(LibraryOutput, ColouredErrorLinesAreErrors) {
  const LibraryReport report = parse_library_output("# one\n# " RED_ERROR " READING frame\n# two\n");
  EXPECT_EQ(report.errors, Texts{"READING frame"});
  EXPECT_EQ(report.lines, (Texts{"# one", "# ERROR READING frame", "# two"}));
}

TEST(LibraryOutput, ResetSequencesOnBothSidesOfTheWordCountAsColours) {
  EXPECT_EQ(parse_library_output("# \033[0mERROR\033[0m READING frame\n").errors, Texts{"READING frame"});
}

TEST(LibraryOutput, UncolouredErrorsBeginTheirLine) {
  EXPECT_EQ(parse_library_output("ERROR> Something wrong with header: \n").errors,
            Texts{"Something wrong with header"});
  EXPECT_EQ(parse_library_output("ERROR> frame does not exist.").errors, Texts{"frame does not exist"});
}

TEST(LibraryOutput, AnErrorBehindAnUnansweredQuestionIsFound) {
  EXPECT_EQ(parse_library_output("# Detector x y [1200 1200]> # " RED_ERROR " READING a: too large\n").errors,
            Texts{"READING a: too large"});
}

TEST(LibraryOutput, TheWordInAPathIsNoError) {
  const LibraryReport report = parse_library_output("# /data/ERROR/frame written\nfile ERROR> x\n# WARNING written\n");
  EXPECT_TRUE(report.errors.empty());
  EXPECT_TRUE(report.warnings.empty());
}

TEST(LibraryOutput, AWarningTakesItsIndentedLineWithIt) {
  const LibraryReport report = parse_library_output(
      "WARNING> cannot read overflow pixel # 3!\n         Overflow pixel will be ignored\n# " RED_WARNING " dark\n");
  EXPECT_EQ(report.warnings, (Texts{"cannot read overflow pixel # 3! Overflow pixel will be ignored", "dark"}));
}

TEST(LibraryOutput, Latin1BecomesUtf8) {
  EXPECT_EQ(parse_library_output("# 4 kB f\xFCr Daten bereitgestellt\n# Intensit\xE4ten\n").lines,
            (Texts{"# 4 kB f\u00FCr Daten bereitgestellt", "# Intensit\u00E4ten"}));
}

TEST(LibraryOutput, Utf8OfAPathStaysAsItIs) {
  EXPECT_EQ(parse_library_output("# /m\u00FCller/\u20AC.raw written\n").lines,
            Texts{"# /m\u00FCller/\u20AC.raw written"});
  EXPECT_EQ(parse_library_output("cut \xE2\x82").lines, Texts{"cut \u00E2\u0082"});
}

TEST(LibraryOutput, OnlyColoursAreTakenOut) {
  EXPECT_EQ(parse_library_output("# \033[2Ja\033[1;31mb\033[\033[0mc m\033[12\n").lines,
            Texts{"# \033[2Jab\033[c m\033[12"});
}

TEST(LibraryOutput, ErrorsAreJoinedWithoutThePath) {
  const LibraryReport report{{}, {"READING a.raw: cannot allocate", "Cannot allocate 9 x 9 pixels for a.raw"}, {}};
  EXPECT_EQ(joined_errors(report, "a.raw"), "cannot allocate; Cannot allocate 9 x 9 pixels");
}

TEST(LibraryOutput, LinesAreKeptFromStandardOutput) {
  LibraryReport report;
  const test::Output output = test::capture([&] {
    std::printf("before\n");
    report = program::run_library({}, {}, [] { xrd::print("library\n"); });
    std::printf("after\n");
  });
  EXPECT_EQ(output.out, "before\nafter\n");
  EXPECT_EQ(output.err, "");
  EXPECT_EQ(report.lines, Texts{"library"});
}

TEST(LibraryOutput, VerboseShowsTheLinesWithoutColours) {
  const test::Output output = test::capture(
      [] { program::run_library({.verbose = true}, {}, [] { xrd::print("# " RED_WARNING " f\xFCr\n"); }); });
  EXPECT_EQ(output.out, "# WARNING f\u00FCr\n");
}

TEST(LibraryOutput, LinesOnStandardErrorAreKeptToo) {
  LibraryReport report;
  const auto print = [] { xrd::print_error("(to_short) shift = 0\n"); };
  const test::Output output = test::capture([&] { report = program::run_library({}, {}, print); });
  EXPECT_EQ(output.err, "");
  EXPECT_EQ(output.out, "");
  EXPECT_EQ(report.lines, Texts{"(to_short) shift = 0"});
}

TEST(LibraryOutput, WhatProgramsWriteStandsBetweenTheLibrarysLines) {
  LibraryReport report;
  int status = 0;
  const test::Output output = test::capture([&] {
    report = program::run_library({}, {}, [&] {
      xrd::print("before\n");
      status = xrd::run_command("echo program; echo complaint >&2; exit 3");
      xrd::print("after\n");
    });
  });
  EXPECT_EQ(report.lines, (Texts{"before", "program", "after"}));
  EXPECT_EQ(status >> 8, 3);
  EXPECT_EQ(output.out, "");
  EXPECT_EQ(output.err, "complaint\n");
}

TEST(LibraryOutput, EarlierLinesStandBeforeWhatLibtiffSays) {
  const test::TemporaryDirectory directory;
  const std::string path = directory.write("frame.tif", "");
  const test::Output output = test::capture([&] {
    dup2(STDOUT_FILENO, STDERR_FILENO);
    std::printf("earlier\n");
    program::run_library({}, {}, [&] { xrd::open_tiff(path.c_str()); });
  });
  EXPECT_EQ(output.out, "earlier\nxrdimage: " + path + ": warning: Cannot read TIFF header\n");
}

std::string ask() {
  xrd::print("# earlier line\n");
  std::array<char, 256> line{};
  return xrd::ask("# Question> ", line) ? line.data() : "(none)";
}

TEST(LibraryOutput, QuestionsReachTheUserAndAnswersTheLibrary) {
  Texts answers;
  test::Output output;
  test::with_input("first\nsecond\n", [&] {
    output = test::capture([&] {
      for (int i = 0; i < 3; ++i) program::run_library({}, {}, [&] { answers.push_back(ask()); });
    });
  });
  EXPECT_EQ(answers, (Texts{"first\n", "second\n", "(none)"}));
  EXPECT_EQ(output.out, "");
  EXPECT_EQ(output.err, "# Question> # Question> # Question> ");
}

TEST(LibraryOutput, QuestionsSteerNoTerminal) {
  test::Output output;
  test::with_input("first\n", [&] {
    output = test::capture([&] {
      program::run_library({}, {}, [] {
        std::array<char, 256> line{};
        xrd::ask("# \033[2J\x9B f\xFCr\u202E> ", line);
      });
    });
  });
  EXPECT_EQ(output.err, "# ?[2J? f\u00FCr?> ");
}

TEST(LibraryOutput, VerboseLinesSteerNoTerminal) {
  const test::Output output = test::capture(
      [] { program::run_library({.verbose = true}, {}, [] { xrd::print("# \033[2J\x9B\u009B\u202Ef\xFCr\n"); }); });
  EXPECT_EQ(output.out, "# ?[2J???f\u00FCr\n");
}

TEST(LibraryOutput, AGivenAnswerSparesTheQuestion) {
  Texts answers;
  const test::Output output =
      test::capture([&] { program::run_library({}, "7 9\n", [&] { answers.push_back(ask()); }); });
  EXPECT_EQ(answers, Texts{"7 9\n"});
  EXPECT_EQ(output.err, "");
}

TEST(LibraryOutput, LongAnswersAreOneLineAndCut) {
  Texts answers;
  test::with_input(std::string(300, '1') + "\nsecond\n", [&] {
    test::capture([&] {
      for (int i = 0; i < 2; ++i) program::run_library({}, {}, [&] { answers.push_back(ask()); });
    });
  });
  EXPECT_EQ(answers, (Texts{std::string(255, '1'), "second\n"}));
}

TEST(LibraryOutput, StreamsAreTheProcessAgainWhenTheCallThrows) {
  const test::Output output = test::capture([] {
    EXPECT_THROW(program::run_library({}, {}, [] { throw std::runtime_error("stop"); }), std::runtime_error);
    xrd::print("afterwards");
    xrd::print_error("and this");
  });
  EXPECT_EQ(output.out, "afterwards");
  EXPECT_EQ(output.err, "and this");
}

TEST(LibraryOutput, NoDescriptorIsLeftOpen) {
  const std::size_t before = test::open_descriptors();
  for (int i = 0; i < 3; ++i) {
    program::run_library({}, {}, [] {
      xrd::print("line\n");
      xrd::run_command("true");
    });
  }
  EXPECT_EQ(test::open_descriptors(), before);
}

}  // namespace
