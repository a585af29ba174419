#include "support/pixels.h"

#include <vector>

#include "tests/environment.h"

namespace {

using Pixels = std::vector<unsigned int>;

Pixels widened(std::size_t count, std::FILE* stream) {
  Pixels image(count);
  xrd::read_widened(image, stream);
  return image;
}

Pixels widened(std::size_t count, std::string_view bytes) {
  return widened(count, test::stream_of(bytes).get());
}

}  // namespace

TEST(Pixels, SamplesAreLittleEndianAndExtendedByZeros) {
  EXPECT_EQ(widened(3, {"\x34\x12\xFF\xFF\x00\x80", 6}), (Pixels{0x1234, 0xFFFF, 0x8000}));
}

TEST(Pixels, MissingSamplesAreZero) {
  EXPECT_EQ(widened(3, {"\x34\x12", 2}), (Pixels{0x1234, 0, 0}));
  EXPECT_EQ(widened(3, ""), (Pixels{0, 0, 0}));
}

TEST(Pixels, ALoneLastByteIsTheLowOne) {
  EXPECT_EQ(widened(3, "\x34\x12\xAB"), (Pixels{0x1234, 0xAB, 0}));
  EXPECT_EQ(widened(1, "\xAB"), (Pixels{0xAB}));
}

TEST(Pixels, BytesBehindTheImageStayInTheStream) {
  const test::Stream stream = test::stream_of("\x34\x12\x78\x56rest");
  EXPECT_EQ(widened(2, stream.get()), (Pixels{0x1234, 0x5678}));
  EXPECT_EQ(std::ftell(stream.get()), 4);
}

TEST(Pixels, AnEmptyImageReadsNothing) {
  const test::Stream stream = test::stream_of("rest");
  EXPECT_EQ(widened(0, stream.get()), Pixels{});
  EXPECT_EQ(std::ftell(stream.get()), 0);
}

TEST(Pixels, PipesAreReadToTheEnd) {
  const test::Stream pipe = test::pipe_of("\x34\x12\x78\x56\x9A");
  EXPECT_EQ(widened(4, pipe.get()), (Pixels{0x1234, 0x5678, 0x9A, 0}));
}

TEST(Pixels, NoSampleIsOverwrittenBeforeItIsTaken) {
  for (std::size_t count = 1; count <= 70; ++count) {
    std::string bytes;
    Pixels expected;
    for (std::size_t i = 0; i < count; ++i) {
      const auto sample = static_cast<unsigned>(i * 7919 + 40000) & 0xFFFF;
      bytes += test::little16(sample);
      expected.push_back(sample);
    }
    EXPECT_EQ(widened(count, bytes), expected);
  }
}
