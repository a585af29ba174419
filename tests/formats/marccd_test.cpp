#include <tiffio.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cmath>
#include <csignal>
#include <cstring>
#include <limits>

#include "tests/damage.h"
#include "tests/environment.h"
#include "tests/formats/tiff_builder.h"
#include "xrdimage.h"

namespace {

using test::little16;
using test::raw;
using test::TiffBuilder;
using Pixels = std::vector<unsigned>;

constexpr std::size_t kPrefix = 4096;
const std::string kNotWhole = "Not read correctly! Abandoning.\n";

// Puts signed 32-bit numbers, least significant byte first, at their places in the file.
std::string with_header(std::string file, const std::map<std::size_t, std::int32_t>& values) {
  if (file.size() < kPrefix) file.resize(kPrefix);
  for (const auto& [offset, value] : values) {
    file.replace(offset, 4, test::little32(static_cast<std::uint32_t>(value)));
  }
  return file;
}

// A frame of 3 x 2 pixels: 0, 32767, 32768; 1, 40000, 65535.
std::string small_frame(const std::map<std::size_t, std::int32_t>& values = {}) {
  return with_header(TiffBuilder(3, 2)
                         .tag(test::kRowsPerStrip, 1)
                         .strips_at(kPrefix)
                         .strip(raw({0x00, 0x00, 0xFF, 0x7F, 0x00, 0x80}))
                         .strip(raw({0x01, 0x00, 0x40, 0x9C, 0xFF, 0xFF}))
                         .bytes(),
                     values);
}
const Pixels kSmallFrame = {0, 32767, 256001, 1, 256001, 256001};

// Records are filled with this byte before a call.
constexpr char kUnwritten = 0x5A;

template <typename T>
bool is_unwritten(const T& object) {
  const auto* bytes = reinterpret_cast<const char*>(&object);
  return std::all_of(bytes, bytes + sizeof object, [](char byte) { return byte == kUnwritten; });
}

struct HeaderReading {
  int result = -1;
  ImageInfo info;
  bool info_is_unwritten = false;
  std::string out;
};

HeaderReading read_header_uncaptured(const std::string& path) {
  HeaderReading reading;
  std::memset(&reading.info, kUnwritten, sizeof reading.info);
  reading.result = read_mar_ccd_header(path.c_str(), &reading.info);
  reading.info_is_unwritten = is_unwritten(reading.info);
  return reading;
}

HeaderReading read_header(const std::string& path) {
  HeaderReading reading;
  const test::Output output = test::capture([&] { reading = read_header_uncaptured(path); });
  reading.out = output.out;
  return reading;
}

ImageInfo header_of(const std::map<std::size_t, std::int32_t>& values) {
  const test::TemporaryDirectory directory;
  const HeaderReading reading = read_header(directory.write("frame.mccd", with_header("", values)));
  EXPECT_EQ(reading.result, 1);
  EXPECT_EQ(reading.out, "");
  return reading.info;
}

struct FrameReading {
  int result = -1;
  ImageData data{};
  double distance = 0;
  bool delivered = false;
  Pixels pixels;
  test::Output output;
};

FrameReading read_frame_uncaptured(const std::string& path, double distance = -999.0) {
  FrameReading reading;
  unsigned untouched = 0;
  reading.data = {-1, &untouched, -2, -3, {-4, -5, -6, -7}, -8};
  reading.distance = distance;
  reading.result = read_mar_ccd(path.c_str(), &reading.data, &reading.distance);
  const ImageData& data = reading.data;
  EXPECT_EQ(data.host_first, -1);
  EXPECT_TRUE(std::ranges::equal(data.host_middle, std::array{-4, -5, -6, -7}));
  reading.delivered = data.Daten != &untouched;
  if (!reading.delivered) return reading;
  const auto owned = test::own(data.Daten);
  const auto width = static_cast<std::size_t>(data.width);
  if (owned != nullptr) {
    reading.pixels.assign(owned.get(), owned.get() + width * static_cast<std::size_t>(data.height));
  }
  return reading;
}

FrameReading read_frame(const std::string& path, double distance = -999.0) {
  FrameReading reading;
  const test::Output output = test::capture([&] { reading = read_frame_uncaptured(path, distance); });
  reading.output = output;
  return reading;
}

FrameReading read_bytes(const std::string& file, double distance = -999.0) {
  const test::TemporaryDirectory directory;
  return read_frame(directory.write("frame.mccd", file), distance);
}

// Neither the record nor the distance setting was written.
void expect_nothing_read(const FrameReading& reading, double distance) {
  EXPECT_EQ(reading.result, 0);
  EXPECT_FALSE(reading.delivered);
  EXPECT_EQ(reading.data.width, -2);
  EXPECT_EQ(reading.data.height, -3);
  EXPECT_EQ(reading.data.overflows, -8);
  EXPECT_EQ(reading.distance, distance);
}

// Warnings of libtiff that tests look for, and the handler that was in force before.
class CountedWarnings {
 public:
  CountedWarnings() : before_(TIFFSetWarningHandler(count)) { warnings = 0; }
  CountedWarnings(const CountedWarnings&) = delete;
  CountedWarnings& operator=(const CountedWarnings&) = delete;
  ~CountedWarnings() { TIFFSetWarningHandler(before_); }

