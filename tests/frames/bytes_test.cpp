#include "frames/bytes.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <thread>

#include "support/files.h"
#include "tests/frames/compression.h"
#include "tests/frames/load_bytes.h"

namespace {

using namespace std::string_literals;

// Bytes that do not repeat soon; 100000 of them are more than every buffer.
std::string varied_bytes(std::size_t count) {
  std::string bytes;
  std::uint32_t state = 1;
  for (std::size_t i = 0; i < count; ++i) {
    state = state * 1664525 + 1013904223;
    bytes += static_cast<char>(state >> 24);
  }
  return bytes;
}

std::string text(const std::vector<unsigned char>& bytes) {
  return {bytes.begin(), bytes.end()};
}

// Of files that do not say how much of them matters.
std::vector<unsigned char> read_whole(const std::string& path) {
  const auto enough = [](frames::Bytes /*front*/) { return std::nullopt; };
  const xrd::FileHandle stream = xrd::open_file(path.c_str(), "rb");
  auto file = frames::read_file(stream.get());
  auto unpacked = frames::unpack(file, enough);
  return unpacked ? *std::move(unpacked) : std::move(file);
}

std::string read(const std::string& bytes) {
  const test::TemporaryDirectory directory;
  return text(read_whole(directory.write("frame", bytes)));
}

std::string error_of(const std::string& bytes) {
  return test::load_error([&] { read(bytes); });
}

TEST(FrameBytes, FilesOfAnyLengthAreReadWhole) {
  const std::string bytes = varied_bytes(200000);
  for (const std::size_t length : {0U, 1U, 2U, 3U, 65535U, 65536U, 65537U, 131072U, 200000U}) {
    EXPECT_TRUE(read(bytes.substr(0, length)) == bytes.substr(0, length)) << length;
  }
}

TEST(FrameBytes, PipesAreReadToTheirEnd) {
  const test::TemporaryDirectory directory;
  const std::string path = directory.path("pipe");
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  const std::string bytes = varied_bytes(200000);
  for (const std::string& written : {bytes, test::gzip(bytes), test::bzip2(bytes)}) {
    std::thread writer([&] {
      const test::Stream stream(std::fopen(path.c_str(), "wb"));
      EXPECT_EQ(std::fwrite(written.data(), 1, written.size(), stream.get()), written.size());
    });
    EXPECT_TRUE(text(read_whole(path)) == bytes);
    writer.join();
  }
}

TEST(FrameBytes, FilesThatDoNotTellTheirLengthAreReadToTheirEnd) {
  // Regular files whose length is said to be 0.
  EXPECT_EQ(text(read_whole("/proc/self/cmdline")), test::read_file("/proc/self/cmdline"));
  EXPECT_NE(text(read_whole("/proc/self/cmdline")), "");
}

TEST(FrameBytes, FilesTooLargeForAFrameAreNotRead) {
  const test::TemporaryDirectory directory;
  const std::string path = directory.write("frame", "");
  std::filesystem::resize_file(path, (std::uintmax_t{1} << 31) + 1);
  EXPECT_EQ(test::load_error([&] { read_whole(path); }), "is too large for a frame");
}

TEST(FrameBytes, CompressedMembersFollowOneAnother) {
  const std::string bytes = varied_bytes(100000);
  const std::string first = bytes.substr(0, 70000);
  const std::string second = bytes.substr(70000);
  EXPECT_TRUE(read(test::gzip(first) + test::gzip(second)) == bytes);
  EXPECT_TRUE(read(test::bzip2(first) + test::bzip2(second)) == bytes);
  EXPECT_TRUE(read(test::gzip("") + test::gzip(second)) == second);
}

TEST(FrameBytes, PaddingBehindCompressedDataIsIgnored) {
  EXPECT_EQ(read(test::gzip("frame") + std::string(512, '\0')), "frame");
  EXPECT_EQ(read(test::bzip2("frame") + std::string(512, '\0')), "frame");
}

TEST(FrameBytes, PixelsThatBeginLikeCompressedDataAreNone) {
  for (const std::string& bytes :
       {"\x1F\x8B\x07"s, "\x1F\x8B\x08\x20"s, "\x1F\x8B\x09\x00 pixels"s, "\x1F\x8B\x08\xFFpixels"s, "BZh0"s,
        "BZh:1AY&SY"s, "BZh91AY&SX"s, "BZh9\x17rE8P\x91"s, "BZhpixels"s}) {
    EXPECT_EQ(read(bytes), bytes);
    EXPECT_EQ(read(test::gzip("frame") + bytes), "frame");
  }
}

TEST(FrameBytes, EmptyFilesAreDecompressed) {
  EXPECT_EQ(read(test::gzip("")), "");
  EXPECT_EQ(read(test::bzip2("")), "");
}

TEST(FrameBytes, EveryCutOfCompressedDataIsDamage) {
  const std::string bytes = varied_bytes(40) + std::string(300, ' ');
  const std::string gzipped = test::gzip(bytes);
  for (std::size_t length = 2; length < gzipped.size(); ++length) {
    ASSERT_EQ(error_of(gzipped.substr(0, length)), "is a damaged gzip file") << length;
    ASSERT_EQ(error_of(gzipped + gzipped.substr(0, length)), "is a damaged gzip file") << length;
  }
  const std::string bzipped = test::bzip2(bytes);
  for (std::size_t length = 3; length < bzipped.size(); ++length) {
    ASSERT_EQ(error_of(bzipped.substr(0, length)), "is a damaged bzip2 file") << length;
    ASSERT_EQ(error_of(bzipped + bzipped.substr(0, length)), "is a damaged bzip2 file") << length;
  }
}

TEST(FrameBytes, WrongChecksumsAreDamage) {
  std::string gzipped = test::gzip("frame");
  gzipped[gzipped.size() - 8] = static_cast<char>(gzipped[gzipped.size() - 8] ^ 1);
  EXPECT_EQ(error_of(gzipped), "is a damaged gzip file");
  std::string bzipped = test::bzip2("frame");
  bzipped[10] = static_cast<char>(bzipped[10] ^ 1);  // the block's
  EXPECT_EQ(error_of(bzipped), "is a damaged bzip2 file");
}

TEST(FrameBytes, DecompressionEndsWhereItIsEnough) {
  const test::TemporaryDirectory directory;
  const std::string bytes = varied_bytes(1000000);
  for (const std::string& file : {test::gzip(bytes), test::bzip2(bytes)}) {
    std::vector<std::size_t> fronts;
    const auto enough = [&](frames::Bytes front) -> std::optional<std::size_t> {
      EXPECT_TRUE(bytes.starts_with(frames::text_of(front)));
      fronts.push_back(front.size());
      return front.size() < 200000 ? std::nullopt : std::optional<std::size_t>(400000);
    };
    const std::string front = text(*frames::unpack(test::bytes_of(file), enough));
    EXPECT_TRUE(bytes.starts_with(front));
    EXPECT_GE(front.size(), 400000U);
    EXPECT_LE(front.size(), 400000U + 65536);
    // Asked for the first time, then each time that twice as much is there, and once more when that is enough.
    ASSERT_EQ(fronts.size(), 4U);
    EXPECT_EQ(fronts[3], front.size());
    for (std::size_t i = 0; i < 3; ++i) {
      const std::size_t due = i == 0 ? 65536 : 2 * fronts[i - 1];
      EXPECT_GE(fronts[i], due);
      EXPECT_LE(fronts[i], due + 65536);
    }
  }
}

// A first answer may be preliminary.
TEST(FrameBytes, DecompressionGoesOnWhereMoreIsFound) {
  const std::string bytes = varied_bytes(1000000);
  std::size_t asked = 0;
  const auto enough = [&](frames::Bytes front) -> std::optional<std::size_t> {
    ++asked;
    if (asked == 2) return std::nullopt;
    return front.size() < 300000 ? 100000 : 700000;
  };
  const std::string front = text(*frames::unpack(test::bytes_of(test::gzip(bytes)), enough));
  EXPECT_TRUE(bytes.starts_with(front));
  EXPECT_GE(front.size(), 700000U);
  EXPECT_LE(front.size(), 700000U + 65536);
}

// Of a front that finds more and more, without an end.
TEST(FrameBytes, WhatIsFoundLaterHasALimit) {
  const std::string zeros(std::size_t{1} << 20, '\0');
  const std::string member = test::bzip2(zeros);
  std::string file;
  for (int i = 0; i < 200; ++i) file += member;
  const auto enough = [](frames::Bytes front) { return std::optional(2 * front.size()); };
  const auto unpacked = frames::unpack(test::bytes_of(file), enough);
  EXPECT_GE(unpacked->size(), std::size_t{192} << 20);
  EXPECT_LE(unpacked->size(), (std::size_t{192} << 20) + 65536);
}

TEST(FrameBytes, WhatStatesNoSizeIsUnpackedTo192Mebibytes) {
  const std::string zeros(std::size_t{1} << 20, '\0');
  const std::string member = test::bzip2(zeros);
  std::string file;
  for (int i = 0; i < 192; ++i) file += member;
  EXPECT_EQ(read(file).size(), std::size_t{192} << 20);
  EXPECT_EQ(error_of(file + member),
            "is too large: it unpacks to more than 201326592 bytes, which do not state the size of the frame");
}

TEST(FrameBytes, LargeFilesThatStateNoSizeAreUnpackedTo256TimesTheirLength) {
  const std::string zeros(std::size_t{1} << 20, '\0');
  const std::string member = test::gzip(zeros);
  std::string file;
  for (int i = 0; i < 200; ++i) file += member;
  EXPECT_NE(error_of(file), "");
  file.resize((std::size_t{200} << 20) / 256, 'x');  // padding
  EXPECT_EQ(read(file).size(), std::size_t{200} << 20);
}

TEST(FrameBytes, MuchThatHoldsNothingIsDamage) {
  // Deflate's blocks without content.
  std::string file = "\x1F\x8B\x08\0\0\0\0\0\0\xFF"s;
  while (file.size() < 3000000) file += "\0\0\0\xFF\xFF"s;
  EXPECT_EQ(error_of(file), "is a damaged gzip file: it is far longer than its content");
  file.resize(1000000);
  EXPECT_EQ(error_of(file), "is a damaged gzip file");  // it has no end
}

}  // namespace
