// Raw frames: pixels without a header.
#include <gtest/gtest.h>

#include "tests/frames/file_bytes.h"

namespace {

using test::Counts;

frames::LoadOptions options(int width, int height, int depth) {
  frames::LoadOptions chosen;
  chosen.size = {width, height};
  chosen.depth = depth;
  return chosen;
}

frames::Frame load(const std::string& file, const frames::LoadOptions& chosen = {}) {
  return frames::load_raw(test::bytes_of(file), chosen);
}

TEST(RawFrame, PixelsHaveTheDepthAsked) {
  const std::string file = test::from_bytes({1, 2, 0xFF, 0xFF, 5, 6, 7, 0x88});
  EXPECT_EQ(load(file, options(8, 1, 8)).counts, (Counts{1, 2, 255, 255, 5, 6, 7, 0x88}));
  const auto frame = load(file, options(1, 4, 16));
  EXPECT_EQ(frame.format, frames::Format::kRaw);
  EXPECT_EQ(frame.width, 1);
  EXPECT_EQ(frame.height, 4);
  EXPECT_EQ(frame.counts, (Counts{0x0201, 0xFFFF, 0x0605, 0x8807}));
  EXPECT_FALSE(frame.is_signed);
  EXPECT_TRUE(frame.notes.empty());
  EXPECT_EQ(load(file, options(2, 1, 32)).counts, (Counts{0xFFFF0201, 0x88070605}));
}

TEST(RawFrame, BigEndianPixelsAreTakenSo) {
  auto chosen = options(2, 1, 16);
  chosen.big_endian = true;
  EXPECT_EQ(load(test::from_bytes({1, 2, 3, 4}), chosen).counts, (Counts{0x0102, 0x0304}));
  chosen = options(1, 1, 32);
  chosen.big_endian = true;
  EXPECT_EQ(load(test::from_bytes({1, 2, 3, 4}), chosen).counts, (Counts{0x01020304}));
}

TEST(RawFrame, BytesAreSkipped) {
  auto chosen = options(2, 1, 8);
  chosen.skip = 3;
  EXPECT_EQ(load(test::from_bytes({9, 9, 9, 4, 5, 6}), chosen).counts, (Counts{4, 5}));
  chosen.skip = 5;
  EXPECT_NE(test::load_error(frames::load_raw, test::from_bytes({9, 9, 9, 4, 5, 6}), chosen).find("is truncated"),
            std::string::npos);
  chosen.skip = 99;
  EXPECT_NE(test::load_error(frames::load_raw, "abc", chosen).find("is truncated"), std::string::npos);
}

TEST(RawFrame, SquaresAreGuessedAndAnnounced) {
  const auto frame = load(std::string(std::size_t{2} * 30 * 30, '\1'));
  EXPECT_EQ(frame.width, 30);
  EXPECT_EQ(frame.height, 30);
  EXPECT_EQ(frame.counts, Counts(900, 0x0101));
  ASSERT_EQ(frame.notes.size(), 1U);
  EXPECT_NE(frame.notes[0].find("30 x 30 pixels of 16 bits"), std::string::npos);
  EXPECT_NE(frame.notes[0].find("--size"), std::string::npos);
}

TEST(RawFrame, KnownDetectorsAreGuessed) {
  const auto frame = load(std::string(std::size_t{2} * 487 * 195, '\0'));
  EXPECT_EQ(frame.width, 487);
  EXPECT_EQ(frame.height, 195);
}

TEST(RawFrame, GuessesLeaveOutSkippedBytes) {
  frames::LoadOptions chosen;
  chosen.skip = 512;
  chosen.depth = 8;
  EXPECT_EQ(load(std::string(512 + 49, '\0'), chosen).width, 7);
}

TEST(RawFrame, OtherLengthsNeedASize) {
  for (const std::size_t length : {0U, 1U, 7U, 12U, 19U}) {
    EXPECT_NE(test::load_error(frames::load_raw, std::string(length, '\0')).find("--size"), std::string::npos)
        << length;
  }
}

TEST(RawFrame, MissingPixelsAreDamage) {
  auto chosen = options(2, 2, 16);
  const std::string file = test::from_bytes({1, 0, 2, 0, 3});
  EXPECT_NE(test::load_error(frames::load_raw, file, chosen).find("is truncated"), std::string::npos);
  chosen.force = true;
  const auto frame = load(file, chosen);
  EXPECT_EQ(frame.counts, (Counts{1, 2, 0, 0}));
  EXPECT_EQ(frame.notes.size(), 1U);
}

TEST(RawFrame, OtherDepthsAreRefused) {
  EXPECT_NE(test::load_error(frames::load_raw, "abcdef", options(1, 1, 24)).find("--depth"), std::string::npos);
}

TEST(RawFrame, LongRowsOfPixelsKeepTheirOrder) {
  for (const bool big_endian : {false, true}) {
    for (const int depth : {8, 16, 32}) {
      std::string file;
      Counts expected;
      for (unsigned i = 0; i < 5000; ++i) {
        const std::uint32_t count = depth == 8 ? i % 251 : depth == 16 ? i * 13 : i * 800000;
        expected.push_back(count);
        file += test::number_bytes(count, static_cast<std::size_t>(depth / 8), big_endian);
      }
      frames::LoadOptions options;
      options.size = {50, 100};
      options.depth = depth;
      options.big_endian = big_endian;
      EXPECT_TRUE(frames::load_raw(test::bytes_of(file), options).counts == expected) << depth << big_endian;
    }
  }
}

}  // namespace
