#include <algorithm>
#include <array>
#include <csignal>
#include <limits>
#include <string>
#include <vector>

#include "tests/environment.h"
#include "tests/mar345/mar345_file.h"
#include "tests/pack/naive_pack.h"
#include "xrdimage.h"

namespace {

using mar345::Frame;
using mar345::Layout;
using mar345::OverflowRecord;
using naive::Pixels;

constexpr const char* kCannotRead = "ERROR> Cannot read header\n";
constexpr const char* kWrongHeader = "ERROR> Something wrong with header: \n";

short as_pixel(unsigned value) {
  return static_cast<short>(static_cast<std::uint16_t>(value));
}

std::string missing_record(int number) {
  return "WARNING> cannot read overflow pixel # " + std::to_string(number) +
         "!\n         Overflow pixel will be ignored\n";
}

std::string cannot_allocate(int width, int height, const std::string& path) {
  return "ERROR> Cannot allocate " + std::to_string(width) + " x " + std::to_string(height) + " pixels for " + path +
         "\n";
}

struct Image {
  int result = -99;
  int x = -11;
  int y = -22;
  std::vector<unsigned> pixels;
  bool allocated = false;
  std::string printed;
};

Image read_path(const std::string& path) {
  Image image;
  unsigned before = 0;
  unsigned* daten = &before;
  const auto output = test::capture([&] { image.result = new_read_pck(path.c_str(), &daten, &image.x, &image.y); });
  EXPECT_EQ(output.err, "");
  image.printed = output.out;
  image.allocated = daten != &before;
  if (!image.allocated) return image;
  const auto owner = test::own(daten);
  if (daten == nullptr) ADD_FAILURE() << "no array";
  if (image.x > 0 && image.y > 0) image.pixels.assign(daten, daten + naive::pixel_count(image.x, image.y));
  return image;
}

Image read_bytes(const std::string& bytes) {
  const test::TemporaryDirectory directory;
  return read_path(directory.write("frame.mar2300", bytes));
}

// A read without messages.
std::vector<unsigned> pixels_of(const std::string& bytes, int size) {
  const Image image = read_bytes(bytes);
  EXPECT_EQ(image.result, 1);
  EXPECT_EQ(image.printed, "");
  EXPECT_EQ(image.x, size);
  EXPECT_EQ(image.y, size);
  return image.pixels;
}

std::vector<unsigned> pixels_of(const Frame& frame) {
  return pixels_of(frame.bytes(), frame.size);
}

std::vector<OverflowRecord> random_records(naive::Random& random, int size, int limit) {
  const int pixels = size * size;
  const std::array<int, 11> positions{
      std::numeric_limits<int>::min(), -pixels, -1, 0, 1, size, size + 1, pixels - 1, pixels, pixels + 1,
      std::numeric_limits<int>::max()};
  const std::array<int, 9> values{std::numeric_limits<int>::min(), -1, 0, 65535, limit - 1, limit, limit + 1, 256001,
                                  std::numeric_limits<int>::max()};
  std::vector<OverflowRecord> records(static_cast<std::size_t>(naive::random_number(random, 0, 40)));
  for (auto& [position, value] : records) {
    const auto chosen_position = static_cast<std::size_t>(naive::random_number(random, 0, 40));
    position = chosen_position < positions.size() ? positions[chosen_position]
                                                  : naive::random_number(random, 1, std::max(pixels, 1));
    const auto chosen_value = static_cast<std::size_t>(naive::random_number(random, 0, 20));
    value = chosen_value < values.size() ? values[chosen_value] : naive::random_number(random, -10, 2 * limit);
  }
  return records;
}

Frame random_frame(naive::Random& random, Layout layout, int size) {
  return {layout, size, random_records(random, size, mar345::limit(layout.new_layout)),
          naive::random_image(random, size, size)};
}

// The smallest size that the older layout can have in the processor's byte order is 101.
constexpr int kOlderSize = 101;

Frame plain_frame(Layout layout, short pixel = 9) {
  const int size = layout.new_layout ? 4 : kOlderSize;
  return {layout, size, {}, naive::filled(size, size, pixel)};
}

}  // namespace

// --- new_read_pck --------------------------------------------------------------------------------------------------

TEST(NewReadPck, ReadsBothLayoutsInBothByteOrders) {
  for (const Layout layout : mar345::kLayouts) {
    Frame frame = plain_frame(layout);
    frame.pixels[0] = 1;
    frame.pixels[5] = -1;  // 65535
    frame.records = {{3, 1000}};
    std::vector<unsigned> expected(frame.pixels.size(), 9);
    expected[0] = 1;
    expected[5] = layout.new_layout ? 65535 : OVERFLOW_MARK;
    expected[layout.new_layout ? 3 : 2] = 1000;
    EXPECT_EQ(pixels_of(frame), expected) << layout.new_layout << layout.swapped;
  }
}