  static int number() { return warnings; }
  static bool silenced() {
    const TIFFErrorHandler current = TIFFSetWarningHandler(count);
    TIFFSetWarningHandler(current);
    EXPECT_TRUE(current == count || current == nullptr);
    return current == nullptr;
  }

 private:
  static void count(const char* /*module*/, const char* /*format*/, va_list /*arguments*/) { ++warnings; }
  static inline int warnings = 0;
  TIFFErrorHandler before_;
};

void expect_refused(const TiffBuilder& tiff, const std::string& size) {
  const test::TemporaryDirectory directory;
  const std::string path =
      directory.write("frame.mccd", with_header(TiffBuilder(tiff).strips_at(kPrefix).bytes(), {{1160, 5}}));
  const std::size_t descriptors = test::open_descriptors();
  const FrameReading reading = read_frame(path);
  EXPECT_EQ(reading.result, 0);
  EXPECT_FALSE(reading.delivered);
  EXPECT_EQ(reading.output.out, "# " RED_ERROR " reading file " + path + ": cannot allocate " + size + " pixels\n");
  EXPECT_EQ(test::open_descriptors(), descriptors);
}

}  // namespace

TEST(MarCcdHeader, IntegersAreDividedAndFractionsDropped) {
  const ImageInfo info =
      header_of({{1160, 5}, {1680, 2999}, {1708, 12500}, {1720, 150750}, {1760, 1999}, {1932, 100000}});
  EXPECT_EQ(info.overflow_count, 5);
  EXPECT_EQ(info.exposure_time, 2.0);
  EXPECT_EQ(info.start_angle, 12.0);
  EXPECT_EQ(info.reserved_angle, 0.0);
  EXPECT_EQ(info.distance, 150.0);
  EXPECT_EQ(info.oscillation_range, 1.0);
  EXPECT_EQ(info.wavelength, 1.0);
}

TEST(MarCcdHeader, NegativeValuesAreCutTowardsZero) {
  const ImageInfo info =
      header_of({{1160, -5}, {1680, INT_MIN}, {1708, -12500}, {1720, -1999}, {1760, -999}, {1932, -154179}});
  EXPECT_EQ(info.overflow_count, -5);
  EXPECT_EQ(info.exposure_time, -2147483.0);
  EXPECT_EQ(info.start_angle, -12.0);
  EXPECT_EQ(info.distance, -1.0);
  EXPECT_EQ(info.oscillation_range, 0.0);
  EXPECT_FALSE(std::signbit(info.oscillation_range));  // an integer's zero
  EXPECT_EQ(info.wavelength, -154179 * 1e-5);
}

TEST(MarCcdHeader, BytesAreTakenLeastSignificantFirst) {
  std::string file(kPrefix, '\0');
  file.replace(1160, 4, raw({0x04, 0x03, 0x02, 0x01}));
  file.replace(1708, 4, raw({0x40, 0x0D, 0x03, 0x00}));  // 200000
  file.replace(1932, 4, raw({0xF0, 0x49, 0x02, 0x00}));  // 150000
  const test::TemporaryDirectory directory;
  const ImageInfo info = read_header(directory.write("frame.mccd", file)).info;
  EXPECT_EQ(info.overflow_count, 0x01020304);
  EXPECT_EQ(info.start_angle, 200.0);
  EXPECT_EQ(info.wavelength, 150000 * 1e-5);
}

