#include <unistd.h>

#include <array>
#include <string>
#include <thread>
#include <vector>

#include "tests/environment.h"
#include "tests/pack/naive_pack.h"
#include "xrdimage.h"

namespace {

using naive::BitStream;
using naive::Differences;
using naive::Pixels;

constexpr short kUntouched = 7777;

Pixels untouched(int pixels) {
  return naive::filled(pixels, 1, kUntouched);
}

struct Decoded {
  Pixels image;
  long position;
};

Decoded unpack(const std::string& stream_bytes, int x, int y, const Pixels& before) {
  const auto stream = test::stream_of(stream_bytes);
  Decoded decoded{before, 0};
  EXPECT_EQ(unpack_word(stream.get(), x, y, decoded.image.data()), 0);
  decoded.position = std::ftell(stream.get());
  return decoded;
}

Decoded unpack(const std::string& stream_bytes, int x, int y) {
  return unpack(stream_bytes, x, y, untouched(x * y));
}

Decoded unpack_naively(const std::string& stream_bytes, int x, int y, const Pixels& before) {
  const auto stream = test::stream_of(stream_bytes);
  Decoded decoded{before, 0};
  naive::Decoder(stream.get(), x, y, decoded.image.data()).decode();
  decoded.position = std::ftell(stream.get());
  return decoded;
}

// Decodes both ways, from what the array holds before.
void expect_as_naive(const std::string& stream_bytes, int x, int y, const Pixels& before) {
  const Decoded expected = unpack_naively(stream_bytes, x, y, before);
  const Decoded actual = unpack(stream_bytes, x, y, before);
  EXPECT_EQ(actual.image, expected.image) << x << " x " << y << ", " << stream_bytes.size() << " bytes";
  EXPECT_EQ(actual.position, expected.position) << x << " x " << y << ", " << stream_bytes.size() << " bytes";
}

}  // namespace

// --- The bit stream, by hand ---------------------------------------------------------------------------------------

TEST(UnpackWord, FieldsAreReadLowestBitFirst) {
  // One difference (code 0) of 8 bits (code 5), 0x41: 000 | 101 << 3 | (0x41 & 3) << 6, then 0x41 >> 2.
  const Decoded decoded = unpack("\x68\x10", 1, 1);
  EXPECT_EQ(decoded.image, Pixels{65});
  EXPECT_EQ(decoded.position, 2);
}

TEST(UnpackWord, ChunkOfZerosIsSixBits) {
  const Decoded decoded = unpack("\x07rest", 16, 8);
  EXPECT_EQ(decoded.image, Pixels(128, 0));
  EXPECT_EQ(decoded.position, 1);
}

TEST(UnpackWord, ConstantImageDiffersFromZerosInTheFirstChunkOnly) {
  const BitStream stream = BitStream().chunk(0, 5, {100}).chunk(3, 0).chunk(2, 0).chunk(1, 0).chunk(0, 0);
  EXPECT_EQ(unpack(stream.bytes(), 4, 4).image, Pixels(16, 100));
}

TEST(UnpackWord, FieldsOfEveryWidthAreTwosComplement) {
  for (unsigned code = 1; code <= 7; ++code) {
    const int bits = naive::kFieldWidths[code];
    const int most = bits == 32 ? 2147483647 : (1 << (bits - 1)) - 1;
    const int least = -most - 1;
    const BitStream stream = BitStream().chunk(2, code, {most, least, -1, 1});
    // Each pixel of the first row adds its difference to the one before; sums wrap at 16 bits.
    const auto first = static_cast<short>(most & 0xFFFF);
    EXPECT_EQ(unpack(stream.bytes(), 4, 1).image, (Pixels{first, -1, -2, -1})) << bits;
  }
}

