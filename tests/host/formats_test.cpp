// Frames of every format, read by the program, and what it writes.
#include <algorithm>
#include <filesystem>

#include "tests/host/program.h"
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

TEST(Formats, CcdFramesHaveOneSampleAPixel) {
  const test::Workplace place;
  place.write("frame.img", ccd_frame("little_endian"));
  const Result result = place.xrdimage("info frame.img");
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(value_of(result.out, "size"), "2 x 2 pixels");
  EXPECT_EQ(value_of(result.out, "wavelength"), "1.25 Å");
  EXPECT_EQ(value_of(result.out, "distance"), "99.5 mm");
  EXPECT_EQ(value_of(result.out, "exposure time"), "");
  EXPECT_EQ(place.xrdimage("convert frame.img out.raw").status, 0);
  EXPECT_EQ(test::read_file("out.raw"), little16(1) + little16(0x1234) + little16(3) + little16(40000));
}

TEST(Formats, Edf16BitSamplesAreSpreadToPixels) {
  const test::Workplace place;
  place.write("frame.edf",
              "{\nDim_1 = 2 ;\nDim_2 = 1 ;\nDataType = UnsignedShort ;\n}\n" + little16(7) + little16(60000));
  EXPECT_EQ(place.xrdimage("convert frame.edf out.raw").status, 0);
  EXPECT_EQ(test::read_file("out.raw"), little16(7) + little16(60000));
}

TEST(Formats, SizeAndBitsOfAnEdfFrameCanBeStated) {
  const test::Workplace place;
  place.write("frame.edf", "{\nDataType = Unknown ;\n}\n" + little32(7) + little32(70000));
  const Result result = place.xrdimage("info --size 2x1 -b 32 frame.edf");
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(value_of(result.out, "size"), "2 x 1 pixels");
  EXPECT_EQ(value_of(result.out, "maximum"), "70000 counts");
  EXPECT_NE(place.xrdimage("info --size 2x1 frame.edf").status, 0);
}

TEST(Formats, SaintFramesAreReadWhenTheTypeIsStated) {
  const test::Workplace place;
  std::string header;
  for (std::string record : {"NCOLS  : 2", "NROWS  : 1", "ENDING2: 1.0"}) {
    record.resize(80, ' ');
    header += record;
  }
  header.resize(7680, ' ');
  place.write("frame.sfrm", header + little16(5) + little16(65535));
  const Result result = place.xrdimage("info --type saint frame.sfrm");
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(value_of(result.out, "maximum"), "65535 counts");
}

TEST(Formats, TiffAndMarCcdFramesAreToldApartByThePrefix) {
  const test::Workplace place;
  place.write("scan.tif", tiff_frame(2, little16(5) + little16(1000)));
  const Result plain = place.xrdimage("info scan.tif");
  EXPECT_EQ(plain.status, 0) << plain.err;
  EXPECT_EQ(value_of(plain.out, "maximum"), "1000 counts");
  EXPECT_EQ(value_of(plain.out, "detector"), "");

  // The strip of 4096 bytes holds the binary header, whose file offset 1028 names it.
  std::string pixels(4096, '\0');
  pixels.replace(1028 - 8, 3, "MMX");
  pixels.replace(1720 - 8, 4, little32(150750));
  place.write("frame.tif", tiff_frame(2048, pixels));
  const Result ccd = place.xrdimage("info frame.tif");
  EXPECT_EQ(ccd.status, 0) << ccd.err;
  EXPECT_EQ(value_of(ccd.out, "detector"), "MarCCD");
  EXPECT_EQ(value_of(ccd.out, "distance"), "150.75 mm");
}

TEST(Formats, WhatIsWrongWithATiffIsSaid) {
  const test::Workplace place;
  place.write("scan.tif", "words");
  const Result result = place.xrdimage("info scan.tif");
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err,
            "xrdimage: scan.tif: warning: Cannot read TIFF header\n"
            "xrdimage: scan.tif: reading file scan.tif\n");
}

