#include <bit>
#include <limits>

#include "tests/environment.h"
#include "tests/frames/mask.h"
#include "tests/frames/tiff_file.h"

namespace {

using frames::Frame;
using frames::load_tiff;
using test::bytes_of;
using test::Counts;
using test::TiffFile;

// An image of one row in one strip.
TiffFile row_of(const std::vector<std::uint64_t>& samples, unsigned bits, unsigned format, bool big_endian) {
  TiffFile tiff;
  tiff.big_endian = big_endian;
  tiff.width = static_cast<unsigned>(samples.size());
  tiff.height = 1;
  tiff.bits = bits;
  tiff.format = format;
  tiff.blocks.emplace_back();
  for (const std::uint64_t sample : samples) tiff.blocks[0] += tiff.number(sample, bits / 8);
  return tiff;
}

Frame load(const TiffFile& tiff) {
  const std::string file = tiff.bytes();
  EXPECT_TRUE(frames::is_tiff(bytes_of(file)));
  return load_tiff(bytes_of(file), {});
}

std::string error_of(const TiffFile& tiff) {
  const std::string file = tiff.bytes();
  return test::load_error([&] { load_tiff(bytes_of(file), {}); });
}

std::uint64_t real(float value) {
  return std::bit_cast<std::uint32_t>(value);
}

TEST(TiffFrame, UnsignedPixelsKeepTheirCounts) {
  for (const bool big_endian : {false, true}) {
    EXPECT_EQ(load(row_of({0, 127, 128, 255}, 8, 1, big_endian)).counts, (Counts{0, 127, 128, 255}));
    EXPECT_EQ(load(row_of({1, 258, 32768, 65535}, 16, 1, big_endian)).counts, (Counts{1, 258, 32768, 65535}));
    const Frame frame = load(row_of({1, 65536, 2147483648, 4294967295}, 32, 1, big_endian));
    EXPECT_EQ(frame.counts, (Counts{1, 65536, 2147483648, 4294967295}));
    EXPECT_FALSE(frame.is_signed);
    EXPECT_TRUE(frame.mask.empty());
    EXPECT_EQ(frame.format, frames::Format::kTiff);
  }
}

TEST(TiffFrame, WithoutASampleFormatPixelsAreUnsigned) {
  const Frame frame = load(row_of({40000, 7}, 16, 0, false));
  EXPECT_EQ(frame.counts, (Counts{40000, 7}));
  EXPECT_FALSE(frame.is_signed);
}

TEST(TiffFrame, SignedPixelsWrap) {
  for (const bool big_endian : {false, true}) {
    const Frame bytes = load(row_of({0x7F, 0x80, 0xFF}, 8, 2, big_endian));
    EXPECT_EQ(bytes.counts, (Counts{127, 0xFFFFFF80, 0xFFFFFFFF}));
    EXPECT_TRUE(bytes.is_signed);
    const Frame words = load(row_of({0x7FFF, 0x8000, 0xFFFE}, 16, 2, big_endian));
    EXPECT_EQ(words.counts, (Counts{32767, 0xFFFF8000, 0xFFFFFFFE}));
    const Frame longs = load(row_of({0x7FFFFFFF, 0xFFFFFFFE}, 32, 2, big_endian));
    EXPECT_EQ(longs.counts, (Counts{0x7FFFFFFF, 0xFFFFFFFE}));
  }
}

TEST(TiffFrame, RealPixelsAreRounded) {
  for (const bool big_endian : {false, true}) {
    const Frame frame = load(row_of({real(0.4F), real(0.5F), real(70000.6F), real(3e9F)}, 32, 3, big_endian));
    EXPECT_EQ(frame.counts, (Counts{0, 1, 70001, 3000000000}));
    EXPECT_FALSE(frame.is_signed);
    EXPECT_TRUE(frame.mask.empty());
  }
  EXPECT_EQ(load(row_of({std::bit_cast<std::uint64_t>(123456.7)}, 64, 3, false)).counts, Counts{123457});
}

TEST(TiffFrame, RealPixelsThatAreNoCountAreUnknown) {
  const float infinity = std::numeric_limits<float>::infinity();
  const float no_number = std::numeric_limits<float>::quiet_NaN();
  const Frame frame = load(row_of({real(5), real(no_number), real(infinity), real(5e9F)}, 32, 3, false));
  EXPECT_EQ(frame.counts[0], 5U);
  EXPECT_EQ(frame.mask, test::unknown({false, true, true, true}));
}

TEST(TiffFrame, ANegativeRealPixelMakesAllSigned) {
  const Frame frame = load(row_of({real(3e9F), real(-2), real(7)}, 32, 3, false));
  EXPECT_TRUE(frame.is_signed);
  EXPECT_EQ(frame.counts[1], 0xFFFFFFFEU);
  EXPECT_EQ(frame.counts[2], 7U);
  EXPECT_EQ(frame.mask, test::unknown({true, false, false}));
}

TEST(TiffFrame, StripsFollowOneAnother) {
  TiffFile tiff;
  tiff.width = 2;
  tiff.height = 3;
  tiff.rows_per_strip = 2;
  tiff.blocks = {{"\1\0\2\0\3\0\4\0", 8}, {"\5\0\6\0", 4}};
  const Frame frame = load(tiff);
  EXPECT_EQ(frame.width, 2);
  EXPECT_EQ(frame.height, 3);
  EXPECT_EQ(frame.counts, (Counts{1, 2, 3, 4, 5, 6}));
}

TEST(TiffFrame, TilesAreCutAtTheEdges) {
  // 20 x 18 pixels in tiles of 16 x 16: each pixel is 20 * y + x, what lies outside is 60000.
  for (const bool big_endian : {false, true}) {
    TiffFile tiff;
    tiff.big_endian = big_endian;
    tiff.width = 20;
    tiff.height = 18;
    tiff.tile_width = tiff.tile_height = 16;
    for (unsigned tile = 0; tile < 4; ++tile) {
      std::string bytes;
      for (unsigned i = 0; i < 256; ++i) {
        const unsigned x = tile % 2 * 16 + i % 16;
        const unsigned y = tile / 2 * 16 + i / 16;
        bytes += tiff.number(x < 20 && y < 18 ? 20 * y + x : 60000, 2);
      }
      tiff.blocks.push_back(bytes);
    }
    Counts expected;
    for (unsigned i = 0; i < 360; ++i) expected.push_back(i);
    EXPECT_EQ(load(tiff).counts, expected);
  }
}

TEST(TiffFrame, CompressedStripsAreDecoded) {
  TiffFile tiff;
  tiff.width = 6;
  tiff.height = 1;
  tiff.bits = 8;
  tiff.compression = 32773;  // PackBits: two bytes as they stand, then four times 9
  tiff.blocks = {{"\x01\x07\x08\xFD\x09", 5}};
  EXPECT_EQ(load(tiff).counts, (Counts{7, 8, 9, 9, 9, 9}));
}

TEST(TiffFrame, DateIsCarriedOver) {
  TiffFile tiff = row_of({1}, 16, 1, false);
  EXPECT_FALSE(load(tiff).header.date);
  tiff.date = "2024:05:06 07:08:09";
  EXPECT_EQ(load(tiff).header.date, "2024:05:06 07:08:09");
}

TEST(TiffFrame, ColourAndOddDepthsAreNoFrames) {
  TiffFile colour = row_of({1, 2, 3}, 8, 1, false);
  colour.width = 1;
  colour.samples = 3;
  EXPECT_EQ(error_of(colour), "has 3 numbers per pixel; frames have one");
  TiffFile bits = row_of({255}, 8, 1, false);
  bits.bits = 1;
  EXPECT_EQ(error_of(bits), "has pixels of 1 bits of TIFF sample format 1, which frames do not use");
  EXPECT_NE(error_of(row_of({1}, 16, 3, false)), "");
}

TEST(TiffFrame, MissingPixelsAreDamage) {
  TiffFile tiff;
  tiff.width = 2;
  tiff.height = 2;
  tiff.rows_per_strip = 1;
  tiff.blocks = {{"\1\0\2\0", 4}, {"\3\0\4\0", 4}};
  std::string file = tiff.bytes();
  file.resize(file.size() - 2);
  const std::string error = test::load_error([&] { load_tiff(bytes_of(file), {}); });
  EXPECT_TRUE(error.starts_with("is a damaged TIFF file: ")) << error;
  EXPECT_EQ(error.find('\n'), std::string::npos);
  const Frame frame = load_tiff(bytes_of(file), test::forced());
  EXPECT_EQ(frame.notes, std::vector<std::string>{error});
  EXPECT_EQ(frame.counts[0], 1U);
  EXPECT_EQ(frame.counts[1], 2U);
}

TEST(TiffFrame, EveryTruncationAndASizeThatCannotBeAreErrors) {
  const std::string file = row_of({1, 2, 3}, 16, 1, false).bytes();
  for (std::size_t length = 0; length < file.size(); ++length) {
    const std::string cut = file.substr(0, length);
    EXPECT_NE(test::load_error([&] { load_tiff(bytes_of(cut), {}); }), "") << length;
  }
  TiffFile huge = row_of({1}, 16, 1, false);
  huge.width = huge.height = 1000000;
  EXPECT_EQ(error_of(huge), "is damaged: it states a size of 1000000 x 1000000 pixels");
}

TEST(TiffFrame, LibrarysMessagesAreNotPrinted) {
  TiffFile tiff = row_of({1}, 16, 1, false);
  std::string file = tiff.bytes();
  file.resize(file.size() - 1);
  const test::Output output = test::capture([&] { test::load_error([&] { load_tiff(bytes_of(file), {}); }); });
  EXPECT_EQ(output.out + output.err, "");
}

TEST(TiffFrame, DepthsThatNoFrameHasAreNamed) {
  for (const unsigned format : {1U, 2U}) {
    EXPECT_EQ(error_of(row_of({1, 2}, 64, format, false)),
              "has pixels of 64 bits of TIFF sample format " + std::to_string(format) + ", which frames do not use");
  }
  for (const unsigned bits : {1U, 4U, 12U, 24U}) {
    TiffFile tiff = row_of({1, 2}, 32, 1, false);
    tiff.bits = bits;
    EXPECT_EQ(error_of(tiff),
              "has pixels of " + std::to_string(bits) + " bits of TIFF sample format 1, which frames do not use");
  }
}

TEST(TiffFrame, SmallFilesWithLargeImagesAreDamaged) {
  TiffFile large = row_of({1, 2}, 16, 1, false);
  large.width = large.height = 7000;
  EXPECT_EQ(error_of(large), "is a damaged TIFF file: it is too short for its pixels");
  TiffFile large_tile = row_of({1, 2}, 16, 1, false);
  large_tile.tile_width = large_tile.tile_height = 7008;
  EXPECT_EQ(error_of(large_tile), "is a damaged TIFF file: it is too short for its pixels");
}

}  // namespace
