#include <tiffio.h>

#include <array>
#include <csignal>

#include "tests/damage.h"
#include "tests/environment.h"
#include "tests/formats/tiff_builder.h"
#include "xrdimage.h"

namespace {

using test::little16;
using test::raw;
using test::TiffBuilder;
using Pixels = std::vector<unsigned>;

std::string failure(const std::string& path, const std::string& reason = "") {
  return "# \033[0mERROR\033[0m reading file " + path + reason + "\n";
}

// The result of the reader, called as by callers.
struct Reading {
  int result = -1;
  bool delivered = false;
  int width = -7;
  int height = -7;
  Pixels pixels;
  test::Output output;
};

Reading read_uncaptured(const std::string& path) {
  Reading reading;
  unsigned untouched = 0;
  unsigned* daten = &untouched;
  reading.result = read_tiff(path.c_str(), &daten, 4711, &reading.width, &reading.height);
  reading.delivered = daten != &untouched;
  if (!reading.delivered) return reading;
  const auto owned = test::own(daten);
  const auto width = static_cast<std::size_t>(static_cast<unsigned>(reading.width));
  const auto height = static_cast<std::size_t>(static_cast<unsigned>(reading.height));
  if (owned != nullptr) reading.pixels.assign(owned.get(), owned.get() + width * height);
  return reading;
}

Reading read(const std::string& path) {
  Reading reading;
  const test::Output output = test::capture([&] { reading = read_uncaptured(path); });
  reading.output = output;
  return reading;
}

Reading read(const TiffBuilder& tiff) {
  const test::TemporaryDirectory directory;
  return read(directory.write("image.tif", tiff.bytes()));
}

void expect_image(const Reading& reading, int width, int height, const Pixels& pixels) {
  EXPECT_EQ(reading.result, 0);
  EXPECT_EQ(reading.output.out, "");
  EXPECT_EQ(reading.width, width);
  EXPECT_EQ(reading.height, height);
  EXPECT_EQ(reading.pixels, pixels);
}

void expect_refused(const TiffBuilder& tiff, const std::string& size) {
  const test::TemporaryDirectory directory;
  const std::string path = directory.write("image.tif", tiff.bytes());
  const std::size_t descriptors = test::open_descriptors();
  const Reading reading = read(path);
  EXPECT_EQ(reading.result, 0);
  EXPECT_FALSE(reading.delivered);
  EXPECT_EQ(reading.width, -7);
  EXPECT_EQ(reading.height, -7);
  EXPECT_EQ(reading.output.out, failure(path, ": cannot allocate " + size + " pixels"));
  EXPECT_EQ(test::open_descriptors(), descriptors);
}

void expect_open_failure(const std::string& path) {
  const std::size_t descriptors = test::open_descriptors();
  const Reading reading = read(path);
  EXPECT_EQ(reading.result, 0);
  EXPECT_FALSE(reading.delivered);
  EXPECT_EQ(reading.width, -7);
  EXPECT_EQ(reading.height, -7);
  EXPECT_EQ(reading.output.out, failure(path));
  EXPECT_EQ(test::open_descriptors(), descriptors);
}

// 2 x 1 pixels, 1000 (0x03E8) and 40000 (0x9C40).
const std::string kTwoPixels = raw({
    'I',  'I',  42,   0,    8, 0, 0, 0,                // little-endian, directory at byte 8
    8,    0,                                           // eight entries
    0x00, 0x01, 4,    0,    1, 0, 0, 0, 2,   0, 0, 0,  // ImageWidth 2
    0x01, 0x01, 4,    0,    1, 0, 0, 0, 1,   0, 0, 0,  // ImageLength 1
    0x02, 0x01, 3,    0,    1, 0, 0, 0, 16,  0, 0, 0,  // BitsPerSample 16
    0x03, 0x01, 3,    0,    1, 0, 0, 0, 1,   0, 0, 0,  // Compression: none
    0x06, 0x01, 3,    0,    1, 0, 0, 0, 1,   0, 0, 0,  // Photometric: 0 is black
    0x11, 0x01, 4,    0,    1, 0, 0, 0, 122, 0, 0, 0,  // StripOffsets 122
    0x16, 0x01, 4,    0,    1, 0, 0, 0, 1,   0, 0, 0,  // RowsPerStrip 1
    0x17, 0x01, 4,    0,    1, 0, 0, 0, 4,   0, 0, 0,  // StripByteCounts 4
    0,    0,    0,    0,                               // no further directory
    0,    0,    0,    0,    0, 0, 0, 0, 0,   0, 0, 0,  // nothing
    0xE8, 0x03, 0x40, 0x9C,                            // the strip
});

// 3 x 2 pixels in two strips, one a row.
const std::string kFirstRow = raw({0x01, 0x00, 0xFF, 0x7F, 0x00, 0x80});
const std::string kSecondRow = raw({0xE8, 0x03, 0x40, 0x9C, 0xFF, 0xFF});
const Pixels kTwoRows = {1, 32767, 4294934528, 1000, 4294941760, 4294967295};

TiffBuilder two_strips() {
  return TiffBuilder(3, 2).tag(test::kRowsPerStrip, 1).strip(kFirstRow).strip(kSecondRow);
}

// Writes an image with libtiff, for what is more than bytes side by side: compressed strips, tiles.
void write_with_libtiff(const std::string& path, std::uint32_t width, std::uint32_t length,
                        const std::function<void(TIFF*)>& write_pixels) {
  TIFF* tiff = TIFFOpen(path.c_str(), "w");
  ASSERT_NE(tiff, nullptr);
  TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, width);
  TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, length);
  TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 16);
  TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, 1);
  TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
  TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
  write_pixels(tiff);
  TIFFClose(tiff);
}

}  // namespace

