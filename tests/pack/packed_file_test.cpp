#include <algorithm>
#include <cstring>
#include <span>
#include <tuple>

#include "tests/damage.h"
#include "tests/environment.h"
#include "xrdimage.h"

namespace {

using test::little32;
using namespace std::string_literals;

constexpr std::size_t kHeader = 2400;
constexpr std::size_t kPixels = std::size_t{1200} * 1200;

std::string header_bytes(std::uint32_t width, std::uint32_t height) {
  return little32(width) + little32(height) + std::string(kHeader - 8, '\0');
}

// The line that announces a packed image; the dimensions are given as in the line.
std::string header_line(const std::string& width, const std::string& height) {
  return "\nCCP4 packed image, X: " + width + ", Y: " + height + "\n";
}

std::string warning(const std::string& dimension) {
  return "# " RED_WARNING " Dimension " + dimension + " auf 1200x1200 gesetzt\n";
}

// The bit stream of the two pixels 40000 and 40001: pixel-count code 1 (two differences), bit-size code 6 (16 bits),
// 0x9C40, 1. As one number, lowest bit first: 1 + (6 << 3) + (0x9C40 << 6) + (1 << 22) = 0x671031, 38 bits.
const std::string kTwoPixels = "\x31\x10\x67\x00\x00"s;

struct Reading {
  int result = -1;
  bool delivered = false;
  int x = -7;
  int y = -7;
  std::vector<unsigned> pixels;
  std::string out;
};

Reading read(const std::string& path) {
  Reading reading;
  unsigned untouched = 0;
  unsigned* daten = &untouched;
  const auto output = test::capture([&] { reading.result = read_pck(path.c_str(), &daten, &reading.x, &reading.y); });
  reading.out = output.out;
  EXPECT_EQ(output.err, "");
  reading.delivered = daten != &untouched;
  if (!reading.delivered) return reading;
  const auto owned = test::own(daten);
  if (owned != nullptr) reading.pixels.assign(owned.get(), owned.get() + kPixels);
  return reading;
}

Reading read_bytes(const std::string& file) {
  const test::TemporaryDirectory directory;
  return read(directory.write("image.pck", file));
}

// The pixels, with zeros up to the 1200 x 1200 that every image has.
std::vector<unsigned> filled_up(std::vector<unsigned> pixels) {
  pixels.resize(kPixels);
  return pixels;
}

void expect_image(const Reading& reading, const std::string& out, const std::vector<unsigned>& first_pixels) {
  EXPECT_EQ(reading.result, 0);
  EXPECT_EQ(reading.out, out);
  EXPECT_EQ(reading.x, 1200);
  EXPECT_EQ(reading.y, 1200);
  EXPECT_TRUE(reading.pixels == filled_up(first_pixels));
}

PackedFileHeader record(int width, int height) {
  PackedFileHeader header{};
  header.width = width;
  header.height = height;
  for (std::size_t i = 0; i < sizeof(header.host_fields); ++i) header.host_fields[i] = static_cast<char>('!' + i % 90);
  return header;
}

// What tomar writes. Nothing is printed meanwhile.
std::string written(const PackedFileHeader& header, std::vector<std::int16_t> image, int unused = 0) {
  const test::TemporaryDirectory directory;
  const std::string path = directory.write("image.pck", std::string(5000, 'x'));
  const std::size_t descriptors = test::open_descriptors();
  const auto output = test::capture([&] { EXPECT_EQ(tomar(path.c_str(), image.data(), unused, header), 0); });
  EXPECT_EQ(output.out, "");
  EXPECT_EQ(output.err, "");
  EXPECT_EQ(test::open_descriptors(), descriptors);
  return test::read_file(path);
}

std::vector<std::int16_t> random_image(std::size_t pixels) {
  std::mt19937 random(3);
  std::vector<std::int16_t> image(pixels);
  for (std::int16_t& pixel : image) {
    // Smooth stretches and jumps, so that chunks of all sizes occur.
    const unsigned spread = random() % 50 == 0 ? 65536 : 9;
    pixel = static_cast<std::int16_t>(random() % spread);
  }
  return image;
}

std::vector<unsigned> sign_extended(const std::vector<std::int16_t>& image) {
  std::vector<unsigned> pixels(image.size());
  std::ranges::transform(image, pixels.begin(), [](std::int16_t pixel) { return static_cast<unsigned>(pixel); });
  return pixels;
}

}  // namespace