TEST(NewReadPck, OlderLayoutMarksPixelsFrom65356On) {
  for (const Layout layout : mar345::kLayouts) {
    Frame frame = plain_frame(layout);
    const std::array<unsigned, 4> values{65355, 65356, 65400, 65535};
    for (std::size_t i = 0; i < values.size(); ++i) {
      frame.pixels[i] = as_pixel(values[i]);
    }
    const std::vector<unsigned> read = pixels_of(frame);
    EXPECT_EQ(read[0], 65355U);
    for (std::size_t i = 1; i < values.size(); ++i) EXPECT_EQ(read[i], layout.new_layout ? values[i] : OVERFLOW_MARK);
  }
}

TEST(NewReadPck, PositionsCountFromOneInTheOlderLayoutOnly) {
  Frame newer = plain_frame({true, false});
  newer.records = {{5, 70000}};
  EXPECT_EQ(pixels_of(newer)[5], 70000U);
  EXPECT_EQ(pixels_of(newer)[4], 9U);
  Frame older = plain_frame({false, false});
  older.records = {{5, 70000}, {101, 5}, {102, 6}, {101 * 101, 7}};
  const auto read = pixels_of(older);
  EXPECT_EQ(read[4], OVERFLOW_MARK);
  EXPECT_EQ(read[5], 9U);
  EXPECT_EQ(read[100], 5U);
  EXPECT_EQ(read[101], 6U);
  EXPECT_EQ(read[101 * 101 - 1], 7U);
}

TEST(NewReadPck, OverflowValuesAreMarkedFromTheLimitOnAndBelowZero) {
  for (const Layout layout : mar345::kLayouts) {
    const int limit = mar345::limit(layout.new_layout);
    Frame frame = plain_frame(layout);
    frame.records = {{1, limit - 1},
                     {2, limit},
                     {3, limit + 1},
                     {4, -1},
                     {5, 0},
                     {6, std::numeric_limits<int>::max()},
                     {7, std::numeric_limits<int>::min()}};
    const auto read = pixels_of(frame);
    const std::size_t first = layout.new_layout ? 1 : 0;
    const std::vector<unsigned> expected{
        static_cast<unsigned>(limit) - 1, OVERFLOW_MARK, OVERFLOW_MARK, OVERFLOW_MARK, 0, OVERFLOW_MARK, OVERFLOW_MARK};
    EXPECT_EQ(std::vector<unsigned>(read.begin() + static_cast<std::ptrdiff_t>(first),
                                    read.begin() + static_cast<std::ptrdiff_t>(first + 7)),
              expected);
  }
}

TEST(NewReadPck, RecordsOutsideOfTheImageAreSkipped) {
  for (const Layout layout : mar345::kLayouts) {
    Frame frame = plain_frame(layout);
    const int pixels = frame.size * frame.size;
    frame.records = {{0, 1},          {-1, 1},
                     {-pixels, 1},    {std::numeric_limits<int>::min(), 1},
                     {pixels + 1, 1}, {std::numeric_limits<int>::max(), 1}};
    // In the newer layout, the one that stands for the element behind the image.
    if (layout.new_layout) frame.records.push_back({pixels, 1});
    EXPECT_EQ(pixels_of(frame), std::vector<unsigned>(static_cast<std::size_t>(pixels), 9));
  }
}

TEST(NewReadPck, LastRecordForAPixelCounts) {
  Frame frame = plain_frame({true, false});
  frame.records = {{5, 300000}, {5, 70000}, {6, 70000}, {6, 300000}};
  const auto read = pixels_of(frame);
  EXPECT_EQ(read[5], 70000U);
  EXPECT_EQ(read[6], OVERFLOW_MARK);
}

TEST(NewReadPck, RandomFramesOfTheNewerLayout) {
  naive::Random random(41);
  for (int round = 0; round < 200; ++round) {
    for (const bool swapped : {false, true}) {
      const Frame frame = random_frame(random, {true, swapped}, naive::random_number(random, 1, 60));
      ASSERT_EQ(pixels_of(frame), mar345::expected_pixels(frame)) << frame.size;
    }
  }
}

TEST(NewReadPck, RandomFramesOfTheOlderLayout) {
  naive::Random random(42);
  for (int round = 0; round < 20; ++round) {
    for (const bool swapped : {false, true}) {
      const Frame frame =
          random_frame(random, {false, swapped}, naive::random_number(random, swapped ? 100 : 101, 140));
      ASSERT_EQ(pixels_of(frame), mar345::expected_pixels(frame)) << frame.size;
    }
  }
}