TEST(UnpackWord, PredictionIsTheMeanOfFourNeighboursFromTheSecondPixelOfTheSecondRowOn) {
  // Row 0: 10, 11, 12. Pixel 3 follows pixel 2: 12 - 2 = 10. Pixel 4: (10 + 12 + 11 + 10 + 2) / 4 = 11.
  // Pixel 5: its upper right neighbour by index is pixel 3: (11 + 10 + 12 + 11 + 2) / 4 = 11, + 5 = 16.
  // Pixel 6: upper left is pixel 2, (16 + 11 + 10 + 12 + 2) / 4 = 12.
  const BitStream stream = BitStream().chunk(3, 5, {10, 1, 1, -2, 0, 5, 0, 0});
  const Pixels decoded = unpack(stream.bytes(), 3, 3).image;
  EXPECT_EQ(Pixels(decoded.begin(), decoded.begin() + 7), (Pixels{10, 11, 12, 10, 11, 16, 12}));
}

TEST(UnpackWord, PredictionIsTruncatedTowardZero) {
  // Pixels -1, -2, -2; the sum for pixel 3 is -2 - 2 - 2 - 1 + 2 = -5.
  const BitStream stream = BitStream().chunk(2, 1, {-1, -1, 0, 0});
  EXPECT_EQ(unpack(stream.bytes(), 2, 2).image, (Pixels{-1, -2, -2, -1}));
}

TEST(UnpackWord, PixelsAbove32767CountAsNegativeInThePrediction) {
  // 65535 is -1: (-1 - 1 - 1 - 1 + 2) / 4 = 0.
  const BitStream stream = BitStream().chunk(2, 6, {0xFFFF, 0, 0, 0});
  EXPECT_EQ(unpack(stream.bytes(), 2, 2).image, (Pixels{-1, -1, -1, 0}));
}

TEST(UnpackWord, SumsWrapAt16Bits) {
  const BitStream stream = BitStream().chunk(1, 6, {32767, 1});
  EXPECT_EQ(unpack(stream.bytes(), 2, 1).image, (Pixels{32767, -32768}));
}

TEST(UnpackWord, ChunkMayRunPastTheLastPixel) {
  // 128 differences of 32 bits, of which three are wanted: 6 + 96 bits are 13 bytes.
  const std::string bytes = BitStream().chunk(7, 7, {5, 6, 7, 8}).bytes();
  Pixels image = untouched(4);
  const auto stream = test::stream_of(bytes);
  unpack_word(stream.get(), 3, 1, image.data());
  EXPECT_EQ(image, (Pixels{5, 11, 18, kUntouched}));
  EXPECT_EQ(std::ftell(stream.get()), 13);
}

TEST(UnpackWord, LongFieldsMayBeginAtEveryBit) {
  std::vector<bool> seen(8);
  for (int even = 0; even < 4; ++even) {
    for (int odd = 0; odd < 2; ++odd) {
      BitStream stream;
      Pixels expected;
      for (int i = 0; i < even; ++i) {
        stream.chunk(0, 0);
        expected.push_back(0);
      }
      if (odd != 0) {
        stream.chunk(0, 2, {-3});
        expected.push_back(-3);
      }
      seen[(stream.bit_count() + 6) % 8] = true;
      stream.chunk(1, 7, {0x12345678, -0x12345678}).chunk(0, 1, {5});
      const auto before = static_cast<short>(expected.empty() ? 0 : expected.back());
      const auto raised = static_cast<short>(before + 0x5678);
      expected.insert(expected.end(), {raised, before, static_cast<short>(before + 5)});
      const Decoded decoded = unpack(stream.bytes() + "rest", static_cast<int>(expected.size()), 1);
      EXPECT_EQ(decoded.image, expected) << even << ' ' << odd;
      EXPECT_EQ(decoded.position, static_cast<long>(stream.bytes().size())) << even << ' ' << odd;
    }
  }
  EXPECT_EQ(seen, std::vector<bool>(8, true));
}

TEST(UnpackWord, MissingBytesAreOneBits) {
  // 128 differences of 32 bits, each -1. Pixel 3: (-3 - 3 - 2 - 1 + 2) / 4 - 1 = -2.
  const Decoded decoded = unpack("", 2, 2);
  EXPECT_EQ(decoded.image, (Pixels{-1, -2, -3, -2}));
  EXPECT_EQ(decoded.position, 0);
}

