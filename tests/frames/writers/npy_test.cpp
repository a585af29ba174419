// NumPy arrays, byte by byte and as NumPy reads them.
#include "tests/frames/mask.h"
#include "tests/frames/writers/written.h"

namespace {

using test::Warnings;
using test::Written;

Written npy(const frames::Frame& frame, std::optional<int> bits = std::nullopt) {
  return test::written(frames::write_npy, frame, bits);
}

// 10 bytes and a dictionary of 118.
std::string header(std::string dictionary) {
  dictionary.resize(117, ' ');
  return std::string("\x93NUMPY\1\0\x76\0", 10) + dictionary + "\n";
}

TEST(NpyWriter, TypeAndShapeStandInTheHeader) {
  EXPECT_EQ(npy(test::frame_of(2, 1, {1, 0x04030201})).bytes,
            header("{'descr': '<u4', 'fortran_order': False, 'shape': (1, 2), }") + std::string("\1\0\0\0\1\2\3\4", 8));
  EXPECT_EQ(npy(test::frame_of(1, 2, {0xFFFFFFFE, 7}, true)).bytes,
            header("{'descr': '<i4', 'fortran_order': False, 'shape': (2, 1), }") +
                std::string("\xFE\xFF\xFF\xFF\7\0\0\0", 8));
  EXPECT_EQ(npy(test::frame_of(1, 2, {258, 7}), 16).bytes,
            header("{'descr': '<u2', 'fortran_order': False, 'shape': (2, 1), }") + std::string("\2\1\7\0", 4));
}

TEST(NpyWriter, NumpyReadsThePixels) {
  for (const test::Size size : test::kSizes) {
    const std::string shape = std::to_string(size.height) + ", " + std::to_string(size.width) + ")\n";
    const frames::Frame wide = test::random_frame(size, 0xFFFFFFFF, false, true);
    EXPECT_EQ(test::numpy_array("numpy.load('frame')", npy(wide).bytes),
              "<u4 (" + shape + test::as_little32(test::counts_with(wide, 0xFFFFFFFF)));
    const frames::Frame narrow = test::random_frame(size, 65535, false, true);
    EXPECT_EQ(test::numpy_array("numpy.load('frame')", npy(narrow, 16).bytes),
              "<u2 (" + shape + test::as_little16(test::counts_with(narrow, 65535)));
  }
  const frames::Frame negative = test::random_frame({13, 31}, 0x7FFFFFFF, true, true);
  EXPECT_EQ(test::numpy_array("numpy.load('frame')", npy(negative).bytes),
            "<i4 (31, 13)\n" + test::as_little32(test::counts_with(negative, 0x7FFFFFFF)));
}

TEST(NpyWriter, WhatDoesNotFit16BitsIsWrittenWith32) {
  const Written file = npy(test::frame_of(2, 1, {65536, 7}), 16);
  EXPECT_EQ(file.warnings, Warnings{"1 pixels are above 65535: written with 32 bits per pixel"});
  EXPECT_EQ(file.bytes.substr(128), test::as_little32({65536, 7}));
}

TEST(NpyWriter, UnknownPixelsAreTheLargestNumber) {
  frames::Frame frame = test::frame_of(2, 1, {1, 7});
  frame.mask = test::unknown({true, false});
  EXPECT_EQ(npy(frame).warnings, Warnings{"1 pixels of unknown count were written as 4294967295"});
}

}  // namespace
