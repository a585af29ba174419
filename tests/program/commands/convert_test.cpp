#include <algorithm>
#include <filesystem>

#include "frames/synthetic_frame.h"
#include "tests/pictures/png_file.h"
#include "tests/program/program.h"
#include "xrdimage.h"

namespace {

namespace fs = std::filesystem;
using test::little16;
using test::little32;
using test::Png;
using test::Result;
using Components = std::vector<int>;
using Names = std::vector<std::string>;

// With a frame of 2 x 2 pixels: 5, 5, 256000, 70000.
class Convert : public testing::Test {
 protected:
  Convert() { place_.write("frame.mar2300", test::small_mar345()); }
  test::Workplace place_;
};

TEST_F(Convert, PictureHasTheColourMap) {
  const Result result = place_.xrdimage("convert --range 0-10 frame.mar2300 -o out.png");
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

TEST_F(Convert, StatesTheRangeThatItChose) {
  const Result result = place_.xrdimage("convert frame.mar2300 -o out.png");
  EXPECT_EQ(result.status, 0);
  EXPECT_TRUE(result.out.starts_with("range:            5-256000 counts (1 % to 99.5 % of the pixels)\n"))
      << result.out;
}

TEST_F(Convert, SampleComesBackFromThePictureColourByColour) {
  ASSERT_EQ(place_.xrdimage("sample --size 120 new.mar2300").status, 0);
  ASSERT_EQ(place_.xrdimage("convert --range 0-500 new.mar2300 -o out.png").status, 0);
  write_colormap("map");
  std::vector<Components> map;
  const test::Stream lines(std::fopen("map", "r"));
  Components line(3);
  while (std::fscanf(lines.get(), "%d %d %d", line.data(), line.data() + 1, line.data() + 2) == 3) map.push_back(line);
  ASSERT_EQ(map.size(), 255U);

  const Png picture = test::read_png("out.png");
  ASSERT_EQ(picture.width, 120U);
  ASSERT_EQ(picture.height, 120U);
  const std::vector<std::uint32_t> counts = frames::make_synthetic_frame(120, 1).counts;
  for (unsigned y = 0; y < 120; ++y) {
    for (unsigned x = 0; x < 120; ++x) {
      const std::uint32_t count = counts[y * 120 + x];
      ASSERT_EQ(picture.pixel(x, y), map[std::min<std::size_t>(count * 255 / 500, 254)]) << x << "," << y;
    }
  }
}

TEST_F(Convert, ClippedCountsAreAWarning) {
  const Result result = place_.xrdimage("convert frame.mar2300 -o out.raw");
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(test::read_file("out.raw"), std::string("\x05\0\x05\0\xFF\xFF\xFF\xFF", 8));
  EXPECT_EQ(result.out,
            "size:             2 x 2 pixels\n"
            "written:          out.raw\n");
  EXPECT_EQ(result.err,
            "xrdimage: frame.mar2300: warning: 2 pixels above 65535 were written as 65535; --bits 32 keeps them\n");
}

// Every format that is read comes back with the same counts.
TEST_F(Convert, EachFormatKeepsTheCounts) {
  ASSERT_EQ(place_.xrdimage("sample --size 64 --seed 4 new.mar2300").status, 0);
  for (const std::string name : {"a.edf", "a.tif", "a.mar", "a.img --bits 32", "a.raw --bits 32"}) {
    const std::string file = name.substr(0, name.find(' '));
    ASSERT_EQ(place_.xrdimage("convert new.mar2300 -o " + name).status, 0) << name;
    const Result result = place_.xrdimage("diff new.mar2300 " + file + (file == "a.raw" ? " --depth 32" : ""));
    EXPECT_EQ(result.status, 0) << name << result.out << result.err;
  }
}

TEST_F(Convert, TheFormatCanBeStated) {
  EXPECT_EQ(place_.xrdimage("convert frame.mar2300 -o out --to npy").status, 0);
  EXPECT_TRUE(test::read_file("out").starts_with("\x93NUMPY"));
  EXPECT_EQ(place_.xrdimage("convert frame.mar2300 -o out.PNG").status, 0);
  EXPECT_EQ(test::read_png("out.PNG").width, 2U);
}

TEST_F(Convert, UnknownEndingsAreRefusedBeforeAnythingIsRead) {
  for (const char* name : {"out.jpg", "out", ".png"}) {
    const Result result = place_.xrdimage(std::string("convert missing.mar2300 -o ") + name);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, std::string("xrdimage: ") + name +
                              ": cannot be written: its name must end in one of .png, .tif, .img, .edf, .mar, .pck, "
                              ".raw, .npy, or state the format with --to\n");
  }
}

TEST_F(Convert, OfUnknownEndingsTheNearestOneIsSuggested) {
  const auto error_of = [&](const std::string& name) {
    return place_.xrdimage("convert frame.mar2300 -o " + name).err;
  };
  EXPECT_TRUE(error_of("out.tiif").ends_with("or state the format with --to; did you mean .tif?\n"));
  EXPECT_TRUE(error_of("out.EDG").ends_with("or state the format with --to; did you mean .edf?\n"));
  EXPECT_TRUE(error_of("out.xyz").ends_with("or state the format with --to\n"));
}

TEST_F(Convert, ImpossibleRangesAreRefused) {
  for (const char* range : {"0", "3-3", "9-2", "many", "-"}) {
    const Result result = place_.xrdimage(std::string("convert frame.mar2300 -o out.png --range=") + range);
    EXPECT_EQ(result.status, 2) << range;
    EXPECT_EQ(std::ranges::count(result.err, '\n'), 1) << result.err;
  }
  EXPECT_EQ(place_.files(), Names{"frame.mar2300"});
}

TEST_F(Convert, RingsNeedTheGeometry) {
  const Result without = place_.xrdimage("convert frame.mar2300 -o out.png --rings 4");
  EXPECT_EQ(without.status, 1);
  EXPECT_NE(without.err.find("beam centre"), std::string::npos) << without.err;
  EXPECT_NE(without.err.find("--beam"), std::string::npos) << without.err;
  EXPECT_EQ(place_.files(), Names{"frame.mar2300"});
  ASSERT_EQ(place_.xrdimage("sample --size 300 new.mar2300").status, 0);
  const Result with = place_.xrdimage("convert new.mar2300 -o out.png --rings 4,2");
  EXPECT_EQ(with.status, 0) << with.err;
}

TEST_F(Convert, AFullDiskLeavesNothing) {
  ASSERT_EQ(place_.xrdimage("sample --size 300 new.mar2300").status, 0);
  place_.write("old.png", "what was there");
  for (const char* name : {"new.png", "new.raw", "new.tif", "new.edf", "new.mar", "old.png"}) {
    const Result result = place_.run(std::string("ulimit -f 16; exec \"$xrdimage\" convert new.mar2300 -o ") + name);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_TRUE(result.err.starts_with(std::string("xrdimage: ") + name + ": ")) << result.err;
  }
  EXPECT_EQ(place_.files(), (Names{"frame.mar2300", "new.mar2300", "old.png"}));
  EXPECT_EQ(test::read_file("old.png"), "what was there");
}

TEST_F(Convert, DevicesMissingFoldersAndTheFrameItselfAreRefused) {
  fs::create_symlink("/dev/full", "full.png");
  fs::create_symlink("frame.mar2300", "other.mar");
  EXPECT_EQ(place_.xrdimage("convert frame.mar2300 -o full.png").err, "xrdimage: full.png: is not a regular file\n");
  EXPECT_EQ(place_.xrdimage("convert frame.mar2300 -o missing/out.png").err,
            "xrdimage: missing/out.png: No such file or directory\n");
  EXPECT_EQ(place_.xrdimage("convert frame.mar2300 -o other.mar").err,
            "xrdimage: other.mar: is the frame itself, which is not overwritten\n");
  EXPECT_EQ(test::read_file("frame.mar2300"), test::small_mar345());
}

TEST_F(Convert, FramesAreNotOverwrittenUnderOtherNames) {
  fs::create_directory("data");
  fs::create_symlink("data", "link");
  place_.write("data/1.mar", test::small_mar345());
  place_.write("data/2.mar", test::small_mar345());
  for (const char* inputs : {"$PWD/data/2.mar $PWD/data/1.mar", "link/2.mar link/1.mar"}) {
    const Result result =
        place_.run(std::string("exec \"$xrdimage\" convert ") + inputs + " -o 'data/{n}.mar' --bin 2");
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.err.find("is itself an input frame, which is not overwritten"), std::string::npos) << result.err;
  }
  EXPECT_EQ(test::read_file("data/1.mar"), test::small_mar345());
  EXPECT_EQ(test::read_file("data/2.mar"), test::small_mar345());
}