TEST(MarCcdHeader, OtherFieldsAreUntouched) {
  const ImageInfo info = header_of({});
  EXPECT_TRUE(is_unwritten(info.host_fields));
  EXPECT_TRUE(is_unwritten(info.minimum));
  EXPECT_TRUE(is_unwritten(info.maximum));
  EXPECT_TRUE(is_unwritten(info.average));
}

TEST(MarCcdHeader, TheFileNameIsThePath) {
  const test::TemporaryDirectory directory;
  const std::string path = directory.write("frame.mccd", std::string(kPrefix, '\0'));
  EXPECT_STREQ(read_header(path).info.file_name, path.c_str());
}

TEST(MarCcdHeader, PercentSignsInThePathAreConversionsOfZero) {
  const test::TemporaryDirectory directory;
  const std::string path = directory.write("a%d_%3d_%s_%n_%%_%", std::string(kPrefix, '\0'));
  const HeaderReading reading = read_header(path);
  EXPECT_EQ(reading.result, 1);
  EXPECT_EQ(reading.info.file_name, directory.path("a0_  0___%_"));
}

TEST(MarCcdHeader, PathsAreCutAtTheFieldsSize) {
  const test::TemporaryDirectory directory;
  directory.write("f", std::string(kPrefix, '\0'));
  const std::string start = directory.path("");
  for (const std::size_t length : {254U, 255U, 256U, 257U, 1001U}) {
    // "/" and "/." lead to the same file at any length.
    std::string path = start;
    while (path.size() + 3 <= length) path += "./";
    if (path.size() + 2 == length) path += "/";
    path += "f";
    ASSERT_EQ(path.size(), length);
    const HeaderReading reading = read_header(path);
    EXPECT_EQ(reading.result, 1);
    EXPECT_EQ(reading.info.file_name, path.substr(0, 255)) << length;
  }
}

TEST(MarCcdHeader, AWideConversionIsCutAtTheFieldsSize) {
  test::TemporaryDirectory directory;
  directory.write("%300d", std::string(kPrefix, '\0'));
  directory.enter();
  EXPECT_EQ(read_header("%300d").info.file_name, std::string(255, ' '));
}

TEST(MarCcdHeader, OpenFailureIsReported) {
  const HeaderReading reading = read_header("/nonexistent/%d.mccd");
  EXPECT_EQ(reading.result, 0);
  EXPECT_EQ(reading.out, "# " RED_ERROR " reading /nonexistent/%d.mccd\n");
  EXPECT_TRUE(reading.info_is_unwritten);
}

TEST(MarCcdHeader, ABlockThatIsNotWholeIsReportedAndTheFileLeftOpen) {
  const test::TemporaryDirectory directory;
  const std::string path = directory.write("short.mccd", std::string(kPrefix - 1, '\0'));
  HeaderReading reading;
  EXPECT_EQ(test::descriptors_left_open([&] { reading = read_header(path); }), 1);
  EXPECT_EQ(reading.result, 0);
  EXPECT_EQ(reading.out, kNotWhole);
  EXPECT_TRUE(reading.info_is_unwritten);
}

TEST(MarCcdHeader, TheFileIsClosedOtherwise) {
  const test::TemporaryDirectory directory;
  const std::string path = directory.write("frame.mccd", std::string(kPrefix, '\0'));
  const std::size_t descriptors = test::open_descriptors();
  read_header(path);
  read_header("/nonexistent");
  EXPECT_EQ(test::open_descriptors(), descriptors);
}

TEST(MarCcdHeader, LeavesTheWarningHandlerAlone) {
  const CountedWarnings warnings;
  header_of({});
  EXPECT_FALSE(CountedWarnings::silenced());
}

TEST(MarCcd, PixelsFrom32768OnAreMarkedAndCounted) {
  const FrameReading reading = read_bytes(small_frame());
  EXPECT_EQ(reading.result, 1);
  EXPECT_EQ(reading.output.out, "");
  EXPECT_EQ(reading.data.width, 3);
  EXPECT_EQ(reading.data.height, 2);
  EXPECT_EQ(reading.pixels, kSmallFrame);
  EXPECT_EQ(reading.data.overflows, 3);
}

