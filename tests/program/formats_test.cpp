// Frames of every format, read by the program, and what it writes.
#include <algorithm>
#include <filesystem>

#include "tests/formats/tiff_builder.h"
#include "tests/program/program.h"
#include "xrdimage.h"

namespace {

using test::little16;
using test::little32;
using test::Result;

// The line of `key` in the output of info, without the key.
std::string value_of(const std::string& output, const std::string& key) {
  const std::size_t start = output.find("\n" + key + ":");
  if (start == std::string::npos) return "";
  const std::size_t value = output.find_first_not_of(' ', start + key.size() + 2);
  return output.substr(value, output.find('\n', value) - value);
}

std::string ccd_frame(const std::string& byte_order) {
  return "{\nSIZE1=2;\nSIZE2=2;\nBYTE_ORDER=" + byte_order + ";\nWAVELENGTH=1.25;\nDISTANCE=99.5;\n}\n" + little16(1) +
         little16(0x1234) + little16(3) + little16(40000);
}

// A TIFF of one row in one strip behind the 8 bytes of its header; 16 bits a pixel.
std::string tiff_frame(unsigned width, const std::string& pixels) {
  const auto tag = [](unsigned code, unsigned type, std::uint32_t value) {
    return little16(code) + little16(type) + little32(1) + little32(value);
  };
  const auto strip_bytes = static_cast<std::uint32_t>(pixels.size());
  return "II*" + std::string(1, '\0') + little32(8 + strip_bytes) + pixels + little16(8) + tag(256, 3, width) +
         tag(257, 3, 1) + tag(258, 3, 16) + tag(259, 3, 1) + tag(262, 3, 1) + tag(273, 4, 8) + tag(278, 3, 1) +
         tag(279, 4, strip_bytes) + little32(0);
}

TEST(Formats, CcdFramesHaveTheirTrueCounts) {
  const test::Workplace place;
  // Without HEADER_BYTES there is no telling where the pixels begin, so a frame of this kind has it.
  std::string header =
      "{\nHEADER_BYTES=256;\nSIZE1=2;\nSIZE2=2;\nBYTE_ORDER=little_endian;\nTYPE=unsigned_short;\n"
      "WAVELENGTH=1.25;\nDISTANCE=99.5;\n}\n";
  header.resize(256, ' ');
  place.write("frame.img", header + little16(1) + little16(0x1234) + little16(3) + little16(40000));
  const Result result = place.xrdimage("info frame.img");
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(value_of(result.out, "size"), "2 x 2 pixels");
  EXPECT_EQ(value_of(result.out, "wavelength"), "1.25 Å");
  EXPECT_EQ(value_of(result.out, "distance"), "99.5 mm");
  EXPECT_EQ(value_of(result.out, "exposure"), "");
  EXPECT_EQ(place.xrdimage("convert frame.img -o out.raw").status, 0);
  EXPECT_EQ(test::read_file("out.raw"), little16(1) + little16(0x1234) + little16(3) + little16(40000));
}

TEST(Formats, TheFormatCanBeStated) {
  const test::Workplace place;
  std::string header;
  for (std::string record : {"NCOLS  : 2", "NROWS  : 1", "NPIXELB: 2 1"}) {
    record.resize(80, ' ');
    header += record;
  }
  header.resize(7680, ' ');
  place.write("frame.0001", header + little16(5) + little16(600));
  EXPECT_EQ(value_of(place.xrdimage("info frame.0001").out, "format"), "saint");
  const Result result = place.xrdimage("info --format raw --size 1x1 --skip 7682 frame.0001");
  EXPECT_EQ(value_of(result.out, "format"), "raw");
  EXPECT_EQ(value_of(result.out, "maximum"), "600 counts");
}

TEST(Formats, TiffAndMarCcdFramesAreToldApartByThePrefix) {
  const test::Workplace place;
  place.write("scan.dat", tiff_frame(2, little16(5) + little16(60000)));
  const Result plain = place.xrdimage("info scan.dat");
  EXPECT_EQ(plain.status, 0) << plain.err;
  EXPECT_EQ(value_of(plain.out, "format"), "tiff");
  EXPECT_EQ(value_of(plain.out, "maximum"), "60000 counts");

  // The strip of 4096 bytes holds the binary header, whose file offset 1028 names it.
  std::string pixels(4096, '\0');
  pixels.replace(1028 - 8, 3, "MMX");
  pixels.replace(1720 - 8, 4, little32(150750));
  place.write("frame.0001", tiff_frame(2048, pixels));
  const Result ccd = place.xrdimage("info frame.0001");
  EXPECT_EQ(ccd.status, 0) << ccd.err;
  EXPECT_EQ(value_of(ccd.out, "format"), "marccd");
  EXPECT_EQ(value_of(ccd.out, "distance"), "150.75 mm");
}

TEST(Formats, WhatIsWrongWithATiffIsSaid) {
  const test::Workplace place;
  place.write("scan.tif", "words");
  const Result result = place.xrdimage("info scan.tif");
  EXPECT_EQ(result.status, 1);
  EXPECT_TRUE(result.err.starts_with("xrdimage: scan.tif: is a damaged TIFF file")) << result.err;
  EXPECT_EQ(std::ranges::count(result.err, '\n'), 1);
}

// A directory with a tag that libtiff does not know, of which it warns.
std::string tiff_with_unknown_tag() {
  return test::TiffBuilder(2, 1).tag(65000, 7).strip(little16(5) + little16(6)).bytes();
}

// The module that libtiff names is the file, in its warnings and in most of its errors.
TEST(Formats, WhatLibtiffSaysSteersNoTerminal) {
  const test::Workplace place;
  place.write("warns\x1B]0;\x9B.tif", tiff_with_unknown_tag());
  const Result warned = place.xrdimage("info --classic 'warns\x1B]0;\x9B.tif'");
  EXPECT_EQ(warned.status, 0);
  EXPECT_TRUE(warned.err.starts_with("xrdimage: ")) << warned.err;
  EXPECT_NE(warned.err.find("65000"), std::string::npos) << warned.err;
  EXPECT_EQ(std::ranges::count(warned.err, '\n'), 1) << warned.err;
  place.write("fails\x1B]0;\u009B.tif", "words");
  const Result failed = place.xrdimage("info --classic 'fails\x1B]0;\u009B.tif'");
  EXPECT_EQ(failed.status, 1);
  EXPECT_TRUE(failed.err.starts_with("xrdimage: fails?]0;?.tif: warning: ")) << failed.err;
  for (const Result& result : {warned, failed}) {
    EXPECT_EQ(result.err.find_first_of("\x1B\x9B"), std::string::npos) << result.err;
  }
}

// ------------------------------------------------------------------------------------------------------------------
// As the library's functions have it
// ------------------------------------------------------------------------------------------------------------------

// The frame's counts, little-endian, 32 bits each.
std::string classic_counts(const test::Workplace& place, const std::string& arguments) {
  const Result result = place.xrdimage("convert --classic --bits 32 --overwrite -o out.raw " + arguments);
  EXPECT_EQ(result.status, 0) << result.err;
  return test::read_file("out.raw");
}

TEST(Classic, SamplesOfCcdFramesStaySideBySide) {
  const test::Workplace place;
  place.write("frame.img", ccd_frame("little_endian"));
  // The bytes of every second sample are exchanged.
  EXPECT_EQ(classic_counts(place, "frame.img"),
            little16(0x0100) + little16(0x1234) + little16(0x0300) + little16(40000) + std::string(8, '\0'));
  const Result info = place.xrdimage("info --classic frame.img");
  EXPECT_EQ(value_of(info.out, "wavelength"), "1.25 Å");
  EXPECT_EQ(value_of(info.out, "exposure"), "");
}

TEST(Classic, OverflowMarksAreCounts) {
  const test::Workplace place;
  place.write("frame.mar2300", test::small_mar345());
  EXPECT_EQ(classic_counts(place, "frame.mar2300"), little32(5) + little32(5) + little32(256001) + little32(70000));
  const Result info = place.xrdimage("info --classic frame.mar2300");
  EXPECT_EQ(value_of(info.out, "maximum"), "256001 counts");
  EXPECT_EQ(value_of(info.out, "distance"), "100.5 mm");
}

TEST(Classic, SizeAndBitsOfAnEdfFrameCanBeStated) {
  const test::Workplace place;
  place.write("frame.edf", "{\nDataType = Unknown ;\n}\n" + little32(7) + little32(70000));
  EXPECT_EQ(classic_counts(place, "--size 2x1 --depth 32 frame.edf"), little32(7) + little32(70000));
}

TEST(Classic, TheLibraryAsksForTheSizeOfRawFrames) {
  const test::Workplace place;
  place.write("dump.raw", little16(7) + little16(8));
  const Result result = place.xrdimage("info --classic dump.raw", "2 1\n");
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "# Detector x y [1200 1200]> ");
  EXPECT_EQ(value_of(result.out, "maximum"), "8 counts");
}

