#include <string>
#include <utility>

#include "tests/environment.h"
#include "tests/formats/impossible_sizes.h"
#include "tests/formats/naive_headers.h"
#include "xrdimage.h"

namespace {

constexpr std::size_t kHeaderSize = 7680;
const std::string kEnd = "ENDING2: 1";

// A record of 80 bytes.
std::string record(std::string text) {
  text.resize(80, ' ');
  return text;
}

// The records, filled up with blank ones to a header's 7680 bytes.
std::string header_of(const std::vector<std::string>& records) {
  std::string header;
  for (const std::string& text : records) header += record(text);
  header.resize(kHeaderSize, ' ');
  return header;
}

std::string kibibytes(int count) {
  return "# " + std::to_string(count) + " kB f\xFCr Daten bereitgestellt\n";
}

// What read_saint_header handed out.
struct Header {
  int columns = 501;
  int rows = 502;
  int result = -1;
  std::string rest;  // what the stream holds behind the header
};

Header read_header(std::FILE* stream) {
  Header header;
  const auto output = test::capture([&] { header.result = read_saint_header(stream, &header.columns, &header.rows); });
  EXPECT_EQ(output.out, "");
  EXPECT_EQ(output.err, "");
  for (int byte = std::fgetc(stream); byte != EOF; byte = std::fgetc(stream)) header.rest += static_cast<char>(byte);
  return header;
}

Header read_header(const std::string& bytes) {
  return read_header(test::stream_of(bytes).get());
}

// The columns that a header of this record and the end gives.
int columns_of(const std::string& text) {
  return read_header(header_of({text, kEnd})).columns;
}

// What read_saint printed and handed out. Unless a test says otherwise the caller brings a size of 3 x 2.
struct Frame {
  int width = 3;
  int height = 2;
  int result = -1;
  bool allocated = false;
  std::vector<unsigned int> pixels;
  std::string text;   // on standard output
  int left_open = 0;  // descriptors
};

void read_into(Frame& frame, const std::string& path) {
  unsigned int untouched = 0;
  unsigned int* daten = &untouched;
  frame.left_open = test::descriptors_left_open(
      [&] { frame.result = read_saint(path.c_str(), &daten, &frame.width, &frame.height); });
  frame.allocated = daten != &untouched;
  if (!frame.allocated) return;
  const auto pixels = test::own(daten);
  const std::size_t count = static_cast<std::size_t>(frame.width) * static_cast<std::size_t>(frame.height);
  frame.pixels.assign(pixels.get(), pixels.get() + count);
}

Frame read_path(const std::string& path) {
  Frame frame;
  test::Output output = test::capture([&] { read_into(frame, path); });
  EXPECT_EQ(output.err, "");
  frame.text = std::move(output.out);
  return frame;
}

Frame read_bytes(const std::string& bytes) {
  const test::TemporaryDirectory directory;
  return read_path(directory.write("frame.001", bytes));
}

using Pixels = std::vector<unsigned int>;

}  // namespace

TEST(SaintHeader, ColumnsAndRowsAreHandedOut) {
  const Header header =
      read_header(header_of({"FORMAT :  86", "VERSION:  9", "CREATED: 12-JAN-2004   10:11:12", "NROWS  : 512",
                             "NCOLS  : 1024", "START  : 30.5", "INCREME: 0.3", "DISTANC: 5.0",
                             "WAVELEN: 0.71073 0.71073 0.71359", "ELAPSDR: 10.0", "ENDING2: 1.0 2.0 3.0 4.0"}) +
                  "pixels");
  EXPECT_EQ(header.result, 0);
  EXPECT_EQ(header.columns, 1024);
  EXPECT_EQ(header.rows, 512);
  EXPECT_EQ(header.rest, "pixels");
}

