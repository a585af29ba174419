#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "tests/environment.h"
#include "xrdimage.h"

namespace {

using Pixels = std::vector<unsigned int>;

constexpr char kPrompt[] = "# Detector x y [1200 1200]> ";

// What read_raw leaves behind. The outputs start with marks that show whether they were written.
struct Reading {
  unsigned int marked = 0;
  unsigned int* daten = &marked;
  int width = -77;
  int height = -88;
  int result = -1;
  std::size_t new_descriptors = 0;
  test::Output output;

  bool outputs_untouched() const { return daten == &marked && width == -77 && height == -88; }
  Pixels pixels() const { return {daten, daten + static_cast<std::size_t>(width) * static_cast<std::size_t>(height)}; }

  Reading() = default;
  Reading(const Reading&) = delete;
  Reading& operator=(const Reading&) = delete;
  ~Reading() {
    if (daten != &marked) std::free(daten);
  }
};

void read(Reading& reading, const std::string& path, std::string_view answer) {
  const std::size_t before = test::open_descriptors();
  reading.output = test::capture([&] {
    test::with_input(answer,
                     [&] { reading.result = read_raw(path.c_str(), &reading.daten, &reading.width, &reading.height); });
  });
  reading.new_descriptors = test::open_descriptors() - before;
}

class Raw : public testing::Test {
 protected:
  // Reads a file of these bytes.
  const Reading& read_bytes(std::string_view bytes, std::string_view answer) {
    read(reading_, directory_.write("frame", bytes), answer);
    return reading_;
  }
  test::TemporaryDirectory directory_;
  Reading reading_;
};

// Returns what was written to standard error.
std::string expect_refused(std::string_view answer, const std::string& size) {
  const test::TemporaryDirectory directory;
  const std::string path = directory.write("frame", "1234");
  Reading reading;
  read(reading, path, answer);
  EXPECT_EQ(reading.result, 0);
  EXPECT_EQ(reading.output.out,
            kPrompt + std::string("# " RED_ERROR " READING ") + path + ": cannot allocate " + size + " pixels\n");
  EXPECT_TRUE(reading.outputs_untouched()) << answer;
  return reading.output.err;
}

}  // namespace

TEST_F(Raw, SamplesAreLittleEndianRowByRow) {
  const Reading& reading = read_bytes({"\x34\x12\x01\x00\xFF\xFF\x00\x80\x05\x00\x06\x00", 12}, "3 2\n");
  EXPECT_EQ(reading.result, 0);
  EXPECT_EQ(reading.width, 3);
  EXPECT_EQ(reading.height, 2);
  EXPECT_EQ(reading.pixels(), (Pixels{0x1234, 1, 0xFFFF, 0x8000, 5, 6}));
  EXPECT_EQ(reading.output.out, std::string(kPrompt) + "# 0 kB f\xFCr Daten bereitgestellt\n");
  EXPECT_EQ(reading.output.err, "");
}

TEST_F(Raw, TheStreamStaysOpen) {
  EXPECT_EQ(read_bytes("1234", "2 1\n").new_descriptors, 1U);
}

TEST_F(Raw, TheStreamStaysOpenAfterARefusedSizeToo) {
  EXPECT_EQ(read_bytes("1234", "-2 1\n").new_descriptors, 1U);
}

TEST_F(Raw, MissingPixelsAreZero) {
  EXPECT_EQ(read_bytes("\x34\x12\x78\x56", "2 3\n").pixels(), (Pixels{0x1234, 0x5678, 0, 0, 0, 0}));
}

TEST_F(Raw, AnEmptyFileIsAnImageOfZeros) {
  const Reading& reading = read_bytes("", "2 2\n");
  EXPECT_EQ(reading.pixels(), (Pixels{0, 0, 0, 0}));
  EXPECT_EQ(reading.output.out, std::string(kPrompt) + "# 0 kB f\xFCr Daten bereitgestellt\n");
}

TEST_F(Raw, ALoneLastByteIsKept) {
  EXPECT_EQ(read_bytes("\x34\x12\xAB", "3 1\n").pixels(), (Pixels{0x1234, 0xAB, 0}));
}

TEST_F(Raw, FurtherBytesAreIgnored) {
  EXPECT_EQ(read_bytes("\x34\x12\x78\x56\x01\x01\x01", "2 1\n").pixels(), (Pixels{0x1234, 0x5678}));
}

TEST_F(Raw, AnswerGivesTheSize) {
  const Reading& reading = read_bytes(std::string(2097152, '\x07'), "1024 1024\n");
  EXPECT_EQ(reading.width, 1024);
  EXPECT_EQ(reading.height, 1024);
  EXPECT_EQ(reading.output.out, std::string(kPrompt) + "# 4096 kB f\xFCr Daten bereitgestellt\n");
  EXPECT_EQ(reading.pixels(), Pixels(1048576, 0x0707));
}

TEST_F(Raw, SizeInKibibytesIsTruncated) {
  EXPECT_EQ(read_bytes("", "511 1\n").output.out, std::string(kPrompt) + "# 1 kB f\xFCr Daten bereitgestellt\n");
}

// Each of these answers stands for the default.
class RawDefault : public testing::TestWithParam<const char*> {};