TEST(Classic, TypesThatTheLibraryDoesNotReadAreRefused) {
  const test::Workplace place;
  place.write("sheet.IFF", "words");
  EXPECT_EQ(place.xrdimage("info --classic sheet.IFF").err,
            "xrdimage: sheet.IFF: is of the type iff, which the library cannot read\n");
  place.write("notes", "just words\n");
  EXPECT_EQ(place.xrdimage("info --classic notes").err,
            "xrdimage: notes: has a type that the library does not know; state one with --format\n");
  place.write("short.mar2300", "few bytes");
  const Result result = place.xrdimage("info --classic short.mar2300");
  EXPECT_TRUE(result.err.starts_with("xrdimage: short.mar2300: Cannot read header; ")) << result.err;
}

TEST(Classic, EveryFormatHasItsReader) {
  const test::Workplace place;
  std::string header;
  for (std::string record : {"NCOLS  : 2", "NROWS  : 1", "ENDING2: 1.0"}) {
    record.resize(80, ' ');
    header += record;
  }
  header.resize(7680, ' ');
  place.write("frame.sfrm", header + little16(5) + little16(65535));
  EXPECT_EQ(classic_counts(place, "--format saint frame.sfrm"), little32(5) + little32(65535));
  place.write("scan.tif", tiff_frame(2, little16(5) + little16(40000)));
  EXPECT_EQ(classic_counts(place, "scan.tif"), little32(5) + little32(0xFFFF9C40));
  ASSERT_EQ(place.xrdimage("sample --size 64 s.mar2300").status, 0);
  ASSERT_EQ(place.xrdimage("convert s.mar2300 --scale-to 30000 --fit 1200x1200 -o s.pck").status, 0);
  EXPECT_EQ(place.xrdimage("convert --classic s.pck -o again.pck").status, 0);
  EXPECT_EQ(test::read_file("again.pck"), test::read_file("s.pck"));
}

}  // namespace