TEST(NewReadPck, LargerPackedImagesAreCut) {
  // The first size x size values, in the order in which they are packed.
  naive::Random random(43);
  const Pixels pixels = naive::random_image(random, 40, 30);
  const Layout layout{true, false};
  const auto read = pixels_of(mar345::header(layout, 6, 0) + naive::pack(pixels, 40, 30), 6);
  std::vector<unsigned> expected;
  for (std::size_t i = 0; i < 36; ++i) expected.push_back(static_cast<std::uint16_t>(pixels[i]));
  EXPECT_EQ(read, expected);
  // More rows alone.
  const auto high = pixels_of(mar345::header(layout, 6, 0) + naive::pack(naive::filled(6, 1000, 4), 6, 1000), 6);
  EXPECT_EQ(high, std::vector<unsigned>(36, 4));
}

TEST(NewReadPck, PackedHeaderMayAnnounceFarMoreThanThereIs) {
  const auto read = pixels_of(mar345::header({true, false}, 5, 0) + naive::header_line(9999, 9999) + "\x07", 5);
  EXPECT_EQ(read, std::vector<unsigned>(25, 0));
}

TEST(NewReadPck, PixelsThatASmallerPackedImageLacksAreZero) {
  naive::Random random(44);
  const Pixels pixels = naive::random_image(random, 7, 3);
  const auto read = pixels_of(mar345::header({true, false}, 6, 0) + naive::pack(pixels, 7, 3), 6);
  std::vector<unsigned> expected;
  for (const short pixel : pixels) expected.push_back(static_cast<std::uint16_t>(pixel));
  expected.resize(36);
  EXPECT_EQ(read, expected);
}

TEST(NewReadPck, WithoutAPackedImageThePixelsAreZeroBehindTheRecords) {
  const Layout layout{true, false};
  const auto read = pixels_of(mar345::header(layout, 3, 1) + mar345::overflow_table({{4, 77777}}, false), 3);
  EXPECT_EQ(read, (std::vector<unsigned>{0, 0, 0, 0, 77777, 0, 0, 0, 0}));
}

TEST(NewReadPck, CutPackedImageGoesOnWithOneBits) {
  const std::string bytes = mar345::header({true, false}, 2, 0) + naive::header_line(2, 2);
  // Differences of -1: the pixels -1, -2, -3 and -2 as unsigned 16-bit values.
  EXPECT_EQ(pixels_of(bytes, 2), (std::vector<unsigned>{65535, 65534, 65533, 65534}));
}

namespace {

// A newer-layout file that ends with its overflow records: the packed image lies within the 4096 bytes of the header.
std::string file_ending_with_records(int announced, const std::string& table) {
  std::string bytes = mar345::header({true, false}, 4, announced);
  const std::string packed = naive::pack(Pixels(16, 9), 4, 4);
  return bytes.replace(1000, packed.size(), packed) + table;
}

}  // namespace

TEST(NewReadPck, MissingRecordIsNamedByItsNumberPlusOne) {
  const Image image = read_bytes(file_ending_with_records(3, mar345::overflow_table({{5, 70000}}, false)));
  EXPECT_EQ(image.result, 1);
  EXPECT_EQ(image.printed, missing_record(3));
  ASSERT_EQ(image.pixels.size(), 16U);
  EXPECT_EQ(image.pixels[5], 70000U);
  EXPECT_EQ(image.pixels[6], 9U);
}

TEST(NewReadPck, HalfARecordIsAMissingOne) {
  const std::string table = mar345::overflow_table({{5, 70000}, {6, 80000}}, false);
  for (std::size_t length = 0; length <= table.size(); ++length) {
    const Image image = read_bytes(file_ending_with_records(2, table.substr(0, length)));
    EXPECT_EQ(image.result, 1);
    std::string expected;
    if (length < 16) expected = missing_record(length < 8 ? 2 : 3);
    EXPECT_EQ(image.printed, expected) << length;
    ASSERT_EQ(image.pixels.size(), 16U);
    EXPECT_EQ(image.pixels[5], length >= 8 ? 70000U : 9U);
    EXPECT_EQ(image.pixels[6], length >= 16 ? 80000U : 9U);
  }
}

TEST(NewReadPck, AnnouncedRecordsMayBeAnyNumber) {
  EXPECT_EQ(read_bytes(file_ending_with_records(std::numeric_limits<int>::max(), "")).printed, missing_record(2));
  const std::string table = mar345::overflow_table({{5, 70000}}, false);
  for (const int announced : {0, -1, std::numeric_limits<int>::min()}) {
    const Image image = read_bytes(file_ending_with_records(announced, table));
    EXPECT_EQ(image.printed, "") << announced;
    EXPECT_EQ(image.pixels, std::vector<unsigned>(16, 9)) << announced;
  }
}