TEST(SaintHeader, MissingRecordsLeaveTheOutputs) {
  const Header header = read_header(header_of({"FORMAT :  86", kEnd}));
  EXPECT_EQ(std::pair(header.columns, header.rows), std::pair(501, 502));
  EXPECT_EQ(read_header(header_of({"NCOLS  : 4", kEnd})).rows, 502);
  EXPECT_EQ(read_header(header_of({"NROWS  : 4", kEnd})).columns, 501);
}

TEST(SaintHeader, RepeatedRecordKeepsItsLastValue) {
  const Header header = read_header(header_of({"NCOLS  : 1", "NROWS  : 2", "NCOLS  : 3", "NROWS  : 4", kEnd}));
  EXPECT_EQ(std::pair(header.columns, header.rows), std::pair(3, 4));
}

TEST(SaintHeader, BlanksBetweenKeyColonAndValueMayBeAnyNumber) {
  EXPECT_EQ(columns_of("NCOLS  : 1024"), 1024);
  EXPECT_EQ(columns_of("NCOLS  :1024"), 1024);
  EXPECT_EQ(columns_of("NCOLS : 1024"), 1024);
  EXPECT_EQ(columns_of("NCOLS: 1024"), 1024);
  EXPECT_EQ(columns_of("NCOLS:1024"), 1024);
  EXPECT_EQ(columns_of("NCOLS \t \n :\t  1024"), 1024);
  EXPECT_EQ(columns_of("NCOLS          :         1024"), 1024);
}

TEST(SaintHeader, KeyMustBeginItsRecordExactly) {
  EXPECT_EQ(columns_of(" NCOLS  : 1024"), 501);
  EXPECT_EQ(columns_of("ncols  : 1024"), 501);
  EXPECT_EQ(columns_of("NCOLSX : 1024"), 501);
  EXPECT_EQ(columns_of("NCOL S : 1024"), 501);
  EXPECT_EQ(columns_of("NCOLS  = 1024"), 501);
  EXPECT_EQ(columns_of("NCOLS  ; 1024"), 501);
}

TEST(SaintHeader, ValueMustConvert) {
  EXPECT_EQ(columns_of("NCOLS  : x"), 501);
  EXPECT_EQ(columns_of("NCOLS  :"), 501);
  EXPECT_EQ(columns_of("NCOLS  : -7 0"), -7);
  EXPECT_EQ(columns_of("NCOLS  : 12.75"), 12);
  EXPECT_EQ(columns_of("NCOLS  : 12columns"), 12);
  EXPECT_EQ(columns_of("NCOLS  : +012"), 12);
}

TEST(SaintHeader, TextEndsWithItsRecord) {
  // The value is cut at the record's end, and the digits that follow begin a record of their own.
  EXPECT_EQ(read_header(header_of({"NCOLS  :" + std::string(70, ' ') + "12", "34", kEnd})).columns, 12);
  EXPECT_EQ(read_header(header_of({"NCOLS  :", "34", kEnd})).columns, 501);
  // A key that begins within a record is none.
  EXPECT_EQ(read_header(header_of({std::string(79, ' ') + "N", "COLS  : 5", kEnd})).columns, 501);
  EXPECT_EQ(columns_of(std::string("NCOLS  : 1\0002", 12)), 1);
  EXPECT_EQ(columns_of(std::string("NCOLS  : \0002", 11)), 501);
}

TEST(SaintHeader, RecordsBehindTheEndAreNotRead) {
  const Header header = read_header(header_of({"NCOLS  : 5", kEnd, "NCOLS  : 6", "NROWS  : 7"}) + "pixels");
  EXPECT_EQ(std::pair(header.columns, header.rows), std::pair(5, 502));
  EXPECT_EQ(header.rest, "pixels");
}

