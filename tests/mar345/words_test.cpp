#include <array>
#include <cstring>
#include <limits>
#include <numeric>
#include <string>
#include <vector>

#include "tests/environment.h"
#include "xrdimage.h"

// --- swapword ------------------------------------------------------------------------------------------------------

namespace {

std::string swapped(std::string data, int nbytes) {
  swapword(data.data(), nbytes);
  return data;
}

// The signed number with these 16 bits.
short as_short(unsigned bits) {
  return static_cast<short>(static_cast<std::uint16_t>(bits));
}

}  // namespace

TEST(Swapword, ReversesTheBytesOfWholeWords) {
  EXPECT_EQ(swapped("abcdefghijkl", 12), "dcbahgfelkji");
  EXPECT_EQ(swapped("abcdefghijkl", 8), "dcbahgfeijkl");
  EXPECT_EQ(swapped("abcdefghijkl", 11), "dcbahgfeijkl");
  EXPECT_EQ(swapped("abcdefghijkl", 4), "dcbaefghijkl");
}

TEST(Swapword, DoesNothingWithFewerThanFourBytes) {
  for (const int nbytes : {3, 2, 1, 0, -1, -3, -4, -8, std::numeric_limits<int>::min()}) {
    EXPECT_EQ(swapped("abcdefgh", nbytes), "abcdefgh") << nbytes;
  }
}

TEST(Swapword, WordsNeedNoAlignment) {
  std::string data = "_abcdefgh";
  swapword(&data[1], 8);
  EXPECT_EQ(data, "_dcbahgfe");
}

// --- swapbytes -----------------------------------------------------------------------------------------------------

TEST(Swapbytes, ExchangesTheBytesOfAWord) {
  std::array<short, 4> words{0x1234, 0x0001, as_short(0x1280), 0x7FFF};
  swapbytes(words.data(), 8);
  EXPECT_EQ(words, (std::array<short, 4>{0x3412, 0x0100, as_short(0x8012), as_short(0xFF7F)}));
}

TEST(Swapbytes, HighBytesFrom0x80OnLeaveOnesAboveThem) {
  std::array<short, 3> words{as_short(0xABCD), as_short(0x8012), as_short(0x8000)};
  swapbytes(words.data(), 6);
  EXPECT_EQ(words, (std::array<short, 3>{as_short(0xFFAB), as_short(0xFF80), as_short(0xFF80)}));
}

TEST(Swapbytes, EveryWordFollowsTheRule) {
  std::vector<short> words(65536);
  for (unsigned i = 0; i < 65536; ++i) words[i] = as_short(i);
  swapbytes(words.data(), 2 * 65536);
  for (unsigned i = 0; i < 65536; ++i) {
    const unsigned low = i >> 8;
    const unsigned high = low < 0x80 ? i & 0xFF : 0xFF;
    ASSERT_EQ(words[i], as_short(high << 8 | low)) << i;
  }
}

TEST(Swapbytes, CountsWholeWordsOnly) {
  const std::array<short, 2> before{0x0102, 0x0304};
  const auto after = [&](int nbytes) {
    std::array<short, 2> words = before;
    swapbytes(words.data(), nbytes);
    return words;
  };
  EXPECT_EQ(after(3), (std::array<short, 2>{0x0201, 0x0304}));
  EXPECT_EQ(after(2), (std::array<short, 2>{0x0201, 0x0304}));
  for (const int nbytes : {1, 0, -1, -2, -100}) EXPECT_EQ(after(nbytes), before) << nbytes;
}

// --- packi32 -------------------------------------------------------------------------------------------------------

namespace {

short code_of(int value) {
  if (value < 0 || value >= 131068) return as_short(0x8000);
  const auto v = static_cast<unsigned>(value);
  if (v <= 16383) return as_short(v);
  if (v <= 32767) return as_short(0x4000 | v / 2);
  if (v <= 65533) return as_short(0x8000 | v / 4);
  return as_short(0xC000 | v / 8);
}

}  // namespace

TEST(Packi32, LimitsOfTheSteps) {
  const std::vector<std::pair<int, unsigned>> expected{{0, 0},
                                                       {16383, 0x3FFF},
                                                       {16384, 0x6000},
                                                       {16385, 0x6000},
                                                       {32767, 0x7FFF},
                                                       {32768, 0xA000},
                                                       {32771, 0xA000},
                                                       {65533, 0xBFFF},
                                                       {65534, 0xDFFF},
                                                       {65536, 0xE000},
                                                       {131067, 0xFFFF},
                                                       {131068, 0x8000},
                                                       {262144, 0x8000},
                                                       {-1, 0x8000},
                                                       {std::numeric_limits<int>::max(), 0x8000},
                                                       {std::numeric_limits<int>::min(), 0x8000}};
  for (const auto& [value, code] : expected) EXPECT_EQ(packi32(value), as_short(code)) << value;
}

TEST(Packi32, EveryValueFollowsTheRule) {
  for (int value = -70000; value <= 270000; ++value) ASSERT_EQ(packi32(value), code_of(value)) << value;
}

TEST(Packi32, PrintsNothing) {
  EXPECT_EQ(test::capture([] { packi32(40000); }).out, "");
}