// A folder of raw frames, two of them with endings of formats that are written.
TEST_F(Convert, FilesThatMayBeFramesAreNotReplaced) {
  for (const std::string name : {"scan.tif", "scan.edf", "scan.img", "scan.mar", "scan.pck", "scan.raw", "scan.npy",
                                 "scan.mccd --to tif", "scan --to raw", "scan.tif --to png", "scan.png --to edf"}) {
    const std::string file = name.substr(0, name.find(' '));
    place_.write(file, "a frame");
    const Result result = place_.xrdimage("convert frame.mar2300 --fit 20x20 -o " + name);
    EXPECT_EQ(result.status, 1) << name;
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "xrdimage: " + file + ": already exists; replace it with --overwrite\n");
    EXPECT_EQ(test::read_file(file), "a frame");
    EXPECT_EQ(place_.xrdimage("convert frame.mar2300 --fit 20x20 --overwrite -o " + name).status, 0) << name;
    EXPECT_NE(test::read_file(file), "a frame");
  }
}

TEST_F(Convert, PicturesAreReplaced) {
  for (const std::string name : {"out.png", "out.PNG", "out.png --to png"}) {
    const std::string file = name.substr(0, name.find(' '));
    place_.write(file, "a picture");
    EXPECT_EQ(place_.xrdimage("convert frame.mar2300 -o " + name).status, 0) << name;
    EXPECT_EQ(test::read_png(file).width, 2U);
  }
}