// With a frame of 2 x 2 pixels: 5, 5, saturated, 70000.
class Written : public testing::Test {
 protected:
  Written() { place_.write("frame.mar2300", test::small_mar345()); }
  test::Workplace place_;
};

TEST_F(Written, EdfHasThirtyTwoBitsAPixel) {
  const Result result = place_.xrdimage("convert frame.mar2300 out.edf");
  EXPECT_EQ(result.status, 0) << result.err;
  const std::string file = test::read_file("out.edf");
  EXPECT_TRUE(file.starts_with("{\nHeaderID        = EH:000001:000000:000000 ; \n"));
  EXPECT_NE(file.find("\nBitsPerSample   = 32 ; \n"), std::string::npos);
  EXPECT_TRUE(file.ends_with("\n}\n" + little32(5) + little32(5) + little32(256001) + little32(70000)));
}

TEST_F(Written, EdfDeclaresSixteenBitsWhenAsked) {
  EXPECT_EQ(place_.xrdimage("convert --bits 16 frame.mar2300 out.edf").status, 0);
  const std::string file = test::read_file("out.edf");
  EXPECT_NE(file.find("\nBitsPerSample   = 16 ; \n"), std::string::npos);
  EXPECT_TRUE(file.ends_with(little32(256001) + little32(70000)));
}

TEST_F(Written, PackedFileHasTheHeaderAndThePackedImage) {
  const Result result = place_.xrdimage("convert frame.mar2300 out.pck");
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "xrdimage: out.pck: warning: 2 pixels above 65535 were written as 65535\n");
  const std::string file = test::read_file("out.pck");
  EXPECT_TRUE(file.starts_with(little32(2) + little32(2)));
  EXPECT_EQ(file.substr(2400, 37), "\nCCP4 packed image, X: 0002, Y: 0002\n");
  short pixels[4] = {};
  readpack_word_c(pixels, "out.pck");
  EXPECT_EQ(std::vector<short>(pixels, pixels + 4), (std::vector<short>{5, 5, -1, -1}));
}

TEST_F(Written, OperationsAreAppliedInTheOrderGiven) {
  EXPECT_EQ(place_.xrdimage("convert --bin 1 --fit 2x2 frame.mar2300 a.edf").status, 0);
  // Binned by 1, an even size loses its last column and row.
  EXPECT_TRUE(test::read_file("a.edf").ends_with("}\n" + little32(5) + little32(0) + little32(0) + little32(0)));
  EXPECT_EQ(place_.xrdimage("convert --invert --fit 1x1 --fit 2x1 frame.mar2300 b.edf").status, 0);
  EXPECT_TRUE(test::read_file("b.edf").ends_with("}\n" + little32(16777210) + little32(0)));
  EXPECT_EQ(place_.xrdimage("convert --fit 1x1 --fit 2x1 --invert frame.mar2300 c.edf").status, 0);
  EXPECT_TRUE(test::read_file("c.edf").ends_with("}\n" + little32(16777210) + little32(16777215)));
}

TEST_F(Written, MarkersAndScalesAreDrawn) {
  EXPECT_EQ(place_.xrdimage("convert --fit 1x1 --scale-to 9 --fit 3x3 --box 1,1,1,1,1,1,3 frame.mar2300 a.edf").status,
            0);
  EXPECT_TRUE(test::read_file("a.edf").ends_with("}\n" + little32(3) + little32(3) + little32(3) + little32(3) +
                                                 little32(0) + little32(3) + little32(3) + little32(3) + little32(0)));
  EXPECT_EQ(place_.xrdimage("convert --fit 1x1 --scale-up --fit 2x2 --cross 1,1 frame.mar2300 b.edf").status, 0);
  EXPECT_TRUE(test::read_file("b.edf").ends_with("}\n" + little32(10000) + little32(10000) + little32(10000) +
                                                 little32(10000)));
}

TEST_F(Written, AnOperationThatLeavesNothingIsAnError) {
  const Result result = place_.xrdimage("convert --bin 3 frame.mar2300 out.edf");
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "xrdimage: frame.mar2300: has no pixels left\n");
  EXPECT_FALSE(std::filesystem::exists("out.edf"));
}

}  // namespace
