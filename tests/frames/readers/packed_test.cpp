#include <algorithm>

#include "tests/frames/load_bytes.h"
#include "tests/pack/naive_pack.h"

namespace {

using frames::Frame;
using frames::load_packed;
using test::bytes_of;
using test::Counts;

// 3 x 2 pixels, each but the last a difference of 32 bits from its left neighbour; the last one is predicted from four.
std::string small_stream() {
  naive::BitStream bits;
  bits.chunk(2, 7, {40000, 25535, -65535, 300});  // 40000, 65535, 0, 300
  bits.chunk(0, 7, {-293});                       // (300 + 0 - 1 - 25536 + 2) / 4 = -6308 (truncated), less 293
  bits.chunk(0, 7, {7});
  return bits.bytes();
}

std::string file_of(const std::string& front) {
  return front + "\nCCP4 packed image, X: 0003, Y: 0002\n" + small_stream();
}

// Row 2: pixel 3 is at its begin; pixel 4 = (300 + 0 + -1 + -25536 + 2) / 4 - 293 = -6308 - 293 = -6601, unsigned
// 58935; pixel 5 = (-6601 + 300 + 0 - 1 + 2) / 4 + 7 = -1575 + 7 = -1568, unsigned 63968.
const Counts kSmall{40000, 65535, 0, 300, 58935, 63968};

TEST(PackedFrame, CountsAreUnsignedWhereverTheHeaderLineStands) {
  const std::string header = test::number_bytes(3, 4, false) + test::number_bytes(2, 4, false) + std::string(2392, ' ');
  const std::string long_line(9000, 'x');
  for (const std::string& front : {std::string(), header, long_line, std::string("a\nCCP4 packed imag\n\n")}) {
    const std::string file = file_of(front);
    ASSERT_TRUE(frames::is_packed(bytes_of(file)));
    const Frame frame = load_packed(bytes_of(file), {});
    EXPECT_EQ(frame.format, frames::Format::kPacked);
    EXPECT_EQ(frame.width, 3);
    EXPECT_EQ(frame.height, 2);
    EXPECT_EQ(frame.counts, kSmall);
    EXPECT_TRUE(frame.notes.empty());
    EXPECT_TRUE(frame.mask.empty());
    EXPECT_FALSE(frame.is_signed);
  }
}

TEST(PackedFrame, HeaderLineMayComeFirstInTheFile) {
  const std::string file = file_of("").substr(1);
  ASSERT_TRUE(frames::is_packed(bytes_of(file)));
  EXPECT_EQ(load_packed(bytes_of(file), {}).counts, kSmall);
}

TEST(PackedFrame, AnySizeIsTaken) {
  naive::Random random(1);
  for (const auto& [width, height] : {std::pair{2, 2}, {1300, 3}, {3, 1300}, {12000, 2}}) {
    const naive::Pixels image = naive::random_image(random, width, height);
    const std::string file = naive::pack(image, width, height);
    const Frame frame = load_packed(bytes_of(file), {});
    EXPECT_EQ(frame.width, width);
    EXPECT_EQ(frame.height, height);
    Counts expected;
    for (const short pixel : image) expected.push_back(static_cast<std::uint16_t>(pixel));
    EXPECT_EQ(frame.counts, expected);
  }
}

TEST(PackedFrame, LinesThatAreNoHeaderLineAreSkipped) {
  EXPECT_EQ(
      load_packed(bytes_of(file_of("CCP4 packed image, X: 0003, Z: 1\nCCP4 packed image, X: 0, Y: 2")), {}).counts,
      kSmall);
  for (const char* line : {"", "\n", "\nCCP4 packed image, X: 0003, Y: 0002", "\nCCP4 packed image, X: -3, Y: 2\n",
                           "\nxCCP4 packed image, X: 0003, Y: 0002\n", "\nCCP4 packed image, X: 99999, Y: 99999\n"}) {
    const std::string file(line);
    EXPECT_FALSE(frames::is_packed(bytes_of(file))) << line;
    EXPECT_EQ(test::load_error([&] { load_packed(bytes_of(file), {}); }),
              "is truncated or damaged: it holds no packed image");
  }
}

TEST(PackedFrame, DataThatEndEarlyAreDamage) {
  const std::string whole = file_of("");
  const std::size_t stream = small_stream().size();
  for (std::size_t missing = 1; missing <= stream; ++missing) {
    const std::string cut = whole.substr(0, whole.size() - missing);
    EXPECT_EQ(test::load_error([&] { load_packed(bytes_of(cut), {}); }), "is truncated: the packed image ends early");
  }
  const std::string cut = whole.substr(0, whole.size() - 4);
  const Frame frame = load_packed(bytes_of(cut), test::forced());
  EXPECT_EQ(frame.notes, std::vector<std::string>{"is truncated: the packed image ends early"});
  EXPECT_EQ(Counts(frame.counts.begin(), frame.counts.begin() + 5), Counts(kSmall.begin(), kSmall.begin() + 5));
}

TEST(PackedFrame, RowsBehindTheEndOfDataAreZero) {
  const std::string whole = naive::pack(naive::filled(200, 300, 9), 200, 300);
  // No difference but the first one is above 0: each chunk of six bits holds 128 pixels.
  const std::string cut = whole.substr(0, whole.size() / 2);
  const Frame frame = load_packed(bytes_of(cut), test::forced());
  ASSERT_EQ(frame.counts.size(), 60000U);
  EXPECT_TRUE(std::all_of(frame.counts.begin(), frame.counts.begin() + 20000, [](auto count) { return count == 9; }));
  EXPECT_TRUE(std::all_of(frame.counts.begin() + 50000, frame.counts.end(), [](auto count) { return count == 0; }));
}

}  // namespace