TEST_F(Convert, TheFrameItselfIsRefusedEvenToOverwrite) {
  const std::string refusal = "xrdimage: frame.mar: is the frame itself, which is not overwritten\n";
  fs::create_hard_link("frame.mar2300", "frame.mar");
  for (const std::string option : {"", " --overwrite"}) {
    EXPECT_EQ(place_.xrdimage("convert frame.mar2300 -o frame.mar" + option).err, refusal);
    EXPECT_EQ(place_.xrdimage("convert frame.mar -o frame.mar" + option).err, refusal);
  }
  EXPECT_EQ(test::read_file("frame.mar"), test::small_mar345());
}

TEST_F(Convert, SkippingAndOverwritingExcludeEachOther) {
  EXPECT_EQ(place_.xrdimage("convert frame.mar2300 -o out.edf --overwrite --skip-existing").status, 2);
}

TEST_F(Convert, FoldersAreNoResultsToSkip) {
  fs::create_directory("out.edf");
  const Result result = place_.xrdimage("convert frame.mar2300 -o out.edf --skip-existing");
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "xrdimage: out.edf: is a folder; state the format with --to, as in --to png\n");
}

TEST_F(Convert, NamesMayHoldAnything) {
  const std::string name = "b c'd $(x) für.png";
  EXPECT_EQ(place_.xrdimage("convert frame.mar2300 -o \"b c'd \\$(x) für.png\"").status, 0);
  EXPECT_EQ(test::read_png(name).width, 2U);
}

TEST_F(Convert, DamagedCompressedFramesAreReadAsFarAsTheyGo) {
  ASSERT_EQ(place_.run("gzip -c frame.mar2300 | head -c -8 >cut.gz").status, 0);  // without the checksum
  EXPECT_EQ(place_.xrdimage("convert cut.gz -o out.npy").status, 1);
  const Result result = place_.xrdimage("convert cut.gz -o out.npy --force");
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "xrdimage: cut.gz: warning: is a damaged gzip file\n");
}

TEST_F(Convert, StripsHaveSmallBars) {
  place_.write("strip.raw", std::string(60000, 'x'));
  ASSERT_EQ(place_.xrdimage("convert strip.raw --size 30000x1 -o out.png --bar").status, 0);
  EXPECT_LT(test::read_png("out.png").height, 100U);
}

TEST_F(Convert, CompressedFramesAreRead) {
  EXPECT_EQ(place_.run("gzip -k frame.mar2300 && bzip2 -k frame.mar2300").status, 0);
  for (const char* name : {"frame.mar2300.gz", "frame.mar2300.bz2"}) {
    EXPECT_EQ(place_.xrdimage(std::string("diff frame.mar2300 ") + name).status, 0);
  }
}

// ------------------------------------------------------------------------------------------------------------------
// Operations
// ------------------------------------------------------------------------------------------------------------------

