#include <algorithm>
#include <filesystem>

#include "host/synthetic_frame.h"
#include "tests/host/program.h"
#include "xrdimage.h"

namespace {

namespace fs = std::filesystem;
using test::Png;
using test::Result;
using Components = std::vector<int>;
using Names = std::vector<std::string>;

// With a frame of 2 x 2 pixels: 5, 5, saturated, 70000.
class Convert : public testing::Test {
 protected:
  Convert() { place_.write("frame.mar2300", test::small_mar345()); }
  test::Workplace place_;
};

TEST_F(Convert, PictureHasTheColourMap) {
  const Result result = place_.xrdimage("convert --max 10 frame.mar2300 out.png");
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(result.out,
            "range:            0-10 counts\n"
            "size:             2 x 2 pixels\n"
            "written:          out.png\n");
  const Png picture = test::read_png("out.png");
  EXPECT_TRUE(picture.has_palette);
  // 5 of 10 in 255 colours is colour 127, the second of the map's second run.
  EXPECT_EQ(picture.pixel(0, 0), (Components{0, 0, 20}));
  EXPECT_EQ(picture.pixel(1, 0), (Components{0, 0, 20}));
  EXPECT_EQ(picture.pixel(0, 1), (Components{255, 255, 255}));
  EXPECT_EQ(picture.pixel(1, 1), (Components{255, 255, 255}));
}

TEST_F(Convert, GreyPictureHas256Steps) {
  EXPECT_EQ(place_.xrdimage("convert --grey --max 140000 frame.mar2300 out.PNG").status, 0);
  const Png picture = test::read_png("out.PNG");
  EXPECT_TRUE(picture.grey);
  EXPECT_EQ(picture.pixel(0, 0), (Components{0, 0, 0}));
  EXPECT_EQ(picture.pixel(0, 1), (Components{255, 255, 255}));  // saturated
  EXPECT_EQ(picture.pixel(1, 1), (Components{128, 128, 128}));
}

TEST_F(Convert, StatesTheRangeThatItChose) {
  const Result result = place_.xrdimage("convert frame.mar2300 out.png");
  EXPECT_EQ(result.status, 0);
  EXPECT_TRUE(result.out.starts_with("range:            0-70000 counts (99.5 % of the pixels)\n")) << result.out;
}

TEST_F(Convert, RawDumpHas16BitsAPixelAndBrighterOnesClipped) {
  const Result result = place_.xrdimage("convert frame.mar2300 out.raw");
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(test::read_file("out.raw"), std::string("\x05\0\x05\0\xFF\xFF\xFF\xFF", 8));
  EXPECT_EQ(result.out,
            "size:             2 x 2 pixels\n"
            "written:          out.raw\n");
  EXPECT_EQ(result.err, "xrdimage: out.raw: warning: 2 pixels above 65535 were written as 65535\n");
}

TEST_F(Convert, RawDumpReadsBack) {
  ASSERT_EQ(place_.xrdimage("sample --size 90 --seed 4 new.mar2300").status, 0);
  ASSERT_EQ(place_.xrdimage("convert new.mar2300 new.raw").status, 0);
  ASSERT_EQ(place_.xrdimage("convert --size 90x90 new.raw again.raw").status, 0);
  std::string expected;
  for (const unsigned count : host::make_synthetic_frame(90, 4).counts) {
    expected += test::little16(std::min(count, 65535U));
  }
  EXPECT_EQ(test::read_file("new.raw"), expected);
  EXPECT_EQ(test::read_file("again.raw"), expected);
}

TEST_F(Convert, SampleComesBackFromThePictureColourByColour) {
  ASSERT_EQ(place_.xrdimage("sample --size 120 new.mar2300").status, 0);
  ASSERT_EQ(place_.xrdimage("convert --max 500 new.mar2300 out.png").status, 0);
  write_colormap("map");
  std::vector<Components> map;
  const test::Stream lines(std::fopen("map", "r"));
  Components line(3);
  while (std::fscanf(lines.get(), "%d %d %d", line.data(), line.data() + 1, line.data() + 2) == 3) map.push_back(line);
  ASSERT_EQ(map.size(), 255U);

  const Png picture = test::read_png("out.png");
  ASSERT_EQ(picture.width, 120U);
  ASSERT_EQ(picture.height, 120U);
  const std::vector<std::uint32_t> counts = host::make_synthetic_frame(120, 1).counts;
  for (unsigned y = 0; y < 120; ++y) {
    for (unsigned x = 0; x < 120; ++x) {
      const std::uint32_t count = counts[y * 120 + x];
      ASSERT_EQ(picture.pixel(x, y), map[std::min<std::size_t>(count * 255 / 500, 254)]) << x << "," << y;
    }
  }
}

TEST_F(Convert, VerboseShowsWhatTheLibraryPrints) {
  const Result result = place_.xrdimage("--verbose convert frame.mar2300 out.raw");
  EXPECT_EQ(result.status, 0);
  EXPECT_NE(result.out.find("# 0 kB für Daten_ushort bereitgestellt\n"), std::string::npos) << result.out;
  EXPECT_NE(result.out.find("(to_short) shift = 0\n"), std::string::npos) << result.out;
}

TEST_F(Convert, UnknownEndingsAreRefusedBeforeAnythingIsRead) {
  for (const char* name : {"out.jpg", "out", ".png"}) {
    const Result result = place_.xrdimage(std::string("convert missing.mar2300 ") + name);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, std::string("xrdimage: ") + name +
                              ": cannot be written: its name must end in one of .png, .raw, .edf, .pck\n");
  }
}