TEST(UnpackWord, EmptyImagesTakeNothing) {
  // Among them two whose product does not fit an int.
  for (const auto& [x, y] : {std::pair(0, 5), std::pair(5, 0), std::pair(-1, 5), std::pair(5, -1), std::pair(-2, -2),
                             std::pair(65536, 65536), std::pair(46341, 46341)}) {
    Pixels image = untouched(10);
    const auto stream = test::stream_of("\x68\x10");
    EXPECT_EQ(unpack_word(stream.get(), x, y, image.data()), 0);
    EXPECT_EQ(std::ftell(stream.get()), 0);
    EXPECT_EQ(image, untouched(10)) << x << " x " << y;
  }
}

TEST(UnpackWord, EmptyImagesLeaveTheStreamsEndAsItIs) {
  const auto stream = test::stream_of("\x68");
  while (std::fgetc(stream.get()) != EOF) {
  }
  short pixel = 0;
  unpack_word(stream.get(), 0, 5, &pixel);
  EXPECT_NE(std::feof(stream.get()), 0);
}

TEST(UnpackWord, ColumnTakesInWhatTheArrayHeld) {
  // Pixel 2 is predicted from pixels 1, 2, 1 and 0: (4 + 100 + 4 + 4 + 2) / 4 = 28. Pixel 3 likewise from 28, 200, 28
  // and 4: 262 / 4 = 65.
  const std::string bytes = BitStream().chunk(0, 1, {4}).chunk(1, 0).chunk(0, 0).bytes();
  EXPECT_EQ(unpack(bytes, 1, 4, {0, 0, 100, 200}).image, (Pixels{4, 4, 28, 65}));
}

TEST(UnpackWord, PrintsNothing) {
  const auto output = test::capture([] { unpack("", 3, 3); });
  EXPECT_EQ(output.out + output.err, "");
}

// --- Positions and pipes -------------------------------------------------------------------------------------------

TEST(UnpackWord, BeginsWhereTheStreamStands) {
  const auto stream = test::stream_of("skipped\x68\x10rest");
  std::fseek(stream.get(), 7, SEEK_SET);
  short pixel = 0;
  unpack_word(stream.get(), 1, 1, &pixel);
  EXPECT_EQ(pixel, 65);
  EXPECT_EQ(std::ftell(stream.get()), 9);
  EXPECT_EQ(std::fgetc(stream.get()), 'r');
}

TEST(UnpackWord, ImagesFollowEachOtherOnAPipe) {
  naive::Random random(21);
  std::string bytes;
  std::vector<Pixels> images;
  for (int width = 2; width < 40; ++width) {
    images.push_back(naive::random_image(random, width, 9));
    // Without the extra byte, which no pixel needs.
    const std::string stream = naive::pack_stream(images.back(), width, 9);
    bytes += stream.substr(0, static_cast<std::size_t>(unpack(stream, width, 9).position));
  }
  const auto pipe = test::pipe_of(bytes + "!");
  for (const Pixels& image : images) {
    Pixels decoded = untouched(static_cast<int>(image.size()));
    unpack_word(pipe.get(), static_cast<int>(image.size()) / 9, 9, decoded.data());
    ASSERT_EQ(decoded, image);
  }
  EXPECT_EQ(std::fgetc(pipe.get()), '!');
}

TEST(UnpackWord, LeavesAnUnbufferedPipeBehindTheLastByteItNeeds) {
  naive::Random random(22);
  for (int round = 0; round < 100; ++round) {
    const std::string bytes = naive::random_bytes(random, 600);
    const int width = naive::random_number(random, 2, 12);
    const Pixels before = naive::filled(width, 3);
    const Decoded expected = unpack_naively(bytes, width, 3, before);
    const auto pipe = test::pipe_of(bytes);
    std::setvbuf(pipe.get(), nullptr, _IONBF, 0);
    Pixels decoded = before;
    unpack_word(pipe.get(), width, 3, decoded.data());
    EXPECT_EQ(decoded, expected.image);
    std::string rest(bytes.size(), '\0');
    rest.resize(static_cast<std::size_t>(read(fileno(pipe.get()), rest.data(), rest.size())));
    ASSERT_EQ(rest, bytes.substr(static_cast<std::size_t>(expected.position)));
  }
}

