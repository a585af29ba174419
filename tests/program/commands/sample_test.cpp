#include <algorithm>

#include "frames/synthetic_frame.h"
#include "tests/program/program.h"
#include "xrdimage.h"

namespace {

using test::Result;
using Names = std::vector<std::string>;

TEST(Sample, WritesAFrameThatTheLibraryReadsExactly) {
  const test::Workplace place;
  const Result result = place.xrdimage("sample --size 200 --seed 3 new.mar2300");
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");

  std::vector<unsigned> expected = frames::make_synthetic_frame(200, 3).counts;
  const auto records = std::ranges::count_if(expected, [](unsigned count) { return count > 65535; });
  std::ranges::replace_if(
      expected, [](unsigned count) { return count >= 256000; }, OVERFLOW_MARK);
  unsigned* daten = nullptr;
  int width = 0;
  int height = 0;
  ASSERT_EQ(new_read_pck("new.mar2300", &daten, &width, &height), 1);
  const auto owner = test::own(daten);
  ASSERT_EQ(width, 200);
  ASSERT_EQ(height, 200);
  EXPECT_TRUE(std::equal(expected.begin(), expected.end(), daten));
  EXPECT_EQ(result.out, "size:             200 x 200 pixels\noverflow records: " + std::to_string(records) +
                            "\nwritten:          new.mar2300\n");
}

TEST(Sample, TheSameSeedGivesTheSameBytes) {
  const test::Workplace place;
  EXPECT_EQ(place.xrdimage("sample --size 64 --seed 9 a").status, 0);
  EXPECT_EQ(place.xrdimage("sample --size 64 --seed 9 b").status, 0);
  EXPECT_EQ(place.xrdimage("sample --size 64 --seed 10 c").status, 0);
  EXPECT_EQ(test::read_file("a"), test::read_file("b"));
  EXPECT_NE(test::read_file("a"), test::read_file("c"));
}

TEST(Sample, SeedsThatAreNoneAreRefused) {
  const test::Workplace place;
  for (const std::string seed : {"-1", "-18446744073709551615", "18446744073709551616", "x", "1.5", "''"}) {
    const Result result = place.xrdimage("sample --size 64 a --seed " + seed);
    EXPECT_EQ(result.status, 2) << seed;
    EXPECT_EQ(result.err, "xrdimage: --seed: Value " + (seed == "''" ? "" : seed) +
                              " not in range 0 to 18446744073709551615 ('xrdimage --help' tells more)\n");
  }
  EXPECT_TRUE(place.files().empty());
  EXPECT_EQ(place.xrdimage("sample --size 64 a --seed 18446744073709551615").status, 0);
  EXPECT_EQ(place.xrdimage("sample --size 064 b --seed 0009").status, 0);
  EXPECT_EQ(place.xrdimage("sample --size 64 c --seed 9").status, 0);
  EXPECT_EQ(test::read_file("b"), test::read_file("c"));
}

TEST(Sample, IsOfFullSizeByDefault) {
  const test::Workplace place;
  const Result result = place.xrdimage("sample new.mar2300");
  EXPECT_EQ(result.status, 0);
  EXPECT_TRUE(result.out.starts_with("size:             2300 x 2300 pixels\n")) << result.out;
  EXPECT_EQ(test::read_file("new.mar2300").substr(0, 8), test::little32(1234) + test::little32(2300));
}

TEST(Sample, ReplacesAFileOnlyWhenTold) {
  const test::Workplace place;
  place.write("new.mar2300", "a frame");
  const Result result = place.xrdimage("sample --size 64 new.mar2300");
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "xrdimage: new.mar2300: already exists; replace it with --overwrite\n");
  EXPECT_EQ(test::read_file("new.mar2300"), "a frame");
  EXPECT_EQ(place.xrdimage("sample --size 64 --overwrite new.mar2300").status, 0);
  EXPECT_NE(test::read_file("new.mar2300"), "a frame");
}

TEST(Sample, ImpossibleSizesAreRefused) {
  const test::Workplace place;
  for (const char* size : {"63", "4097", "-5", "big"}) {
    const Result result = place.xrdimage(std::string("sample new.mar2300 --size ") + size);
    EXPECT_EQ(result.status, 2) << size;
    EXPECT_TRUE(result.err.starts_with("xrdimage: ")) << result.err;
  }
  EXPECT_EQ(place.files(), Names{});
}

TEST(Sample, AFullDiskLeavesNothing) {
  const test::Workplace place;
  const Result result = place.run("ulimit -f 16; exec \"$xrdimage\" sample --size 300 new.mar2300");
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.out, "");
  EXPECT_TRUE(result.err.starts_with("xrdimage: new.mar2300: cannot be written")) << result.err;
  EXPECT_EQ(place.files(), Names{});
}

}  // namespace