TEST(ReadPck, PixelsAreSignExtendedAndTheRestIsZero) {
  expect_image(read_bytes(header_bytes(1200, 1200) + header_line("0002", "0001") + kTwoPixels), "",
               {4294941760, 4294941761});
}

TEST(ReadPck, AConstantImageFollowsOneAnotherWithoutRegardToRows) {
  // One difference of 4 bits: 0, code 1, 5. Eight of 0 bits: codes 3 and 0. 0x148 + (3 << 10) = 0xD48. The 3 x 2
  // pixels are the first six of the image, not a corner of it.
  expect_image(read_bytes(header_bytes(1200, 1200) + header_line("0003", "0002") + "\x48\x0D"s), "",
               {5, 5, 5, 5, 5, 5});
}

TEST(ReadPck, OtherDimensionsAreWarnedOf) {
  const std::string packed = header_line("0002", "0001") + kTwoPixels;
  const std::vector<unsigned> pixels = {4294941760, 4294941761};
  expect_image(read_bytes(header_bytes(1024, 1024) + packed), warning("1024x1024"), pixels);
  expect_image(read_bytes(header_bytes(1200, 1199) + packed), warning("1200x1199"), pixels);
  expect_image(read_bytes(header_bytes(1201, 1200) + packed), warning("1201x1200"), pixels);
  expect_image(read_bytes(header_bytes(0, 0) + packed), warning("0x0"), pixels);
  expect_image(read_bytes(header_bytes(0xFFFFFFFF, 0x80000000) + packed), warning("-1x-2147483648"), pixels);
  // Bytes B0 04 00 00 at 0 and 01 02 03 04 at 4.
  expect_image(read_bytes(little32(1200) + "\x01\x02\x03\x04"s + std::string(kHeader - 8, '\0') + packed),
               warning("1200x67305985"), pixels);
}

TEST(ReadPck, AHeaderLineWithinTheBinaryHeaderCounts) {
  std::string header = header_bytes(1200, 1200);
  const std::string early = header_line("0002", "0001") + kTwoPixels;
  header.replace(100, early.size(), early);
  expect_image(read_bytes(header + header_line("0001", "0001") + "\x48\x01"s), "", {4294941760, 4294941761});
}

TEST(ReadPck, WithoutAHeaderLineAllIsZero) {
  expect_image(read_bytes(header_bytes(1200, 1200)), "", {});
  expect_image(read_bytes(header_bytes(1200, 1200) + std::string(20000, '\n')), "", {});
  expect_image(read_bytes(header_bytes(1200, 1200) + "\nCCP4 packed image, X: 0002, Y: 00"), "", {});
  expect_image(read_bytes(header_bytes(1200, 1200) + header_line("0000", "0002") + kTwoPixels), "", {});
}

TEST(ReadPck, NegativeDimensionsOfTheHeaderLineDecodeNothing) {
  expect_image(read_bytes(header_bytes(1200, 1200) + header_line("-002", "-001") + kTwoPixels), "", {});
  expect_image(read_bytes(header_bytes(1200, 1200) + header_line("-002", "0001") + kTwoPixels), "", {});
}

TEST(ReadPck, DataThatEndEarlyAreContinuedWithOneBits) {
  // Six one bits: 128 differences of 32 bits, all of them -1. Each pixel of the first row, and the first of the
  // second, is one less than the pixel before.
  const Reading reading = read_bytes(header_bytes(1200, 1200) + header_line("0300", "0002"));
  EXPECT_EQ(reading.out, "");
  ASSERT_EQ(reading.pixels.size(), kPixels);
  for (unsigned i = 0; i <= 300; ++i) EXPECT_EQ(reading.pixels[i], 4294967295 - i) << i;
  EXPECT_TRUE(std::all_of(reading.pixels.begin() + 600, reading.pixels.end(), [](unsigned p) { return p == 0; }));
}

TEST(ReadPck, AShortFileIsReadAsFarAsItGoes) {
  expect_image(read_bytes(""), warning("0x0"), {});
  expect_image(read_bytes(little32(1200)), warning("1200x0"), {});
  expect_image(read_bytes(little32(1200) + little32(1200)), "", {});
  // The header line is looked for from the beginning, wherever the header should end.
  expect_image(read_bytes(little32(1200) + little32(1200) + header_line("0002", "0001") + kTwoPixels), "",
               {4294941760, 4294941761});
}