TEST(UnpackWord, WaitsForBytesThatComeOneByOne) {
  naive::Random random(23);
  const Pixels image = naive::random_image(random, 30, 20);
  const std::string bytes = naive::pack_stream(image, 30, 20);
  std::array<int, 2> ends{};
  ASSERT_EQ(pipe(ends.data()), 0);
  const test::Stream stream(fdopen(ends[0], "r"));
  std::thread writer([&] {
    for (const char byte : bytes) EXPECT_EQ(write(ends[1], &byte, 1), 1);
    close(ends[1]);
  });
  Pixels decoded = untouched(30 * 20);
  unpack_word(stream.get(), 30, 20, decoded.data());
  writer.join();
  EXPECT_EQ(decoded, image);
}

TEST(UnpackWord, DoesNotAskForMoreThanItNeeds) {
  // The last bit used lies in the last byte there is: the end is not met.
  const std::string bytes = BitStream().chunk(2, 6, {300, -300, 300, -300}).bytes();
  const auto pipe = test::pipe_of(bytes);
  Pixels image = untouched(4);
  unpack_word(pipe.get(), 2, 2, image.data());
  EXPECT_EQ(std::feof(pipe.get()), 0);
  EXPECT_EQ(std::ferror(pipe.get()), 0);
  EXPECT_EQ(std::fgetc(pipe.get()), EOF);
}

// --- Against the naive decoder -------------------------------------------------------------------------------------

TEST(UnpackWord, DecodesEveryWidthAsTheNaiveDecoderDoes) {
  naive::Random random(1);
  for (int width = 1; width <= 400; ++width) {
    const int height = width % 7 == 0 ? 1 : naive::random_number(random, 1, 12);
    const Pixels image = naive::random_image(random, width, height);
    const Pixels before = naive::random_image(random, width, height);
    expect_as_naive(naive::pack_stream(image, width, height), width, height, before);
  }
}

TEST(UnpackWord, DecodesColumnsAsTheNaiveDecoderDoes) {
  naive::Random random(2);
  for (int height = 1; height <= 200; ++height) {
    const Pixels before = naive::random_image(random, 1, height);
    expect_as_naive(naive::random_bytes(random, 100), 1, height, before);
    expect_as_naive(naive::pack_stream(naive::random_image(random, 1, height), 1, height), 1, height, before);
  }
}

TEST(UnpackWord, DecodesRandomBytesAsTheNaiveDecoderDoes) {
  naive::Random random(3);
  for (int round = 0; round < 3000; ++round) {
    const int width = naive::random_number(random, 1, 60);
    const int height = naive::random_number(random, 1, 30);
    const std::string bytes =
        naive::random_bytes(random, static_cast<std::size_t>(naive::random_number(random, 0, 400)));
    expect_as_naive(bytes, width, height, naive::random_image(random, width, height));
  }
}

TEST(UnpackWord, DecodesStreamsCutAtEveryLengthAsTheNaiveDecoderDoes) {
  naive::Random random(4);
  for (const int amplitude : {3, 100, 30000}) {
    Pixels image = naive::filled(20, 15);
    for (short& pixel : image) pixel = static_cast<short>(naive::random_number(random, -amplitude, amplitude));
    const std::string bytes = naive::pack_stream(image, 20, 15);
    for (std::size_t length = 0; length <= bytes.size(); ++length) {
      expect_as_naive(bytes.substr(0, length), 20, 15, naive::filled(20, 15));
    }
  }
}

TEST(UnpackWord, DecodesChunksOfEveryKindAsTheNaiveDecoderDoes) {
  naive::Random random(5);
  for (int round = 0; round < 500; ++round) {
    BitStream stream;
    for (int chunks = naive::random_number(random, 1, 30); chunks > 0; --chunks) {
      Differences differences(128);
      for (auto& difference : differences) difference = static_cast<std::int32_t>(random());
      stream.chunk(static_cast<unsigned>(naive::random_number(random, 0, 7)),
                   static_cast<unsigned>(naive::random_number(random, 0, 7)), differences);
    }
    const int width = naive::random_number(random, 2, 40);
    expect_as_naive(stream.bytes(), width, naive::random_number(random, 1, 20), naive::filled(40, 20));
  }
}

