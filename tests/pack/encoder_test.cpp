#include <array>
#include <limits>
#include <string>
#include <thread>
#include <vector>

#include "support/memory.h"
#include "tests/environment.h"
#include "tests/pack/naive_pack.h"
#include "xrdimage.h"

namespace {

using naive::Differences;
using naive::Pixels;

std::string contents(std::FILE* stream) {
  std::rewind(stream);
  std::string bytes;
  std::array<char, 4096> block{};
  while (const std::size_t size = std::fread(block.data(), 1, block.size(), stream)) bytes.append(block.data(), size);
  return bytes;
}

std::string packed(const Pixels& image, int x, int y) {
  Pixels copy = image;
  const auto stream = test::stream_of("");
  pack_wordimage_c(copy.data(), x, y, stream.get());
  EXPECT_EQ(copy, image);
  return contents(stream.get());
}

Pixels unpacked(const std::string& bit_stream, int x, int y) {
  Pixels image = naive::filled(x, y, 77);
  const auto stream = test::stream_of(bit_stream);
  unpack_word(stream.get(), x, y, image.data());
  return image;
}

// Equal bytes, to the last one; and the image comes back where its width allows.
void expect_packed(const Pixels& image, int x, int y) {
  const std::string bytes = packed(image, x, y);
  ASSERT_EQ(bytes, naive::pack(image, x, y)) << x << " x " << y;
  if (x < 2) return;
  ASSERT_EQ(unpacked(bytes.substr(naive::header_line(x, y).size()), x, y), image) << x << " x " << y;
}

std::string bytes_of(std::initializer_list<int> values) {
  std::string bytes;
  for (const int value : values) bytes.push_back(static_cast<char>(value));
  return bytes;
}

}  // namespace

// --- pack_wordimage_c ----------------------------------------------------------------------------------------------

TEST(PackWordimage, HeaderLineHasFourDigitsAtLeast) {
  EXPECT_EQ(packed({0}, 1, 1).substr(0, 37), "\nCCP4 packed image, X: 0001, Y: 0001\n");
  EXPECT_EQ(packed(naive::filled(10001, 2), 10001, 2).substr(0, 38), "\nCCP4 packed image, X: 10001, Y: 0002\n");
}

TEST(PackWordimage, SinglePixelIsOneChunk) {
  // Count code 0, size code 0: six bits.
  EXPECT_EQ(packed({0}, 1, 1).substr(37), bytes_of({0x00}));
  // Size code 1 and the four bits of 5: 1 << 3 | (5 & 3) << 6, then 5 >> 2.
  EXPECT_EQ(packed({5}, 1, 1).substr(37), bytes_of({0x48, 0x01}));
}

TEST(PackWordimage, ZerosBehindTheFirstPixelAreChunksOf128) {
  // 528 pixels: one chunk for the first, 16 bits wide; 4 x 128 of the 527 zeros; the other 15 as 8, 4, 1, 1, 1, because
  // a chunk of n is doubled only while more than 2 n + 1 differences remain.
  naive::BitStream expected;
  expected.chunk(0, 6, {1000});
  for (int i = 0; i < 4; ++i) expected.chunk(7, 0);
  expected.chunk(3, 0).chunk(2, 0).chunk(0, 0).chunk(0, 0).chunk(0, 0);
  EXPECT_EQ(packed(naive::filled(16, 33, 1000), 16, 33).substr(37), expected.bytes());
}

TEST(PackWordimage, ChunksAreNotDoubledNearTheEnd) {
  // Four zeros: three behind the first are enough for one doubling, then there are too few. 2, 1 and 1: 18 bits.
  EXPECT_EQ(packed(Pixels(4), 2, 2).substr(37), bytes_of({0x01, 0x00, 0x00}));
}

TEST(PackWordimage, StreamEndingOnAByteBoundaryHasAnExtraByte) {
  // Five differences (the one row's extra one included) are four chunks of six bits.
  EXPECT_EQ(packed(Pixels(4), 4, 1).substr(37), bytes_of({0x01, 0x00, 0x00, 0x00}));
}

