// Raw dumps, byte by byte and as others read them.
#include "tests/frames/mask.h"
#include "tests/frames/writers/written.h"

namespace {

using test::Warnings;
using test::Written;

Written raw(const frames::Frame& frame, std::optional<int> bits = std::nullopt) {
  return test::written(frames::write_raw, frame, bits);
}

TEST(RawWriter, NothingButSamples) {
  EXPECT_EQ(raw(test::frame_of(2, 2, {1, 258, 65535, 0})).bytes, std::string("\1\0\2\1\xFF\xFF\0\0", 8));
  EXPECT_EQ(raw(test::frame_of(2, 1, {1, 0x04030201}), 32).bytes, std::string("\1\0\0\0\1\2\3\4", 8));
}

TEST(RawWriter, LoaderGivesTheSameFrame) {
  for (const test::Size size : test::kSizes) {
    for (const int bits : {16, 32}) {
      const frames::Frame frame = test::random_frame(size, bits == 16 ? 65535 : 0xFFFFFFFF);
      const Written file = raw(frame, bits);
      frames::LoadOptions options;
      options.size = frames::Size{size.width, size.height};
      options.depth = bits;
      EXPECT_EQ(test::counts_of(frames::load_raw(test::bytes_of(file.bytes), options)), test::counts_of(frame));
      EXPECT_EQ(file.warnings, Warnings());
    }
  }
}

TEST(RawWriter, WhatDoesNotFitIsClippedWithAWarning) {
  frames::Frame frame = test::frame_of(4, 1, {65536, 0xFFFFFFFF, 3, 4}, true);
  frame.mask = test::unknown({false, false, false, true});
  const Written narrow = raw(frame);
  EXPECT_EQ(narrow.bytes, test::as_little16({65535, 0, 3, 65535}));
  EXPECT_EQ(narrow.warnings,
            (Warnings{"1 pixels above 65535 were written as 65535; --bits 32 keeps them",
                      "1 negative counts were written as 0", "1 pixels of unknown count were written as 65535"}));
  EXPECT_EQ(raw(frame, 32).bytes, test::as_little32({65536, 0, 3, 0xFFFFFFFF}));
}

TEST(RawWriter, NumpyReadsThePixels) {
  const frames::Frame frame = test::random_frame({13, 31}, 65535);
  EXPECT_EQ(test::numpy_array("numpy.fromfile('frame', '<u2').reshape(31, 13)", raw(frame).bytes),
            "<u2 (31, 13)\n" + test::as_little16(test::counts_of(frame)));
}

// As 16-bit grey pixels of a size that it is told.
TEST(RawWriter, ImageMagickReadsThePixels) {
  const frames::Frame frame = test::random_frame({13, 31}, 65535);
  const std::string bytes = raw(frame).bytes;
  EXPECT_EQ(test::output_of("/usr/bin/convert -size 13x31 -depth 16 -endian LSB gray:frame -endian MSB gray:- | "
                            "/usr/bin/python3 -c \"import sys, numpy\n"
                            "sys.stdout.buffer.write(numpy.frombuffer(sys.stdin.buffer.read(), '>u2').astype('<u2'))\"",
                            "frame", bytes),
            bytes);
}

}  // namespace