TEST(NewReadPck, UnopenedFileLeavesTheOutputs) {
  const Image image = read_path("/nonexistent/frame.mar2300");
  EXPECT_EQ(image.result, 0);
  EXPECT_EQ(image.printed, "");
  EXPECT_FALSE(image.allocated);
  EXPECT_EQ(image.x, -11);
  EXPECT_EQ(image.y, -22);
}

TEST(NewReadPck, SizesThatCannotBeAreRefused) {
  for (const int size :
       {30000, 16385, -1, -5, 65536, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()}) {
    for (const bool swapped : {false, true}) {
      const test::TemporaryDirectory directory;
      const std::string path = directory.write("frame%d.mar2300", mar345::header({true, swapped}, size, 0));
      const Image image = read_path(path);
      EXPECT_EQ(image.result, 0);
      EXPECT_EQ(image.printed, cannot_allocate(size, size, path));
      EXPECT_FALSE(image.allocated);
      EXPECT_EQ(image.x, -11);
      EXPECT_EQ(image.y, -22);
    }
  }
}

TEST(NewReadPck, SizeOfZeroIsAnEmptyImage) {
  for (const bool swapped : {false, true}) {
    const std::string bytes = mar345::header({true, swapped}, 0, 1) + mar345::overflow_table({{1, 5}}, swapped);
    const Image image = read_bytes(bytes + naive::pack(Pixels(4), 2, 2));
    EXPECT_EQ(image.result, 1);
    EXPECT_EQ(image.printed, "");
    EXPECT_TRUE(image.allocated);
    EXPECT_EQ(image.x, 0);
    EXPECT_EQ(image.y, 0);
  }
}

TEST(NewReadPck, FilesThatAreNoFramesAreReportedAndTakenAsTheyStand) {
  const test::TemporaryDirectory directory;
  for (const std::string& path : {directory.write("empty", ""), directory.path("")}) {
    const Image image = read_path(path);
    EXPECT_EQ(image.printed, std::string(kCannotRead) + kWrongHeader) << path;
    EXPECT_EQ(image.result, 1);
    EXPECT_TRUE(image.allocated);
    EXPECT_EQ(image.x, 0);
    EXPECT_EQ(image.y, 0);
  }
  // "some" in the other byte order is 0x736f6d65 = 1936682341.
  const std::string path = directory.write("text", "some text that is no frame, in more than forty bytes");
  const Image image = read_path(path);
  EXPECT_EQ(image.result, 0);
  EXPECT_EQ(image.printed, kWrongHeader + cannot_allocate(1936682341, 1936682341, path));
}

TEST(NewReadPck, FramesCutAtAnyLengthAreRead) {
  Frame frame = plain_frame({true, false});
  frame.records = {{5, 70000}};
  const std::string bytes = frame.bytes();
  for (std::size_t length = 0; length <= bytes.size(); length += length < 4090 ? 41 : 1) {
    const Image image = read_bytes(bytes.substr(0, length));
    EXPECT_EQ(image.result, 1) << length;
    EXPECT_EQ(image.pixels.size(), length == 0 ? 0U : 16U) << length;
    std::string expected;
    if (length == 0) {
      expected = std::string(kCannotRead) + kWrongHeader;
    } else if (length < 4096 + 8) {
      expected = missing_record(2);
    }
    EXPECT_EQ(image.printed, expected) << length;
  }
  EXPECT_EQ(read_bytes(bytes).pixels, mar345::expected_pixels(frame));
}

TEST(NewReadPck, StreamStaysOpenOnce) {
  const test::TemporaryDirectory directory;
  const std::string path = directory.write("frame", plain_frame({true, false}).bytes());
  const std::size_t before = test::open_descriptors();
  read_path(path);
  EXPECT_EQ(test::open_descriptors(), before + 1);
  read_path(path);
  EXPECT_EQ(test::open_descriptors(), before + 2);
  read_path("/nonexistent/frame");
  EXPECT_EQ(test::open_descriptors(), before + 2);
}

TEST(NewReadPckDeathTest, RunningOutOfMemoryIsAnAssertionFailure) {
  const test::TemporaryDirectory directory;
  // 16000 x 16000 pixels of 4 bytes are within what a size may be, but not within the memory left here.
  const std::string path = directory.write("frame", mar345::header({true, false}, 16000, 0));
  unsigned* daten = nullptr;
  int x = 0;
  int y = 0;
  EXPECT_EXIT(
      {
        test::limit_memory();
        new_read_pck(path.c_str(), &daten, &x, &y);
      },
      testing::KilledBySignal(SIGABRT),
      "pck_format:156: new_read_pck: Assertion "
      "`\\(\\*Daten\\)=\\(unsigned int\\*\\) malloc\\(sizeof\\(unsigned int\\)\\*\\*x\\*\\*y\\)' failed");
}