TEST(PackWordimage, OneRowHasAnExtraDifferenceOfZero) {
  // 100, 0, and the extra 0: a chunk of 1 x 8 bits, one of 1 x 0, one of 1 x 0: 14 + 6 + 6 bits.
  const std::string expected = naive::BitStream().chunk(0, 5, {100}).chunk(0, 0).chunk(0, 0).bytes();
  EXPECT_EQ(packed({100, 100}, 2, 1).substr(37), expected);
}

TEST(PackWordimage, NothingBehindTheImageIsRead) {
  for (const short behind : {short{0}, short{12345}, short{-32768}}) {
    Pixels image{3, 4, 5, behind};
    const auto stream = test::stream_of("");
    pack_wordimage_c(image.data(), 3, 1, stream.get());
    EXPECT_EQ(contents(stream.get()), naive::pack({3, 4, 5}, 3, 1));
  }
  // An array of exactly the image's size, for the address sanitizer.
  for (int width = 1; width < 70; ++width) {
    const Pixels image = naive::filled(width, 1, -width);
    expect_packed(image, width, 1);
  }
}

TEST(PackWordimage, EmptyImageIsTheHeaderLineAndAZeroByte) {
  EXPECT_EQ(packed({}, 0, 5), "\nCCP4 packed image, X: 0000, Y: 0005\n" + std::string(1, '\0'));
  EXPECT_EQ(packed({}, 5, 0), "\nCCP4 packed image, X: 0005, Y: 0000\n" + std::string(1, '\0'));
  EXPECT_EQ(packed({}, -3, 2), "\nCCP4 packed image, X: -003, Y: 0002\n" + std::string(1, '\0'));
}

TEST(PackWordimage, ExtremeDifferencesAreSixteenBitsWide) {
  // Pixel 3 is predicted as (3 * 32767 - 32768 + 2) / 4 = 16383. Fields hold the low 16 bits, as pixels wrap.
  const Pixels image{32767, -32768, 32767, -32768};
  naive::BitStream expected;
  expected.chunk(1, 6, {32767, -65535}).chunk(0, 6, {65535}).chunk(0, 6, {-49151});
  EXPECT_EQ(packed(image, 2, 2).substr(37), expected.bytes());
  EXPECT_EQ(unpacked(expected.bytes(), 2, 2), image);
}

TEST(PackWordimage, AppendsWhereTheStreamStands) {
  const auto stream = test::stream_of("");
  std::fputs("header", stream.get());
  Pixels image{0};
  pack_wordimage_c(image.data(), 1, 1, stream.get());
  std::fputs("behind", stream.get());
  EXPECT_EQ(contents(stream.get()), "header" + naive::pack({0}, 1, 1) + "behind");
}

TEST(PackWordimage, WriteErrorsAreNotReported) {
  const test::Stream full(std::fopen("/dev/full", "w"));
  ASSERT_NE(full, nullptr);
  Pixels image = naive::filled(200, 200, 3);
  const auto output = test::capture([&] { pack_wordimage_c(image.data(), 200, 200, full.get()); });
  EXPECT_EQ(output.out + output.err, "");
  // The next image is not affected.
  expect_packed({1, 2, 3, 4}, 2, 2);
}

// --- Against the naive encoder, and back ---------------------------------------------------------------------------

TEST(PackRoundTrip, EveryWidth) {
  naive::Random random(11);
  for (int width = 1; width <= 400; ++width) {
    const int height = width % 5 == 0 ? 1 : naive::random_number(random, 1, 20);
    ASSERT_NO_FATAL_FAILURE(expect_packed(naive::random_image(random, width, height), width, height));
  }
}

TEST(PackRoundTrip, SmallImagesOfEveryShape) {
  naive::Random random(12);
  for (int width = 1; width <= 12; ++width) {
    for (int height = 1; height <= 12; ++height) {
      for (int round = 0; round < 10; ++round) {
        ASSERT_NO_FATAL_FAILURE(expect_packed(naive::random_image(random, width, height), width, height));
      }
    }
  }
}

TEST(PackRoundTrip, NoiseOfEveryAmplitude) {
  naive::Random random(13);
  for (int amplitude = 1; amplitude < 32768; amplitude += 1 + amplitude / 3) {
    Pixels image = naive::filled(61, 47);
    for (short& pixel : image) pixel = static_cast<short>(naive::random_number(random, -amplitude, amplitude));
    ASSERT_NO_FATAL_FAILURE(expect_packed(image, 61, 47)) << amplitude;
  }
}