TEST(TiffReader, SamplesAreSignExtended) {
  const test::TemporaryDirectory directory;
  const Reading reading = read(directory.write("image.tif", kTwoPixels));
  expect_image(reading, 2, 1, {1000, 4294941760});
  EXPECT_EQ(reading.output.err, "");
}

TEST(TiffReader, TheBuilderOfTheseTestsWritesWhatWasWrittenByHand) {
  EXPECT_EQ(TiffBuilder(2, 1).tag(test::kRowsPerStrip, 1).strips_at(122).strip(raw({0xE8, 0x03, 0x40, 0x9C})).bytes(),
            kTwoPixels);
}

TEST(TiffReader, OneStripAndManyStripsYieldTheSamePixels) {
  expect_image(read(two_strips()), 3, 2, kTwoRows);
  expect_image(read(TiffBuilder(3, 2).strip(kFirstRow + kSecondRow)), 3, 2, kTwoRows);
}

TEST(TiffReader, TheLastStripMayHoldFewerRows) {
  expect_image(read(TiffBuilder(1, 3).tag(test::kRowsPerStrip, 2).strip(little16(1) + little16(2)).strip(little16(3))),
               1, 3, {1, 2, 3});
}

TEST(TiffReader, BigEndianFilesYieldTheSamePixels) {
  expect_image(read(TiffBuilder(3, 2)
                        .big_endian()
                        .tag(test::kRowsPerStrip, 1)
                        .strip(raw({0x00, 0x01, 0x7F, 0xFF, 0x80, 0x00}))
                        .strip(raw({0x03, 0xE8, 0x9C, 0x40, 0xFF, 0xFF}))),
               3, 2, kTwoRows);
}

TEST(TiffReader, StripsOfEightBitSamplesAreTakenTwoBytesToAPixel) {
  // Four bytes for four pixels: the strip ends in the middle, the rest is 0.
  expect_image(read(TiffBuilder(4, 1, 8).strip(raw({0x34, 0x12, 0x78, 0x96}))), 4, 1, {0x1234, 0xFFFF9678, 0, 0});
}

TEST(TiffReader, StripsOfThirtyTwoBitSamplesAreTakenInHalves) {
  // Two of the four samples fill the four pixels: low half first, also in a big-endian file.
  const Pixels halves = {0x2222, 0x1111, 0x4444, 0x3333};
  expect_image(read(TiffBuilder(2, 2, 32).strip(raw(
                   {0x22, 0x22, 0x11, 0x11, 0x44, 0x44, 0x33, 0x33, 0x66, 0x66, 0x55, 0x55, 0x88, 0x88, 0x77, 0x77}))),
               2, 2, halves);
  expect_image(read(TiffBuilder(2, 2, 32).big_endian().strip(raw(
                   {0x11, 0x11, 0x22, 0x22, 0x33, 0x33, 0x44, 0x44, 0x55, 0x55, 0x66, 0x66, 0x77, 0x77, 0x88, 0x88}))),
               2, 2, halves);
}

