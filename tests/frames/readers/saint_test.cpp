// SAINT frames written byte by byte, with the overflow tables of both formats.
#include <gtest/gtest.h>

#include "tests/frames/file_bytes.h"
#include "tests/frames/mask.h"

namespace {

using test::Counts;

// One record of 80 characters.
std::string record(const std::string& key, const std::string& value) {
  return test::padded(test::padded(key, 7) + ":" + value, 80);
}

std::string header(const std::string& records, std::size_t length = 7680) {
  return test::padded(records, length, '.');
}

std::string format_86(const std::string& pixel_bytes, const std::string& overflows) {
  return header(record("FORMAT", " 86") + record("NPIXELB", pixel_bytes) + record("NOVERFL", overflows) +
                record("NROWS", "         2") + record("NCOLS", "         2"));
}

// Frames with a baseline of 64, or whatever more records tell first.
std::string format_100(const std::string& pixel_bytes, const std::string& overflows, const std::string& more = "") {
  return header(more + record("FORMAT", "100") + record("NPIXELB", pixel_bytes) + record("NOVERFL", overflows) +
                record("NEXP", "1 0 64 0 1") + record("NROWS", "2 1") + record("NCOLS", "2 1"));
}

frames::Frame load(const std::string& file, const frames::LoadOptions& options = {}) {
  return frames::load_saint(test::bytes_of(file), options);
}

TEST(SaintFrame, WordsAreCounts) {
  const auto frame = load(format_86("2", "0") + test::from_bytes({1, 2, 0, 0, 0xFE, 0xFF, 9, 0}));
  EXPECT_EQ(frame.format, frames::Format::kSaint);
  EXPECT_EQ(frame.width, 2);
  EXPECT_EQ(frame.height, 2);
  EXPECT_EQ(frame.counts, (Counts{0x0201, 0, 0xFFFE, 9}));
  EXPECT_FALSE(frame.is_signed);
  EXPECT_TRUE(frame.mask.empty());
  EXPECT_TRUE(frame.notes.empty());
}

TEST(SaintFrame, ColumnsAreTheWidth) {
  const auto frame = load(header(record("NPIXELB", "1") + record("NROWS", "1") + record("NCOLS", "3")) + "abc");
  EXPECT_EQ(frame.width, 3);
  EXPECT_EQ(frame.height, 1);
  EXPECT_EQ(frame.counts, (Counts{'a', 'b', 'c'}));
}

TEST(SaintFrame, WordOrderIsFollowed) {
  const auto frame =
      load(header(record("WORDORD", "1") + record("NPIXELB", "2") + record("NROWS", "1") + record("NCOLS", "2")) +
           test::from_bytes({1, 2, 3, 4}));
  EXPECT_EQ(frame.counts, (Counts{0x0102, 0x0304}));
}

TEST(SaintFrame, HeaderHasTheBlocksTold) {
  const std::string records =
      record("HDRBLKS", "   2") + record("NPIXELB", "1") + record("NROWS", "1") + record("NCOLS", "2");
  EXPECT_EQ(load(header(records, 1024) + test::from_bytes({3, 4})).counts, (Counts{3, 4}));
}

TEST(SaintFrame, TextTableHoldsTheOverflows) {
  const std::string file = format_86("1", "  2") + test::from_bytes({1, 255, 3, 255}) +  //
                           "   100000" + "      1" + "      256" + "      3";
  const auto frame = load(file);
  EXPECT_EQ(frame.counts, (Counts{1, 100000, 3, 256}));
  EXPECT_TRUE(frame.mask.empty());
}

TEST(SaintFrame, TextTableServesWordsToo) {
  const std::string file =
      format_86("2", "1") + test::from_bytes({0xFF, 0xFF, 1, 0, 2, 0, 255, 0}) + "    70000      0";
  EXPECT_EQ(load(file).counts, (Counts{70000, 1, 2, 255}));
}

TEST(SaintFrame, OverflowsMissingInTheTableAreUnknown) {
  const auto bytes = load(format_86("1", "0") + test::from_bytes({255, 1, 2, 3}));
  EXPECT_EQ(bytes.mask, test::unknown({true, false, false, false}));
  const auto words = load(format_86("2", "0") + test::from_bytes({1, 0, 2, 0, 0xFF, 0xFF, 255, 0}));
  EXPECT_EQ(words.mask, test::unknown({false, false, true, false}));
}

TEST(SaintFrame, DamagedTextTablesAreDamage) {
  const std::string pixels = test::from_bytes({255, 1, 2, 3});
  frames::LoadOptions force;
  force.force = true;
  for (const char* entry : {"      300      4", "      300     -1", "      3xx    abc", "     -300      0",
                            "     9e99      0", "      300      "}) {
    const std::string file = format_86("1", "1") + pixels + entry;
    EXPECT_NE(test::load_error(frames::load_saint, file), "") << entry;
    const auto frame = load(file, force);
    EXPECT_EQ(frame.mask, test::unknown({true, false, false, false})) << entry;
    EXPECT_EQ(frame.notes.size(), 1U) << entry;
  }
  EXPECT_EQ(load(format_86("1", "2") + pixels + "      300      4" + "      300      5", force).notes.size(), 1U);
}

TEST(SaintFrame, BinaryTablesHoldTheOverflows) {
  // Two overflows of a byte, one of which overflows two bytes too; tables are filled up to 16 bytes.
  const std::string file = format_100("1 1", "-1 2 1") + test::from_bytes({255, 0, 255, 254}) +
                           test::padded(test::from_bytes({0x2C, 0x01, 0xFF, 0xFF}), 16, '\0') +
                           test::padded(test::from_bytes({0xA0, 0x86, 0x01, 0x00}), 16, '\0');
  const auto frame = load(file);
  EXPECT_EQ(frame.counts, (Counts{300, 0, 100000, 254}));
  EXPECT_TRUE(frame.mask.empty());
}

TEST(SaintFrame, BinaryTablesFollowTheirByteOrders) {
  const std::string file = format_100("1 1", "-1 2 1", record("WORDORD", "1") + record("LONGORD", "1")) +
                           test::from_bytes({255, 0, 255, 254}) +
                           test::padded(test::from_bytes({0x01, 0x2C, 0xFF, 0xFF}), 16, '\0') +
                           test::padded(test::from_bytes({0x00, 0x01, 0x86, 0xA0}), 16, '\0');
  EXPECT_EQ(load(file).counts, (Counts{300, 0, 100000, 254}));
}

TEST(SaintFrame, BaselineIsAddedToAllButUnderflows) {
  const std::string file = format_100("1 1", "1 1 0") + test::from_bytes({0, 5, 255, 1}) +
                           test::padded(test::from_bytes({60}), 16, '\0') +
                           test::padded(test::from_bytes({0x2C, 0x01}), 16, '\0');
  EXPECT_EQ(load(file).counts, (Counts{60, 69, 364, 65}));
}

TEST(SaintFrame, CountsThatABaselineTakesBeyondNumbersAreUnknown) {
  const auto below = load(format_100("1 1", "0 0 0", record("NEXP", "1 0 -3 0 1")) + test::from_bytes({1, 2, 3, 4}));
  EXPECT_EQ(below.mask, test::unknown({true, true, false, false}));
  EXPECT_EQ(below.counts[2], 0U);
  EXPECT_EQ(below.counts[3], 1U);
  const auto above = load(format_100("2 1", "0 0 2") + test::from_bytes({0xFF, 0xFF, 0xFF, 0xFF, 3, 0, 4, 0}) +
                          test::padded(test::from_bytes({0xC0, 0xFF, 0xFF, 0xFF, 0xBF, 0xFF, 0xFF, 0xFF}), 16, '\0'));
  EXPECT_EQ(above.mask, test::unknown({true, false, false, false}));
  EXPECT_EQ(above.counts[1], 0xFFFFFFFF);
}

TEST(SaintFrame, UnderflowsMayHaveTwoBytes) {
  const std::string file = format_100("2 2", "2 0 1") + test::from_bytes({0, 0, 5, 0, 0xFF, 0xFF, 0, 0}) +
                           test::padded(test::from_bytes({60, 0, 61, 0}), 16, '\0') +
                           test::padded(test::from_bytes({0, 0, 1, 0}), 16, '\0');
  EXPECT_EQ(load(file).counts, (Counts{60, 69, 0x10000 + 64, 61}));
}

TEST(SaintFrame, BinaryTablesMayBeEmpty) {
  EXPECT_EQ(load(format_100("1 1", "0 0 0") + test::from_bytes({1, 2, 3, 4})).counts, (Counts{65, 66, 67, 68}));
  EXPECT_EQ(load(format_100("1 1", "-1 0 0") + test::from_bytes({1, 2, 3, 4})).counts, (Counts{1, 2, 3, 4}));
}

TEST(SaintFrame, CutBinaryTablesAreDamage) {
  const std::string file =
      format_100("1 1", "-1 2 0") + test::from_bytes({255, 0, 255, 254}) + test::from_bytes({0x2C, 0x01, 0x2D});
  EXPECT_NE(test::load_error(frames::load_saint, file).find("is truncated"), std::string::npos);
  frames::LoadOptions force;
  force.force = true;
  const auto frame = load(file, force);
  EXPECT_EQ(frame.counts[0], 300U);
  EXPECT_EQ(frame.mask, test::unknown({false, false, true, false}));
}

TEST(SaintFrame, EveryCutIsDamage) {
  const std::string file = format_86("1", "1") + test::from_bytes({255, 1, 2, 3}) + "      300      0";
  EXPECT_EQ(test::load_error(frames::load_saint, file), "");
  for (std::size_t length = 0; length < file.size(); length += length < 7600 ? 40 : 1) {
    EXPECT_NE(test::load_error(frames::load_saint, file.substr(0, length)), "") << length;
  }
}

TEST(SaintFrame, HeaderValuesAreTaken) {
  const auto head =
      load(header(record("NPIXELB", "1") + record("NROWS", "2") + record("NCOLS", "2") +
                  record("WAVELEN", "0.71073 0.70930 0.71359") + record("DISTANC", "5.25") + record("START", "-31.5") +
                  record("INCREME", "-0.3") + record("ELAPSDR", "20.0 20.0") + record("CENTER", "1.25 0.75") +
                  record("CREATED", "10-JAN-2003  12:34:56") + record("DETTYPE", "CCD-PXL")) +
           "abcd")
          .header;
  EXPECT_EQ(head.wavelength, 0.71073);
  EXPECT_EQ(head.distance, 52.5);
  EXPECT_EQ(head.oscillation_start, -31.5);
  EXPECT_EQ(head.oscillation_range, -0.3);
  EXPECT_EQ(head.exposure_time, 20.0);
  ASSERT_TRUE(head.beam_centre);
  EXPECT_EQ(head.beam_centre->x, 1.25);
  EXPECT_EQ(head.beam_centre->y, 0.75);
  EXPECT_EQ(head.date, "10-JAN-2003  12:34:56");
  EXPECT_EQ(head.detector, "CCD-PXL");
}

TEST(SaintFrame, LinearScaleIsToldAndNotApplied) {
  const std::string records = record("NPIXELB", "1") + record("NROWS", "1") + record("NCOLS", "1");
  EXPECT_TRUE(load(header(records + record("LINEAR", "1.0 0.0")) + "a").notes.empty());
  const auto frame = load(header(records + record("LINEAR", "0.5 0.0")) + "a");
  EXPECT_EQ(frame.counts, Counts{'a'});
  EXPECT_EQ(frame.notes.size(), 1U);
}

TEST(SaintFrame, HeadersThatCannotBeAreRefused) {
  EXPECT_NE(test::load_error(frames::load_saint, format_86("3", "0") + std::string(16, '\0')), "");
  EXPECT_NE(test::load_error(frames::load_saint, format_100("1 3", "1 0 0") + std::string(64, '\0')), "");
  EXPECT_NE(test::load_error(frames::load_saint, format_100("1 -1", "1 0 0") + std::string(64, '\0')), "");
  EXPECT_NE(test::load_error(frames::load_saint, header(record("NROWS", "2")) + "ab"), "");
  EXPECT_NE(test::load_error(frames::load_saint, header(record("NROWS", "-2") + record("NCOLS", "2")) + "ab"), "");
}

TEST(SaintFrame, IsKnownByItsRecords) {
  EXPECT_TRUE(frames::is_saint(test::bytes_of(format_86("1", "0"))));
  EXPECT_TRUE(frames::is_saint(test::bytes_of(format_100("1 1", "0 0 0"))));
  EXPECT_FALSE(frames::is_saint(test::bytes_of("NROWS  :2 NCOLS  :2")));
  EXPECT_FALSE(frames::is_saint(test::bytes_of("{\nHEADER_BYTES=512;\n}")));
  EXPECT_FALSE(frames::is_saint({}));
}

}  // namespace