std::string counts_of(const test::Workplace& place, const std::string& options) {
  const Result result = place.xrdimage("convert frame.mar2300 -o out.raw --overwrite --bits 32 " + options);
  EXPECT_EQ(result.status, 0) << result.err;
  return test::read_file("out.raw");
}

TEST_F(Convert, OperationsAreAppliedInTheOrderGiven) {
  EXPECT_EQ(counts_of(place_, "--invert --fit 1x1 --fit 2x1"), little32(16777210) + little32(0));
  EXPECT_EQ(counts_of(place_, "--fit 1x1 --fit 2x1 --invert"), little32(16777210) + little32(16777215));
}

// An EDF file of `width` pixels per row.
std::string edf_of(unsigned width, const std::string& type, const std::vector<std::uint32_t>& counts) {
  std::string file = "{\nByteOrder = LowByteFirst ;\nDataType = " + type + " ;\nDim_1 = " + std::to_string(width) +
                     " ;\nDim_2 = " + std::to_string(counts.size() / width) + " ;\n}\n";
  for (const std::uint32_t count : counts) file += little32(count);
  return file;
}

std::string frame_of(const std::vector<std::uint32_t>& counts) {
  std::string bytes;
  for (const std::uint32_t count : counts) bytes += little32(count);
  return bytes;
}

// The counts of frame.edf after the operation, and what is said about it.
Result operated(const test::Workplace& place, const std::string& operation) {
  Result result = place.xrdimage("convert frame.edf -o out.npy --overwrite " + operation);
  EXPECT_EQ(result.status, 0) << result.err;
  result.out = test::read_file("out.npy").substr(128);
  return result;
}

TEST_F(Convert, BinningSumsAllWholeBlocks) {
  place_.write("frame.edf", edf_of(3, "UnsignedInteger", {1, 2, 9, 3, 4, 9, 9, 9, 9}));
  EXPECT_EQ(operated(place_, "--bin 1").out, frame_of({1, 2, 9, 3, 4, 9, 9, 9, 9}));
  EXPECT_EQ(operated(place_, "--bin 2").out, frame_of({10}));
  EXPECT_EQ(operated(place_, "--bin 3").out, frame_of({55}));
}

TEST_F(Convert, BinningKnowsNoCountThatIsAMark) {
  place_.write("frame.edf", edf_of(2, "UnsignedInteger", {256001, 1, 0, 0}));
  EXPECT_EQ(operated(place_, "--bin 2").out, frame_of({256002}));
}

TEST_F(Convert, BinnedSumsBeyond32BitsAreUnknown) {
  place_.write("frame.edf", edf_of(4, "UnsignedInteger", {0xFFFFFFFF, 1, 0xFFFFFFFF, 0, 0, 0, 0, 0}));
  const Result result = operated(place_, "--bin 2");
  EXPECT_EQ(result.out, frame_of({0xFFFFFFFF, 0xFFFFFFFF}));
  EXPECT_EQ(result.err, "xrdimage: frame.edf: warning: 1 pixels of unknown count were written as 4294967295\n");
  place_.write("frame.edf", edf_of(2, "SignedInteger", {0x80000000, 0x7FFFFFFF, 0xFFFFFFFF, 0}));
  EXPECT_EQ(operated(place_, "--bin 2").out, frame_of({0xFFFFFFFE}));  // -2
}

TEST_F(Convert, NegativeCountsAreTakenAsZeroWhereTheLibraryKnowsNone) {
  place_.write("frame.edf", edf_of(2, "SignedInteger", {0xFFFFFFFB, 7, 100, 0}));  // -5
  const std::string warning = "xrdimage: frame.edf: warning: 1 negative counts were taken as 0\n";
  for (const std::string operation : {"--scale-up", "--scale-to 10000"}) {
    const Result result = operated(place_, operation);
    EXPECT_EQ(result.out, frame_of({0, 700, 10000, 0})) << operation;
    EXPECT_EQ(result.err, warning) << operation;
  }
  EXPECT_EQ(operated(place_, "--to-16-bits").out, frame_of({0, 7, 100, 0}));
  for (const std::string operation : {"--log 10", "--cross 0,0,50", "--box 0,0,0,0,1,1,50"}) {
    EXPECT_EQ(operated(place_, operation).err, warning) << operation;
  }
}