TEST_F(Convert, ImpossibleMaximaAreRefused) {
  for (const char* maximum : {"0", "-3", "many", "4294967296"}) {
    const Result result = place_.xrdimage(std::string("convert frame.mar2300 out.png --max ") + maximum);
    EXPECT_EQ(result.status, 2) << maximum;
    EXPECT_EQ(std::ranges::count(result.err, '\n'), 1) << result.err;
  }
  EXPECT_EQ(place_.files(), Names{"frame.mar2300"});
}

TEST_F(Convert, AFullDiskLeavesNothing) {
  ASSERT_EQ(place_.xrdimage("sample --size 300 new.mar2300").status, 0);
  place_.write("old.png", "what was there");
  for (const char* name : {"new.png", "new.raw", "old.png"}) {
    const Result result = place_.run(std::string("ulimit -f 16; exec \"$xrdimage\" convert new.mar2300 ") + name);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_NE(result.err.find(std::string("xrdimage: ") + name + ": cannot be written: "), std::string::npos)
        << result.err;
  }
  EXPECT_EQ(place_.files(), (Names{"frame.mar2300", "new.mar2300", "old.png"}));
  EXPECT_EQ(test::read_file("old.png"), "what was there");
}

TEST_F(Convert, DevicesAndMissingFoldersAreRefused) {
  fs::create_symlink("/dev/full", "full.png");
  fs::create_symlink("/dev/full", "full.raw");
  EXPECT_EQ(place_.xrdimage("convert frame.mar2300 full.png").err, "xrdimage: full.png: is not a regular file\n");
  EXPECT_TRUE(place_.xrdimage("convert frame.mar2300 full.raw").err.ends_with("full.raw: is not a regular file\n"));
  const Result result = place_.xrdimage("convert frame.mar2300 missing/out.png");
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "xrdimage: missing/out.png: No such file or directory\n");
}

TEST_F(Convert, NamesMayHoldAnything) {
  const std::string name = "b c'd $(x) für.png";
  EXPECT_EQ(place_.xrdimage("convert frame.mar2300 \"b c'd \\$(x) für.png\"").status, 0);
  EXPECT_EQ(test::read_png(name).width, 2U);
  EXPECT_EQ(place_.xrdimage("convert frame.mar2300 \"b c'd \\$(x) für.raw\"").status, 0);
  EXPECT_EQ(fs::file_size("b c'd $(x) für.raw"), 8U);
}

}  // namespace