TEST(ReadPck, LargerPackedImagesAreCutToWhatFits) {
  // Two chunks of one 6-bit difference: 5, then 0; 12 bits each: (3 << 3) + (5 << 6) = 0x158, 0x018. Then chunks of
  // 128 differences of 0 bits: 000111 000111 000111 000111, 0x1C71C7.
  std::string stream = "\x58\x81\x01"s;
  for (int i = 0; i < 2900; ++i) stream += "\xC7\x71\x1C"s;
  const std::vector<unsigned> fives(kPixels, 5);
  expect_image(read_bytes(header_bytes(1200, 1200) + header_line("1200", "1201") + stream), "", fives);
  expect_image(read_bytes(header_bytes(1200, 1200) + header_line("1201", "1200") + stream), "", fives);
  expect_image(read_bytes(header_bytes(1200, 1200) + header_line("9999", "9999") + stream), "", fives);
}

TEST(ReadPck, PixelsOfALargerImageKeepTheirPlaceInTheRow) {
  const std::vector<std::int16_t> image = random_image(std::size_t{1300} * 1200);
  std::vector<unsigned> expected = sign_extended(image);
  expected.resize(kPixels);
  const test::TemporaryDirectory directory;
  expect_image(read(directory.write("image.pck", written(record(1300, 1200), image))), warning("1300x1200"), expected);
}

TEST(ReadPck, OpenFailureIsReportedInItsOwnColours) {
  const Reading reading = read("/nonexistent/%d.pck");
  EXPECT_EQ(reading.result, 0);
  EXPECT_EQ(reading.out, "# \033[0mERROR\033s [0m opening /nonexistent/%d.pck\n");
  EXPECT_FALSE(reading.delivered);
  EXPECT_EQ(reading.x, -7);
  EXPECT_EQ(reading.y, -7);
}

TEST(ReadPck, EveryDescriptorIsClosed) {
  const test::TemporaryDirectory directory;
  const std::string whole =
      directory.write("image.pck", header_bytes(1200, 1200) + header_line("0002", "0001") + kTwoPixels);
  const std::string short_file = directory.write("short.pck", "short");
  const std::size_t descriptors = test::open_descriptors();
  read(whole);
  read(short_file);
  read("/nonexistent");
  EXPECT_EQ(test::open_descriptors(), descriptors);
}

TEST(Tomar, WritesTheRecordAndThePackedImage) {
  const PackedFileHeader header = record(1, 1);
  const std::string file = written(header, {5});
  ASSERT_GE(file.size(), kHeader);
  EXPECT_EQ(file.substr(0, 8), "\x01\x00\x00\x00\x01\x00\x00\x00"s);
  EXPECT_EQ(std::memcmp(file.data(), &header, kHeader), 0);
  // One difference of 4 bits: codes 0 and 1, then 0101; 10 bits in two bytes.
  EXPECT_EQ(file.substr(kHeader), header_line("0001", "0001") + "\x48\x01"s);
}

TEST(Tomar, ChunksOfZerosHaveNoBits) {
  // 2 x 2 zeros: a chunk of two differences (codes 1, 0), then two of one (0, 0): 18 bits.
  EXPECT_EQ(written(record(2, 2), {0, 0, 0, 0}).substr(kHeader), header_line("0002", "0002") + "\x01\x00\x00"s);
}

TEST(Tomar, TheThirdArgumentHasNoEffect) {
  const std::vector<std::int16_t> image = {1, -2, 300, 4};
  EXPECT_EQ(written(record(2, 2), image, 0), written(record(2, 2), image, -1));
}

TEST(Tomar, WidthAndHeightOfFourDigitsStandInTheHeaderLine) {
  const std::string file = written(record(1000, 2), std::vector<std::int16_t>(2000));
  EXPECT_EQ(file.substr(kHeader, header_line("1000", "0002").size()), header_line("1000", "0002"));
}

TEST(Tomar, AnImageWithoutPixelsHasAHeaderLine) {
  for (const auto& [width, height, line] :
       {std::tuple{0, 0, header_line("0000", "0000")}, std::tuple{0, 12, header_line("0000", "0012")}}) {
    EXPECT_EQ(written(record(width, height), {}).substr(kHeader, line.size()), line);
  }
}

TEST(Tomar, OpenFailureIsReportedWithoutLineFeed) {
  const test::TemporaryDirectory directory;
  std::int16_t pixel = 5;
  for (const std::string& path : {std::string("/nonexistent/%d.pck"), directory.path("")}) {
    const auto output = test::capture([&] { EXPECT_EQ(tomar(path.c_str(), &pixel, 0, record(1, 1)), 0); });
    EXPECT_EQ(output.out, "# " RED_ERROR " opening " + path);
  }
}

