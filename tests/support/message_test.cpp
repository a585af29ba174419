#include "support/message.h"

#include "tests/environment.h"

TEST(Message, WordsAreInBoldRed) {
  EXPECT_STREQ(XRD_RED_ERROR, "\x1B[31;1mERROR\x1B[0m");
  EXPECT_STREQ(XRD_RED_WARNING, "\x1B[31;1mWARNING\x1B[0m");
}

TEST(Message, KibibytesAreTruncated) {
  EXPECT_EQ(xrd::kibibytes(0), 0U);
  EXPECT_EQ(xrd::kibibytes(1023), 0U);
  EXPECT_EQ(xrd::kibibytes(1024), 1U);
  EXPECT_EQ(xrd::kibibytes(5760000), 5625U);
  EXPECT_EQ(xrd::kibibytes(std::size_t{3} << 30), 3145728U);  // above 2^31: not taken for negative
}

TEST(Message, AllocatedSizeIsToldInLatin1) {
  const auto daten = test::capture([] { xrd::print_allocated(5760000); });
  EXPECT_EQ(daten.out, "# 5625 kB f\xFCr Daten bereitgestellt\n");
  EXPECT_EQ(daten.err, "");
  const auto other = test::capture([] { xrd::print_allocated(2047, "Daten_ushort"); });
  EXPECT_EQ(other.out, "# 1 kB f\xFCr Daten_ushort bereitgestellt\n");
}