TEST(TiffReader, ColourSamplesAreTakenAsTheyFollowOneAnother) {
  const std::string two_colour_pixels =
      little16(1) + little16(2) + little16(3) + little16(4) + little16(5) + little16(6);
  expect_image(read(TiffBuilder(2, 1).short_tag(test::kSamplesPerPixel, 3).strip(two_colour_pixels)), 2, 1, {1, 2});
}

TEST(TiffReader, SeparatePlanesAreStripsLikeAnyOther) {
  // Three planes of 2 x 2 pixels, a strip each: the first fills the image.
  expect_image(read(TiffBuilder(2, 2)
                        .short_tag(test::kSamplesPerPixel, 3)
                        .short_tag(test::kPlanarConfiguration, 2)
                        .strip(little16(1) + little16(2) + little16(3) + little16(4))
                        .strip(little16(11) + little16(12) + little16(13) + little16(14))
                        .strip(little16(21) + little16(22) + little16(23) + little16(24))),
               2, 2, {1, 2, 3, 4});
}

TEST(TiffReader, StripsOfOddSizeBeginAtEvenOffsetsAndCoverTheByteBefore) {
  // Strips of three bytes, laid down at bytes 0, 2 and 4: each covers the last byte of the one before.
  expect_image(read(TiffBuilder(3, 3, 8)
                        .tag(test::kRowsPerStrip, 1)
                        .strip(raw({0x01, 0x02, 0x03}))
                        .strip(raw({0x11, 0x12, 0x13}))
                        .strip(raw({0x21, 0x22, 0x23}))),
               3, 3, {0x0201, 0x1211, 0x2221, 0x0023, 0, 0, 0, 0, 0});
}

TEST(TiffReader, StripsOfOneByteAllBeginAtTheFirst) {
  expect_image(read(TiffBuilder(1, 3, 8).tag(test::kRowsPerStrip, 1).strip(raw({1})).strip(raw({2})).strip(raw({3}))),
               1, 3, {3, 0, 0});
}

TEST(TiffReader, OddStripOfAMissingSuccessorKeepsItsLastByte) {
  // The second strip lies behind the end of the file: the third byte of the first stays.
  expect_image(read(TiffBuilder(3, 2, 8)
                        .tag(test::kRowsPerStrip, 1)
                        .tag(test::kStripOffsets, {200, 5000})
                        .tag(test::kStripByteCounts, {3, 3})
                        .strips_at(200)
                        .strip(raw({0x01, 0x02, 0x03}))),
               3, 2, {0x0201, 0x0003, 0, 0, 0, 0});
}

TEST(TiffReader, AShortStripLeavesZeros) {
  const Reading reading =
      read(TiffBuilder(3, 2).tag(test::kRowsPerStrip, 1).strip(kFirstRow.substr(0, 4)).strip(kSecondRow));
  expect_image(reading, 3, 2, {0, 0, 0, 1000, 4294941760, 4294967295});
  EXPECT_NE(reading.output.err, "");  // libtiff says so itself
}

TEST(TiffReader, AStripCutByTheEndOfTheFileLeavesZeros) {
  const test::TemporaryDirectory directory;
  std::string file = two_strips().bytes();
  file.pop_back();
  const Reading reading = read(directory.write("image.tif", file));
  expect_image(reading, 3, 2, {1, 32767, 4294934528, 0, 0, 0});
  EXPECT_NE(reading.output.err, "");
}

TEST(TiffReader, StripsThatTheTagsDoNotNameAreZeros) {
  expect_image(read(TiffBuilder(3, 2).tag(test::kRowsPerStrip, 1).strip(kFirstRow)), 3, 2,
               {1, 32767, 4294934528, 0, 0, 0});
}