// --- gethead -------------------------------------------------------------------------------------------------------

namespace {

struct Head {
  int result = -99;
  int new_layout = -99;
  int size = -99;
  int swapped = -99;
  int overflow_count = -99;
  long position = -99;
  std::string printed;
};

Head head_of(const std::string& bytes) {
  const auto stream = test::stream_of(bytes);
  Head head;
  const auto output = test::capture(
      [&] { head.result = gethead(&head.new_layout, stream.get(), &head.size, &head.swapped, &head.overflow_count); });
  EXPECT_EQ(output.err, "");
  head.printed = output.out;
  head.position = std::ftell(stream.get());
  return head;
}

// An older header whose first word is `first` in the given byte order.
Head older_head(int first, bool swapped) {
  return head_of(mar345::header_words({false, swapped}, first, 12));
}

}  // namespace

TEST(Gethead, NewerLayout) {
  for (const bool swapped : {false, true}) {
    const Head head = head_of(mar345::header_words({true, swapped}, 2300, 17));
    EXPECT_EQ(head.result, 0);
    EXPECT_EQ(head.new_layout, 1);
    EXPECT_EQ(head.size, 2300);
    EXPECT_EQ(head.swapped, swapped ? 1 : 0);
    EXPECT_EQ(head.overflow_count, 17);
    EXPECT_EQ(head.position, 4096);
    EXPECT_EQ(head.printed, "");
  }
}

TEST(Gethead, OlderLayout) {
  for (const bool swapped : {false, true}) {
    const Head head = older_head(1200, swapped);
    EXPECT_EQ(head.result, 0);
    EXPECT_EQ(head.new_layout, 0);
    EXPECT_EQ(head.size, 1200);
    EXPECT_EQ(head.swapped, swapped ? 1 : 0);
    EXPECT_EQ(head.overflow_count, 12);
    EXPECT_EQ(head.position, 2400);
    EXPECT_EQ(head.printed, "");
  }
}

TEST(Gethead, HostOrderIsTakenFrom101To4999) {
  for (const int first : {101, 102, 1233, 1235, 4999}) {
    const Head head = older_head(first, false);
    EXPECT_EQ(head.swapped, 0) << first;
    EXPECT_EQ(head.size, first);
    EXPECT_EQ(head.position, 2L * first);
    EXPECT_EQ(head.printed, "");
  }
}

TEST(Gethead, OtherWordsOfTheHostsOrderAreReversedAndReported) {
  // The limits themselves, which the check below would accept, included. 99, 100, 5000 and 5001 backwards:
  const std::vector<std::pair<int, std::uint32_t>> reversed{
      {99, 0x63000000U}, {100, 0x64000000U}, {5000, 0x88130000U}, {5001, 0x89130000U}, {0, 0U}, {-1, 0xFFFFFFFFU}};
  for (const auto& [first, value] : reversed) {
    const Head head = older_head(first, false);
    EXPECT_EQ(head.swapped, 1) << first;
    EXPECT_EQ(head.printed, kWrongHeader) << first;
    EXPECT_EQ(static_cast<std::uint32_t>(head.size), value) << first;
    EXPECT_EQ(head.overflow_count, 12 << 24) << first;
    EXPECT_EQ(head.new_layout, 0);
  }
}

TEST(Gethead, OtherOrderIsAcceptedFrom100To5000) {
  for (const int first : {100, 101, 4999, 5000}) {
    const Head head = older_head(first, true);
    EXPECT_EQ(head.swapped, 1) << first;
    EXPECT_EQ(head.printed, "") << first;
    EXPECT_EQ(head.size, first);
    EXPECT_EQ(head.result, 0);
    EXPECT_EQ(head.position, 2L * first);
  }
  for (const int first : {99, 5001}) {
    const Head head = older_head(first, true);
    EXPECT_EQ(head.swapped, 1) << first;
    EXPECT_EQ(head.printed, kWrongHeader) << first;
    EXPECT_EQ(head.size, first);
    EXPECT_EQ(head.overflow_count, 12);
    EXPECT_EQ(head.position, 2L * first);
  }
}

TEST(Gethead, ResultIsThatOfTheSeek) {
  EXPECT_EQ(older_head(0, false).result, 0);
  // 2 x -1 is no place in a file.
  EXPECT_EQ(older_head(-1, false).result, -1);
  // Nor is there one in a pipe.
  const auto pipe = test::pipe_of(mar345::header_words({true, false}, 5, 0));
  Head head;
  EXPECT_EQ(gethead(&head.new_layout, pipe.get(), &head.size, &head.swapped, &head.overflow_count), -1);
  EXPECT_EQ(head.size, 5);
}

