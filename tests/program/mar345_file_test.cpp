#include "frames/writers/mar345_file.h"

#include <cstring>

#include "tests/program/program.h"
#include "xrdimage.h"

namespace {

using frames::Mar345Frame;

// 4 x 4 pixels, of which three need records and one of these is saturated.
Mar345Frame small_frame() {
  Mar345Frame frame;
  frame.size = 4;
  frame.counts = {0, 10, 10, 20, 65535, 65536, 20, 0, 255999, 30, 40, 300000, 1, 2, 3, 4};
  frame.pixel_length = frame.pixel_height = 150;
  frame.wavelength = 1.5;
  frame.distance = 100;
  frame.centre = frames::Point{2, 2};
  frame.phi_start = 10;
  frame.phi_end = 10.5;
  frame.exposure_seconds = 30;
  frame.kilovolt = 40;
  frame.milliampere = 20;
  frame.program = "writer";
  frame.date = "Mon Jan  1 12:00:00 2024";
  frame.remark = "a remark";
  return frame;
}

std::string written(const Mar345Frame& frame) {
  const test::Workplace place;
  const test::Stream stream(std::fopen("frame", "wb"));
  write_mar345(frame, stream.get());
  std::fflush(stream.get());
  return test::read_file("frame");
}

std::int32_t word_at(const std::string& bytes, std::size_t offset) {
  std::int32_t word = 0;
  std::memcpy(&word, bytes.data() + offset, sizeof word);
  return word;
}

// The header line with this keyword, blanks at its end cut off.
std::string header_line(const std::string& bytes, const std::string& keyword) {
  for (std::size_t offset = 128; offset < 4096; offset += 64) {
    if (!bytes.substr(offset, 64).starts_with(keyword + " ")) continue;
    const std::string line = bytes.substr(offset, 63);
    return line.substr(0, line.find_last_not_of(' ') + 1);
  }
  return "";
}

TEST(Mar345File, BinaryHeaderHasMarkSizeAndNumberOfRecords) {
  const std::string bytes = written(small_frame());
  EXPECT_EQ(word_at(bytes, 0), 1234);
  EXPECT_EQ(word_at(bytes, 4), 4);
  EXPECT_EQ(word_at(bytes, 8), 3);
  EXPECT_EQ(word_at(bytes, 20), 16);
  EXPECT_EQ(word_at(bytes, 24), 150);
  EXPECT_EQ(word_at(bytes, 32), 1500000);
  EXPECT_EQ(word_at(bytes, 36), 100000);
  EXPECT_EQ(word_at(bytes, 44), 10500);
}

TEST(Mar345File, TextHeaderIsMadeOfLinesOf64Characters) {
  const std::string bytes = written(small_frame());
  std::size_t offset = 128;
  for (; bytes.compare(offset, 13, "END OF HEADER") != 0; offset += 64) {
    ASSERT_LT(offset, 4096U);
    EXPECT_EQ(bytes[offset + 63], '\n') << offset;
    EXPECT_EQ(bytes.substr(offset, 63).find('\n'), std::string::npos) << offset;
  }
  EXPECT_EQ(bytes.substr(offset + 64, 4096 - offset - 64), std::string(4096 - offset - 64, ' '));
}

TEST(Mar345File, TextHeaderTellsTheTruthAboutTheFrame) {
  const std::string bytes = written(small_frame());
  EXPECT_EQ(header_line(bytes, "PROGRAM"), "PROGRAM        writer");
  EXPECT_EQ(header_line(bytes, "DATE"), "DATE           Mon Jan  1 12:00:00 2024");
  EXPECT_EQ(header_line(bytes, "FORMAT"), "FORMAT         4  PCK 16");
  EXPECT_EQ(header_line(bytes, "HIGH"), "HIGH           3");
  EXPECT_EQ(header_line(bytes, "PIXEL"), "PIXEL          LENGTH 150  HEIGHT 150");
  EXPECT_EQ(header_line(bytes, "WAVELENGTH"), "WAVELENGTH     1.50000");
  EXPECT_EQ(header_line(bytes, "DISTANCE"), "DISTANCE       100.000");
  EXPECT_EQ(header_line(bytes, "PHI"), "PHI            START 10.000  END 10.500  OSC 1");
  EXPECT_EQ(header_line(bytes, "CENTER"), "CENTER         X 2.000  Y 2.000");
  EXPECT_EQ(header_line(bytes, "TIME"), "TIME           30.00");
  EXPECT_EQ(header_line(bytes, "REMARK"), "REMARK         a remark");
  // The plate ends 0.3 mm from its centre: 1.5 / (2 sin(atan(0.003) / 2)) = 500.002.
  EXPECT_EQ(header_line(bytes, "RESOLUTION"), "RESOLUTION     500.002");
  // The 14 pixels that were hit: 687210 counts, the sum of squares 164125295052, the most frequent counts twice.
  EXPECT_EQ(header_line(bytes, "INTENSITY"), "INTENSITY      MIN 1  MAX 300000  AVE 49086.4  SIG 96507.81");
  EXPECT_EQ(header_line(bytes, "HISTOGRAM"), "HISTOGRAM      START 0  END 300000  MAX 2");
}

TEST(Mar345File, LibraryFindsTheHeaderValues) {
  const test::Workplace place;
  place.write("frame", written(small_frame()));
  Mar345Header header{};
  EXPECT_EQ(read_marheader(&header, "frame"), 2);
  EXPECT_STREQ(header.program, "writer");
  EXPECT_STREQ(header.format, "4");
  EXPECT_EQ(header.high, 3);
  EXPECT_EQ(header.wavelength, 1.5);
  EXPECT_EQ(header.distance, 100);
  EXPECT_EQ(header.phi_start, 10);
  EXPECT_EQ(header.phi_end, 10.5);
}

TEST(Mar345File, RecordsHoldIndexAndCountAndFillBlocks) {
  const std::string bytes = written(small_frame());
  EXPECT_EQ(bytes.substr(4096, 24), test::little32(5) + test::little32(65536) + test::little32(8) +
                                        test::little32(255999) + test::little32(11) + test::little32(300000));
  EXPECT_EQ(bytes.substr(4120, 40), std::string(40, '\0'));
  EXPECT_EQ(bytes.substr(4160, 37), "\nCCP4 packed image, X: 0004, Y: 0004\n");
}

TEST(Mar345File, PackedImageHoldsTheLowBitsOfOverflowedPixels) {
  const test::Workplace place;
  place.write("frame", written(small_frame()));
  std::vector<short> words(16);
  readpack_word_c(words.data(), "frame");
  EXPECT_EQ(words[4], -1);       // 65535
  EXPECT_EQ(words[5], 0);        // 65536
  EXPECT_EQ(words[8], -6145);    // 255999 - 4 * 65536
  EXPECT_EQ(words[11], -27680);  // 300000 - 5 * 65536
  EXPECT_EQ(words[15], 4);
}

TEST(Mar345File, LibraryReadsTheCountsBack) {
  const test::Workplace place;
  place.write("frame", written(small_frame()));
  unsigned* daten = nullptr;
  int width = 0;
  int height = 0;
  ASSERT_EQ(new_read_pck("frame", &daten, &width, &height), 1);
  const auto owner = test::own(daten);
  EXPECT_EQ(width, 4);
  EXPECT_EQ(height, 4);
  std::vector<unsigned> expected = small_frame().counts;
  expected[11] = OVERFLOW_MARK;
  EXPECT_EQ(std::vector<unsigned>(daten, daten + 16), expected);
}

TEST(Mar345File, LongTextsAreCutToTheLine) {
  Mar345Frame frame = small_frame();
  frame.remark = std::string(300, 'r');
  const std::string bytes = written(frame);
  EXPECT_EQ(header_line(bytes, "REMARK"), "REMARK         " + std::string(48, 'r'));
  EXPECT_EQ(header_line(bytes, "DETECTOR"), "DETECTOR       mar345");
}

TEST(Mar345File, AnEmptyPlateHasNoIntensities) {
  Mar345Frame frame = small_frame();
  frame.counts.assign(16, 0);
  EXPECT_EQ(header_line(written(frame), "INTENSITY"), "INTENSITY      MIN 0  MAX 0  AVE 0.0  SIG 0.00");
}

}  // namespace