TEST(TiffReader, SmallFilesOfLargeImagesAreFilledUpWithZeros) {
  std::string row;
  std::vector<unsigned int> expected(std::size_t{300} * 200);
  for (std::uint16_t i = 0; i < 300; ++i) {
    row += little16(i);
    expected[i] = i;
  }
  expect_image(read(TiffBuilder(300, 200).tag(test::kRowsPerStrip, 1).strip(row)), 300, 200, expected);
}

TEST(TiffReader, StripsThatDoNotDecodeLeaveZeros) {
  // Bytes of 0xFF are no zlib stream.
  const Reading reading =
      read(TiffBuilder(3, 1).short_tag(test::kCompression, test::kDeflate).strip(std::string(20, '\xFF')));
  expect_image(reading, 3, 1, {0, 0, 0});
  EXPECT_NE(reading.output.err, "");
}

TEST(TiffReader, PackBitsStripsAreDecoded) {
  // Three literal bytes (count - 1 = 2), then three times 0x00 (1 - count = -2, 0xFE).
  expect_image(read(TiffBuilder(3, 1)
                        .short_tag(test::kCompression, test::kPackBits)
                        .strip(raw({2, 0xE8, 0x03, 0x40, 0xFE, 0x00}))),
               3, 1, {1000, 0x40, 0});
}

TEST(TiffReader, DeflateStripsAreDecoded) {
  // A zlib stream of one stored block: header, last block, four bytes, their complement, the bytes, Adler-32.
  // The sums of 0xE8 0x03 0x40 0x9C: a = 1 + 0xE8 + 0x03 + 0x40 + 0x9C = 0x1C8; b = 0xE9 + 0xEC + 0x12C + 0x1C8 =
  // 0x4C9.
  expect_image(
      read(TiffBuilder(2, 1)
               .short_tag(test::kCompression, test::kDeflate)
               .strip(raw({0x78, 0x01, 0x01, 4, 0, 0xFB, 0xFF, 0xE8, 0x03, 0x40, 0x9C, 0x04, 0xC9, 0x01, 0xC8}))),
      2, 1, {1000, 4294941760});
}

TEST(TiffReader, CompressedImagesYieldThePixelsOfPlainOnes) {
  constexpr std::size_t kWidth = 37;
  constexpr unsigned kLength = 23;
  std::vector<std::uint16_t> image(kWidth * kLength);
  Pixels expected;
  for (std::size_t i = 0; i < image.size(); ++i) {
    image[i] = static_cast<std::uint16_t>(i * i * 7);
    expected.push_back(static_cast<unsigned>(static_cast<std::int16_t>(image[i])));
  }
  const test::TemporaryDirectory directory;
  for (const unsigned compression : {test::kLzw, test::kDeflate, test::kPackBits}) {
    for (const unsigned rows_per_strip : {kLength, 5U, 1U}) {
      const std::string path = directory.path("compressed.tif");
      write_with_libtiff(path, kWidth, kLength, [&](TIFF* tiff) {
        TIFFSetField(tiff, TIFFTAG_COMPRESSION, compression);
        TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, rows_per_strip);
        for (unsigned row = 0; row < kLength; ++row) TIFFWriteScanline(tiff, &image[row * kWidth], row);
      });
      SCOPED_TRACE(std::to_string(compression) + " " + std::to_string(rows_per_strip));
      expect_image(read(path), kWidth, kLength, expected);
    }
  }
}

TEST(TiffReader, TiledImagesHaveNoStripsAndYieldZeros) {
  const test::TemporaryDirectory directory;
  const std::string path = directory.path("tiled.tif");
  write_with_libtiff(path, 20, 10, [](TIFF* tiff) {
    TIFFSetField(tiff, TIFFTAG_TILEWIDTH, 16);
    TIFFSetField(tiff, TIFFTAG_TILELENGTH, 16);
    std::vector<std::uint16_t> tile(std::size_t{16} * 16, 1000);
    TIFFWriteTile(tiff, tile.data(), 0, 0, 0, 0);
    TIFFWriteTile(tiff, tile.data(), 16, 0, 0, 0);
  });
  const Reading reading = read(path);
  expect_image(reading, 20, 10, Pixels(200));
  EXPECT_NE(reading.output.err, "");
}

