#include "tests/host/program.h"

namespace {

using test::Result;

constexpr const char* kSmallInfo =
    "type:             mar2300 (mar345 image plate)\n"
    "size:             2 x 2 pixels\n"
    "program:          scanner\n"
    "date:             Mon Jun 8 15:49:26 2009\n"
    "format:           2\n"
    "overflow records: 2\n"
    "wavelength:       1.54179 Å\n"
    "distance:         100.5 mm\n"
    "phi start:        10 degrees\n"
    "phi end:          11.5 degrees\n"
    "oscillation:      1.5 degrees\n"
    "minimum:          5 counts\n"
    "maximum:          70000 counts\n"
    "mean:             23336.67 counts\n"
    "overflowed:       1 pixels\n";

TEST(Info, TellsHeaderValuesAndStatistics) {
  const test::Workplace place;
  place.write("frame.mar2300", test::small_mar345());
  const Result result = place.xrdimage("info frame.mar2300");
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out, std::string("file:             frame.mar2300\n") + kSmallInfo);
  EXPECT_EQ(result.err, "");
}

TEST(Info, Mar2000FramesAreReadToo) {
  const test::Workplace place;
  place.write("frame.mar2000", test::small_mar345());
  const Result result = place.xrdimage("info frame.mar2000");
  EXPECT_EQ(result.status, 0);
  EXPECT_NE(result.out.find("type:             mar2000 (mar345 image plate)\n"), std::string::npos) << result.out;
  EXPECT_NE(result.out.find("maximum:          70000 counts\n"), std::string::npos);
}

TEST(Info, EachFileHasABlock) {
  const test::Workplace place;
  place.write("a.mar2300", test::small_mar345());
  place.write("b c'd.mar2300", test::small_mar345());
  const Result result = place.xrdimage("info a.mar2300 \"b c'd.mar2300\"");
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out, std::string("file:             a.mar2300\n") + kSmallInfo +
                            "\nfile:             b c'd.mar2300\n" + kSmallInfo);
}

TEST(Info, GoesOnAfterABadFile) {
  const test::Workplace place;
  place.write("a.mar2300", test::small_mar345());
  const Result result = place.xrdimage("info missing.mar2300 a.mar2300");
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.out, std::string("file:             a.mar2300\n") + kSmallInfo);
  EXPECT_EQ(result.err, "xrdimage: missing.mar2300: No such file or directory\n");
}

TEST(Info, ValuesThatTheHeaderLacksAreLeftOut) {
  const test::Workplace place;
  const std::string bytes = test::small_mar345();
  place.write("frame.mar2300", bytes.substr(0, 128) + std::string(3968, ' ') + bytes.substr(4096));
  const Result result = place.xrdimage("info frame.mar2300");
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out,
            "file:             frame.mar2300\n"
            "type:             mar2300 (mar345 image plate)\n"
            "size:             2 x 2 pixels\n"
            "minimum:          5 counts\n"
            "maximum:          70000 counts\n"
            "mean:             23336.67 counts\n"
            "overflowed:       1 pixels\n");
}

TEST(Info, TypeOptionSparesTheDetection) {
  const test::Workplace place;
  place.write("frame.0001", test::small_mar345());
  EXPECT_EQ(place.xrdimage("info frame.0001").status, 1);
  EXPECT_EQ(place.xrdimage("info --type mar2300 frame.0001").out,
            std::string("file:             frame.0001\n") + kSmallInfo);
}

constexpr const char* kRawInfo =
    "file:             dump.raw\n"
    "type:             raw (raw 16-bit image)\n"
    "size:             3 x 2 pixels\n"
    "minimum:          1 counts\n"
    "maximum:          65535 counts\n"
    "mean:             10925.83 counts\n"
    "overflowed:       0 pixels\n";

class InfoOfRawFiles : public testing::Test {
 protected:
  InfoOfRawFiles() { place_.write("dump.raw", std::string("\x01\0\x02\0\x03\0\x04\0\x0A\0\xFF\xFF", 12)); }
  test::Workplace place_;
};

TEST_F(InfoOfRawFiles, TakesTheSizeFromTheOption) {
  const Result result = place_.xrdimage("info --size 3x2 dump.raw");
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out, kRawInfo);
  EXPECT_EQ(result.err, "");
}

TEST_F(InfoOfRawFiles, AsksOnTheTerminalOtherwise) {
  const Result result = place_.xrdimage("info dump.raw", "3 2\n");
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out, kRawInfo);
  EXPECT_EQ(result.err, "# Detector x y [1200 1200]> ");
}

TEST_F(InfoOfRawFiles, EachFileTakesALineOfAnswers) {
  place_.write("other.raw", std::string("\x07\0", 2));
  const Result result = place_.xrdimage("info dump.raw other.raw", "3 2\n1 1\n");
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out, std::string(kRawInfo) +
                            "\nfile:             other.raw\n"
                            "type:             raw (raw 16-bit image)\n"
                            "size:             1 x 1 pixels\n"
                            "minimum:          7 counts\n"
                            "maximum:          7 counts\n"
                            "mean:             7.00 counts\n"
                            "overflowed:       0 pixels\n");
}

TEST_F(InfoOfRawFiles, BytesTooManyAreAWarning) {
  const Result result = place_.xrdimage("info --size 2x2 dump.raw");
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "xrdimage: dump.raw: warning: 4 bytes behind the last pixel are ignored\n");
}

TEST_F(InfoOfRawFiles, SizesMustBeTwoPositiveNumbers) {
  for (const char* size : {"3", "3x", "x2", "0x2", "3x-2", "3x2x", "3 2"}) {
    const Result result = place_.xrdimage(std::string("info dump.raw --size '") + size + "'");
    EXPECT_EQ(result.status, 2) << size;
    EXPECT_TRUE(result.err.starts_with("xrdimage: --size: '")) << result.err;
    EXPECT_EQ(result.out, "");
  }
}

TEST_F(InfoOfRawFiles, MoreFilesThanDescriptorsAreNoTrouble) {
  std::string files;
  for (int i = 0; i < 60; ++i) files += " dump.raw";
  const Result result = place_.run("ulimit -S -n 24; exec \"$xrdimage\" info --type raw --size 3x2" + files);
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
}

TEST_F(InfoOfRawFiles, VerboseShowsWhatTheLibraryPrints) {
  const char* allocated = "# 0 kB für Daten bereitgestellt\n";
  EXPECT_EQ(place_.xrdimage("info --size 3x2 dump.raw").out.find(allocated), std::string::npos);
  for (const char* arguments : {"--verbose info --size 3x2 dump.raw", "info --size 3x2 dump.raw -v"}) {
    const Result result = place_.xrdimage(arguments);
    EXPECT_EQ(result.status, 0);
    EXPECT_NE(result.out.find(allocated), std::string::npos) << result.out;
    EXPECT_TRUE(result.out.ends_with(kRawInfo)) << result.out;
    EXPECT_EQ(result.err, "");
  }
}

TEST(Info, RealFrameHasTheCountsOfItsOwnHeader) {
  const std::string path = test::sample_frame("nx09_strain_011.mar2300");
  if (path.empty()) GTEST_SKIP() << "the shared samples are absent";
  const test::Workplace place;
  const Result result = place.xrdimage("info --type mar2300 " + path);
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
  for (const char* line :
       {"size:             2300 x 2300 pixels\n", "program:          scan345\n", "wavelength:       1.54179 Å\n",
        "distance:         100 mm\n", "maximum:          67080 counts\n", "overflowed:       0 pixels\n"}) {
    EXPECT_NE(result.out.find(line), std::string::npos) << line << result.out;
  }
}

}  // namespace