TEST(MarCcd, TheHeadersCountIsWhereCountingBegins) {
  const std::string three_of_40000 = raw({0x40, 0x9C, 0x40, 0x9C, 0x40, 0x9C});
  const FrameReading reading =
      read_bytes(with_header(TiffBuilder(3, 1).strips_at(kPrefix).strip(three_of_40000).bytes(), {{1160, 5}}));
  EXPECT_EQ(reading.data.overflows, 8);
  EXPECT_EQ(reading.pixels, (Pixels{OVERFLOW_MARK, OVERFLOW_MARK, OVERFLOW_MARK}));
  EXPECT_EQ(read_bytes(small_frame({{1160, -5}})).data.overflows, -2);
}

TEST(MarCcd, TheLargestHeaderCountWraps) {
  EXPECT_EQ(read_bytes(small_frame({{1160, INT_MAX}})).data.overflows, INT_MIN + 2);
}

TEST(MarCcd, OneStripYieldsTheSamePixels) {
  const std::string strip = raw({0x00, 0x00, 0xFF, 0x7F, 0x00, 0x80, 0x01, 0x00, 0x40, 0x9C, 0xFF, 0xFF});
  EXPECT_EQ(read_bytes(TiffBuilder(3, 2).strips_at(kPrefix).strip(strip).bytes()).pixels, kSmallFrame);
}

TEST(MarCcd, BigEndianPixelsAreTurnedButNotTheHeader) {
  const FrameReading reading = read_bytes(
      with_header(TiffBuilder(2, 1).big_endian().strips_at(kPrefix).strip(raw({0x03, 0xE8, 0x9C, 0x40})).bytes(),
                  {{1160, 7}, {1720, 1000}}));
  EXPECT_EQ(reading.pixels, (Pixels{1000, OVERFLOW_MARK}));
  EXPECT_EQ(reading.data.overflows, 8);
  EXPECT_EQ(reading.distance, 1000 * 0.001);
}

TEST(MarCcd, StripsOfOddSizeBeginAtEvenOffsets) {
  const FrameReading reading = read_bytes(TiffBuilder(3, 2, 8)
                                              .tag(test::kRowsPerStrip, 1)
                                              .strips_at(kPrefix)
                                              .strip(raw({0x01, 0x02, 0x83}))
                                              .strip(raw({0x11, 0x92, 0x13}))
                                              .bytes());
  // Bytes 01 02 | 11 92 | 13 00.
  EXPECT_EQ(reading.pixels, (Pixels{0x0201, OVERFLOW_MARK, 0x0013, 0, 0, 0}));
  EXPECT_EQ(reading.data.overflows, 1);
}

TEST(MarCcd, PixelsThatTheStripsLackAreZero) {
  std::string file = small_frame();
  file.pop_back();
  const FrameReading reading = read_bytes(file);
  EXPECT_EQ(reading.result, 1);
  EXPECT_EQ(reading.pixels, (Pixels{0, 32767, OVERFLOW_MARK, 0, 0, 0}));
  EXPECT_EQ(reading.data.overflows, 1);
}

TEST(MarCcd, ADistanceThatIsNotSetComesFromTheFile) {
  EXPECT_EQ(read_bytes(small_frame({{1720, 150750}}), -999.0).distance, 150750 * 0.001);
  EXPECT_EQ(read_bytes(small_frame({{1720, -1}}), -999.0).distance, -0.001);
}

TEST(MarCcd, ADistanceThatTheCallerSetIsKept) {
  const std::string frame = small_frame({{1720, 150750}});
  for (const double distance : {120.0, 0.0, -1.0, std::nextafter(-999.0, 0.0), std::nextafter(-999.0, -1000.0)}) {
    EXPECT_EQ(read_bytes(frame, distance).distance, distance);
  }
  EXPECT_TRUE(std::isnan(read_bytes(frame, std::numeric_limits<double>::quiet_NaN()).distance));
}

TEST(MarCcd, OpenFailureIsSilent) {
  const CountedWarnings warnings;
  const FrameReading reading = read_frame("/nonexistent/frame.mccd");
  expect_nothing_read(reading, -999.0);
  EXPECT_EQ(reading.output.out, "");
  EXPECT_EQ(reading.output.err, "");
  EXPECT_FALSE(CountedWarnings::silenced());
}