TEST(TiffReader, HugeRowsPerStripMeansOneStrip) {
  expect_image(read(TiffBuilder(3, 2).tag(test::kRowsPerStrip, 0xFFFFFFFF).strip(kFirstRow + kSecondRow)), 3, 2,
               kTwoRows);
  expect_image(read(TiffBuilder(3, 2).tag(test::kRowsPerStrip, 0x7FFFFFFF).strip(kFirstRow + kSecondRow)), 3, 2,
               kTwoRows);
}

TEST(TiffReader, ManySamplesPerPixelDoNotMakeTheImageLarger) {
  // One pixel's 65535 samples of 8 bits are the only strip's first half; the samples are taken two to a pixel.
  std::string samples(std::size_t{2} * 65535, '\0');
  samples.replace(0, 4, raw({0x34, 0x12, 0x78, 0x56}));
  expect_image(read(TiffBuilder(2, 1, 8).short_tag(test::kSamplesPerPixel, 65535).strip(samples)), 2, 1,
               {0x1234, 0x5678});
}

TEST(TiffReader, SixtyFourBitSamplesAreTakenInQuarters) {
  expect_image(read(TiffBuilder(2, 1, 64).strip(little16(1) + little16(2) + little16(3) + little16(4) + little16(5) +
                                                little16(6) + little16(7) + little16(8))),
               2, 1, {1, 2});
}

TEST(TiffReader, OpenFailureIsReportedAndLeavesTheOutputs) {
  expect_open_failure("/nonexistent/image.tif");
}

TEST(TiffReader, PathsInMessagesAreNotInterpreted) {
  expect_open_failure("/nonexistent/%s%d%n 100%.tif");
}

TEST(TiffReader, WhatIsNoTiffCountsAsOpenFailure) {
  const test::TemporaryDirectory directory;
  for (const std::string& path : test::non_images(directory)) expect_open_failure(path);
  expect_open_failure(directory.write("text.tif", "no image at all, but text"));
  expect_open_failure(directory.write("header.tif", "II*" + std::string(5, '\0')));
}

TEST(TiffReader, ImagesWithoutPixelsAreNotOpenedByLibtiff) {
  const test::TemporaryDirectory directory;
  expect_open_failure(directory.write("narrow.tif", TiffBuilder(0, 2).strip("ab").bytes()));
  expect_open_failure(directory.write("low.tif", TiffBuilder(2, 0).strip("ab").bytes()));
  expect_open_failure(directory.write("none.tif", TiffBuilder(2, 2).without(test::kImageWidth).strip("ab").bytes()));
}

TEST(TiffReader, AbsurdSizesAreRefused) {
  // One bit a pixel and few rows a strip keep libtiff's own sizes within 31 bits, so that it opens them everywhere.
  expect_refused(TiffBuilder(100000, 100000, 1).tag(test::kRowsPerStrip, 1).strip("ab"), "100000 x 100000");
  expect_refused(TiffBuilder(0x80000000, 1, 1).strip("ab"), "2147483648 x 1");
  expect_refused(TiffBuilder(0xFFFFFFFF, 1, 1).strip("ab"), "4294967295 x 1");
  expect_refused(TiffBuilder(1, 0x80000000, 1).tag(test::kRowsPerStrip, 0x40000000).strip("ab"), "1 x 2147483648");
  expect_refused(TiffBuilder(1, 0xC0000000, 1).tag(test::kRowsPerStrip, 0x3FFFFFFF).strip("ab"), "1 x 3221225472");
  // 65536 x 65536 is 0 in 32 bits.
  expect_refused(TiffBuilder(65536, 65536, 1).tag(test::kRowsPerStrip, 1).strip("ab"), "65536 x 65536");
}

TEST(TiffReader, MoreThanTheGreatestNumberOfPixelsIsRefused) {
  expect_refused(TiffBuilder(16385, 16384, 1).tag(test::kRowsPerStrip, 1).strip("ab"), "16385 x 16384");
}