TEST(Gethead, MissingWordsAreReportedAndCountAsZero) {
  const std::string newer = mar345::header_words({true, false}, 5, 3);
  for (std::size_t words = 1; words < 10; ++words) {
    const Head head = head_of(newer.substr(0, 4 * words));
    EXPECT_EQ(head.printed, kCannotRead) << words;
    EXPECT_EQ(head.new_layout, 1);
    EXPECT_EQ(head.size, words >= 2 ? 5 : 0);
    EXPECT_EQ(head.overflow_count, words >= 3 ? 3 : 0);
    EXPECT_EQ(head.result, 0);
    EXPECT_EQ(head.position, 4096);
  }
  EXPECT_EQ(head_of(newer.substr(0, 39)).printed, kCannotRead);
  const std::string older = mar345::header_words({false, true}, 300, 3);
  EXPECT_EQ(head_of(older.substr(0, 16)).overflow_count, 0);
  EXPECT_EQ(head_of(older.substr(0, 20)).overflow_count, 3);
}

TEST(Gethead, NothingToReadIsBothErrors) {
  const Head head = head_of("");
  EXPECT_EQ(head.printed, std::string(kCannotRead) + kWrongHeader);
  EXPECT_EQ(head.size, 0);
  EXPECT_EQ(head.overflow_count, 0);
  EXPECT_EQ(head.swapped, 1);
  EXPECT_EQ(head.new_layout, 0);
  EXPECT_EQ(head.position, 0);
}

// --- int_getpck ----------------------------------------------------------------------------------------------------

namespace {

// A call of int_getpck with a packed image and a stream of overflow records of its own.
struct Merge {
  Layout layout{true, false};
  int width = 0;
  int height = 0;
  int limit = 0;
  Pixels pixels;
  std::string table;
  int overflow_count = 0;
  short unused1 = 0;
  int unused2 = 0;
};

struct Merged {
  std::vector<int> image;
  std::array<int, 2> record{-77, -78};
  long position = 0;
  std::string printed;
};

// The record table stands behind as many bytes as the layout's header has.
Merged run(const Merge& merge) {
  const test::TemporaryDirectory directory;
  const std::string path = directory.write("packed", naive::pack(merge.pixels, merge.width, merge.height));
  const int header_size = merge.layout.new_layout ? 4096 : merge.width + merge.height;
  const auto stream = test::stream_of(std::string(static_cast<std::size_t>(header_size), 'h') + merge.table);
  Merged merged;
  merged.image.assign(naive::pixel_count(merge.width, merge.height), -99);
  const auto output = test::capture([&] {
    int_getpck(merged.image.data(), merged.record.data(), merge.unused1, merge.unused2, path.c_str(),
               merge.layout.new_layout ? 1 : 0, stream.get(), merge.width, merge.height, merge.overflow_count,
               merge.layout.swapped ? 1 : 0, merge.limit);
  });
  EXPECT_EQ(output.err, "");
  merged.printed = output.out;
  merged.position = std::ftell(stream.get());
  return merged;
}

// 4 x 3 pixels of 9 with these records.
Merge small_merge(Layout layout, const std::vector<OverflowRecord>& records) {
  Merge merge{layout, 4, 3, 1000, Pixels(12, 9), mar345::overflow_table(records, layout.swapped)};
  merge.overflow_count = static_cast<int>(records.size());
  return merge;
}

}  // namespace

TEST(IntGetpck, PixelsFromTheLimitOnAreMinusOne) {
  const Merge merge{{true, false}, 5, 1, 40000, {0, 1, as_pixel(39999), as_pixel(40000), as_pixel(65535)}, ""};
  EXPECT_EQ(run(merge).image, (std::vector<int>{0, 1, 39999, -1, -1}));
}

TEST(IntGetpck, RecordsAreMergedAndTheLastOneIsLeft) {
  for (const Layout layout : mar345::kLayouts) {
    const Merged merged = run(small_merge(layout, {{2, 500}, {3, -7}, {6, 999}}));
    std::vector<int> expected(12, 9);
    // 6 in the older layout: 6 / 4 * 4 + 6 % 3 - 1 = 3, as the row is found by the width and the column by the height.
    expected[layout.new_layout ? 2 : 1] = 500;
    expected[layout.new_layout ? 3 : 0] = -7;
    expected[layout.new_layout ? 6 : 3] = 999;
    if (!layout.new_layout) {
      // 3 / 4 * 4 + 3 % 3 - 1 = -1: nowhere.
      expected[0] = 9;
    }
    EXPECT_EQ(merged.image, expected);
    EXPECT_EQ(merged.record, (std::array<int, 2>{6, 999}));
    EXPECT_EQ(merged.position, (layout.new_layout ? 4096 : 7) + 24);
    EXPECT_EQ(merged.printed, "");
  }
}