TEST_F(Convert, SixteenBitsHoldAnyCountOnceItIsHalvedOftenEnough) {
  place_.write("frame.edf", edf_of(2, "UnsignedInteger", {0xFFFFFFFF, 0x10000, 0xFFFF, 0}));
  const Result result = operated(place_, "--to-16-bits");
  EXPECT_EQ(result.out, frame_of({0xFFFF, 1, 0, 0}));
  EXPECT_EQ(result.err, "xrdimage: frame.edf: warning: counts were divided by 65536 to fit 16 bits\n");
}

TEST_F(Convert, NumbersMayBeginWithZeros) {
  EXPECT_EQ(counts_of(place_, "--scale-to 0010"), counts_of(place_, "--scale-to 10"));
  place_.write("frame.raw", std::string(70, '\0') + "12");
  EXPECT_EQ(
      place_.xrdimage("convert frame.raw --size 0001x1 --skip 070 --depth 016 -o out.raw --overwrite -j 01").status, 0);
  EXPECT_EQ(test::read_file("out.raw"), "12");
  EXPECT_EQ(place_.xrdimage("convert frame.raw --size 1x1 --skip 0x10 -o out.raw").status, 2);
}

TEST_F(Convert, OperationsAskForWhatCanBe) {
  place_.write("frame.edf", edf_of(2, "UnsignedInteger", {0xFFFFFFFF, 1, 2, 3}));
  EXPECT_EQ(place_.xrdimage("convert frame.edf -o out.npy --log 10").err,
            "xrdimage: frame.edf: --log takes no counts above 2147483647\n");
  for (const auto& [options, largest] :
       {std::pair("--box 0,0,1,1,1,1,2", "--box takes no counts above 2147483647"),
        std::pair("--cross 0,0,2", "--cross takes no counts above 2147483647"),
        std::pair("--invert", "--invert takes no counts above 16777215"),
        std::pair("--scale-up", "--scale-up takes no counts above 10000"),
        std::pair("--mean 9", "--mean over 4 pixels takes no counts above 536870911")}) {
    EXPECT_EQ(place_.xrdimage(std::string("convert frame.edf -o out.npy ") + options).err,
              std::string("xrdimage: frame.edf: ") + largest + "\n");
  }
  EXPECT_EQ(place_.xrdimage("convert frame.edf -o out.npy --fit 99999x99999").err,
            "xrdimage: frame.edf: cannot fit 2x2 pixels to 99999x99999\n");
  EXPECT_EQ(operated(place_, "--fit 1x1").err, "");
  for (const std::string widths : {"0", "-1", "2,0"}) {
    EXPECT_EQ(place_.xrdimage("convert frame.edf -o out.npy --smooth " + widths).status, 2) << widths;
  }
}

TEST_F(Convert, CropAndRotateMoveThePixels) {
  EXPECT_EQ(counts_of(place_, "--crop 1,0,1,2"), little32(5) + little32(70000));
  EXPECT_EQ(counts_of(place_, "--crop 0,1,9,9"), little32(256000) + little32(70000));  // cut at the border
  EXPECT_EQ(counts_of(place_, "--rotate"), little32(256000) + little32(5) + little32(70000) + little32(5));
  EXPECT_EQ(counts_of(place_, "--rotate --crop 0,0,2,1 --rotate"), little32(256000) + little32(5));
  const Result result = place_.xrdimage("convert frame.mar2300 -o out2.raw --crop 2,0,1,1");
  EXPECT_EQ(result.err, "xrdimage: frame.mar2300: --crop begins outside of the frame\n");
}

TEST_F(Convert, CountsAreScaledAndNarrowed) {
  EXPECT_EQ(counts_of(place_, "--to-16-bits"), little32(1) + little32(1) + little32(64000) + little32(17500));
  EXPECT_EQ(counts_of(place_, "--crop 0,0,1,1 --scale-to 9"), little32(9));
  EXPECT_EQ(counts_of(place_, "--crop 0,0,1,1 --scale-up"), little32(10000));
  EXPECT_EQ(counts_of(place_, "--crop 0,0,1,1 --swap-words"), std::string("\0\0\0\x05", 4));
}