TEST(TiffReader, StripsFarLargerThanTheImageAreRefused) {
  // A row of 1000 pixels with 65535 samples of 64 bits each is half a gigabyte.
  expect_refused(TiffBuilder(1000, 1000, 64)
                     .short_tag(test::kSamplesPerPixel, 65535)
                     .tag(test::kRowsPerStrip, 1)
                     .strip(little16(1)),
                 "1000 x 1000");
}

TEST(TiffReaderDeathTest, MemoryThatRunsOutIsAnAssertionFailure) {
  const test::TemporaryDirectory directory;
  for (const unsigned side : {16000U, 16384U}) {
    const std::string path =
        directory.write("large.tif", TiffBuilder(side, side).tag(test::kRowsPerStrip, 1).strip("ab").bytes());
    EXPECT_EXIT(
        {
          test::limit_memory();
          unsigned* daten = nullptr;
          int width = 0;
          int height = 0;
          read_tiff(path.c_str(), &daten, 0, &width, &height);
        },
        testing::KilledBySignal(SIGABRT),
        "tiff_format:26: read_tiff: Assertion "
        "`\\*Daten =\\(unsigned int\\*\\)malloc\\(sizeof\\(unsigned int\\)\\*size\\)' failed");
  }
}

TEST(TiffReader, EveryDescriptorIsClosed) {
  const test::TemporaryDirectory directory;
  const std::string path = directory.write("image.tif", two_strips().bytes());
  const std::size_t descriptors = test::open_descriptors();
  read(path);
  EXPECT_EQ(test::open_descriptors(), descriptors);
}

TEST(TiffReader, TheWarningHandlerStaysAndIsCalled) {
  static int warnings;
  warnings = 0;
  const TIFFErrorHandler count = [](const char*, const char*, va_list) { ++warnings; };
  const TIFFErrorHandler before = TIFFSetWarningHandler(count);
  // Tag 65000 is unknown.
  expect_image(read(TiffBuilder(1, 1).short_tag(65000, 1).strip(little16(5))), 1, 1, {5});
  EXPECT_EQ(warnings, 1);
  EXPECT_EQ(TIFFSetWarningHandler(before), count);
}