TEST(UnpackWord, DecodesLargeImages) {
  naive::Random random(6);
  Pixels image = naive::filled(1200, 300);
  for (short& pixel : image) pixel = static_cast<short>(naive::random_number(random, 0, 50));
  expect_as_naive(naive::pack_stream(image, 1200, 300), 1200, 300, naive::filled(1200, 300));
}

// --- The header line -----------------------------------------------------------------------------------------------

namespace {

// The two functions that look for a header line; they differ in their message.
struct Reader {
  const char* name;
  void (*read)(short* image, const char* path);
  const char* message;
};

void read_by_readpack_word_c(short* image, const char* path) {
  EXPECT_EQ(readpack_word_c(image, path), 0);
}

// Four pixels: 1, 2, 3, and (3 + 3 + 2 + 1 + 2) / 4 + 1 = 3.
std::string four_pixels() {
  return BitStream().chunk(2, 1, {1, 1, 1, 1}).bytes();
}
const Pixels kFour{1, 2, 3, 3};
const Pixels kFourUntouched = untouched(4);
constexpr const char* kLine = "CCP4 packed image, X: 0002, Y: 0002\n";

class HeaderLine : public testing::TestWithParam<Reader> {
 protected:
  Pixels read(const std::string& file, int pixels = 4) const {
    const std::string path = directory_.write("image.pck", file);
    Pixels image = untouched(pixels);
    GetParam().read(image.data(), path.c_str());
    // Some file systems wait for the disk when a file is written over.
    std::remove(path.c_str());
    return image;
  }
  Pixels read_four(const std::string& before, const std::string& line = kLine) const {
    return read(before + line + four_pixels());
  }
  const test::TemporaryDirectory& directory() const { return directory_; }

 private:
  test::TemporaryDirectory directory_;
};

INSTANTIATE_TEST_SUITE_P(Readers, HeaderLine,
                         testing::Values(Reader{"readpack_word_c", read_by_readpack_word_c, "# %s does not exist."},
                                         Reader{"readpck", readpck, "ERROR> %s does not exist."}),
                         [](const auto& reader) { return reader.param.name; });

}  // namespace

TEST_P(HeaderLine, StandsBehindALineFeedOrAtTheVeryBeginning) {
  EXPECT_EQ(read_four("\n"), kFour);
  EXPECT_EQ(read_four(""), kFour);
  EXPECT_EQ(read_four("x"), kFourUntouched);
}

TEST_P(HeaderLine, IsFoundAtEveryPlaceInTheFile) {
  for (std::size_t before = 0; before < 300; ++before) {
    EXPECT_EQ(read_four(std::string(before, 'x') + "\n"), kFour) << before;
  }
  for (const std::size_t before : {4000U, 8100U, 16300U, 24500U}) {
    for (std::size_t shift = 0; shift < 200; ++shift) {
      EXPECT_EQ(read_four(std::string(before + shift, 'x') + "\n"), kFour) << before + shift;
    }
  }
}

TEST_P(HeaderLine, IsFoundBehindABinaryHeader) {
  naive::Random random(31);
  for (const std::size_t size : {10U, 512U, 4096U, 20000U}) {
    EXPECT_EQ(read_four(naive::random_bytes(random, size) + "\n"), kFour) << size;
  }
  EXPECT_EQ(read_four(std::string(4096, '\0') + "\n"), kFour);
  EXPECT_EQ(read_four(std::string(5000, '\n')), kFour);
}

TEST_P(HeaderLine, BeginsAlsoWhereALineIsCutAfter8191Characters) {
  EXPECT_EQ(read_four(std::string(8190, 'x')), kFourUntouched);
  EXPECT_EQ(read_four(std::string(8191, 'x')), kFour);
  EXPECT_EQ(read_four(std::string(8192, 'x')), kFourUntouched);
  EXPECT_EQ(read_four(std::string(16382, 'x')), kFour);
}