TEST(PackRoundTrip, ExtremeValues) {
  constexpr int kWidth = 37;
  constexpr int kHeight = 29;
  for (const int value : {-32768, -1, 0, 1, 32767}) {
    ASSERT_NO_FATAL_FAILURE(expect_packed(naive::filled(kWidth, kHeight, value), kWidth, kHeight));
    Pixels checkerboard = naive::filled(kWidth, kHeight);
    for (std::size_t i = 0; i < checkerboard.size(); ++i) {
      checkerboard[i] = static_cast<short>(i % 2 == 0 ? value : -1 - value);
    }
    ASSERT_NO_FATAL_FAILURE(expect_packed(checkerboard, kWidth, kHeight));
  }
}

TEST(PackRoundTrip, StretchesOf16384Differences) {
  naive::Random random(14);
  // In a single row the extra difference counts too; it is not there when a stretch ends with the last pixel.
  for (const int width : {16382, 16383, 16384, 16385, 16386, 32767, 32768, 32769}) {
    ASSERT_NO_FATAL_FAILURE(expect_packed(naive::filled(width, 1, 9), width, 1));
    ASSERT_NO_FATAL_FAILURE(expect_packed(naive::random_image(random, width, 1), width, 1));
    ASSERT_NO_FATAL_FAILURE(expect_packed(naive::random_image(random, width, 2), width, 2));
  }
  for (const auto& [width, height] :
       {std::pair(128, 128), std::pair(128, 129), std::pair(129, 127), std::pair(2, 8193)}) {
    ASSERT_NO_FATAL_FAILURE(expect_packed(naive::filled(width, height, 9), width, height));
    ASSERT_NO_FATAL_FAILURE(expect_packed(naive::random_image(random, width, height), width, height));
  }
}

TEST(PackRoundTrip, LongStreamsEndWithTheByteThatTheBufferHeld) {
  naive::Random random(15);
  int stale = 0;
  for (int height = 60; height < 140; ++height) {
    Pixels image = naive::filled(100, height);
    for (short& pixel : image) pixel = static_cast<short>(naive::random_number(random, -32768, 32767));
    ASSERT_NO_FATAL_FAILURE(expect_packed(image, 100, height));
    // Bytes that the decoder leaves: at most the one behind a full last byte.
    const std::string bytes = naive::pack_stream(image, 100, height);
    const auto stream = test::stream_of(bytes);
    Pixels decoded(image.size());
    unpack_word(stream.get(), 100, height, decoded.data());
    const auto left = bytes.size() - static_cast<std::size_t>(std::ftell(stream.get()));
    ASSERT_LE(left, 1U);
    if (left == 1 && bytes.back() != '\0') ++stale;
  }
  EXPECT_GT(stale, 0) << "the images do not show what they are for";
}

TEST(PackRoundTrip, ThroughAFile) {
  naive::Random random(16);
  const test::TemporaryDirectory directory;
  const std::string path = directory.path("image.pck");
  for (int round = 0; round < 50; ++round) {
    const int width = naive::random_number(random, 2, 300);
    const int height = naive::random_number(random, 1, 60);
    Pixels image = naive::random_image(random, width, height);
    const test::Stream stream(std::fopen(path.c_str(), "w"));
    std::fputs("header\nof two lines", stream.get());
    pack_wordimage_c(image.data(), width, height, stream.get());
    std::fflush(stream.get());
    Pixels decoded(image.size());
    readpack_word_c(decoded.data(), path.c_str());
    ASSERT_EQ(decoded, image);
  }
}

TEST(PackRoundTrip, InTwoThreadsAtOnce) {
  naive::Random random(17);
  const Pixels noise = naive::random_image(random, 251, 190);
  const Pixels smooth = naive::filled(300, 150, 42);
  const std::string expected_noise = naive::pack(noise, 251, 190);
  const std::string expected_smooth = naive::pack(smooth, 300, 150);
  int wrong_noise = 0;
  int wrong_smooth = 0;
  std::thread other([&] {
    for (int i = 0; i < 40; ++i) wrong_noise += packed(noise, 251, 190) != expected_noise ? 1 : 0;
  });
  for (int i = 0; i < 40; ++i) wrong_smooth += packed(smooth, 300, 150) != expected_smooth ? 1 : 0;
  other.join();
  EXPECT_EQ(wrong_noise, 0);
  EXPECT_EQ(wrong_smooth, 0);
}