namespace {

// The strips laid down one after the other by libtiff, with room for everything: what the reader must arrive at
// without that room. Nothing if libtiff does not open the file.
struct Naive {
  bool opened = false;
  bool modest = false;  // small enough for this way
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  Pixels pixels;
};

Naive read_naively(const std::string& path) {
  Naive naive;
  TIFF* tiff = TIFFOpen(path.c_str(), "r");
  if (tiff == nullptr) return naive;
  naive.opened = true;
  TIFFGetField(tiff, TIFFTAG_IMAGEWIDTH, &naive.width);
  TIFFGetField(tiff, TIFFTAG_IMAGELENGTH, &naive.height);
  const auto strip_size = static_cast<std::uint64_t>(TIFFStripSize(tiff));
  const std::uint64_t strips = TIFFNumberOfStrips(tiff);
  const std::uint64_t pixels = std::uint64_t{naive.width} * naive.height;
  naive.modest = pixels <= 100000 && strip_size <= 10000000 && strips <= 10000 && strips * strip_size <= 10000000;
  if (naive.modest) {
    std::vector<std::uint8_t> buffer(static_cast<std::size_t>(2 * strips * strip_size + 2 * pixels));
    const auto step = static_cast<std::size_t>(strip_size - strip_size % 2);
    for (std::uint32_t strip = 0; strip < strips; ++strip) {
      TIFFReadEncodedStrip(tiff, strip, buffer.data() + strip * step, -1);
    }
    for (std::size_t i = 0; i < pixels; ++i) {
      const auto sample = static_cast<std::uint16_t>(buffer[2 * i] | buffer[2 * i + 1] << 8);
      naive.pixels.push_back(static_cast<unsigned>(static_cast<std::int16_t>(sample)));
    }
  }
  TIFFClose(tiff);
  return naive;
}

// Sizes that take more memory than a test should have.
bool is_large(const Naive& naive) {
  const std::uint64_t pixels = std::uint64_t{naive.width} * naive.height;
  return naive.opened && pixels > (1U << 22) && pixels <= (1U << 28);
}

// Reads a file both ways. Returns how they differ.
std::string difference_from_naive(const std::string& path) {
  const Naive naive = read_naively(path);
  if (is_large(naive)) return "";
  const Reading reading = read_uncaptured(path);
  if (reading.result != 0) return "result";
  if (!naive.opened) return reading.delivered ? "image of a file that libtiff does not open" : "";
  if (!naive.modest) return "";
  if (static_cast<unsigned>(reading.width) != naive.width) return "width";
  if (static_cast<unsigned>(reading.height) != naive.height) return "height";
  return reading.pixels == naive.pixels ? "" : "pixels";
}

std::string random_bytes(std::size_t size, std::mt19937& random) {
  std::string bytes;
  for (std::size_t i = 0; i < size; ++i) bytes.push_back(static_cast<char>(random()));
  return bytes;
}

// An image of any shape whose strips are sometimes short, sometimes missing and, if compressed, mostly nonsense.
TiffBuilder random_tiff(std::mt19937& random) {
  const auto below = [&random](std::size_t bound) { return test::random_below(random, bound); };
  const unsigned width = 1 + below(20);
  const unsigned length = 1 + below(20);
  constexpr std::array<unsigned, 6> kBits = {1, 8, 16, 16, 32, 64};
  constexpr std::array<unsigned, 6> kCompressions = {1, 1, 1, test::kLzw, test::kDeflate, test::kPackBits};
  const unsigned bits = kBits[below(kBits.size())];
  const unsigned samples = 1 + below(3);
  const unsigned rows = 1 + below(length + 2);
  TiffBuilder tiff(width, length, bits);
  if (below(2) == 0) tiff.big_endian();
  tiff.short_tag(test::kCompression, kCompressions[below(kCompressions.size())]);
  tiff.short_tag(test::kSamplesPerPixel, samples).tag(test::kRowsPerStrip, rows);
  tiff.short_tag(test::kPlanarConfiguration, 1 + below(2));
  const std::size_t strip_size = std::size_t{(width * samples * bits + 7) / 8} * rows;
  const unsigned strips = 1 + below(std::size_t{samples} * ((length + rows - 1) / rows));
  for (unsigned strip = 0; strip < strips; ++strip) {
    tiff.strip(random_bytes(below(5) == 0 ? below(strip_size) : strip_size, random));
  }
  return tiff;
}

// A small image as libtiff writes it.
std::string compressed_sample(const test::TemporaryDirectory& directory, unsigned compression, bool tiled) {
  const std::string path = directory.path("sample.tif");
  write_with_libtiff(path, 16, 16, [&](TIFF* tiff) {
    std::array<std::uint16_t, 256> image{};
    for (std::size_t i = 0; i < image.size(); ++i) image[i] = static_cast<std::uint16_t>(i * i);
    TIFFSetField(tiff, TIFFTAG_COMPRESSION, compression);
    if (tiled) {
      TIFFSetField(tiff, TIFFTAG_TILEWIDTH, 16);
      TIFFSetField(tiff, TIFFTAG_TILELENGTH, 16);
      TIFFWriteTile(tiff, image.data(), 0, 0, 0, 0);
    } else {
      TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, 4);
      for (unsigned row = 0; row < 16; ++row) TIFFWriteScanline(tiff, &image[std::size_t{row} * 16], row);
    }
  });
  return test::read_file(path);
}

struct Sample {
  std::string file;
  std::size_t front;  // header and tags
};

// The sample with its directory in front of its strips.
Sample plain_sample() {
  const std::size_t strips_at = 200;
  TiffBuilder tiff(16, 16);
  tiff.tag(test::kRowsPerStrip, 4).strips_at(strips_at);
  for (unsigned strip = 0; strip < 4; ++strip) tiff.strip(std::string(128, static_cast<char>('a' + strip)));
  return {tiff.bytes(), strips_at};
}

}  // namespace