TEST_P(HeaderLine, MayBeAsLongAsALineCanBe) {
  // 35 characters, blanks behind them, and the line feed as character 8191.
  const std::string line(kLine, 35);
  EXPECT_EQ(read_four("\n", line + std::string(8155, ' ') + "\n"), kFour);
  // One character more, and the line feed begins its own line, instead of the first character.
  EXPECT_EQ(read_four("\n", line + std::string(8156, ' ') + "\n"), kFourUntouched);
  EXPECT_EQ(read_four("\n", " " + line + std::string(8155, ' ') + "\n"), kFour);
}

TEST_P(HeaderLine, TakesBlanksAsLooselyAsFormattedInputDoes) {
  EXPECT_EQ(read_four("\n", "CCP4packedimage,X:2,Y:2\n"), kFour);
  EXPECT_EQ(read_four("\n", " \t CCP4  packed   image,  X:   2,  Y:  +002\n"), kFour);
  EXPECT_EQ(read_four("\n", "CCP4 packed image, X: 0002, Y: 0002\r\n"), kFour);
  EXPECT_EQ(read_four("\n", "CCP4 packed image, X: 0002, Y: 0002 and more\n"), kFour);
  EXPECT_EQ(read_four("\n", "CCP4 packed image, X: 0002 , Y: 0002\n"), kFourUntouched);
  EXPECT_EQ(read_four("\n", "ccp4 packed image, X: 0002, Y: 0002\n"), kFourUntouched);
}

TEST_P(HeaderLine, DecodesFromTheByteBehindItsLineFeed) {
  // The bit stream begins with bytes that are white space.
  const std::string stream("\n \n", 3);
  const auto expected = unpack_naively(stream, 2, 2, kFourUntouched);
  EXPECT_EQ(read(std::string("\n") + kLine + stream), expected.image);
}

TEST_P(HeaderLine, WithAFiveDigitWidthIsPassedOver) {
  EXPECT_EQ(read_four("\nCCP4 packed image, X: 10000, Y: 0002\n"), kFour);
  EXPECT_EQ(read("\nCCP4 packed image, X: 00002, Y: 0002\n" + four_pixels()), kFourUntouched);
}

TEST_P(HeaderLine, WithAFiveDigitHeightCountsWithItsFirstFourDigits) {
  const Pixels image = read("\nCCP4 packed image, X: 0002, Y: 10000\n" + std::string(200, '\x07'), 20000);
  EXPECT_TRUE(std::all_of(image.begin(), image.begin() + 2000, [](short pixel) { return pixel != kUntouched; }));
  EXPECT_EQ(Pixels(image.begin() + 2000, image.end()), Pixels(18000, kUntouched));
  EXPECT_EQ(read_four("\n", "CCP4 packed image, X: 0002, Y: 00027\n"), kFour);
}

TEST_P(HeaderLine, WithNegativeSizesEndsTheSearchWithoutAnImage) {
  for (const char* sizes : {"X: -005, Y: 0002", "X: 0002, Y: -005", "X: -005, Y: -005"}) {
    const std::string line = std::string("\nCCP4 packed image, ") + sizes + "\n";
    EXPECT_EQ(read(line + kLine + four_pixels(), 25), untouched(25)) << sizes;
  }
}

TEST_P(HeaderLine, WithAZeroIsPassedOver) {
  EXPECT_EQ(read_four("\nCCP4 packed image, X: 0000, Y: 0002\n"), kFour);
  EXPECT_EQ(read_four("\nCCP4 packed image, X: 0003, Y: 0000\n"), kFour);
}

TEST_P(HeaderLine, WithTheWidthAloneIsForgotten) {
  EXPECT_EQ(read("\nCCP4 packed image, X: 0002\nY: 0002\n" + four_pixels()), kFourUntouched);
  EXPECT_EQ(read_four("\nCCP4 packed image, X: 0009\n"), kFour);
}

TEST_P(HeaderLine, MayMatchWhatLongerLinesLeftBehind) {
  // The buffer is not cleared between lines: the empty line's line feed takes the place of the x.
  EXPECT_EQ(read_four("\nx", std::string(kLine) + "\n"), kFour);
  // The height's digits stand behind the shorter line's end, and blanks in the pattern match a line feed.
  EXPECT_EQ(read_four("\n0123456789012345678901234567890 0002\n", "CCP4 packed image, X: 0002, Y:\n"), kFour);
  EXPECT_EQ(read_four("\n", "CCP4 packed image, X: 0002, Y:\n"), kFourUntouched);
}