TEST(IntGetpck, RecordShowsMinusOneForValuesFromTheLimitOn) {
  for (const Layout layout : mar345::kLayouts) {
    EXPECT_EQ(run(small_merge(layout, {{2, 1000}})).record, (std::array<int, 2>{2, -1}));
    EXPECT_EQ(run(small_merge(layout, {{2, 999}})).record, (std::array<int, 2>{2, 999}));
    EXPECT_EQ(run(small_merge(layout, {{2, -5}})).record, (std::array<int, 2>{2, -5}));
    // Behind the image, too; but a position without meaning ends the record's treatment.
    EXPECT_EQ(run(small_merge(layout, {{13, 1000}})).record, (std::array<int, 2>{13, -1}));
    EXPECT_EQ(run(small_merge(layout, {{0, 1000}})).record, (std::array<int, 2>{0, 1000}));
    EXPECT_EQ(run(small_merge(layout, {{-3, 1000}})).record, (std::array<int, 2>{-3, 1000}));
    EXPECT_EQ(run(small_merge(layout, {})).record, (std::array<int, 2>{-77, -78}));
  }
}

TEST(IntGetpck, StreamStandsBehindTheLastRecordRead) {
  for (const Layout layout : mar345::kLayouts) {
    const long begin = layout.new_layout ? 4096 : 7;
    Merge merge = small_merge(layout, {{2, 5}, {3, 5}});
    merge.table += "behind";
    EXPECT_EQ(run(merge).position, begin + 16);
    merge.overflow_count = 0;
    EXPECT_EQ(run(merge).position, begin);
    merge.overflow_count = -4;
    EXPECT_EQ(run(merge).position, begin);
    merge.overflow_count = 3;
    EXPECT_EQ(run(merge).position, begin + 22);
  }
}

TEST(IntGetpck, MissingRecordIsNamedByItsNumberPlusOne) {
  for (const Layout layout : mar345::kLayouts) {
    Merge merge = small_merge(layout, {{2, 500}, {5, 600}});
    merge.overflow_count = 10;
    const Merged merged = run(merge);
    EXPECT_EQ(merged.printed, missing_record(4));
    EXPECT_EQ(merged.record, (std::array<int, 2>{5, 600}));
    EXPECT_EQ(merged.image[layout.new_layout ? 2 : 1], 500);
  }
}

TEST(IntGetpck, WordOfAHalfRecordIsLeftAsItWasRead) {
  for (const Layout layout : mar345::kLayouts) {
    Merge merge = small_merge(layout, {{2, 500}});
    merge.table += test::little32(0x01020304);
    merge.overflow_count = 2;
    const Merged merged = run(merge);
    EXPECT_EQ(merged.printed, missing_record(3));
    EXPECT_EQ(merged.record, (std::array<int, 2>{0x01020304, 500}));
    EXPECT_EQ(merged.position, (layout.new_layout ? 4096 : 7) + 12);
  }
}

TEST(IntGetpck, RandomSizes) {
  naive::Random random(45);
  for (int round = 0; round < 300; ++round) {
    const Layout layout = mar345::kLayouts[static_cast<std::size_t>(round % 4)];
    Merge merge;
    merge.layout = layout;
    merge.width = naive::random_number(random, 2, 30);
    merge.height = naive::random_number(random, 1, 30);
    merge.limit = naive::random_number(random, 0, 70000);
    merge.pixels = naive::random_image(random, merge.width, merge.height);
    std::vector<OverflowRecord> records(static_cast<std::size_t>(naive::random_number(random, 0, 50)));
    for (auto& [position, value] : records) {
      position = naive::random_number(random, -2, merge.width * merge.height + 3);
      value = naive::random_number(random, -5, 80000);
    }
    merge.table = mar345::overflow_table(records, layout.swapped);
    merge.overflow_count = static_cast<int>(records.size());
    const Merged merged = run(merge);
    ASSERT_EQ(merged.image,
              mar345::merged(merge.pixels, records, layout.new_layout, merge.width, merge.height, merge.limit));
    ASSERT_EQ(merged.printed, "");
  }
}