TEST(TiffReader, AbsurdTagsGiveWhatLibtiffMakesOfThem) {
  const test::TemporaryDirectory directory;
  struct Change {
    unsigned tag;
    std::uint32_t value;
  };
  constexpr std::array<Change, 18> kChanges = {{{test::kRowsPerStrip, 0},
                                                {test::kRowsPerStrip, 2},
                                                {test::kBitsPerSample, 0},
                                                {test::kBitsPerSample, 1},
                                                {test::kBitsPerSample, 64},
                                                {test::kBitsPerSample, 65535},
                                                {test::kSamplesPerPixel, 0},
                                                {test::kSamplesPerPixel, 65535},
                                                {test::kCompression, 0},
                                                {test::kCompression, 1234},
                                                {test::kPlanarConfiguration, 2},
                                                {test::kPlanarConfiguration, 7},
                                                {test::kStripOffsets, 0},
                                                {test::kStripOffsets, 0xFFFFFFFF},
                                                {test::kStripByteCounts, 0},
                                                {test::kStripByteCounts, 1},
                                                {test::kStripByteCounts, 0xFFFFFFFF},
                                                {test::kImageLength, 0xFFFFFFFF}}};
  const auto check = [&](std::size_t round) {
    const Change& change = kChanges[round];
    TiffBuilder tiff = two_strips();
    if (change.value <= 65535) {
      tiff.short_tag(change.tag, change.value);
    } else {
      tiff.tag(change.tag, change.value);
    }
    return difference_from_naive(test::rewrite(directory, "image.tif", tiff.bytes()));
  };
  EXPECT_EQ(test::first_problem(kChanges.size(), check), "");
}

TEST(TiffReader, RandomImagesAreReadAsALargeEnoughBufferWouldHoldThem) {
  const test::TemporaryDirectory directory;
  std::mt19937 random(7);
  const auto check = [&](std::size_t) {
    return difference_from_naive(test::rewrite(directory, "image.tif", random_tiff(random).bytes()));
  };
  EXPECT_EQ(test::first_problem(500, check), "");
}

TEST(TiffReader, EveryCutOfAnImageIsSurvived) {
  const test::TemporaryDirectory directory;
  const Sample sample = plain_sample();
  const std::vector<std::size_t> lengths = test::cut_lengths(sample.front, sample.file.size());
  const auto check = [&](std::size_t round) -> std::string {
    const std::size_t length = lengths[round];
    const Reading reading = read_uncaptured(test::rewrite(directory, "cut.tif", sample.file.substr(0, length)));
    if (reading.result != 0) return "result";
    if (!reading.delivered) return length < sample.front ? "" : "no image";
    // Strips that are whole hold their letter, the others nothing.
    if (reading.pixels.size() != 256) return "size";
    for (std::size_t i = 0; i < 256; ++i) {
      const std::size_t strip = i / 64;
      const auto letter = static_cast<unsigned>('a' + strip);
      const bool whole = length >= sample.front + 128 * (strip + 1);
      if (reading.pixels[i] != (whole ? letter | letter << 8 : 0U)) return "pixel " + std::to_string(i);
    }
    return "";
  };
  EXPECT_EQ(test::first_problem(lengths.size(), check), "");
}

TEST(TiffReader, RandomBytesInHeaderAndTagsAreSurvived) {
  const test::TemporaryDirectory directory;
  const Sample sample = plain_sample();
  std::mt19937 random(11);
  const auto check = [&](std::size_t) {
    const std::string file = test::with_random_bytes(sample.file, sample.front, random);
    return difference_from_naive(test::rewrite(directory, "damaged.tif", file));
  };
  EXPECT_EQ(test::first_problem(2000, check), "");
}

TEST(TiffReader, RandomBytesInCompressedAndTiledImagesAreSurvived) {
  const test::TemporaryDirectory directory;
  std::mt19937 random(13);
  for (const unsigned compression : {test::kUncompressed, test::kLzw, test::kDeflate, test::kPackBits}) {
    for (const bool tiled : {false, true}) {
      SCOPED_TRACE(std::to_string(compression) + (tiled ? " tiled" : ""));
      const std::string sample = compressed_sample(directory, compression, tiled);
      const auto check = [&](std::size_t) {
        const std::string file = test::with_random_bytes(sample, sample.size(), random);
        return difference_from_naive(test::rewrite(directory, "damaged.tif", file));
      };
      EXPECT_EQ(test::first_problem(250, check), "");
    }
  }
}