// --- unpack_i32 ----------------------------------------------------------------------------------------------------

namespace {

struct Unpacked {
  int value;
  std::string printed;
};

Unpacked unpacked(short code) {
  Unpacked result{};
  result.printed = test::capture([&] { result.value = unpack_i32(code); }).out;
  return result;
}

}  // namespace

TEST(UnpackI32, LimitsOfTheSteps) {
  struct Expected {
    short code;
    int value;
    std::string printed;
  };
  const std::vector<Expected> all{
      {0, 0, "unpacking 0 "},
      {16383, 16383, "unpacking 16383 "},
      {16384, 0, "unpacking 16384  1 "},
      {0x6000, 16384, "unpacking 24576  1 "},
      {32767, 32766, "unpacking 32767  1 "},
      {-32768, 131068, "unpacking -32768  4 "},
      {-32767, -32767, "unpacking -32767 "},
      {-32766, 8, "unpacking -32766  2 "},
      {-16385, 65532, "unpacking -16385  2 "},
      {-16384, 0, "unpacking -16384  3 "},
      {-1, 131064, "unpacking -1  3 "},
  };
  for (const auto& [code, value, printed] : all) {
    const Unpacked actual = unpacked(code);
    EXPECT_EQ(actual.value, value) << code;
    EXPECT_EQ(actual.printed, printed) << code;
  }
}

TEST(UnpackI32, EveryCodeFollowsTheRule) {
  std::string printed;
  std::vector<int> expected;
  for (int w = -32768; w <= 32767; ++w) {
    printed += "unpacking " + std::to_string(w) + " ";
    if (w == -32768) {
      expected.push_back(131068);
      printed += " 4 ";
    } else if (w == -32767 || (w >= 0 && w <= 16383)) {
      expected.push_back(w);
    } else if (w >= 16384) {
      expected.push_back(2 * w - 32768);
      printed += " 1 ";
    } else if (w <= -16385) {
      expected.push_back(4 * w + 131072);
      printed += " 2 ";
    } else {
      expected.push_back(8 * w + 131072);
      printed += " 3 ";
    }
  }
  std::vector<int> values;
  const auto output = test::capture([&] {
    for (int w = -32768; w <= 32767; ++w) values.push_back(unpack_i32(static_cast<short>(w)));
  });
  EXPECT_EQ(values, expected);
  EXPECT_TRUE(output.out == printed);
  EXPECT_EQ(output.err, "");
}

// --- long_to_char --------------------------------------------------------------------------------------------------

TEST(LongToChar, CopiesLowBytesUpToAndIncludingTheFirstZero) {
  const std::array<int, 5> source{'a', 0x12345600 + 'b', -1, 0, 'c'};
  std::array<char, 8> target{};
  target.fill('_');
  EXPECT_EQ(long_to_char(source.data(), target.data()), target.data());
  EXPECT_EQ(std::string(target.data(), target.size()), std::string("ab\xFF\0____", 8));
}

TEST(LongToChar, GoesOnBehindALowByteOfZero) {
  const std::array<int, 4> source{'a', 0x100, 'b', 0};
  std::array<char, 5> target{};
  target.fill('_');
  long_to_char(source.data(), target.data());
  EXPECT_EQ(std::string(target.data(), target.size()), std::string("a\0b\0_", 5));
}

TEST(LongToChar, EmptySourceIsOneZero) {
  const int source = 0;
  std::array<char, 2> target{'_', '_'};
  long_to_char(&source, target.data());
  EXPECT_EQ(target, (std::array<char, 2>{'\0', '_'}));
}

// --- rotate_clock1 -------------------------------------------------------------------------------------------------

namespace {

using Square = std::vector<unsigned short>;

Square rotated(Square image, int n) {
  rotate_clock1(image.data(), n);
  return image;
}

}  // namespace

TEST(RotateClock1, TurnsSmallImages) {
  EXPECT_EQ(rotated({1, 2, 3, 4}, 2), (Square{3, 1, 4, 2}));
  EXPECT_EQ(rotated({1, 2, 3, 4, 5, 6, 7, 8, 9}, 3), (Square{7, 4, 1, 8, 5, 2, 9, 6, 3}));
}

TEST(RotateClock1, TurnsImagesOfEverySize) {
  for (std::size_t n = 0; n <= 33; ++n) {
    Square image(n * n);
    std::iota(image.begin(), image.end(), static_cast<unsigned short>(65000));
    Square expected(image.size());
    for (std::size_t row = 0; row < n; ++row) {
      for (std::size_t column = 0; column < n; ++column) {
        expected[row * n + column] = image[(n - 1 - column) * n + row];
      }
    }
    EXPECT_EQ(rotated(image, static_cast<int>(n)), expected) << n;
  }
}

TEST(RotateClock1, FourTurnsAreNone) {
  const Square image{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
  EXPECT_EQ(rotated(rotated(rotated(rotated(image, 4), 4), 4), 4), image);
}

TEST(RotateClock1, DoesNothingBelowTwo) {
  for (const int n : {1, 0, -1, -2, -5}) EXPECT_EQ(rotated({1, 2, 3, 4}, n), (Square{1, 2, 3, 4})) << n;
}