// --- diff_words ----------------------------------------------------------------------------------------------------

namespace {

constexpr std::int32_t kUnwritten = 0x5A5A5A5A;

// The differences, from a buffer that has room for one more than may be written.
Differences diffs(Pixels image, int x, int y, std::int32_t done) {
  Differences buffer(1 + 16384 + 1, kUnwritten);
  std::int32_t* const first = buffer.data() + 1;
  const std::int32_t* const last = diff_words(image.data(), x, y, first, done);
  EXPECT_EQ(buffer.front(), kUnwritten);
  EXPECT_EQ(last[1], kUnwritten);
  return {static_cast<const std::int32_t*>(first), last + 1};
}

}  // namespace

TEST(DiffWords, FollowThePredictionOfTheDecoder) {
  // 3 x 3. Pixel 4: 9 - (7 + 3 + 20 + 10 + 2) / 4 = 9 - 10. Pixel 5: 0 - (9 + 7 + 3 + 20 + 2) / 4 = -10.
  // Pixel 6: 1 - (0 + 9 + 7 + 3 + 2) / 4 = 1 - 5. Pixel 7: 1 - (1 + 0 + 9 + 7 + 2) / 4 = -3.
  // Pixel 8: 1 - (1 + 1 + 0 + 9 + 2) / 4 = -2.
  const Pixels image{10, 20, 3, 7, 9, 0, 1, 1, 1};
  EXPECT_EQ(diffs(image, 3, 3, 0), (Differences{10, 10, -17, 4, -1, -10, -4, -3, -2}));
  EXPECT_EQ(diffs(image, 3, 3, 1), (Differences{10, -17, 4, -1, -10, -4, -3, -2}));
  EXPECT_EQ(diffs(image, 3, 3, 5), (Differences{-10, -4, -3, -2}));
  EXPECT_EQ(diffs(image, 3, 3, 8), Differences{-2});
}

TEST(DiffWords, AreNotReducedTo16Bits) {
  // The last prediction: (3 * -32768 + 32767 + 2) / 4 = -65535 / 4 = -16383.
  EXPECT_EQ(diffs({-32768, 32767, -32768, 32767}, 2, 2, 0), (Differences{-32768, 65535, -65535, 49150}));
}

TEST(DiffWords, AreTakenFromAPredictionTruncatedTowardZero) {
  // -2 - 2 - 2 - 1 + 2 = -5, a prediction of -1.
  EXPECT_EQ(diffs({-1, -2, -2, 0}, 2, 2, 3), Differences{1});
}

TEST(DiffWords, OfOneRowIncludeAnExtraZero) {
  EXPECT_EQ(diffs({5, 6, 9}, 3, 1, 0), (Differences{5, 1, 3, 0}));
  EXPECT_EQ(diffs({5, 6, 9}, 3, 1, 2), (Differences{3, 0}));
  EXPECT_EQ(diffs({5}, 1, 1, 0), Differences{5});
}

TEST(DiffWords, AreNoneBehindTheImage) {
  EXPECT_EQ(diffs({1, 2, 3, 4}, 2, 2, 4), Differences{});
  EXPECT_EQ(diffs({1, 2, 3, 4}, 2, 2, 9), Differences{});
  EXPECT_EQ(diffs({}, 0, 3, 0), Differences{});
}

TEST(DiffWords, Are16384AtTheMost) {
  naive::Random random(18);
  const Pixels image = naive::random_image(random, 150, 150);
  EXPECT_EQ(diffs(image, 150, 150, 0), naive::differences(image, 150, 150, 0));
  EXPECT_EQ(diffs(image, 150, 150, 0).size(), 16384U);
  EXPECT_EQ(diffs(image, 150, 150, 16384), naive::differences(image, 150, 150, 16384));
  EXPECT_EQ(diffs(image, 150, 150, 16384).size(), 150U * 150 - 16384);
  // Also within a first row.
  EXPECT_EQ(diffs(image, 22500, 1, 1).size(), 16384U);
  EXPECT_EQ(diffs(image, 22500, 1, 16384).size(), 22501U - 16384);
}