TEST_P(HeaderLine, EndsForTheParserAtANulCharacter) {
  const std::string line = kLine;
  EXPECT_EQ(read_four("\n", line.substr(0, 20) + '\0' + line.substr(20)), kFourUntouched);
  EXPECT_EQ(read_four(std::string("\n\0", 2)), kFourUntouched);
}

TEST_P(HeaderLine, CutByTheEndOfTheFileDoesNotCount) {
  EXPECT_EQ(read("\nCCP4 packed image, X: 0002, Y: 0002"), kFourUntouched);
}

TEST_P(HeaderLine, WithoutDataGivesOneBits) {
  EXPECT_EQ(read(std::string("\n") + kLine), (Pixels{-1, -2, -3, -2}));
}

TEST_P(HeaderLine, IsTheFirstOfSeveral) {
  const std::string first = "\nCCP4 packed image, X: 0001, Y: 0001\n";
  EXPECT_EQ(read_four(first + "\x68\x10\n"), (Pixels{65, kUntouched, kUntouched, kUntouched}));
}

TEST_P(HeaderLine, MissingLeavesTheImageAlone) {
  EXPECT_EQ(read(""), kFourUntouched);
  EXPECT_EQ(read("no packed image\n"), kFourUntouched);
  EXPECT_EQ(read(std::string(50000, 'C')), kFourUntouched);
}

TEST_P(HeaderLine, SearchAgreesWithTheNaiveOne) {
  const std::vector<std::string> tokens{"\n",
                                        "CCP4 packed image, X: ",
                                        ", Y: ",
                                        "0002",
                                        "3",
                                        "-",
                                        "CCP4 packed image, X: 0003, Y: 0002",
                                        " ",
                                        "\r\n",
                                        std::string(1, '\0'),
                                        "x",
                                        "0",
                                        std::string(30, 'y')};
  naive::Random random(32);
  int found = 0;
  for (int round = 0; round < 3000; ++round) {
    std::string file;
    if (round % 3 == 0) file.assign(static_cast<std::size_t>(naive::random_number(random, 8100, 8191)), 'z');
    for (int count = naive::random_number(random, 1, 25); count > 0; --count) {
      file += tokens[static_cast<std::size_t>(naive::random_number(random, 0, static_cast<int>(tokens.size()) - 1))];
    }
    const auto stream = test::stream_of(file);
    const auto [width, height] = naive::find_header_line(stream.get());
    Pixels expected = untouched(5000);
    if (width > 0 && height > 0) {
      if (width * height > 5000) continue;
      ++found;
      naive::Decoder(stream.get(), width, height, expected.data()).decode();
    }
    ASSERT_EQ(read(file, 5000), expected) << testing::PrintToString(file);
  }
  EXPECT_GT(found, 300);
}

TEST_P(HeaderLine, FoundOrNotPrintsNothing) {
  const auto output = test::capture([&] {
    read_four("\n");
    read_four("x");
    read("");
  });
  EXPECT_EQ(output.out + output.err, "");
}

TEST_P(HeaderLine, MissingFileIsReportedWithoutLineFeed) {
  const std::string path = directory().path("missing 100%d");
  Pixels image = untouched(4);
  const auto output = test::capture([&] { GetParam().read(image.data(), path.c_str()); });
  std::string expected = GetParam().message;
  expected.replace(expected.find("%s"), 2, path);
  EXPECT_EQ(output.out, expected);
  EXPECT_EQ(output.err, "");
  EXPECT_EQ(image, kFourUntouched);
}

TEST_P(HeaderLine, DirectoryHoldsNone) {
  Pixels image = untouched(4);
  const auto output = test::capture([&] { GetParam().read(image.data(), directory().path("").c_str()); });
  EXPECT_EQ(output.out + output.err, "");
  EXPECT_EQ(image, kFourUntouched);
}

TEST_P(HeaderLine, FileIsClosedAgain) {
  const std::size_t before = test::open_descriptors();
  read_four("\n");
  read("");
  EXPECT_EQ(test::open_descriptors(), before);
}