TEST(SaintHeader, EndNeedsItsNumberAndMayStandBehindBlanks) {
  const auto ends = [](const std::string& text) {
    const Header header = read_header(header_of({text, "NCOLS  : 5"}) + record(kEnd) + "pixels");
    EXPECT_TRUE(header.columns == 5 || header.columns == 501);
    return header.columns == 501;
  };
  EXPECT_TRUE(ends("ENDING2: 1"));
  EXPECT_TRUE(ends("ENDING2:1"));
  EXPECT_TRUE(ends("ENDING2:-.5e3 more"));
  EXPECT_TRUE(ends("   ENDING2: 0"));
  EXPECT_TRUE(ends("  \t      ENDING2:    0"));
  EXPECT_FALSE(ends("ENDING2:"));
  EXPECT_FALSE(ends("ENDING2: end"));
  EXPECT_FALSE(ends("ENDING2 : 1"));
  EXPECT_FALSE(ends("ENDING : 1"));
  EXPECT_FALSE(ends("ENDING1: 1"));
  EXPECT_FALSE(ends("xENDING2: 1"));
}

TEST(SaintHeader, StreamIsLeftBehind7680BytesWhereverTheEndStands) {
  for (const std::size_t number : {1U, 2U, 50U, 90U, 95U, 96U}) {
    std::vector<std::string> records(number, "FILLER : 1");
    records.back() = kEnd;
    EXPECT_EQ(read_header(header_of(records) + "pixels").rest, "pixels") << number;
  }
}

TEST(SaintHeader, HeaderLengthIsFixedWhateverTheHeaderSays) {
  EXPECT_EQ(read_header(header_of({"HDRBLKS: 10", "NCOLS  : 5", kEnd}) + "pixels").rest, "pixels");
}

TEST(SaintHeader, IsReadFromAPipeWithoutAByteTooMuch) {
  const test::Stream pipe = test::pipe_of(header_of({"NCOLS  : 5", "NROWS  : 6", kEnd}) + "pixels");
  const Header header = read_header(pipe.get());
  EXPECT_EQ(std::pair(header.columns, header.rows), std::pair(5, 6));
  EXPECT_EQ(header.rest, "pixels");
}

TEST(SaintHeader, HeaderWithoutEndGoesOnToTheEndOfTheFile) {
  const Header header = read_header(header_of({"NROWS  : 6"}) + record("NCOLS  : 5") + "pixels");
  EXPECT_EQ(std::pair(header.columns, header.rows), std::pair(5, 6));
  EXPECT_EQ(header.rest, "");
  EXPECT_EQ(read_header(record("NCOLS  : 7")).columns, 7);
  EXPECT_EQ(read_header(record("NCOLS  : 7") + "x").columns, 7);
  EXPECT_EQ(read_header("").columns, 501);
}

TEST(SaintHeader, NothingIsSkippedBehindAnEndThatComesLate) {
  const std::string pixels(20000, '\5');
  EXPECT_EQ(read_header(header_of({}) + record(kEnd) + pixels).rest, pixels);
}

TEST(SaintHeader, FileThatIsShorterThanItsHeaderHasNothingBehindIt) {
  const Header header = read_header(record("NCOLS  : 7") + record(kEnd) + record("NCOLS  : 8"));
  EXPECT_EQ(header.columns, 7);
  EXPECT_EQ(header.rest, "");
}

TEST(Saint, Reads16BitPixelsZeroExtended) {
  const Frame frame = read_bytes(header_of({"NROWS  : 3", "NCOLS  : 2", kEnd}) +
                                 std::string("\xFF\xFF\1\0\x34\x12\0\x80\0\0\xFF\x7F", 12));
  EXPECT_EQ(frame.result, 0);
  EXPECT_EQ(std::pair(frame.width, frame.height), std::pair(2, 3));
  EXPECT_EQ(frame.pixels, (Pixels{65535, 1, 0x1234, 32768, 0, 32767}));
  EXPECT_EQ(frame.text, kibibytes(0));
}

TEST(Saint, EndInRecord90IsFollowedBy480BytesToSkip) {
  std::string header;
  for (int number = 1; number < 90; ++number) header += record(number == 40 ? "NCOLS  : 2" : "FILLER : 1");
  header += record(kEnd) + std::string(480, '\x55');
  EXPECT_EQ(read_bytes(header + std::string("\1\0\2\0\3\0\4\0", 8)).pixels, (Pixels{1, 2, 3, 4}));
}

