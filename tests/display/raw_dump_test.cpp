#include <limits>
#include <string>
#include <vector>

#include "tests/environment.h"
#include "xrdimage.h"

namespace {

using Pixels = std::vector<unsigned int>;
using Words = std::vector<unsigned short>;

constexpr char kShift[] = "(to_short) shift = 0\n";
constexpr char kNoKibibytes[] = "# 0 kB f\xFCr Daten_ushort bereitgestellt\n";

test::Output write_pixels(const std::string& path, Pixels image, int n) {
  const Pixels before = image;
  const std::size_t descriptors = test::open_descriptors();
  auto output = test::capture([&] { write_zimg(path.c_str(), image.data(), n); });
  EXPECT_EQ(image, before);
  EXPECT_EQ(test::open_descriptors(), descriptors);
  return output;
}

test::Output write_words(const std::string& path, Words image, int n) {
  const Words before = image;
  const std::size_t descriptors = test::open_descriptors();
  auto output = test::capture([&] { write_short_zimg(path.c_str(), image.data(), n); });
  EXPECT_EQ(image, before);
  EXPECT_EQ(test::open_descriptors(), descriptors);
  return output;
}

void expect_refused(int n) {
  const test::TemporaryDirectory directory;
  const std::string path = directory.write("frame.raw", "older");
  const auto output = write_pixels(path, {1, 2}, n);
  EXPECT_EQ(output.out, "# " RED_ERROR " cannot allocate " + std::to_string(n) + " pixels\n");
  EXPECT_TRUE(output.err.starts_with(kShift)) << output.err;  // sanitizers may add a word on the memory
  EXPECT_EQ(test::read_file(path), "older");
}

}  // namespace

TEST(RawDump, PixelsKeepTheirLow16Bits) {
  const test::TemporaryDirectory directory;
  const std::string path = directory.path("frame.raw");
  // 256001 is 0x3E801, of which 0xE801 = 59393 is left.
  const auto output = write_pixels(path, {256001, 1, 65535, 65536, 0xFFFF8000, 0x1234}, 6);
  EXPECT_EQ(test::read_file(path), std::string("\x01\xE8\x01\x00\xFF\xFF\x00\x00\x00\x80\x34\x12", 12));
  EXPECT_EQ(output.out, kNoKibibytes + ("# " + path) + " written\n");
  EXPECT_EQ(output.err, kShift);
}

TEST(RawDump, NoMoreThanNPixelsAreWritten) {
  const test::TemporaryDirectory directory;
  const std::string path = directory.write("frame.raw", "an older file that is longer");
  write_pixels(path, {0x6261, 0x6463, 0x6665}, 2);
  EXPECT_EQ(test::read_file(path), "abcd");
}

TEST(RawDump, SizeOfTheIntermediateArrayIsTold) {
  const test::TemporaryDirectory directory;
  const std::string path = directory.path("frame.raw");
  const auto output = write_pixels(path, Pixels(5000, 0x0A0D), 5000);
  EXPECT_EQ(output.out, "# 9 kB f\xFCr Daten_ushort bereitgestellt\n# " + path + " written\n");
  std::string expected;
  for (int i = 0; i < 5000; ++i) expected += "\r\n";
  EXPECT_EQ(test::read_file(path), expected);
}

TEST(RawDump, LargeImages) {
  const test::TemporaryDirectory directory;
  const std::string path = directory.path("frame.raw");
  constexpr unsigned int kPixels = 1200000;
  Pixels image;
  std::string expected;
  for (unsigned int i = 0; i < kPixels; ++i) {
    image.push_back(i * 65537 + (i >> 16));  // no block is like another
    expected += static_cast<char>(image.back() & 0xFF);
    expected += static_cast<char>(image.back() >> 8 & 0xFF);
  }
  write_pixels(path, image, kPixels);
  EXPECT_TRUE(test::read_file(path) == expected);
}

TEST(RawDump, WithoutPixelsTheFileIsEmpty) {
  const test::TemporaryDirectory directory;
  const std::string path = directory.write("frame.raw", "older");
  const auto output = write_pixels(path, {1}, 0);
  EXPECT_EQ(test::read_file(path), "");
  EXPECT_EQ(output.out, kNoKibibytes + ("# " + path) + " written\n");
  EXPECT_EQ(output.err, kShift);
}

TEST(RawDump, OpenFailureIsFollowedByWrittenAllTheSame) {
  const auto output = write_pixels("/nonexistent/frame%d", {1, 2}, 2);
  EXPECT_EQ(output.out, std::string(kNoKibibytes) +
                            "# \033[31;1mERROR\033[0m opening /nonexistent/frame%d# /nonexistent/frame%d written\n");
  EXPECT_EQ(output.err, kShift);
}

TEST(RawDump, CountsThatCannotBeTouchNoFile) {
  expect_refused(-1);
  expect_refused(268435457);
  expect_refused(std::numeric_limits<int>::max());
  expect_refused(std::numeric_limits<int>::min());
}

TEST(RawDumpDeathTest, WithoutMemoryNoFileIsTouched) {
  EXPECT_EXIT(
      {
        test::limit_memory();
        expect_refused(268435456);
        std::_Exit(testing::Test::HasFailure() ? 1 : 0);
      },
      testing::ExitedWithCode(0), "");
}

TEST(ShortRawDump, WordsAreLittleEndian) {
  const test::TemporaryDirectory directory;
  const std::string path = directory.write("frame.raw", "an older file that is longer");
  const auto output = write_words(path, {0x1234, 0, 65535, 0x0A0D, 99}, 4);
  EXPECT_EQ(test::read_file(path), std::string("\x34\x12\x00\x00\xFF\xFF\r\n", 8));
  EXPECT_EQ(output.out, "# " + path + " written\n");
  EXPECT_EQ(output.err, "");
}

TEST(ShortRawDump, WithoutWordsTheFileIsEmpty) {
  const test::TemporaryDirectory directory;
  for (const int n : {0, -1, std::numeric_limits<int>::min()}) {
    const std::string path = directory.write("frame.raw", "older");
    const auto output = write_words(path, {1}, n);
    EXPECT_EQ(test::read_file(path), "");
    EXPECT_EQ(output.out, "# " + path + " written\n");
  }
}

TEST(ShortRawDump, OpenFailureIsFollowedByWrittenAllTheSame) {
  const auto output = write_words("/nonexistent/frame%d", {1, 2}, 2);
  EXPECT_EQ(output.out, "# \033[31;1mERROR\033[0m opening /nonexistent/frame%d# /nonexistent/frame%d written\n");
  EXPECT_EQ(output.err, "");
}
