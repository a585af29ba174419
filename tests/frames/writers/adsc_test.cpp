// ADSC-style files, byte by byte and as others read them.
#include "tests/frames/mask.h"
#include "tests/frames/writers/written.h"
#include "xrdimage.h"

namespace {

using test::Counts;
using test::Warnings;
using test::Written;

Written adsc(const frames::Frame& frame, std::optional<int> bits = std::nullopt) {
  return test::written(frames::write_adsc, frame, bits);
}

frames::Frame loaded(const Written& file) {
  EXPECT_TRUE(frames::is_adsc(test::bytes_of(file.bytes)));
  frames::Frame frame = frames::load_adsc(test::bytes_of(file.bytes), {});
  EXPECT_TRUE(frame.notes.empty());
  return frame;
}

std::string header(std::string items, std::size_t bytes = 512) {
  items.resize(bytes - 5, ' ');
  return "{\n" + items + "\n}\n";
}

TEST(AdscWriter, BareFrame) {
  EXPECT_EQ(adsc(test::frame_of(2, 1, {1, 258})).bytes, header("HEADER_BYTES=  512;\n"
                                                               "DIM=2;\n"
                                                               "BYTE_ORDER=little_endian;\n"
                                                               "TYPE=unsigned_short;\n"
                                                               "SIZE1=2;\n"
                                                               "SIZE2=1;\n"
                                                               "CCD_IMAGE_SATURATION=65535;\n") +
                                                            std::string("\1\0\2\1", 4));
}

TEST(AdscWriter, HeaderValuesInTheFormatsUnits) {
  frames::Frame frame = test::frame_of(8, 1, {1, 2, 3, 4, 5, 6, 7, 70000});
  frame.header = test::full_header();
  // The beam centre is 3.5 * 0.172 and 2.25 * 0.172 mm from the corner.
  EXPECT_EQ(adsc(frame, 32).bytes, header("HEADER_BYTES=  512;\n"
                                          "DIM=2;\n"
                                          "BYTE_ORDER=little_endian;\n"
                                          "TYPE=unsigned_long;\n"
                                          "SIZE1=8;\n"
                                          "SIZE2=1;\n"
                                          "PIXEL_SIZE=0.172;\n"
                                          "BEAM_CENTER_X=0.602;\n"
                                          "BEAM_CENTER_Y=0.387;\n"
                                          "DISTANCE=120.25;\n"
                                          "WAVELENGTH=1.54179;\n"
                                          "OSC_START=-10.5;\n"
                                          "OSC_RANGE=0.25;\n"
                                          "PHI=-10.5;\n"
                                          "TIME=0.003;\n"
                                          "DATE=2024-05-06 07:08:09;\n"
                                          "DETECTOR=PILATUS 300K, S/N 3-0101;\n"
                                          "CCD_IMAGE_SATURATION=60000;\n") +
                                       test::as_little32({1, 2, 3, 4, 5, 6, 7, 70000}));
}

TEST(AdscWriter, LongHeadersTakeMoreBlocks) {
  frames::Frame frame = test::frame_of(1, 1, {5});
  frame.header = test::full_header();
  frame.header.detector = std::string(200, 'x');
  const std::string bytes = adsc(frame).bytes;
  EXPECT_EQ(bytes.substr(0, 22), "{\nHEADER_BYTES= 1024;\n");
  EXPECT_EQ(bytes.substr(1021), std::string("\n}\n\5\0", 5));
}

TEST(AdscWriter, HeaderBytesAreTrueForEveryLength) {
  frames::Frame frame = test::frame_of(1, 1, {5});
  frame.header = test::full_header();
  for (std::size_t length = 1; length <= 200; ++length) {
    frame.header.detector = std::string(length, 'x');
    const std::string bytes = adsc(frame).bytes;
    ASSERT_EQ(std::stoul(bytes.substr(15, 5)), bytes.size() - 2) << length;
    ASSERT_EQ(bytes.substr(bytes.size() - 5), std::string("\n}\n\5\0", 5)) << length;
  }
}

TEST(AdscWriter, SaturationIsWithinTheType) {
  frames::Frame frame = test::frame_of(1, 1, {5});
  EXPECT_EQ(loaded(adsc(frame, 32)).header.saturation, 4294967295.0);
  frame.header.saturation = 256000;
  EXPECT_EQ(loaded(adsc(frame)).header.saturation, 65535);
  EXPECT_EQ(loaded(adsc(frame, 32)).header.saturation, 256000);
}

TEST(AdscWriter, LoaderGivesTheSameFrame) {
  for (const test::Size size : test::kSizes) {
    frames::Frame frame = test::random_frame(size, 65535);
    frame.header = test::full_header();
    frame.header.beam_centre = frames::Point{size.width / 2.0, size.height / 3.0};
    const Written file = adsc(frame);
    const frames::Frame again = loaded(file);
    EXPECT_EQ(again.width, size.width);
    EXPECT_EQ(again.height, size.height);
    EXPECT_EQ(test::counts_of(again), test::counts_of(frame));
    EXPECT_FALSE(again.is_signed);
    EXPECT_EQ(file.warnings, Warnings());
    frame.header.beam_centre = again.header.beam_centre;
    test::expect_same_header(again.header, frame.header);
    ASSERT_TRUE(again.header.beam_centre);
    EXPECT_NEAR(again.header.beam_centre->x, size.width / 2.0, 1e-9);  // by way of twelve digits of millimetres
    EXPECT_NEAR(again.header.beam_centre->y, size.height / 3.0, 1e-9);
  }
}

TEST(AdscWriter, LoaderGivesTheSameWideFrame) {
  for (const test::Size size : test::kSizes) {
    const frames::Frame frame = test::random_frame(size, 0xFFFFFFFF, false, true);
    const Written file = adsc(frame, 32);
    EXPECT_EQ(test::counts_of(loaded(file)), test::counts_with(frame, 0xFFFFFFFF));
  }
}

TEST(AdscWriter, BeamCentreStaysInPixelsWhenTheirSizeIsNotKnown) {
  frames::Frame frame = test::frame_of(2, 2, {1, 2, 3, 4});
  frame.header.beam_centre = frames::Point{1.5, 0.5};
  test::expect_close(loaded(adsc(frame)).header.beam_centre, frame.header.beam_centre);
}

TEST(AdscWriter, OblongPixelsAreAWarningAndKeepTheBeamCentre) {
  frames::Frame frame = test::frame_of(2, 2, {1, 2, 3, 4});
  frame.header.pixel_size = frames::Point{0.1, 0.2};
  frame.header.beam_centre = frames::Point{1.5, 0.5};
  const Written file = adsc(frame);
  EXPECT_EQ(file.warnings, Warnings{"pixels of 0.1 x 0.2 mm were written as squares of 0.1 mm"});
  test::expect_close(loaded(file).header.beam_centre, frame.header.beam_centre);
}

TEST(AdscWriter, WhatDoesNotFitIsClippedWithAWarning) {
  frames::Frame frame = test::frame_of(4, 1, {65536, 0xFFFFFFFF, 3, 4}, true);
  frame.mask = test::unknown({false, false, false, true});
  const Written narrow = adsc(frame);
  EXPECT_EQ(narrow.bytes.substr(512), test::as_little16({65535, 0, 3, 65535}));
  EXPECT_EQ(narrow.warnings,
            (Warnings{"1 pixels above 65535 were written as 65535; --bits 32 keeps them",
                      "1 negative counts were written as 0", "1 pixels of unknown count were written as 65535"}));
  const Written wide = adsc(frame, 32);
  EXPECT_EQ(wide.bytes.substr(512), test::as_little32({65536, 0, 3, 0xFFFFFFFF}));
  EXPECT_EQ(wide.warnings,
            (Warnings{"1 negative counts were written as 0", "1 pixels of unknown count were written as 4294967295"}));
}

TEST(AdscWriter, LibraryFindsTheHeaderValues) {
  frames::Frame frame = test::random_frame({7, 5}, 65535);
  frame.header = test::full_header();
  const test::TemporaryDirectory directory;
  const std::string path = directory.write("frame", adsc(frame).bytes);
  unsigned* daten = nullptr;
  int width = 0;
  int height = 0;
  double values[5] = {};
  test::capture([&] {
    read_bnl(path.c_str(), 0, &daten, &width, &height, &values[0], &values[1], &values[2], &values[3], &values[4]);
  });
  const auto owner = test::own(daten);
  EXPECT_EQ(width, 7);
  EXPECT_EQ(height, 5);
  EXPECT_EQ(std::vector<double>(values, values + 5), (std::vector<double>{120.25, 1.54179, -10.5, 0.25, 0.003}));
}

TEST(AdscWriter, NumpyReadsThePixels) {
  const frames::Frame frame = test::random_frame({13, 31}, 65535);
  EXPECT_EQ(test::numpy_array("numpy.fromfile('frame', '<u2', offset=512).reshape(31, 13)", adsc(frame).bytes),
            "<u2 (31, 13)\n" + test::as_little16(test::counts_of(frame)));
  const frames::Frame wide = test::random_frame({13, 31}, 0xFFFFFFFF);
  EXPECT_EQ(test::numpy_array("numpy.fromfile('frame', '<u4', offset=512).reshape(31, 13)", adsc(wide, 32).bytes),
            "<u4 (31, 13)\n" + test::as_little32(test::counts_of(wide)));
}

}  // namespace