TEST(Saint, MissingSizeIsTheCallers) {
  const std::string pixels("\1\0\2\0\3\0\4\0\5\0\6\0", 12);
  EXPECT_EQ(read_bytes(header_of({kEnd}) + pixels).pixels, (Pixels{1, 2, 3, 4, 5, 6}));
  const Frame narrow = read_bytes(header_of({"NCOLS  : 1", kEnd}) + pixels);
  EXPECT_EQ(std::pair(narrow.width, narrow.height), std::pair(1, 2));
  EXPECT_EQ(narrow.pixels, (Pixels{1, 2}));
  const Frame flat = read_bytes(header_of({"NROWS  : 1", kEnd}) + pixels);
  EXPECT_EQ(std::pair(flat.width, flat.height), std::pair(3, 1));
  EXPECT_EQ(flat.pixels, (Pixels{1, 2, 3}));
}

TEST(Saint, ArraySizeIsPrintedInWholeKibibytes) {
  const auto text = [](const std::string& rows) {
    return read_bytes(header_of({"NCOLS  : 16", "NROWS  : " + rows, kEnd})).text;
  };
  EXPECT_EQ(text("15"), kibibytes(0));  // 960 bytes
  EXPECT_EQ(text("16"), kibibytes(1));  // 1024
  EXPECT_EQ(text("47"), kibibytes(2));  // 3008
  EXPECT_EQ(text("1600"), kibibytes(100));
}

TEST(Saint, LargeFrameIsReadWhole) {
  test::Random random(5);
  const std::string bytes = test::random_bytes(random, std::size_t{301} * 211 * 2);
  const Frame frame = read_bytes(header_of({"NCOLS  : 301", "NROWS  : 211", kEnd}) + bytes + "overflow table");
  ASSERT_EQ(frame.pixels.size(), std::size_t{301} * 211);
  std::string low;
  for (const unsigned int pixel : frame.pixels) {
    EXPECT_LT(pixel, 65536U);
    low += test::little16(pixel);
  }
  EXPECT_TRUE(low == bytes);
}

TEST(Saint, ShortDataAreFilledUpWithZeros) {
  const std::string header = header_of({kEnd});
  EXPECT_EQ(read_bytes(header + std::string("\1\0\2\0", 4)).pixels, (Pixels{1, 2, 0, 0, 0, 0}));
  EXPECT_EQ(read_bytes(header).pixels, Pixels(6, 0));
  EXPECT_EQ(read_bytes(header.substr(0, 200)).pixels, Pixels(6, 0));
}

TEST(Saint, HalfAPixelAtTheEndIsZeroOrItsOneByte) {
  const Pixels pixels = read_bytes(header_of({kEnd}) + std::string("\1\0\7", 3)).pixels;
  EXPECT_TRUE(pixels == (Pixels{1, 0, 0, 0, 0, 0}) || pixels == (Pixels{1, 7, 0, 0, 0, 0}));
}

TEST(Saint, HeaderWithoutEndLeavesNoPixels) {
  const Frame frame = read_bytes(header_of({"NCOLS  : 2", "NROWS  : 2"}) + "ABCDEFGH");
  EXPECT_EQ(frame.pixels, Pixels(4, 0));
  EXPECT_EQ(frame.text, kibibytes(0));
}

TEST(Saint, EmptyImageIsAnImage) {
  const Frame frame = read_bytes(header_of({"NCOLS  : 0", "NROWS  : 7", kEnd}) + "ABCD");
  EXPECT_TRUE(frame.allocated);
  EXPECT_EQ(frame.text, kibibytes(0));
  EXPECT_EQ(std::pair(frame.width, frame.height), std::pair(0, 7));
}

