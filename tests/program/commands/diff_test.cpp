#include "tests/program/program.h"

namespace {

using test::little16;
using test::little32;
using test::Result;

class Diff : public testing::Test {
 protected:
  Diff() {
    place_.write("a.raw", little16(1) + little16(2) + little16(3) + little16(4) + little16(5) + little16(6));
    place_.write("b.raw", little16(1) + little16(2) + little16(13) + little16(4) + little16(65535) + little16(5));
  }
  test::Workplace place_;
};

TEST_F(Diff, TellsHowManyDifferAndWhereMost) {
  const Result result = place_.xrdimage("diff a.raw b.raw --size 3x2");
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(result.out,
            "pixels differing: 3 of 6 (50 %)\n"
            "largest:          65530 counts: 5 and 65535\n"
            "at:               column 1, row 1\n");
}

TEST_F(Diff, SameCountsAreSaid) {
  const Result result = place_.xrdimage("diff a.raw a.raw --size 3x2");
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out, "the counts are the same: 3 x 2 pixels\n");
}

TEST_F(Diff, FormatsDoNotMatter) {
  ASSERT_EQ(place_.xrdimage("convert a.raw --size 3x2 -o a.edf").status, 0);
  EXPECT_EQ(place_.xrdimage("diff a.raw a.edf --size 3x2").status, 0);
}

TEST_F(Diff, SizesMustBeTheSame) {
  place_.write("c.mar2300", test::small_mar345());
  const Result result = place_.xrdimage("diff a.raw c.mar2300 --size 3x2");
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.out, "sizes differ:     3 x 2 and 2 x 2 pixels\n");
}

TEST_F(Diff, UnknownCountsDifferFromKnownOnes) {
  std::string bytes = test::small_mar345();
  place_.write("known.mar2300", bytes);
  bytes.replace(4100, 4, little32(0xFFFFFFFF));  // the value of the first record
  place_.write("unknown.mar2300", bytes);
  EXPECT_EQ(place_.xrdimage("diff unknown.mar2300 unknown.mar2300").status, 0);
  const Result result = place_.xrdimage("diff known.mar2300 unknown.mar2300");
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.out, "pixels differing: 1 of 4 (25 %)\nunknown in one:   1\n");
}

TEST_F(Diff, SignedCountsAreCompared) {
  const std::string header = "{\nDim_1 = 1 ;\nDim_2 = 1 ;\nDataType = SignedInteger ;\n}\n";
  place_.write("a.edf", header + little32(0xFFFFFFFF));
  place_.write("b.edf", header + little32(0x7FFFFFFF));
  EXPECT_NE(place_.xrdimage("diff a.edf b.edf").out.find("2147483648 counts: -1 and 2147483647\n"), std::string::npos);
}

TEST_F(Diff, TroubleIsStatusTwo) {
  const Result result = place_.xrdimage("diff a.raw missing --size 3x2");
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err, "xrdimage: missing: No such file or directory\n");
  EXPECT_EQ(place_.xrdimage("diff a.raw").status, 2);
  EXPECT_EQ(place_.run("exec \"$xrdimage\" diff a.raw a.raw --size 3x2 >/dev/full").status, 2);
  EXPECT_EQ(place_.xrdimage("diff a.raw b.raw c.raw").status, 2);
}

}  // namespace