TEST(MarCcd, AShortHeaderIsReportedAndNothingElseHappens) {
  const CountedWarnings warnings;
  const test::TemporaryDirectory directory;
  const std::string path = directory.write("short.mccd", small_frame({{1720, 150750}}).substr(0, kPrefix - 1));
  FrameReading reading;
  EXPECT_EQ(test::descriptors_left_open([&] { reading = read_frame(path); }), 1);
  expect_nothing_read(reading, -999.0);
  EXPECT_EQ(reading.output.out, kNotWhole);
  EXPECT_EQ(reading.output.err, "");
  EXPECT_FALSE(CountedWarnings::silenced());
}

TEST(MarCcd, AWholePrefixThatIsNoTiffSetsDistanceAndOverflows) {
  const CountedWarnings warnings;
  const test::TemporaryDirectory directory;
  const std::string path = directory.write("100%d.mccd", with_header("no TIFF", {{1160, 5}, {1720, 150750}}));
  const std::size_t descriptors = test::open_descriptors();
  const FrameReading reading = read_frame(path);
  EXPECT_EQ(reading.result, 0);
  EXPECT_EQ(reading.output.out, "# " RED_ERROR " reading file " + path + "\n");
  EXPECT_NE(reading.output.err, "");  // libtiff says so itself
  EXPECT_FALSE(reading.delivered);
  EXPECT_EQ(reading.data.width, -2);
  EXPECT_EQ(reading.data.height, -3);
  EXPECT_EQ(reading.data.overflows, 5);
  EXPECT_EQ(reading.distance, 150750 * 0.001);
  EXPECT_TRUE(CountedWarnings::silenced());
  EXPECT_EQ(test::open_descriptors(), descriptors);
}

TEST(MarCcd, WarningsAreSilencedForTheRestOfTheProcess) {
  const CountedWarnings warnings;
  const test::TemporaryDirectory directory;
  // Tag 65000 is unknown: libtiff warns of it.
  const std::string odd =
      directory.write("odd.tif", TiffBuilder(1, 1).short_tag(65000, 1).strips_at(kPrefix).strip(little16(5)).bytes());
  const auto read_odd = [&odd] {
    unsigned* daten = nullptr;
    int width = 0;
    int height = 0;
    const auto output = test::capture([&] { read_tiff(odd.c_str(), &daten, 0, &width, &height); });
    const auto owned = test::own(daten);
    EXPECT_EQ(output.err, "");
    EXPECT_EQ(owned[0], 5U);
  };
  read_odd();
  EXPECT_EQ(CountedWarnings::number(), 1);
  const FrameReading reading = read_frame(odd);
  EXPECT_EQ(reading.pixels, Pixels{5});
  EXPECT_EQ(reading.output.err, "");
  EXPECT_TRUE(CountedWarnings::silenced());
  read_odd();
  EXPECT_EQ(CountedWarnings::number(), 1);
}

TEST(MarCcd, EveryOtherPathClosesTheFile) {
  const test::TemporaryDirectory directory;
  const std::string path = directory.write("frame.mccd", small_frame());
  const std::size_t descriptors = test::open_descriptors();
  read_frame(path);
  read_frame("/nonexistent");
  EXPECT_EQ(test::open_descriptors(), descriptors);
}

TEST(MarCcd, AbsurdSizesAreRefused) {
  // One bit a pixel and few rows a strip keep libtiff's own sizes within 31 bits, so that it opens them everywhere.
  expect_refused(TiffBuilder(100000, 100000, 1).tag(test::kRowsPerStrip, 1).strip("ab"), "100000 x 100000");
  expect_refused(TiffBuilder(0x80000000, 1, 1).strip("ab"), "2147483648 x 1");
  expect_refused(TiffBuilder(1, 0xC0000000, 1).tag(test::kRowsPerStrip, 0x3FFFFFFF).strip("ab"), "1 x 3221225472");
  expect_refused(TiffBuilder(16385, 16384, 1).tag(test::kRowsPerStrip, 1).strip("ab"), "16385 x 16384");
}