TEST(Saint, LeavesItsStreamOpen) {
  const std::string header = header_of({kEnd});
  for (const std::string& bytes : {header + "ABCDEFGHIJKL", header, header_of({}), std::string()}) {
    EXPECT_EQ(read_bytes(bytes).left_open, 1);
  }
}

TEST(Saint, OpenFailureIsReportedAndLeavesTheOutputs) {
  const Frame frame = read_path("/nonexistent/%d%s.001");
  EXPECT_EQ(frame.result, 0);
  EXPECT_EQ(frame.text, "# " PLAIN_ERROR " READING /nonexistent/%d%s.001\n");
  EXPECT_FALSE(frame.allocated);
  EXPECT_EQ(std::pair(frame.width, frame.height), std::pair(3, 2));
  EXPECT_EQ(frame.left_open, 0);
}

TEST(Saint, SizesThatCannotBeAreRefused) {
  const test::TemporaryDirectory directory;
  const auto refused = [&directory](int width, int height) {
    const std::string size[] = {std::to_string(width), std::to_string(height)};
    const std::string path =
        directory.write("frame.001", header_of({"NCOLS  : " + size[0], "NROWS  : " + size[1], kEnd}) + "ABCD");
    const Frame frame = read_path(path);
    EXPECT_EQ(frame.text,
              "# " PLAIN_ERROR " READING " + path + ": cannot allocate " + size[0] + " x " + size[1] + " pixels\n");
    EXPECT_EQ(frame.result, 0);
    EXPECT_FALSE(frame.allocated);
    EXPECT_EQ(std::pair(frame.width, frame.height), std::pair(3, 2));
    EXPECT_EQ(frame.left_open, 1);
  };
  for (const auto& [width, height] : test::kImpossibleSizes) refused(width, height);
}

TEST(Saint, AbsurdSizeTakesNoMemory) {
  const auto before = test::peak_memory_kib();
  const Frame frame = read_bytes(header_of({"NCOLS  : 100000", "NROWS  : 100000", kEnd}) + "ABCD");
  EXPECT_FALSE(frame.allocated);
  EXPECT_LT(test::peak_memory_kib() - before, 64 * 1024);
}

TEST(SaintDeathTest, ImageThatMemoryCannotHoldIsReported) {
  const test::TemporaryDirectory directory;
  const std::string path = directory.write("frame.001", header_of({"NCOLS  : 16384", "NROWS  : 16384", kEnd}));
  const auto read = [&path] {
    test::limit_memory();
    const Frame frame = read_path(path);
    const bool reported =
        frame.text == "# " PLAIN_ERROR " READING " + path + ": cannot allocate 16384 x 16384 pixels\n";
    std::exit(reported && !frame.allocated && frame.result == 0 ? 0 : 1);
  };
  EXPECT_EXIT(read(), testing::ExitedWithCode(0), "");
}

TEST(Saint, PathsThatHoldNothingGiveZeros) {
  const test::TemporaryDirectory directory;
  for (const std::string& path : test::non_images(directory)) {
    const Frame frame = read_path(path);
    EXPECT_EQ(frame.result, 0);
    EXPECT_EQ(frame.text, kibibytes(0)) << path;
    EXPECT_EQ(frame.pixels, Pixels(6, 0));
    EXPECT_EQ(frame.left_open, 1);
  }
}

