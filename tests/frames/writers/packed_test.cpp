// Packed files, byte by byte and as the library and the loader read them.
#include <stdexcept>

#include "tests/frames/mask.h"
#include "tests/frames/writers/written.h"
#include "xrdimage.h"

namespace {

using test::Counts;
using test::Warnings;
using test::Written;

Written packed(const frames::Frame& frame, std::optional<int> bits = std::nullopt) {
  return test::written(frames::write_packed, frame, bits);
}

TEST(PackedWriter, HeaderBitsAndPixels) {
  // One difference: 0 as the logarithm of their number, 1 as the code of fields of 4 bits, 5. Lowest bits first that is
  // 000 100 1010, or 0x148.
  EXPECT_EQ(packed(test::frame_of(1, 1, {5})).bytes, test::little32(1) + test::little32(1) + std::string(2392, '\0') +
                                                         "\nCCP4 packed image, X: 0001, Y: 0001\n\x48\x01");
  const std::string wide = packed(test::frame_of(3, 2, {1, 2, 3, 4, 5, 6})).bytes;
  EXPECT_EQ(wide.substr(0, 8), test::little32(3) + test::little32(2));
  EXPECT_EQ(wide.substr(2400, 37), "\nCCP4 packed image, X: 0003, Y: 0002\n");
}

TEST(PackedWriter, LoaderGivesTheSameFrame) {
  for (const test::Size size : test::kSizes) {
    if (size.width == 1 && size.height > 2) continue;
    const frames::Frame frame = test::random_frame(size, 65535, false, true);
    const Written file = packed(frame);
    EXPECT_TRUE(frames::is_packed(test::bytes_of(file.bytes)));
    const frames::Frame again = frames::load_packed(test::bytes_of(file.bytes), {});
    EXPECT_EQ(again.width, size.width);
    EXPECT_EQ(again.height, size.height);
    EXPECT_EQ(test::counts_of(again), test::counts_with(frame, 65535)) << size.width << " x " << size.height;
    EXPECT_TRUE(again.notes.empty());
  }
}

TEST(PackedWriter, SingleColumnsOfMoreThanTwoPixelsAreRefused) {
  const frames::Frame two = test::random_frame({1, 2}, 65535);
  const Written file = packed(two);
  EXPECT_EQ(test::counts_of(frames::load_packed(test::bytes_of(file.bytes), {})), test::counts_of(two));
  try {
    packed(test::random_frame({1, 3}, 65535));
    FAIL();
  } catch (const std::runtime_error& error) {
    EXPECT_STREQ(error.what(), "cannot be packed: the format does not keep the counts of a single column of pixels");
  }
}

TEST(PackedWriter, WhatDoesNotFitIsClippedWithAWarning) {
  frames::Frame frame = test::frame_of(2, 2, {65536, 0xFFFFFFFF, 3, 4}, true);
  frame.mask = test::unknown({false, false, false, true});
  const Written file = packed(frame);
  EXPECT_EQ(test::counts_of(frames::load_packed(test::bytes_of(file.bytes), {})), (Counts{65535, 0, 3, 65535}));
  EXPECT_EQ(file.warnings,
            (Warnings{"1 pixels above 65535 were written as 65535", "1 negative counts were written as 0",
                      "1 pixels of unknown count were written as 65535"}));
}

TEST(PackedWriter, LibraryReadsTheSameWords) {
  const frames::Frame frame = test::random_frame({13, 31}, 65535);
  const test::TemporaryDirectory directory;
  std::vector<short> words(403);
  readpack_word_c(words.data(), directory.write("frame", packed(frame).bytes).c_str());
  for (std::size_t i = 0; i < words.size(); ++i) {
    EXPECT_EQ(static_cast<std::uint16_t>(words[i]), frame.counts[i]) << i;
  }
}

}  // namespace
