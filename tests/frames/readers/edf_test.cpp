// EDF frames written byte by byte.
#include <gtest/gtest.h>

#include <array>

#include "tests/environment.h"
#include "tests/frames/file_bytes.h"
#include "tests/frames/mask.h"
#include "xrdimage.h"

namespace {

using frames::Frame;
using test::Counts;

// A frame of 2 x 1 pixels.
std::string edf(const std::string& items, const std::string& pixels) {
  return "{\nHeaderID = EH:000001:000000:000000 ;\nDim_1 = 2 ;\nDim_2 = 1 ;\n" + items + "\n}\n" + pixels;
}

std::string edf_of_type(const std::string& type, std::initializer_list<int> pixels) {
  return edf("ByteOrder = LowByteFirst ;\nDataType = " + type + " ;", test::from_bytes(pixels));
}

frames::Frame load(const std::string& file, const frames::LoadOptions& options = {}) {
  return frames::load_edf(test::bytes_of(file), options);
}

void expect_frame(const std::string& file, const Counts& counts, bool is_signed) {
  const auto frame = load(file);
  EXPECT_EQ(frame.format, frames::Format::kEdf);
  EXPECT_EQ(frame.width, 2);
  EXPECT_EQ(frame.height, 1);
  EXPECT_EQ(frame.counts, counts);
  EXPECT_EQ(frame.is_signed, is_signed);
  EXPECT_TRUE(frame.notes.empty());
}

TEST(EdfFrame, IntegersOfEveryWidthAreCounts) {
  expect_frame(edf_of_type("UnsignedByte", {0xFF, 2}), {255, 2}, false);
  expect_frame(edf_of_type("SignedByte", {0xFF, 2}), {0xFFFFFFFF, 2}, true);
  expect_frame(edf_of_type("UnsignedShort", {0xFE, 0xFF, 2, 1}), {0xFFFE, 0x0102}, false);
  expect_frame(edf_of_type("SignedShort", {0xFE, 0xFF, 2, 1}), {0xFFFFFFFE, 0x0102}, true);
  for (const char* type : {"UnsignedInteger", "UnsignedLong"}) {
    expect_frame(edf_of_type(type, {1, 2, 3, 4, 0xFF, 0xFF, 0xFF, 0xFF}), {0x04030201, 0xFFFFFFFF}, false);
  }
  for (const char* type : {"SignedInteger", "SignedLong"}) {
    expect_frame(edf_of_type(type, {1, 2, 3, 4, 0xFF, 0xFF, 0xFF, 0xFF}), {0x04030201, 0xFFFFFFFF}, true);
  }
}

TEST(EdfFrame, IntegersBeyondTheCountsAreUnknown) {
  Frame frame = load(edf_of_type("Unsigned64", {5, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0}));
  EXPECT_EQ(frame.counts[0], 5U);
  EXPECT_EQ(frame.mask, test::unknown({false, true}));
  // -2^31 fits, 2^31 does not.
  frame = load(edf_of_type("Signed64", {0, 0, 0, 0x80, 0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0x80, 0, 0, 0, 0}));
  EXPECT_EQ(frame.counts[0], 0x80000000U);
  EXPECT_TRUE(frame.is_signed);
  EXPECT_EQ(frame.mask, test::unknown({false, true}));
}

TEST(EdfFrame, RealsAreRounded) {
  // 2.5 is 0x40200000, 100.25 is 0x42C88000.
  for (const char* type : {"Float", "FloatValue"}) {
    expect_frame(edf_of_type(type, {0, 0, 0x20, 0x40, 0, 0x80, 0xC8, 0x42}), {3, 100}, false);
  }
  // -1.5 is 0xBFF8000000000000, 1.0 is 0x3FF0000000000000.
  expect_frame(edf_of_type("DoubleValue", {0, 0, 0, 0, 0, 0, 0xF8, 0xBF, 0, 0, 0, 0, 0, 0, 0xF0, 0x3F}),
               {0xFFFFFFFE, 1}, true);
}

TEST(EdfFrame, RealsBeyondTheCountsAreUnknown) {
  // 1e10 is 0x501502F9; infinity is 0x7F800000, and with the sign bit 0xFF800000.
  for (const unsigned char sign : std::to_array<unsigned char>({0x7F, 0xFF})) {
    const Frame frame = load(edf_of_type("Float", {0xF9, 0x02, 0x15, 0x50, 0, 0, 0x80, sign}));
    EXPECT_EQ(frame.is_signed, sign == 0xFF);
    EXPECT_EQ(frame.mask, test::unknown({true, true}));
  }
  // 2^32 rounds to more than the largest count, 2^32 - 256 is one.
  const Frame frame = load(edf_of_type("Float", {0, 0, 0x80, 0x4F, 0xFF, 0xFF, 0x7F, 0x4F}));
  EXPECT_EQ(frame.counts[1], 4294967040U);
  EXPECT_EQ(frame.mask, test::unknown({true, false}));
}

TEST(EdfFrame, WhatIsNoNumberIsUnknown) {
  const auto frame = load(edf_of_type("Float", {0, 0, 0xC0, 0x7F, 0, 0, 0x20, 0x41}));
  EXPECT_EQ(frame.counts, (Counts{0, 10}));
  EXPECT_EQ(frame.mask, test::unknown({true, false}));
}

TEST(EdfFrame, ByteOrderIsFollowed) {
  expect_frame(edf("ByteOrder = HighByteFirst ;\nDataType = UnsignedShort ;", test::from_bytes({1, 2, 3, 4})),
               {0x0102, 0x0304}, false);
  expect_frame(edf("ByteOrder = HighByteFirst ;\nDataType = FloatValue ;",
                   test::from_bytes({0x42, 0xC8, 0, 0, 0x3F, 0x80, 0, 0})),
               {100, 1}, false);
}

TEST(EdfFrame, KeysStandInAnyCaseAndSeveralOnALine) {
  expect_frame("{ headerid=x; DIM_1=2;dim_2 = 1 ; BYTEORDER=LowByteFirst; datatype = unsignedshort }\n" +
                   test::from_bytes({1, 0, 2, 0}),
               {1, 2}, false);
}

TEST(EdfFrame, HeadersMayFillTheirBlocks) {
  const std::string items = "{\nDim_1 = 2 ;\nDim_2 = 1 ;\nDataType = UnsignedShort ;\n";
  const std::string pixels = test::from_bytes({1, 0, 2, 0});
  expect_frame(test::padded(items, 1022) + "}\n" + pixels, {1, 2}, false);
  expect_frame(test::padded(items + "}\n", 512) + pixels, {1, 2}, false);
  expect_frame(items + "}\r\n" + pixels, {1, 2}, false);
}

TEST(EdfFrame, PixelsBeginAtTheHeaderSizeTold) {
  const std::string head = "{\nEDF_HeaderSize = 200 ;\nDim_1 = 2 ;\nDim_2 = 1 ;\nDataType = UnsignedShort ;\n}\n";
  expect_frame(test::padded(head, 200, 'x') + test::from_bytes({1, 0, 2, 0}), {1, 2}, false);
}

TEST(EdfFrame, LineFeedsAmongThePixelsStay) {
  expect_frame(edf_of_type("UnsignedShort", {10, 10, 13, 10}), {0x0A0A, 0x0A0D}, false);
}

TEST(EdfFrame, TheFirstOfSeveralImagesIsTaken) {
  const std::string first = edf_of_type("UnsignedShort", {1, 0, 2, 0});
  const auto frame = load(first + edf_of_type("UnsignedByte", {8, 9}));
  EXPECT_EQ(frame.counts, (Counts{1, 2}));
  ASSERT_EQ(frame.notes.size(), 1U);
  EXPECT_NE(frame.notes[0].find("several images"), std::string::npos);
}

TEST(EdfFrame, BitsPerSampleStandInForTheDataType) {
  expect_frame(edf("BitsPerSample = 16 ;", test::from_bytes({1, 0, 2, 0})), {1, 2}, false);
  expect_frame(edf("Size = 8 ;", test::from_bytes({1, 0, 0, 0, 2, 0, 0, 0})), {1, 2}, false);
}

TEST(EdfFrame, SizeOptionStandsInForDimensions) {
  const std::string file = "{\nHeaderID = x ;\nDataType = UnsignedByte ;\n}\n" + test::from_bytes({7, 8, 9});
  EXPECT_NE(test::load_error(frames::load_edf, file).find("--size"), std::string::npos);
  frames::LoadOptions options;
  options.size = {1, 3};
  const auto frame = load(file, options);
  EXPECT_EQ(frame.width, 1);
  EXPECT_EQ(frame.height, 3);
  EXPECT_EQ(frame.counts, (Counts{7, 8, 9}));
}

TEST(EdfFrame, LibraryFilesComeBack) {
  const test::TemporaryDirectory directory;
  const unsigned pixels[] = {1, 70000};
  for (auto* write : {edf16_write, edf32_write}) {
    write(directory.path("library.edf").c_str(), pixels, 2, 1);
    const std::string file = test::read_file(directory.path("library.edf"));
    EXPECT_TRUE(frames::is_edf(test::bytes_of(file)));
    expect_frame(file, {1, 70000}, false);
  }
}

TEST(EdfFrame, DimensionsPrintedAsSixteenBitNumbersAreMeant) {
  const std::string head = "{\nDim_1 = -32768 ;\nDim_2 = 1 ;\nDataType = UnsignedByte ;\n}\n";
  EXPECT_EQ(load(head + std::string(32768, '\1')).width, 32768);
}

TEST(EdfFrame, HeaderValuesAreTaken) {
  const auto head = load(edf("DataType = UnsignedByte ;\nWaveLength = 9.795e-11 ;\nSampleDistance = 0.25 ;\n"
                             "ExposureTime = 1.5 ;\nPSize_1 = 0.0005 ;\nPSize_2 = 0.001 ;\nCenter_1 = 10.5 ;\n"
                             "Center_2 = 20.5 ;\nDate = 2007-06-26 09:43:09 ;\nDetector = frelon ;",
                             "ab"))
                        .header;
  ASSERT_TRUE(head.wavelength && head.distance && head.pixel_size && head.beam_centre);
  EXPECT_NEAR(*head.wavelength, 0.9795, 1e-9);
  EXPECT_NEAR(*head.distance, 250.0, 1e-9);
  EXPECT_EQ(head.exposure_time, 1.5);
  EXPECT_NEAR(head.pixel_size->x, 0.5, 1e-9);
  EXPECT_NEAR(head.pixel_size->y, 1.0, 1e-9);
  EXPECT_EQ(head.beam_centre->x, 10.5);
  EXPECT_EQ(head.beam_centre->y, 20.5);
  EXPECT_EQ(head.date, "2007-06-26 09:43:09");
  EXPECT_EQ(head.detector, "frelon");
}

TEST(EdfFrame, OtherKeysTellTheSame) {
  const auto head =
      load(edf("DataType = UnsignedByte ;\nwavelength = 1.54 ;\ncount_time = 2 ;\nDateTime = today ;", "ab")).header;
  EXPECT_EQ(head.wavelength, 1.54);
  EXPECT_EQ(head.exposure_time, 2.0);
  EXPECT_EQ(head.date, "today");
  EXPECT_FALSE(head.distance);
  EXPECT_FALSE(head.pixel_size);
  EXPECT_FALSE(head.beam_centre);
}

TEST(EdfFrame, EveryCutIsDamage) {
  const std::string file = edf_of_type("UnsignedShort", {1, 0, 2, 0});
  for (std::size_t length = 0; length < file.size(); ++length) {
    EXPECT_NE(test::load_error(frames::load_edf, file.substr(0, length)), "") << length;
  }
  frames::LoadOptions force;
  force.force = true;
  const auto frame = load(file.substr(0, file.size() - 1), force);
  EXPECT_EQ(frame.counts, (Counts{1, 0}));
  ASSERT_EQ(frame.notes.size(), 1U);
  EXPECT_NE(frame.notes[0].find("is truncated"), std::string::npos);
}

TEST(EdfFrame, HeadersWithoutAnEndAreErrorsWhateverFollows) {
  const std::string open = "{\nDim_1 = 1 ;\nDim_2 = 1 ;\nDataType = UnsignedByte ;\n";
  EXPECT_EQ(test::load_error(frames::load_edf, open + "}a"), "");
  for (const std::string& rest :
       {std::string(), std::string("abc"), std::string(2000000, ' '), std::string(2000000, ' ') + "}a"}) {
    EXPECT_EQ(test::load_error(frames::load_edf, open + rest), "has a header without an end");
    EXPECT_EQ(test::load_error(frames::load_edf, open + rest, test::forced()), "has a header without an end");
  }
}

TEST(EdfFrame, HeadersThatCannotBeAreRefused) {
  EXPECT_NE(test::load_error(frames::load_edf, edf("DataType = Complex ;", "ab")).find("Complex"), std::string::npos);
  EXPECT_NE(test::load_error(frames::load_edf, edf("", "ab")).find("DataType"), std::string::npos);
  EXPECT_NE(
      test::load_error(frames::load_edf, edf("DataType = UnsignedByte ;\nCompression = Gzip ;", "ab")).find("gzip"),
      std::string::npos);
  for (const char* size : {"0", "-40000", "3000000000", "1e300", "nan"}) {
    const std::string head = std::string("{\nDim_1 = ") + size + " ;\nDim_2 = 1 ;\nDataType = UnsignedByte ;\n}\n";
    EXPECT_NE(test::load_error(frames::load_edf, head + "ab"), "") << size;
  }
}

TEST(EdfFrame, IsKnownByItsHeader) {
  EXPECT_TRUE(frames::is_edf(test::bytes_of(edf_of_type("UnsignedByte", {1, 2}))));
  EXPECT_TRUE(frames::is_edf(test::bytes_of("\r\n{EDF_DataBlockID = 1.Image.Psd ;")));
  EXPECT_FALSE(frames::is_edf(test::bytes_of("{\nHEADER_BYTES=512;\nDIM=2;\nBYTE_ORDER=little_endian;\nSIZE1=2;\n}")));
  EXPECT_FALSE(frames::is_edf(test::bytes_of("{ \"Dim_1\": 2 }")));
  EXPECT_FALSE(frames::is_edf({}));
}

}  // namespace