namespace {

// What reading a header is to give, found out without the library. The file holds whole records.
Header expected_header(const std::string& file) {
  // The value's text, when the record has the key and a colon.
  const auto value_of = [](const std::string& text, std::string_view key) -> std::optional<std::string> {
    if (!text.starts_with(key)) return std::nullopt;
    const std::size_t colon = text.find_first_not_of(test::kBlanks, key.size());
    if (colon == std::string::npos || text[colon] != ':') return std::nullopt;
    return text.substr(colon + 1);
  };
  Header header;
  header.result = 0;
  for (std::size_t place = 0; place + 80 <= file.size(); place += 80) {
    const std::string whole = file.substr(place, 80);
    const std::string text = whole.substr(0, whole.find('\0'));
    if (const auto value = value_of(text, "NCOLS"))
      header.columns = test::whole_number(*value).value_or(header.columns);
    if (const auto value = value_of(text, "NROWS")) header.rows = test::whole_number(*value).value_or(header.rows);
    const std::size_t end = text.find_first_not_of(test::kBlanks);
    if (end == std::string::npos || !text.substr(end).starts_with("ENDING2:")) continue;
    if (!test::real_number(text.substr(end + 8))) continue;
    header.rest = file.size() < kHeaderSize ? "" : file.substr(kHeaderSize);
    return header;
  }
  return header;
}

constexpr auto kKeys = std::to_array<std::string_view>(
    {"CREATED:", "NCOLS  :", "NROWS  :", "NCOLS:", "NROWS :", "NCOLS\t:", "START  :", "INCREME:", "DISTANC:",
     "WAVELEN:", "ELAPSDR:", "FORMAT :", "NCOLS  ", "NROWS  : \n"});

std::string random_record(test::Random& random, bool last) {
  std::string text = last ? "ENDING2: " : test::random_of(random, kKeys);
  if (last && test::once_in(random, 3)) text.insert(0, test::random_below(random, 5), ' ');
  text += test::once_in(random, 4) ? test::random_of(random, test::kWords) : test::random_of(random, test::kNumbers);
  text.resize(80, test::once_in(random, 3) ? '\0' : ' ');
  if (test::once_in(random, 15)) text[test::random_below(random, 12)] = '\0';
  if (test::once_in(random, 15)) text.insert(0, 1, ' ').resize(80);
  if (test::once_in(random, 15)) text = text.substr(text.find(':') + 1) + text.substr(0, text.find(':') + 1);
  return text;
}

}  // namespace

TEST(SaintHeader, RandomHeadersReadAsByHand) {
  test::Random random(6);
  for (int round = 0; round < 3000; ++round) {
    std::string file;
    const std::size_t records = test::once_in(random, 8) ? test::random_below(random, 96) : 96;
    const std::size_t end = 1 + test::random_below(random, 110);
    for (std::size_t number = 0; number < records; ++number) file += random_record(random, number % end == end - 1);
    // Pixels that are no record, should the header lack its end.
    if (records == 96) file += std::string(std::size_t{80} * test::random_below(random, 3), '\7');
    const Header header = read_header(file);
    const Header expected = expected_header(file);
    EXPECT_EQ(header.result, expected.result);
    EXPECT_EQ(header.columns, expected.columns);
    EXPECT_EQ(header.rows, expected.rows);
    EXPECT_EQ(header.rest, expected.rest);
    if (testing::Test::HasFailure()) FAIL() << "round " << round << ", file:\n" << file;
  }
}

TEST(Saint, SurvivesDamagedFiles) {
  const test::TemporaryDirectory directory;
  const std::string header =
      header_of({"FORMAT :  86", "CREATED: 12-JAN-2004   10:11:12", "NROWS  : 10", "NCOLS  : 11", "START  : 30.5",
                 "INCREME: 0.3", "DISTANC: 5.0", "WAVELEN: 0.71073", "ELAPSDR: 10.0", "ENDING2: 1.0"});
  const auto read = [](const std::string& path) {
    Frame frame;
    read_into(frame, path);
    EXPECT_EQ(frame.result, 0);
    EXPECT_EQ(frame.left_open, 1);
  };
  int copies = 0;
  test::capture([&] {
    copies = test::read_damaged_copies(directory, header + std::string(220, '\7'), kHeaderSize, 1000, read);
    // The records that say something are few: change these, too.
    copies += test::read_damaged_copies(directory, header + std::string(220, '\7'), 800, 1000, read);
  });
  EXPECT_EQ(copies, 7681 + 801 + 2 * (100 + 1000));
}