TEST(MarCcdDeathTest, MemoryThatRunsOutIsAnAssertionFailure) {
  const test::TemporaryDirectory directory;
  const std::string path = directory.write(
      "large.mccd", TiffBuilder(16000, 16000).tag(test::kRowsPerStrip, 1).strips_at(kPrefix).strip("ab").bytes());
  EXPECT_EXIT(
      {
        test::limit_memory();
        ImageData data{};
        double distance = 1.0;
        read_mar_ccd(path.c_str(), &data, &distance);
      },
      testing::KilledBySignal(SIGABRT),
      "mar_ccd_format:262: read_mar_ccd: Assertion "
      "`data->Daten =\\(unsigned int\\*\\)malloc\\(sizeof\\(unsigned int\\)\\*size\\)' failed");
}

namespace {

// Numbers of the TIFF file's first directory, and where its pixels are. The file is little-endian.
unsigned number_at(const std::string& file, std::size_t offset, std::size_t size) {
  unsigned number = 0;
  for (std::size_t i = size; i-- > 0;) number = number << 8 | static_cast<unsigned char>(file.at(offset + i));
  return number;
}

unsigned tag_of(const std::string& file, unsigned tag) {
  const std::size_t directory = number_at(file, 4, 4);
  const unsigned entries = number_at(file, directory, 2);
  for (unsigned entry = 0; entry < entries; ++entry) {
    const std::size_t at = directory + 2 + std::size_t{12} * entry;
    const bool is_short = number_at(file, at + 2, 2) == 3;
    if (number_at(file, at, 2) == tag) return number_at(file, at + 8, is_short ? 2 : 4);
  }
  ADD_FAILURE() << "no tag " << tag;
  return 0;
}

}  // namespace

TEST(MarCcdRealFrame, PixelsAreTheFilesOwnBytes) {
  const std::string path = test::sample_frame("AgBehenate_003.tif");
  if (path.empty()) GTEST_SKIP() << "the shared sample frames are absent";
  const std::string file = test::read_file(path);
  ASSERT_EQ(tag_of(file, test::kBitsPerSample), 16U);
  ASSERT_EQ(tag_of(file, test::kCompression), 1U);
  ASSERT_EQ(tag_of(file, test::kStripByteCounts), 1024U * 1024 * 2);
  const std::size_t strip = tag_of(file, test::kStripOffsets);
  Pixels expected;
  for (std::size_t i = 0; i < std::size_t{1024} * 1024; ++i) expected.push_back(number_at(file, strip + 2 * i, 2));
  ASSERT_LT(*std::ranges::max_element(expected), 32768U);

  const FrameReading reading = read_frame(path);
  EXPECT_EQ(reading.result, 1);
  EXPECT_EQ(reading.data.width, static_cast<int>(tag_of(file, test::kImageWidth)));
  EXPECT_EQ(reading.data.height, static_cast<int>(tag_of(file, test::kImageLength)));
  EXPECT_EQ(reading.data.overflows, 0);
  EXPECT_EQ(reading.distance, 1864000 * 0.001);
  EXPECT_TRUE(reading.pixels == expected);

  unsigned* daten = nullptr;
  int width = 0;
  int height = 0;
  test::capture([&] { read_tiff(path.c_str(), &daten, 0, &width, &height); });
  const auto owned = test::own(daten);
  EXPECT_EQ(width, 1024);
  EXPECT_EQ(height, 1024);
  EXPECT_TRUE(std::equal(expected.begin(), expected.end(), owned.get()));
}

TEST(MarCcdRealFrame, HeaderValuesAreThoseOfAHexDump) {
  const std::string path = test::sample_frame("AgBehenate_003.tif");
  if (path.empty()) GTEST_SKIP() << "the shared sample frames are absent";
  const ImageInfo info = read_header(path).info;
  EXPECT_EQ(info.overflow_count, 0);          // 488: 00 00 00 00
  EXPECT_EQ(info.exposure_time, 10.0);        // 690: 10 27 00 00, 10000
  EXPECT_EQ(info.start_angle, 0.0);           // 6ac: 00 00 00 00
  EXPECT_EQ(info.distance, 1864.0);           // 6b8: 40 71 1c 00, 1864000
  EXPECT_EQ(info.oscillation_range, 0.0);     // 6e0: 00 00 00 00
  EXPECT_EQ(info.wavelength, 150000 * 1e-5);  // 78c: f0 49 02 00, 150000
  EXPECT_EQ(info.file_name, path.substr(0, 255));
}