// --- bits ----------------------------------------------------------------------------------------------------------

TEST(Bits, OfTheLargestMagnitude) {
  const std::vector<std::pair<std::int32_t, int>> expected{
      {0, 0},    {1, 4},      {7, 4},      {8, 5},      {15, 5},     {16, 6},
      {31, 6},   {32, 7},     {63, 7},     {64, 8},     {127, 8},    {128, 16},
      {255, 16}, {32767, 16}, {32768, 16}, {65535, 16}, {65536, 32}, {std::numeric_limits<std::int32_t>::max(), 32}};
  for (const auto& [magnitude, width] : expected) {
    for (std::int32_t value : {magnitude, -magnitude}) EXPECT_EQ(bits(&value, 1), width) << value;
  }
  std::int32_t least = std::numeric_limits<std::int32_t>::min();
  EXPECT_EQ(bits(&least, 1), 32);
}

TEST(Bits, CountEveryDifference) {
  Differences chunk{0, 0, -8, 3, 0, 0, 0, 500};
  EXPECT_EQ(bits(chunk.data(), 2), 0);
  EXPECT_EQ(bits(chunk.data(), 4), 4 * 5);
  EXPECT_EQ(bits(chunk.data(), 7), 7 * 5);
  EXPECT_EQ(bits(chunk.data(), 8), 8 * 16);
  EXPECT_EQ(bits(chunk.data(), 0), 0);
  EXPECT_EQ(bits(chunk.data(), -3), 0);
}

TEST(Bits, Wrap) {
  constexpr int kCount = 1 << 26;
  const auto chunk = xrd::allocate_zeroed<std::int32_t>(kCount);
  ASSERT_TRUE(chunk);
  chunk[0] = 65536;
  EXPECT_EQ(bits(chunk.get(), kCount), std::numeric_limits<std::int32_t>::min());  // 2^26 times 32
}

// --- pack_chunk ----------------------------------------------------------------------------------------------------

namespace {

void chunk(std::FILE* stream, Differences differences, int width) {
  pack_chunk(differences.data(), static_cast<int>(differences.size()), width, stream);
}

void flush(std::FILE* stream) {
  pack_chunk(nullptr, 0, 0, stream);
}

}  // namespace

TEST(PackChunk, CodesOfCountAndWidthStandBeforeTheDifferences) {
  for (int count_code = 0; count_code <= 7; ++count_code) {
    for (std::size_t width_code = 0; width_code <= 7; ++width_code) {
      naive::Random random(static_cast<unsigned>(count_code));
      Differences differences(std::size_t{1} << count_code);
      for (auto& difference : differences) difference = static_cast<std::int32_t>(random());
      const auto stream = test::stream_of("");
      const int width = naive::kFieldWidths[width_code];
      chunk(stream.get(), differences, width);
      flush(stream.get());
      naive::BitStream expected;
      expected.chunk(static_cast<unsigned>(count_code), static_cast<unsigned>(width_code), differences);
      // Whole bytes are followed by the one that would be filled next.
      const std::string extra(expected.bit_count() % 8 == 0 ? 1 : 0, '\0');
      EXPECT_EQ(contents(stream.get()), expected.bytes() + extra) << count_code << ' ' << width;
    }
  }
}

TEST(PackChunk, FollowsTheOneBeforeWithoutAGap) {
  const auto stream = test::stream_of("");
  chunk(stream.get(), {1, -1}, 4);
  chunk(stream.get(), {300}, 16);
  chunk(stream.get(), {0, 0, 0, 0}, 0);
  flush(stream.get());
  EXPECT_EQ(contents(stream.get()), naive::BitStream().chunk(1, 1, {1, -1}).chunk(0, 6, {300}).chunk(2, 0).bytes());
}

TEST(PackChunk, FlushBeginsAfresh) {
  const auto stream = test::stream_of("");
  for (int round = 0; round < 2; ++round) {
    chunk(stream.get(), {5}, 4);
    flush(stream.get());
  }
  EXPECT_EQ(contents(stream.get()), bytes_of({0x48, 0x01, 0x48, 0x01}));
}