TEST_P(RawDefault, Is1200Times1200) {
  const test::TemporaryDirectory directory;
  Reading reading;
  read(reading, directory.write("frame", "\x34\x12"), GetParam());
  EXPECT_EQ(reading.result, 0);
  ASSERT_EQ(reading.width, 1200);
  ASSERT_EQ(reading.height, 1200);
  EXPECT_EQ(reading.output.out, std::string(kPrompt) + "# 5625 kB f\xFCr Daten bereitgestellt\n");
  EXPECT_EQ(reading.daten[0], 4660U);
  EXPECT_EQ(std::count(reading.daten, reading.daten + 1440000, 0U), 1439999);
}

INSTANTIATE_TEST_SUITE_P(Answers, RawDefault,
                         testing::Values("\n", "", "1024\n", "1024", "1024 x\n", "1024\n1024\n", "large\n", "x 5 5\n",
                                         "5,5\n"));

TEST_F(Raw, OfALongAnswer255CharactersCount) {
  // "12 34" ends with character 255; the 5 is no longer part of the answer.
  const Reading& reading = read_bytes("", std::string(250, ' ') + "12 345\n");
  EXPECT_EQ(reading.width, 12);
  EXPECT_EQ(reading.height, 34);
}

TEST_F(Raw, NumbersBehind255CharactersAreNotSeen) {
  const Reading& reading = read_bytes("", std::string(256, ' ') + "12 34\n");
  EXPECT_EQ(reading.width, 1200);
  EXPECT_EQ(reading.height, 1200);
}

TEST_F(Raw, ASizeOfZeroIsAnEmptyImage) {
  const Reading& reading = read_bytes("1234", "0 0\n");
  EXPECT_EQ(reading.result, 0);
  EXPECT_EQ(reading.width, 0);
  EXPECT_EQ(reading.height, 0);
  EXPECT_NE(reading.daten, &reading.marked);
  EXPECT_NE(reading.daten, nullptr);
  EXPECT_EQ(reading.output.out, std::string(kPrompt) + "# 0 kB f\xFCr Daten bereitgestellt\n");
}

TEST_F(Raw, OneSideOfZeroIsAnEmptyImageToo) {
  const Reading& reading = read_bytes("1234", "0 2147483647\n");
  EXPECT_EQ(reading.width, 0);
  EXPECT_EQ(reading.height, 2147483647);
  EXPECT_NE(reading.daten, nullptr);
  EXPECT_EQ(reading.output.out, std::string(kPrompt) + "# 0 kB f\xFCr Daten bereitgestellt\n");
}

TEST(RawFailure, FilesThatCannotBeOpenedAreReportedWithoutAPrompt) {
  Reading reading;
  read(reading, "/nonexistent/frame %d", "3 2\n");
  EXPECT_EQ(reading.result, 0);
  EXPECT_EQ(reading.output.out, "# \033[31;1mERROR\033[0m READING /nonexistent/frame %d\n");
  EXPECT_EQ(reading.output.err, "");
  EXPECT_TRUE(reading.outputs_untouched());
  EXPECT_EQ(reading.new_descriptors, 0U);
}

TEST(RawFailure, AnEmptyPathCannotBeOpened) {
  Reading reading;
  read(reading, "", "3 2\n");
  EXPECT_EQ(reading.result, 0);
  EXPECT_EQ(reading.output.out, "# " RED_ERROR " READING \n");
  EXPECT_TRUE(reading.outputs_untouched());
}

TEST(RawFailure, NegativeSizesAreRefused) {
  EXPECT_EQ(expect_refused("-1 5\n", "-1 x 5"), "");
  EXPECT_EQ(expect_refused("5 -1\n", "5 x -1"), "");
  EXPECT_EQ(expect_refused("-3 -4\n", "-3 x -4"), "");
  EXPECT_EQ(expect_refused("0 -1\n", "0 x -1"), "");
  EXPECT_EQ(expect_refused("-2147483648 -2147483648\n", "-2147483648 x -2147483648"), "");
}

TEST(RawFailure, SizesThatCannotBeAreRefused) {
  EXPECT_EQ(expect_refused("65536 65536\n", "65536 x 65536"), "");  // 2^32 pixels
  EXPECT_EQ(expect_refused("32768 32768\n", "32768 x 32768"), "");  // 2^32 bytes
  EXPECT_EQ(expect_refused("2147483647 2147483647\n", "2147483647 x 2147483647"), "");
  EXPECT_EQ(expect_refused("268435457 1\n", "268435457 x 1"), "");
  EXPECT_EQ(expect_refused("30000 30000\n", "30000 x 30000"), "");
}

TEST(RawFailure, ADirectoryIsAnImageOfZeros) {
  // It can be opened, and nothing can be read from it.
  const test::TemporaryDirectory directory;
  Reading reading;
  read(reading, directory.path(""), "2 1\n");
  EXPECT_EQ(reading.result, 0);
  EXPECT_EQ(reading.pixels(), (Pixels{0, 0}));
}

TEST(RawFailureDeathTest, MemoryThatCannotBeHadIsReported) {
  EXPECT_EXIT(
      {
        test::limit_memory();
        expect_refused("16384 16384\n", "16384 x 16384");  // sanitizers have their own word on standard error
        std::_Exit(testing::Test::HasFailure() ? 1 : 0);
      },
      testing::ExitedWithCode(0), "");
}