namespace {

constexpr std::size_t kSide = 16;

// A frame of four strips, 4 rows each, behind the prefix; the pixels of strip n are all 1000 + n.
std::string sample() {
  TiffBuilder tiff(kSide, kSide);
  tiff.tag(test::kRowsPerStrip, 4).strips_at(kPrefix);
  for (unsigned strip = 0; strip < 4; ++strip) {
    std::string bytes;
    for (std::size_t i = 0; i < 4 * kSide; ++i) bytes += little16(1000 + strip);
    tiff.strip(bytes);
  }
  return with_header(tiff.bytes(), {{1160, 5}, {1708, 45000}, {1720, 150750}});
}

// What is wrong with a reading of a damaged file.
std::string complaint(const FrameReading& reading) {
  if (reading.result != (reading.delivered ? 1 : 0)) return "result";
  const bool sound =
      std::ranges::all_of(reading.pixels, [](unsigned pixel) { return pixel < 32768 || pixel == OVERFLOW_MARK; });
  return sound ? "" : "pixels";
}

}  // namespace

TEST(MarCcd, WhatIsNoFrameHasNoWholeHeader) {
  const test::TemporaryDirectory directory;
  for (const std::string& path : test::non_images(directory)) {
    SCOPED_TRACE(path);
    test::descriptors_left_open([&] {
      const HeaderReading header = read_header(path);
      EXPECT_EQ(header.result, 0);
      EXPECT_EQ(header.out, kNotWhole);
      EXPECT_TRUE(header.info_is_unwritten);
    });
    test::descriptors_left_open([&] {
      const FrameReading frame = read_frame(path);
      expect_nothing_read(frame, -999.0);
      EXPECT_EQ(frame.output.out, kNotWhole);
    });
  }
}

TEST(MarCcd, EveryCutOfTheHeaderIsNotWhole) {
  const test::TemporaryDirectory directory;
  const std::string file = sample();
  const auto check = [&](std::size_t length) -> std::string {
    const std::string path = test::rewrite(directory, "cut.mccd", file.substr(0, length));
    HeaderReading header;
    if (test::descriptors_left_open([&] { header = read_header_uncaptured(path); }) != 1) return "descriptor";
    if (header.result != 0 || !header.info_is_unwritten) return "header";
    FrameReading frame;
    if (test::descriptors_left_open([&] { frame = read_frame_uncaptured(path); }) != 1) return "descriptor";
    return frame.result != 0 || frame.delivered || frame.data.overflows != -8 ? "frame" : "";
  };
  EXPECT_EQ(test::first_problem(kPrefix, check), "");
}

TEST(MarCcd, StripsBehindACutAreZero) {
  const test::TemporaryDirectory directory;
  const std::string file = sample();
  const auto check = [&](std::size_t round) -> std::string {
    const std::size_t length = kPrefix + 5 * round;
    const std::string path = test::rewrite(directory, "cut.mccd", file.substr(0, length));
    if (read_header_uncaptured(path).info.start_angle != 45.0) return "header";
    const FrameReading frame = read_frame_uncaptured(path);
    if (frame.result != 1 || frame.data.overflows != 5 || frame.pixels.size() != kSide * kSide) return "frame";
    for (std::size_t i = 0; i < frame.pixels.size(); ++i) {
      const std::size_t strip = i / (4 * kSide);
      const bool whole = length >= kPrefix + 8 * kSide * (strip + 1);
      if (frame.pixels[i] != (whole ? 1000 + strip : 0)) return "pixel " + std::to_string(i);
    }
    return "";
  };
  EXPECT_EQ(test::first_problem((file.size() - kPrefix) / 5 + 1, check), "");
}

TEST(MarCcd, RandomBytesInHeaderAndTagsAreSurvived) {
  const test::TemporaryDirectory directory;
  const std::string file = sample();
  std::mt19937 random(17);
  const auto check = [&](std::size_t round) -> std::string {
    // The directory of eight tags ends at byte 142; the width's and length's upper bytes stay, for a frame of moderate
    // size.
    std::string damaged = test::with_random_bytes(file, round % 2 == 0 ? 142 : kPrefix, random);
    damaged.replace(20, 2, std::string(2, '\0')).replace(32, 2, std::string(2, '\0'));
    const std::string path = test::rewrite(directory, "damaged.mccd", damaged);
    if (read_header_uncaptured(path).result != 1) return "header";
    return complaint(read_frame_uncaptured(path));
  };
  EXPECT_EQ(test::first_problem(2000, check), "");
}
