// mar345 files, byte by byte and as the library and the loader read them.
#include <stdexcept>

#include "tests/frames/writers/written.h"
#include "xrdimage.h"

namespace {

using test::Counts;
using test::Warnings;
using test::Written;

Written mar345(const frames::Frame& frame) {
  return test::written(frames::write_mar345, frame);
}

frames::Frame loaded(const Written& file) {
  EXPECT_TRUE(frames::is_mar345(test::bytes_of(file.bytes)));
  frames::Frame frame = frames::load_mar345(test::bytes_of(file.bytes), {});
  EXPECT_TRUE(frame.notes.empty());
  return frame;
}

// 10 x 10 pixels: 0, 1, 2 ...
frames::Frame small_frame(bool is_signed = false) {
  Counts counts(100);
  for (std::uint32_t i = 0; i < 100; ++i) counts[i] = i;
  return test::frame_of(10, 10, counts, is_signed);
}

// The header lines, blanks at their ends cut off.
std::vector<std::string> header_lines(const std::string& bytes) {
  std::vector<std::string> lines;
  for (std::size_t offset = 128; lines.empty() || lines.back() != "END OF HEADER"; offset += 64) {
    const std::string line = bytes.substr(offset, 63);
    lines.push_back(line.substr(0, line.find_last_not_of(' ') + 1));
  }
  return lines;
}

const std::vector<std::string> kZeroLines{"OFFSET         ROFF 0  TOFF 0", "GAPS           0 0 0 0 0 0 0 0",
                                          "ADC            A 0  B 0  ADD_A 0  ADD_B 0", "MULTIPLIER     1.000",
                                          "GAIN           1.000"};

TEST(Mar345Writer, OfAFrameWithoutHeaderValuesNothingIsMadeUp) {
  const std::string bytes = mar345(small_frame()).bytes;
  std::string words;
  for (const unsigned word : {1234U, 10U, 0U, 1U, 1U, 100U}) words += test::little32(word);
  words.resize(128);
  EXPECT_EQ(bytes.substr(0, 128), words);
  // Without the pixel of 0 counts there are 99 pixels: mean 50, variance (99^2 - 1) / 12.
  std::vector<std::string> expected{
      "mar research",     "PROGRAM        xrdimage convert",  "DATE", "SCANNER        1", "FORMAT         10  PCK 100",
      "HIGH           0", "PIXEL          LENGTH 0  HEIGHT 0"};
  expected.insert(expected.end(), kZeroLines.begin(), kZeroLines.end());
  for (const char* line :
       {"WAVELENGTH     0.00000", "DISTANCE       0.000", "OMEGA          START 0.000  END 0.000  OSC 0",
        "CHI            0.000", "TWOTHETA       0.000", "MODE           TIME",
        "COUNTS         START 0.00 END 0.00  NMEAS 0", "COUNTS         MIN 0.00  MAX 0.00",
        "COUNTS         AVE 0.00  SIG 0.00", "INTENSITY      MIN 1  MAX 99  AVE 50.0  SIG 28.58",
        "HISTOGRAM      START 0  END 99  MAX 1", "END OF HEADER"}) {
    expected.emplace_back(line);
  }
  EXPECT_EQ(header_lines(bytes), expected);
  EXPECT_EQ(bytes.substr(4096, 37), "\nCCP4 packed image, X: 0010, Y: 0010\n");
  test::expect_same_header(loaded({bytes, {}}).header, {});
}

TEST(Mar345Writer, HeaderValuesInTheFormatsUnits) {
  frames::Frame frame = small_frame();
  frame.header = test::full_header();
  frame.header.pixel_size = frames::Point{0.0885, 0.172};
  const std::string bytes = mar345(frame).bytes;
  const std::vector<std::string> lines = header_lines(bytes);
  for (const char* line :
       {"DATE           2024-05-06 07:08:09", "PIXEL          LENGTH 88.5  HEIGHT 172", "WAVELENGTH     1.54179",
        "DISTANCE       120.250", "PHI            START -10.500  END -10.250  OSC 1", "CENTER         X 3.500  Y 2.250",
        "TIME           0.003", "DETECTOR       PILATUS 300K, S/N 3-0101"}) {
    EXPECT_EQ(std::ranges::count(lines, line), 1) << line;
  }
  std::string words;
  for (const int word : {1234, 10, 0, 1, 1, 100, 89, 172, 1541790, 120250, -10500, -10250}) {
    words += test::little32(static_cast<std::uint32_t>(word));
  }
  EXPECT_EQ(bytes.substr(0, 48), words);
}

TEST(Mar345Writer, LoaderGivesTheSameHeader) {
  frames::Frame frame = small_frame();
  frame.header = test::full_header();
  frame.header.saturation.reset();  // which the format has no place for
  test::expect_same_header(loaded(mar345(frame)).header, frame.header);
  frame.header.oscillation_range.reset();
  test::expect_same_header(loaded(mar345(frame)).header, frame.header);
}

TEST(Mar345Writer, LargeAndUnknownCountsHaveRecords) {
  frames::Frame frame = small_frame();
  frame.counts[5] = 65535;
  frame.counts[6] = 65536;
  frame.counts[50] = 0x7FFFFFFF;
  frame.counts[98] = 3;
  frames::mask_pixel(frame, 98, frames::kUnknown);
  const Written file = mar345(frame);
  EXPECT_EQ(file.bytes.substr(8, 4), test::little32(3));
  EXPECT_EQ(file.bytes.substr(4096, 64),
            test::as_little32({6, 65536, 50, 0x7FFFFFFF, 98, 0xFFFFFFFF, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
  EXPECT_EQ(file.bytes.substr(4160, 37), "\nCCP4 packed image, X: 0010, Y: 0010\n");
  EXPECT_EQ(file.warnings, Warnings());
  const frames::Frame again = loaded(file);
  EXPECT_EQ(test::counts_with(again, 0), test::counts_with(frame, 0));
  EXPECT_EQ(again.mask, frame.mask);
}

TEST(Mar345Writer, IntensitiesAreThoseOfLargeCountsToo) {
  frames::Frame frame = test::frame_of(10, 10, Counts(100, 0));
  frame.counts[1] = 300000;
  frame.counts[2] = 5;
  frame.counts[3] = 100000;
  frame.counts[4] = 300000;
  frame.counts[5] = 900000;
  frames::mask_pixel(frame, 5, frames::kUnknown);
  // Mean 700005 / 4; the squares sum up to 190000000025.
  const std::vector<std::string> lines = header_lines(mar345(frame).bytes);
  EXPECT_EQ(std::ranges::count(lines, "INTENSITY      MIN 5  MAX 300000  AVE 175001.2  SIG 129902.13"), 1);
  EXPECT_EQ(std::ranges::count(lines, "HISTOGRAM      START 0  END 300000  MAX 2"), 1);
}

TEST(Mar345Writer, LoaderGivesTheSameFrame) {
  for (const int side : {10, 11, 333}) {
    frames::Frame frame = test::random_frame({side, side}, 300000, false, true);
    frame.counts[0] = 65535;
    frame.mask[0] = 0;
    const Written file = mar345(frame);
    const frames::Frame again = loaded(file);
    EXPECT_EQ(again.width, side);
    EXPECT_EQ(again.height, side);
    EXPECT_EQ(test::counts_with(again, 0), test::counts_with(frame, 0));
    EXPECT_EQ(again.mask, frame.mask);
    EXPECT_EQ(file.warnings, Warnings());
  }
}

TEST(Mar345Writer, LibraryMarksUnknownAndSaturatedPixels) {
  frames::Frame frame = small_frame();
  frame.counts[1] = 255999;
  frame.counts[2] = 256000;
  frames::mask_pixel(frame, 3, frames::kUnknown);
  const test::TemporaryDirectory directory;
  unsigned* daten = nullptr;
  int width = 0;
  int height = 0;
  ASSERT_EQ(new_read_pck(directory.write("frame", mar345(frame).bytes).c_str(), &daten, &width, &height), 1);
  const auto owner = test::own(daten);
  EXPECT_EQ(width, 10);
  EXPECT_EQ(height, 10);
  Counts expected = test::counts_of(frame);
  expected[2] = expected[3] = OVERFLOW_MARK;
  EXPECT_EQ(Counts(daten, daten + 100), expected);
}

TEST(Mar345Writer, FrameIsPaddedToASquare) {
  for (const test::Size size : {test::Size{12, 3}, test::Size{3, 12}}) {
    frames::Frame frame = test::random_frame(size, 300000, false, true);
    frame.counts[0] = 7;
    frame.mask[0] = 0;
    const Written file = mar345(frame);
    EXPECT_EQ(file.warnings, Warnings{"is padded with 0 from " + std::to_string(size.width) + " x " +
                                      std::to_string(size.height) + " to 12 x 12 pixels, as mar345 frames are square"});
    const frames::Frame again = loaded(file);
    ASSERT_EQ(again.width, 12);
    ASSERT_EQ(again.height, 12);
    for (int y = 0; y < 12; ++y) {
      for (int x = 0; x < 12; ++x) {
        const std::size_t pixel = std::size_t{12} * static_cast<unsigned>(y) + static_cast<unsigned>(x);
        const std::size_t source =
            static_cast<std::size_t>(size.width) * static_cast<unsigned>(y) + static_cast<unsigned>(x);
        const bool inside = x < size.width && y < size.height;
        const bool unknown = inside && is_unknown(frame, source);
        EXPECT_EQ(is_unknown(again, pixel), unknown);
        EXPECT_EQ(unknown ? 0 : again.counts[pixel], inside && !unknown ? frame.counts[source] : 0) << x << " " << y;
      }
    }
  }
}

TEST(Mar345Writer, SizesHaveLimits) {
  for (const test::Size size : {test::Size{9, 9}, test::Size{9, 1}, test::Size{10001, 1}}) {
    try {
      mar345(test::random_frame(size, 9));
      FAIL() << size.width;
    } catch (const std::runtime_error& error) {
      EXPECT_EQ(error.what(), "cannot have " + std::to_string(size.width) + " x " + std::to_string(size.height) +
                                  " pixels: mar345 frames have 10 to 10000 on a side");
    }
  }
  EXPECT_EQ(loaded(mar345(test::random_frame({10, 1}, 9))).width, 10);
}

TEST(Mar345Writer, NegativeCountsBecome0) {
  frames::Frame frame = small_frame(true);
  frame.counts[7] = 0xFFFFFFFF;
  frame.counts[8] = 0x80000000;
  const Written file = mar345(frame);
  EXPECT_EQ(file.warnings, Warnings{"2 negative counts were written as 0"});
  frame.counts[7] = frame.counts[8] = 0;
  EXPECT_EQ(test::counts_of(loaded(file)), test::counts_of(frame));
}

TEST(Mar345Writer, CountsThatRecordsCannotHoldAreClipped) {
  frames::Frame frame = small_frame();
  frame.counts[7] = 0x80000000;
  const Written file = mar345(frame);
  EXPECT_EQ(file.warnings, Warnings{"1 pixels above 2147483647 were written as 2147483647"});
  const frames::Frame again = loaded(file);
  EXPECT_EQ(again.counts[7], 2147483647U);
  EXPECT_TRUE(again.mask.empty());
}

TEST(Mar345Writer, FirstPixelCanHaveNoRecord) {
  frames::Frame frame = small_frame();
  frame.counts[0] = 70000;
  const Written large = mar345(frame);
  EXPECT_EQ(large.warnings,
            Warnings{"the first pixel's count of 70000 was written as 65535, as it can have no overflow record"});
  EXPECT_EQ(loaded(large).counts[0], 65535U);
  frames::mask_pixel(frame, 0, frames::kUnknown);
  const Written unknown = mar345(frame);
  EXPECT_EQ(unknown.warnings, Warnings{"1 pixels of unknown count were written as 65535"});
  EXPECT_EQ(loaded(unknown).counts[0], 65535U);
}

TEST(Mar345Writer, LibraryFindsTheHeaderValues) {
  frames::Frame frame = small_frame();
  frame.header = test::full_header();
  const test::TemporaryDirectory directory;
  Mar345Header header{};
  EXPECT_EQ(read_marheader(&header, directory.write("frame", mar345(frame).bytes).c_str()), 2);
  EXPECT_EQ(header.wavelength, 1.54179);
  EXPECT_EQ(header.distance, 120.25);
  EXPECT_EQ(header.phi_start, -10.5);
  EXPECT_EQ(header.phi_end, -10.25);
}

}  // namespace