TEST(PackChunk, FlushWithoutAChunkIsOneZeroByte) {
  const auto stream = test::stream_of("");
  flush(stream.get());
  EXPECT_EQ(contents(stream.get()), bytes_of({0x00}));
}

TEST(PackChunk, BufferOf7672FullBytesIsNotWrittenYet) {
  const auto stream = test::stream_of("");
  // 14 x 4102 + 2054 + 1030 + 518 + 262 + 2 x 38 + 2 x 6 = 61380 bits, 7672 bytes and a half.
  std::vector<std::size_t> counts(14, 128);
  counts.insert(counts.end(), {64, 32, 16, 8, 1, 1});
  for (const std::size_t count : counts) chunk(stream.get(), Differences(count, 1), 32);
  chunk(stream.get(), {0}, 0);
  chunk(stream.get(), {0}, 0);
  chunk(stream.get(), {0}, 0);
  EXPECT_EQ(std::ftell(stream.get()), 0);
  // With the third chunk of six bits the buffer has 7673.
  chunk(stream.get(), {0}, 0);
  EXPECT_EQ(std::ftell(stream.get()), 7673);
  flush(stream.get());
}

TEST(PackChunk, BufferIsWrittenAsTheNaiveOneIs) {
  naive::Random random(19);
  const auto stream = test::stream_of("");
  naive::ChunkBuffer naive_buffer;
  for (int i = 0; i < 400; ++i) {
    Differences differences(std::size_t{1} << naive::random_number(random, 5, 7));
    for (auto& difference : differences) difference = static_cast<std::int32_t>(random());
    const int width = naive::kFieldWidths[static_cast<std::size_t>(naive::random_number(random, 1, 7))];
    chunk(stream.get(), differences, width);
    naive_buffer.chunk(differences.data(), static_cast<int>(differences.size()), width);
    ASSERT_EQ(std::ftell(stream.get()), static_cast<long>(naive_buffer.written().size())) << i;
  }
  flush(stream.get());
  naive_buffer.flush();
  EXPECT_EQ(contents(stream.get()), naive_buffer.written());
}

TEST(PackChunk, ImpossibleNumbersAppendNothing) {
  const auto stream = test::stream_of("");
  Differences differences(300, 1);
  chunk(stream.get(), {5}, 4);
  for (const auto& [count, width] : {std::pair(0, 4), std::pair(-1, 4), std::pair(129, 4), std::pair(256, 0),
                                     std::pair(1, -1), std::pair(1, 33), std::pair(128, 64)}) {
    pack_chunk(differences.data(), count, width, stream.get());
  }
  flush(stream.get());
  EXPECT_EQ(contents(stream.get()), bytes_of({0x48, 0x01}));
}

TEST(PackChunk, BufferBelongsToTheThread) {
  const auto stream = test::stream_of("");
  const auto other_stream = test::stream_of("");
  chunk(stream.get(), {5}, 4);
  std::thread([&] {
    flush(other_stream.get());
    chunk(other_stream.get(), {0}, 0);
    flush(other_stream.get());
  }).join();
  flush(stream.get());
  EXPECT_EQ(contents(stream.get()), bytes_of({0x48, 0x01}));
  EXPECT_EQ(contents(other_stream.get()), bytes_of({0x00, 0x00}));
}

TEST(PackChunk, ImagesPackedMeanwhileDoNotDisturbIt) {
  const auto stream = test::stream_of("");
  chunk(stream.get(), {5}, 4);
  expect_packed({1, 2, 3, 4}, 2, 2);
  chunk(stream.get(), {-1}, 5);
  flush(stream.get());
  EXPECT_EQ(contents(stream.get()), naive::BitStream().chunk(0, 1, {5}).chunk(0, 2, {-1}).bytes());
}

// --- pack_longs ----------------------------------------------------------------------------------------------------

namespace {

struct Longs {
  std::vector<unsigned char> bytes;
  std::ptrdiff_t position;
  int bit;
};

// Appends to bytes that hold `stale` before.
Longs longs(Differences values, int bit, int size, unsigned char stale, int count) {
  Longs result{std::vector<unsigned char>(64, stale), 0, bit};
  unsigned char* target = result.bytes.data();
  pack_longs(values.data(), count, &target, &result.bit, size);
  result.position = target - result.bytes.data();
  return result;
}

Longs longs(const Differences& values, int bit, int size, unsigned char stale) {
  return longs(values, bit, size, stale, static_cast<int>(values.size()));
}

}  // namespace