TEST(IntGetpck, ThousandsOfRecordsAreMergedAndNoByteMoreIsRead) {
  naive::Random random(46);
  for (const int count : {255, 256, 257, 511, 512, 513, 1023, 1024, 1025, 5000}) {
    Merge merge{{true, false}, 80, 70, 256000, naive::filled(80, 70, 9), ""};
    std::vector<OverflowRecord> records(static_cast<std::size_t>(count));
    for (auto& [position, value] : records) {
      position = naive::random_number(random, 1, 80 * 70 - 1);
      value = naive::random_number(random, 65536, 300000);
    }
    merge.table = mar345::overflow_table(records, false) + "behind";
    merge.overflow_count = count;
    const std::vector<int> expected = mar345::merged(merge.pixels, records, true, 80, 70, 256000);
    const Merged all = run(merge);
    EXPECT_EQ(all.image, expected) << count;
    EXPECT_EQ(all.position, 4096 + 8L * count);
    EXPECT_EQ(all.printed, "");
    // "behind" is no whole record.
    merge.overflow_count = count + 1;
    const Merged missing = run(merge);
    EXPECT_EQ(missing.image, expected) << count;
    EXPECT_EQ(missing.printed, missing_record(count + 2));
  }
}

TEST(IntGetpck, UnusedArgumentsHaveNoEffect) {
  Merge merge = small_merge({true, false}, {{2, 500}});
  const Merged before = run(merge);
  merge.unused1 = -1;
  merge.unused2 = 12345;
  const Merged after = run(merge);
  EXPECT_EQ(after.image, before.image);
  EXPECT_EQ(after.record, before.record);
  EXPECT_EQ(after.position, before.position);
}

TEST(IntGetpck, EmptyImagesTakeTheRecordsAllTheSame) {
  for (const Layout layout : mar345::kLayouts) {
    for (const auto& [width, height] : {std::pair(0, 5), std::pair(5, 0), std::pair(0, 0)}) {
      Merge merge = small_merge(layout, {{1, 5}, {2, 7}});
      merge.width = width;
      merge.height = height;
      merge.pixels.clear();
      const Merged merged = run(merge);
      EXPECT_EQ(merged.record, (std::array<int, 2>{2, 7}));
      EXPECT_EQ(merged.printed, "");
      EXPECT_EQ(merged.position, (layout.new_layout ? 4096 : width + height) + 16);
    }
  }
}

TEST(IntGetpck, SizesThatCannotBeLeaveTheImage) {
  for (const auto& [width, height] : {std::pair(30000, 30000), std::pair(-1, 5), std::pair(5, -1), std::pair(-2, -2)}) {
    const auto stream = test::stream_of(std::string(5000, '\1'));
    std::array<int, 2> image{-99, -98};
    std::array<int, 2> record{0, 0};
    const std::string path = "/nonexistent/packed";
    const auto output = test::capture([&, w = width, h = height] {
      int_getpck(image.data(), record.data(), 0, 0, path.c_str(), 1, stream.get(), w, h, 0, 0, 256000);
    });
    EXPECT_EQ(output.out, cannot_allocate(width, height, path));
    EXPECT_EQ(image, (std::array<int, 2>{-99, -98}));
  }
}

TEST(IntGetpck, MissingPackedFileIsReportedAndCountsAsZeros) {
  const std::string table = mar345::overflow_table({{1, 500}}, false);
  const auto stream = test::stream_of(std::string(4096, 'h') + table);
  std::array<int, 4> image{1, 1, 1, 1};
  std::array<int, 2> record{0, 0};
  const auto output = test::capture([&] {
    int_getpck(image.data(), record.data(), 0, 0, "/nonexistent/packed", 1, stream.get(), 2, 2, 1, 0, 256000);
  });
  EXPECT_EQ(output.out, "ERROR> /nonexistent/packed does not exist.");
  EXPECT_EQ(image, (std::array<int, 4>{0, 500, 0, 0}));
}

TEST(IntGetpck, OpensNothingForGood) {
  const std::size_t before = test::open_descriptors();
  run(small_merge({true, false}, {{2, 500}}));
  EXPECT_EQ(test::open_descriptors(), before);
}

TEST(NewReadPck, ImagesOfOneColumnAreDecodedOverZeros) {
  // Their predictions take in pixels that are not decoded yet.
  naive::Random random(151);
  const Pixels column = naive::random_image(random, 1, 30);
  const std::string packed = naive::pack(column, 1, 30);
  const test::TemporaryDirectory directory;
  std::vector<short> over_zeros(30);
  readpack_word_c(over_zeros.data(), directory.write("column", packed).c_str());

  std::string bytes = Frame{{true, false}, 6, {}, naive::filled(6, 6, 1)}.bytes();
  bytes.replace(4096, std::string::npos, packed);
  std::vector<unsigned> expected(36);
  std::ranges::transform(over_zeros, expected.begin(), [](short word) { return static_cast<std::uint16_t>(word); });
  EXPECT_EQ(pixels_of(bytes, 6), expected);
}