TEST_F(Convert, MarkersAreDrawn) {
  const std::string marked = counts_of(place_, "--fit 1x1 --scale-to 9 --fit 3x3 --box 1,1,1,1,1,1,3");
  EXPECT_EQ(marked, little32(3) + little32(3) + little32(3) + little32(3) + little32(0) + little32(3) + little32(3) +
                        little32(3) + little32(0));
  EXPECT_EQ(counts_of(place_, "--fit 1x1 --fit 2x2 --cross 1,1"),
            little32(5) + little32(5) + little32(5) + little32(5));
}

TEST_F(Convert, TheGeometryFollowsThePixels) {
  const auto geometry = [&](const std::string& options) {
    EXPECT_EQ(place_.xrdimage("convert new.mar2300 -o out.edf --overwrite " + options).status, 0);
    const std::string out = place_.xrdimage("info out.edf").out;
    const std::size_t begin = out.find("pixel size:");
    return out.substr(begin, out.find("minimum") - begin);
  };
  ASSERT_EQ(place_.xrdimage("sample --size 64 new.mar2300").status, 0);
  EXPECT_TRUE(geometry("--pixel 0.1,0.2 --beam 20,30")
                  .starts_with("pixel size:       0.1 x 0.2 mm\n"
                               "beam centre:      20, 30 pixels\n"));
  EXPECT_TRUE(geometry("--pixel 0.1,0.2 --beam 20,30 --bin 2")
                  .starts_with("pixel size:       0.2 x 0.4 mm\n"
                               "beam centre:      9.75, 14.75 pixels\n"));  // (20 + 1/2) / 2 - 1/2
  EXPECT_TRUE(geometry("--pixel 0.1,0.2 --beam 20,30 --crop 5,10,9,9")
                  .starts_with("pixel size:       0.1 x 0.2 mm\n"
                               "beam centre:      15, 20 pixels\n"));
  // The row becomes the column, counted from the other side: 63 - 30.
  EXPECT_TRUE(geometry("--pixel 0.1,0.2 --beam 20,30 --rotate")
                  .starts_with("pixel size:       0.2 x 0.1 mm\n"
                               "beam centre:      33, 20 pixels\n"));
}

TEST_F(Convert, UnknownPixelsStayUnknown) {
  std::string bytes = test::small_mar345();
  bytes.replace(4100, 4, little32(0xFFFFFFFF));  // the value of the first record: pixel 0, 1
  place_.write("frame.mar2300", bytes);
  const std::string unknown = little32(0xFFFFFFFF);
  EXPECT_EQ(counts_of(place_, ""), little32(5) + little32(5) + unknown + little32(70000));
  EXPECT_EQ(counts_of(place_, "--rotate"), unknown + little32(5) + little32(70000) + little32(5));
  EXPECT_EQ(counts_of(place_, "--crop 0,1,2,1"), unknown + little32(70000));
  EXPECT_EQ(counts_of(place_, "--fit 1x3"), little32(5) + unknown + little32(0));
  EXPECT_EQ(counts_of(place_, "--fit 4x4 --bin 2"), unknown + little32(0) + little32(0) + little32(0));
  const Result result = place_.xrdimage("convert frame.mar2300 -o out.png --colors grey");
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(test::read_png("out.png").pixel(0, 1), (Components{255, 0, 0}));
}

TEST_F(Convert, BinningByMoreThanTheSizeIsAnError) {
  const Result result = place_.xrdimage("convert --bin 3 frame.mar2300 -o out.edf");
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "xrdimage: frame.mar2300: --bin 3 is more than the frame's width or height\n");
  EXPECT_FALSE(fs::exists("out.edf"));
}

TEST_F(Convert, AveragingIsTheLibrarys) {
  ASSERT_EQ(place_.xrdimage("sample --overwrite --size 64 frame.mar2300").status, 0);
  std::vector<std::uint32_t> expected = frames::make_synthetic_frame(64, 1).counts;
  mittle_Daten(expected.data(), 64, 64, 2);
  std::string bytes;
  for (const std::uint32_t count : expected) bytes += little32(count);
  EXPECT_EQ(counts_of(place_, "--mean 2"), bytes);
}

TEST_F(Convert, VerboseShowsWhatTheLibraryPrints) {
  place_.write("frame.edf", edf_of(2, "UnsignedInteger", {1, 2, 3, 4}));
  const Result result = place_.xrdimage("--verbose convert --classic frame.edf -o out.raw");
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_NE(result.out.find("# 2 x 2 32bit char read\n"), std::string::npos) << result.out;
}

}  // namespace
