// The manual page and the completions, as their readers understand them.
#include "tests/program/program.h"

namespace {

using test::Result;

constexpr const char* kSubcommands[] = {"info",   "convert",    "view",   "diff",
                                        "sample", "completion", "manual", "licenses"};

TEST(Manual, ManShowsEverySubcommandAndOption) {
  const test::Workplace place;
  const Result result = place.run("\"$xrdimage\" manual | groff -man -Kutf8 -Tutf8 -ww -P-c -P-b -P-u 2>&1");
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out.find("warning"), std::string::npos) << result.out;
  for (const char* name : kSubcommands) EXPECT_NE(result.out.find(name), std::string::npos) << name;
  for (const char* option : {"--skip-existing", "--colors", "classic, grey, inverse, viridis", "--shard K/N", "--bin",
                             "--big-endian", "-j, --jobs", "EXIT STATUS", "ENVIRONMENT"}) {
    EXPECT_NE(result.out.find(option), std::string::npos) << option;
  }
}

TEST(Manual, FormatsAreNamedOnceAndInTheHelpToo) {
  const test::Workplace place;
  const std::string formats = "marccd, tiff, adsc, edf, saint, mar345, packed, raw";
  const std::string entry = ".TP\n\\fB\\-\\-format\\fR \\fINAME\\fR\nRead the file as this format: ";
  EXPECT_NE(place.xrdimage("manual").out.find(entry + formats + "\n"), std::string::npos);
  EXPECT_NE(place.xrdimage("info --help-all").out.find(formats), std::string::npos);
}

// The words that bash offers for the last one of the line.
std::string bash_offers(const test::Workplace& place, const std::string& line) {
  const Result result = place.run("\"$xrdimage\" completion bash >c && bash -c '. ./c; COMP_WORDS=(" + line +
                                  "); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _xrdimage; echo ${COMPREPLY[@]}'");
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(result.err, "");
  return result.out;
}

TEST(Manual, BashCompletesSubcommandsOptionsAndWords) {
  const test::Workplace place;
  place.write("frame.img", "");
  EXPECT_EQ(bash_offers(place, "xrdimage con"), "convert\n");
  EXPECT_EQ(bash_offers(place, "xrdimage convert --skip"), "--skip-existing --skip\n");
  EXPECT_EQ(bash_offers(place, "xrdimage convert --colors v"), "viridis\n");
  EXPECT_EQ(bash_offers(place, "xrdimage convert --to \"\""), "png tiff adsc edf mar345 packed raw npy\n");
  // Names of files are left to the shell, which knows how to quote them.
  EXPECT_EQ(bash_offers(place, "xrdimage info fra"), "\n");
  EXPECT_NE(place.run("\"$xrdimage\" completion bash").out.find("complete -o default -F _xrdimage xrdimage\n"),
            std::string::npos);
  EXPECT_EQ(bash_offers(place, "xrdimage info --js"), "--json\n");
}

TEST(Manual, ZshTakesTheCompletion) {
  const test::Workplace place;
  EXPECT_EQ(place.run("\"$xrdimage\" completion zsh >_xrdimage && zsh -n _xrdimage").status, 0);
  const std::string script = test::read_file("_xrdimage");
  EXPECT_TRUE(script.starts_with("#compdef xrdimage\n"));
  EXPECT_NE(script.find(":(classic grey inverse viridis)'"), std::string::npos);
}

TEST(Manual, OtherShellsAreRefused) {
  const test::Workplace place;
  EXPECT_EQ(place.xrdimage("completion fish").status, 2);
  EXPECT_EQ(place.xrdimage("completion").status, 2);
}

}  // namespace
