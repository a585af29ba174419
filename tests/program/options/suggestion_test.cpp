#include "program/options/suggestion.h"

#include <gtest/gtest.h>

#include "tests/program/program.h"

namespace {

using program::suggestion;

const std::vector<std::string> kMaps{"classic", "grey", "inverse", "viridis"};

TEST(Suggestion, IsTheNearestWord) {
  EXPECT_EQ(suggestion("gray", kMaps), "; did you mean grey?");
  EXPECT_EQ(suggestion("viridsi", kMaps), "; did you mean viridis?");
  EXPECT_EQ(suggestion("nverse", kMaps), "; did you mean inverse?");
  EXPECT_EQ(suggestion("clasics", kMaps), "; did you mean classic?");
  EXPECT_EQ(suggestion("GREY", kMaps), "; did you mean grey?");
  EXPECT_EQ(suggestion("edx", {"edx1", "edf", "edx2"}), "; did you mean edx1?");
  EXPECT_EQ(suggestion("--jsno", {"--json", "--jobs"}), "; did you mean --json?");
}

TEST(Suggestion, IsNothingThatIsFar) {
  EXPECT_EQ(suggestion("", kMaps), "");
  EXPECT_EQ(suggestion("pink", kMaps), "");
  EXPECT_EQ(suggestion("gary", {}), "");
  EXPECT_EQ(suggestion("gxxy", kMaps), "");
  EXPECT_EQ(suggestion("viriabc", kMaps), "");
  EXPECT_EQ(suggestion("-x", {"-h", "-v", "-j"}), "");
  EXPECT_EQ(suggestion("7", {"8", "16", "32"}), "");
  EXPECT_EQ(suggestion(std::string(100000, 'g'), kMaps), "");
}

TEST(Suggestion, StandsInMessagesAboutTheCommandLine) {
  const test::Workplace place;
  place.write("a.mar2300", test::small_mar345());
  const auto error_of = [&](const std::string& arguments) {
    const test::Result result = place.xrdimage(arguments);
    EXPECT_EQ(result.status, 2) << arguments;
    return result.err;
  };
  const std::string end = " ('xrdimage --help' tells more)\n";
  EXPECT_EQ(error_of("inof a.mar2300"),
            "xrdimage: The following arguments were not expected: a.mar2300 inof; did you mean info?" + end);
  EXPECT_EQ(error_of("info --siez 3x3 a.mar2300"),
            "xrdimage: The following argument was not expected: --siez; did you mean --size?" + end);
  EXPECT_EQ(error_of("info --jsn=1 a.mar2300"),
            "xrdimage: The following argument was not expected: --jsn=1; did you mean --json?" + end);
  EXPECT_EQ(error_of("info --verbos a.mar2300"),
            "xrdimage: The following argument was not expected: --verbos; did you mean --verbose?" + end);
  EXPECT_EQ(error_of("info --rnigs a.mar2300"),  // is an option elsewhere
            "xrdimage: The following argument was not expected: --rnigs" + end);
  EXPECT_EQ(error_of("diff a.mar2300 a.mar2300 view"), "xrdimage: The following argument was not expected: view" + end);
  EXPECT_EQ(error_of("view a.mar2300 --colors gray"),
            "xrdimage: --colors: 'gray' must be one of classic, grey, inverse, viridis; did you mean grey?" + end);
  EXPECT_EQ(error_of("view a.mar2300 --scale lgo"),
            "xrdimage: --scale: 'lgo' must be one of linear, sqrt, log; did you mean log?" + end);
  EXPECT_EQ(
      error_of("info a.mar2300 --format mar354"),
      "xrdimage: --format: 'mar354' must be one of marccd, tiff, adsc, edf, saint, mar345, packed, raw; did you mean "
      "mar345?" +
          end);
  EXPECT_EQ(
      error_of("convert a.mar2300 -o out/ --to tifff"),
      "xrdimage: --to: 'tifff' must be one of png, tiff, adsc, edf, mar345, packed, raw, npy; did you mean tiff?" +
          end);
  EXPECT_EQ(error_of("completion bsah"), "xrdimage: SHELL: 'bsah' must be one of bash, zsh; did you mean bash?" + end);
}

}  // namespace