TEST(Tomar, ReadPckReadsBackWhatWasWritten) {
  const std::vector<std::int16_t> image = random_image(kPixels);
  ASSERT_TRUE(std::ranges::any_of(image, [](std::int16_t pixel) { return pixel < 0; }));
  expect_image(read_bytes(written(record(1200, 1200), image)), "", sign_extended(image));
}

TEST(Tomar, SmallerImagesAreReadBackWithAWarning) {
  const std::vector<std::int16_t> image = random_image(std::size_t{40} * 30);
  expect_image(read_bytes(written(record(40, 30), image)), warning("40x30"), sign_extended(image));
}

namespace {

constexpr int kSide = 40;

struct Sample {
  std::string file = written(record(kSide, kSide), random_image(std::size_t{kSide} * kSide));
  std::size_t stream = kHeader + header_line("0040", "0040").size();
};

// What is wrong with the reading of a damaged file, whose pixels must be as expected.
std::string complaint(const std::string& path, const std::function<bool(std::span<const unsigned>)>& as_expected) {
  unsigned* daten = nullptr;
  int x = 0;
  int y = 0;
  const int result = read_pck(path.c_str(), &daten, &x, &y);
  const auto owned = test::own(daten);
  if (result != 0 || x != 1200 || y != 1200 || daten == nullptr) return "outputs";
  return as_expected({daten, kPixels}) ? "" : "pixels";
}

// For files that leave nothing to expect: both ends of the image must be there.
bool is_whole(std::span<const unsigned> pixels) {
  const auto fits = [](unsigned pixel) { return pixel < 32768 || pixel >= 4294934528; };
  return fits(pixels.front()) && fits(pixels.back());
}

}  // namespace

TEST(ReadPck, WhatIsNoPackedFileIsAnImageOfZeros) {
  const test::TemporaryDirectory directory;
  for (const std::string& path : test::non_images(directory)) expect_image(read(path), warning("0x0"), {});
}

TEST(ReadPck, EveryCutOfTheHeaderIsSurvived) {
  const test::TemporaryDirectory directory;
  const Sample sample;
  // Without a whole header line there is no image.
  const auto is_blank = [](std::span<const unsigned> pixels) { return pixels.front() == 0 && pixels.back() == 0; };
  const auto check = [&](std::size_t length) {
    return complaint(test::rewrite(directory, "cut.pck", sample.file.substr(0, length)), is_blank);
  };
  EXPECT_EQ(test::first_problem(sample.stream, check), "");
}

TEST(ReadPck, CutsOfTheBitStreamDecodeAsTheDecoderDoes) {
  const test::TemporaryDirectory directory;
  const Sample sample;
  const auto check = [&](std::size_t place) {
    const std::size_t length = sample.stream + (sample.file.size() - sample.stream) * place / 100;
    const std::string file = sample.file.substr(0, length);
    std::vector<std::int16_t> image(std::size_t{kSide} * kSide);
    unpack_word(test::stream_of(file.substr(sample.stream)).get(), kSide, kSide, image.data());
    return complaint(test::rewrite(directory, "cut.pck", file), [&](std::span<const unsigned> pixels) {
      const std::span<const unsigned> rest = pixels.subspan(image.size());
      return std::ranges::equal(sign_extended(image), pixels.first(image.size())) &&
             std::ranges::count(rest, 0U) == static_cast<std::ptrdiff_t>(rest.size());
    });
  };
  EXPECT_EQ(test::first_problem(100, check), "");
}

TEST(ReadPck, RandomBytesAnywhereAreSurvived) {
  const test::TemporaryDirectory directory;
  const Sample sample;
  std::mt19937 random(23);
  const auto check = [&](std::size_t) {
    const std::string file = test::with_random_bytes(sample.file, sample.file.size(), random);
    return complaint(test::rewrite(directory, "damaged.pck", file), is_whole);
  };
  EXPECT_EQ(test::first_problem(1000, check), "");
}

TEST(ReadPck, RandomBytesInTheHeaderLineAreSurvived) {
  const test::TemporaryDirectory directory;
  const Sample sample;
  std::mt19937 random(29);
  const std::string header = sample.file.substr(0, kHeader);
  const std::string packed = sample.file.substr(kHeader);
  const auto check = [&](std::size_t) {
    const std::string damaged = test::with_random_bytes(packed, sample.stream - kHeader, random);
    return complaint(test::rewrite(directory, "damaged.pck", header + damaged), is_whole);
  };
  EXPECT_EQ(test::first_problem(1000, check), "");
}