TEST(PackLongs, LowestBitsComeFirst) {
  const Longs at_start = longs({0x1234}, 0, 16, 0);
  EXPECT_EQ(at_start.bytes[0], 0x34);
  EXPECT_EQ(at_start.bytes[1], 0x12);
  EXPECT_EQ(at_start.position, 2);
  EXPECT_EQ(at_start.bit, 0);
  // Three bits further on: 0x1234 << 3 = 0x91A0.
  const Longs shifted = longs({0x1234}, 3, 16, 0);
  EXPECT_EQ(shifted.bytes[0], 0xA0);
  EXPECT_EQ(shifted.bytes[1], 0x91);
  EXPECT_EQ(shifted.bytes[2], 0x00);
  EXPECT_EQ(shifted.position, 2);
  EXPECT_EQ(shifted.bit, 3);
}

TEST(PackLongs, OnlyTheLowBitsOfAValueCount) {
  const Longs packed_values = longs({-1, 0, -1}, 0, 3, 0);
  EXPECT_EQ(packed_values.bytes[0], 0b11000111);
  EXPECT_EQ(packed_values.bytes[1], 0b1);
  EXPECT_EQ(packed_values.position, 1);
  EXPECT_EQ(packed_values.bit, 1);
}

TEST(PackLongs, EverySizeAtEveryBitOverStaleBytes) {
  naive::Random random(20);
  for (int size = 1; size <= 32; ++size) {
    for (int bit = 0; bit <= 7; ++bit) {
      for (const unsigned char stale : std::array<unsigned char, 3>{0x00, 0xFF, 0xA5}) {
        Differences values(static_cast<std::size_t>(naive::random_number(random, 1, 12)));
        for (auto& value : values) value = static_cast<std::int32_t>(random());
        const Longs actual = longs(values, bit, size, stale);
        std::vector<unsigned char> expected(64, stale);
        naive::BitPosition at{expected.data(), bit};
        for (const std::int32_t value : values) at = naive::append(at, static_cast<std::uint32_t>(value), size);
        ASSERT_EQ(actual.bytes, expected) << size << ' ' << bit;
        ASSERT_EQ(actual.position, at.byte - expected.data()) << size << ' ' << bit;
        ASSERT_EQ(actual.bit, at.bit) << size << ' ' << bit;
      }
    }
  }
}

TEST(PackLongs, BytesAreOverwrittenWhenTheirFirstBitIs) {
  // Two whole bytes and three bits: the third byte is new as a whole, the fourth keeps what it held.
  const Longs packed_values = longs({0x50000}, 0, 19, 0xFF);
  EXPECT_EQ(packed_values.bytes[0], 0x00);
  EXPECT_EQ(packed_values.bytes[1], 0x00);
  EXPECT_EQ(packed_values.bytes[2], 0x05);
  EXPECT_EQ(packed_values.bytes[3], 0xFF);
  // A field that ends with its byte leaves the next one alone.
  const Longs whole = longs({0}, 0, 16, 0xFF);
  EXPECT_EQ(whole.bytes[1], 0x00);
  EXPECT_EQ(whole.bytes[2], 0xFF);
}

TEST(PackLongs, ImpossibleNumbersDoNothing) {
  struct Arguments {
    int bit;
    int size;
    int count;
  };
  for (const auto& [bit, size, count] :
       {Arguments{3, 0, 2}, Arguments{3, -1, 2}, Arguments{3, 33, 2}, Arguments{-1, 4, 2}, Arguments{8, 4, 2},
        Arguments{3, 4, 0}, Arguments{3, 4, -1}}) {
    const Longs nothing = longs({-1, -1}, bit, size, 0x11, count);
    EXPECT_EQ(nothing.bytes, std::vector<unsigned char>(64, 0x11)) << bit << ' ' << size << ' ' << count;
    EXPECT_EQ(nothing.position, 0);
    EXPECT_EQ(nothing.bit, bit);
  }
}
