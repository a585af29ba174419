// EDF files, byte by byte and as others read them.
#include "tests/frames/mask.h"
#include "tests/frames/writers/written.h"
#include "xrdimage.h"

namespace {

using test::Counts;
using test::Warnings;
using test::Written;

Written edf(const frames::Frame& frame, std::optional<int> bits = std::nullopt) {
  return test::written(frames::write_edf, frame, bits);
}

frames::Frame loaded(const Written& file) {
  EXPECT_TRUE(frames::is_edf(test::bytes_of(file.bytes)));
  frames::Frame frame = frames::load_edf(test::bytes_of(file.bytes), {});
  EXPECT_TRUE(frame.notes.empty());
  return frame;
}

std::string header(std::string items) {
  items.resize(507, ' ');
  return "{\n" + items + "\n}\n";
}

TEST(EdfWriter, BareFrame) {
  EXPECT_EQ(edf(test::frame_of(2, 1, {1, 0x04030201})).bytes, header("HeaderID        = EH:000001:000000:000000 ;\n"
                                                                     "Image           = 1 ;\n"
                                                                     "ByteOrder       = LowByteFirst ;\n"
                                                                     "DataType        = UnsignedInteger ;\n"
                                                                     "Size            = 8 ;\n"
                                                                     "Dim_1           = 2 ;\n"
                                                                     "Dim_2           = 1 ;\n"
                                                                     "BitsPerSample   = 32 ;\n") +
                                                                  std::string("\1\0\0\0\1\2\3\4", 8));
}

TEST(EdfWriter, HeaderValuesInTheFormatsUnits) {
  frames::Frame frame = test::frame_of(1, 2, {1, 258});
  frame.header = test::full_header();
  std::string items =
      "HeaderID        = EH:000001:000000:000000 ;\n"
      "Image           = 1 ;\n"
      "ByteOrder       = LowByteFirst ;\n"
      "DataType        = UnsignedShort ;\n"
      "Size            = 4 ;\n"
      "Dim_1           = 1 ;\n"
      "Dim_2           = 2 ;\n"
      "BitsPerSample   = 16 ;\n"
      "WaveLength      = 1.54179e-10 ;\n"
      "SampleDistance  = 0.12025 ;\n"
      "PSize_1         = 0.000172 ;\n"
      "PSize_2         = 0.000172 ;\n"
      "Center_1        = 3.5 ;\n"
      "Center_2        = 2.25 ;\n"
      "Osc_Start       = -10.5 ;\n"
      "Osc_Range       = 0.25 ;\n"
      "ExposureTime    = 0.003 ;\n"
      "Saturation      = 60000 ;\n"
      "Date            = 2024-05-06 07:08:09 ;\n"
      "Detector        = PILATUS 300K, S/N 3-0101 ;\n";
  items.resize(1024 - 5, ' ');
  EXPECT_EQ(edf(frame, 16).bytes, "{\n" + items + "\n}\n" + std::string("\1\0\2\1", 4));
}

TEST(EdfWriter, NegativeCountsMakeASignedFile) {
  const Written file = edf(test::frame_of(2, 1, {0xFFFFFFFE, 7}, true));
  EXPECT_NE(file.bytes.find("\nDataType        = SignedInteger ;\n"), std::string::npos);
  EXPECT_EQ(file.bytes.substr(512), std::string("\xFE\xFF\xFF\xFF\7\0\0\0", 8));
  EXPECT_EQ(file.warnings, Warnings());
}

TEST(EdfWriter, LoaderGivesTheSameFrame) {
  for (const test::Size size : test::kSizes) {
    for (const bool is_signed : {false, true}) {
      frames::Frame frame = test::random_frame(size, is_signed ? 0x7FFFFFFF : 0xFFFFFFFF, is_signed);
      frame.header = test::full_header();
      const Written file = edf(frame);
      const frames::Frame again = loaded(file);
      EXPECT_EQ(again.width, size.width);
      EXPECT_EQ(again.height, size.height);
      EXPECT_EQ(test::counts_of(again), test::counts_of(frame));
      EXPECT_TRUE(again.mask.empty());
      test::expect_same_header(again.header, frame.header);
      EXPECT_EQ(file.warnings, Warnings());
    }
  }
}

TEST(EdfWriter, SignsSurvive) {
  EXPECT_TRUE(loaded(edf(test::frame_of(2, 1, {0xFFFFFFFE, 7}, true))).is_signed);
  EXPECT_FALSE(loaded(edf(test::frame_of(2, 1, {0xFFFFFFFE, 7}))).is_signed);
}

TEST(EdfWriter, LoaderGivesTheSameNarrowFrame) {
  for (const test::Size size : test::kSizes) {
    const frames::Frame frame = test::random_frame(size, 65535, false, true);
    const Written file = edf(frame, 16);
    EXPECT_EQ(file.bytes.size(), 512 + 2 * frame.counts.size());
    EXPECT_EQ(test::counts_of(loaded(file)), test::counts_with(frame, 65535));
  }
}

TEST(EdfWriter, AbsentHeaderValuesStayAbsent) {
  test::expect_same_header(loaded(edf(test::frame_of(1, 1, {5}))).header, {});
}

TEST(EdfWriter, TextsCannotEndTheHeader) {
  frames::Frame frame = test::frame_of(1, 1, {5});
  frame.header.detector = "}\n}\nDim_1 = 9;";
  const frames::Frame again = loaded(edf(frame));
  EXPECT_EQ(again.width, 1);
  EXPECT_EQ(test::counts_of(again), Counts{5});
  EXPECT_EQ(again.header.detector, "Dim_1 = 9");
}

TEST(EdfWriter, WhatDoesNotFit16BitsIsWrittenWith32) {
  const Written file = edf(test::frame_of(2, 1, {65536, 7}), 16);
  EXPECT_EQ(file.warnings, Warnings{"1 pixels are above 65535: written with 32 bits per pixel"});
  EXPECT_EQ(file.bytes.substr(512), std::string("\0\0\1\0\7\0\0\0", 8));
}

TEST(EdfWriter, UnknownPixelsAreTheLargestNumber) {
  frames::Frame frame = test::frame_of(2, 1, {1, 7});
  frame.mask = test::unknown({true, false});
  const Written file = edf(frame);
  EXPECT_EQ(file.warnings, Warnings{"1 pixels of unknown count were written as 4294967295"});
  EXPECT_EQ(test::counts_of(loaded(file)), (Counts{0xFFFFFFFF, 7}));
}

// The library returns 32-bit counts unchanged.
TEST(EdfWriter, LibraryReadsTheSameCounts) {
  for (const bool full : {false, true}) {
    frames::Frame frame = test::random_frame({13, 31}, 0xFFFFFFFF);
    if (full) frame.header = test::full_header();
    if (full) frame.header.detector = std::string(400, 'x');
    const test::TemporaryDirectory directory;
    const std::string path = directory.write("frame", edf(frame).bytes);
    unsigned* daten = nullptr;
    int bits = -1;
    int width = 0;
    int height = 0;
    test::capture([&] { read_edf(path.c_str(), &daten, &bits, &width, &height); });
    const auto owner = test::own(daten);
    EXPECT_EQ(bits, 32);
    ASSERT_EQ(width, 13);
    ASSERT_EQ(height, 31);
    EXPECT_EQ(Counts(daten, daten + 403), test::counts_of(frame));
  }
}

TEST(EdfWriter, LibrarysHeaderReaderStopsAtThePixels) {
  frames::Frame frame = test::frame_of(1, 2, {1, 258});
  frame.header = test::full_header();
  const test::Stream stream = test::stream_of(edf(frame, 16).bytes);
  int width = 0;
  int height = 0;
  int bits = -1;
  test::capture([&] { read_edf_header(stream.get(), &width, &height, &bits); });
  EXPECT_EQ(width, 1);
  EXPECT_EQ(height, 2);
  EXPECT_EQ(bits, 16);
  EXPECT_EQ(std::ftell(stream.get()), 1024);
}

TEST(EdfWriter, NumpyReadsThePixels) {
  const frames::Frame frame = test::random_frame({13, 31}, 0x7FFFFFFF, true);
  EXPECT_EQ(test::numpy_array("numpy.fromfile('frame', '<i4', offset=512).reshape(31, 13)", edf(frame).bytes),
            "<i4 (31, 13)\n" + test::as_little32(test::counts_of(frame)));
}

}  // namespace
