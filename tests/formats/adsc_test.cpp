#include <cmath>
#include <cstring>
#include <string>
#include <utility>

#include "tests/environment.h"
#include "tests/formats/impossible_sizes.h"
#include "tests/formats/naive_headers.h"
#include "xrdimage.h"

namespace {

const std::string kNotConverted = "# Byte_order is OK. No convertion needed\n";
const std::string kConverted = "# Byte_order convertion needed....# done\n";

// What read_bnl printed and handed out. Unless a test says otherwise the caller brings a size of 3 x 2.
struct Frame {
  int width = 3;
  int height = 2;
  int result = -1;
  bool allocated = false;
  double distance = 77;
  double wavelength = 77;
  double osc_start = 77;
  double osc_range = 77;
  double time = 77;
  std::string bytes;  // the array's
  std::string text;   // on standard output
};

void read_into(Frame& frame, const std::string& path, int reserved = 0) {
  unsigned int untouched = 0;
  unsigned int* daten = &untouched;
  frame.result = read_bnl(path.c_str(), reserved, &daten, &frame.width, &frame.height, &frame.distance,
                          &frame.wavelength, &frame.osc_start, &frame.osc_range, &frame.time);
  frame.allocated = daten != &untouched;
  if (!frame.allocated) return;
  const auto pixels = test::own(daten);
  const std::size_t count = static_cast<std::size_t>(frame.width) * static_cast<std::size_t>(frame.height);
  frame.bytes.assign(reinterpret_cast<const char*>(pixels.get()), count * 4);
}

Frame read_path(const std::string& path, int width = 3, int height = 2, int reserved = 0) {
  Frame frame;
  frame.width = width;
  frame.height = height;
  test::Output output = test::capture([&] { read_into(frame, path, reserved); });
  EXPECT_EQ(output.err, "");
  frame.text = std::move(output.out);
  return frame;
}

Frame read_bytes(const std::string& bytes, int width = 3, int height = 2) {
  const test::TemporaryDirectory directory;
  return read_path(directory.write("frame.img", bytes), width, height);
}

// The four lines for a header that has none of the keys.
std::string bare_summary(int width, int height) {
  return "# detector=-1 type= adc= bin= saturation=-1\n"
         "# Dim=-1, x=" +
         std::to_string(width) + " y=" + std::to_string(height) +
         ", Beam_x=0.0, Beam_y=0.0 pixelsize=-1.00000\n"
         "# Date=\n"
         "# Lambda=-1.0000, Axis= start=-1.000, end=-1.000, time=-1\n";
}

// The line of the summary that begins like this, without its line feed.
std::string line_of(const Frame& frame, const std::string& beginning) {
  const std::size_t start = frame.text.find(beginning);
  if (start == std::string::npos) return {};
  return frame.text.substr(start, frame.text.find('\n', start) - start);
}

// A header of these lines, then the pixels of the caller's 3 x 2.
Frame read_lines(const std::string& lines) {
  return read_bytes("{\n" + lines + "}\n" + test::zeros(12));
}

}  // namespace

TEST(Bnl, EveryKeyIsHandedOutOrPrinted) {
  const Frame frame = read_bytes(
      "{\n"
      "HEADER_BYTES=  512;\n"
      "WAVELENGTH=1.54187;\n"
      "BYTE_ORDER=little_endian;\n"
      "TYPE=unsigned_short;\n"
      "ADC=slow;\n"
      "BIN=2x2;\n"
      "DATE=Mon Jan 12 10:11:12 2004;\n"
      "AXIS=phi;\n"
      "SIZE1=2;\n"
      "SIZE2=3;\n"
      "DIM=4;\n"
      "DETECTOR_SN=901;\n"
      "CCD_IMAGE_SATURATION=65535;\n"
      "PIXEL_SIZE=0.0816;\n"
      "BEAM_CENTER_X=93.46;\n"
      "BEAM_CENTER_Y=94.04;\n"
      "TIME=12.5;\n"
      "DISTANCE=150.25;\n"
      "OSC_RANGE=0.75;\n"
      "OSC_START=30.125;\n"
      "PHI=99;\n"
      "}\n" +
      test::zeros(12));
  EXPECT_EQ(frame.result, 0);
  EXPECT_EQ(frame.width, 2);
  EXPECT_EQ(frame.height, 3);
  EXPECT_EQ(frame.distance, 150.25);
  EXPECT_EQ(frame.wavelength, 1.54187);
  EXPECT_EQ(frame.osc_start, 30.125);
  EXPECT_EQ(frame.osc_range, 0.75);
  EXPECT_EQ(frame.time, 12.5);
  EXPECT_EQ(frame.text,
            "# detector=901 type=unsigned_short; adc=slow; bin=2x2; saturation=65535\n"
            "# Dim=4, x=2 y=3, Beam_x=93.5, Beam_y=94.0 pixelsize=0.08160\n"
            "# Date=Mon Jan 12 10:11:12 2004;\n"
            "# Lambda=1.5419, Axis=phi; start=30.125, end=0.750, time=12.5\n"
            "# Byte_order convertion needed....# done\n"
            "# 2 3 * 4 bereitgestellt\n");
}

TEST(Bnl, KeysMayComeInAnyOrder) {
  const Frame frame = read_bytes(
      "{\nPHI=99;\nOSC_START=4;\nOSC_RANGE=3;\nDISTANCE=2;\nTIME=1;\nBEAM_CENTER_Y=8;\nBEAM_CENTER_X=7;\n"
      "PIXEL_SIZE=6;\nCCD_IMAGE_SATURATION=11;\nDETECTOR_SN=12;\nDIM=13;\nSIZE2=1;\nSIZE1=2;\nAXIS=omega\n"
      "DATE=a b c d e\nBIN=b\nADC=a\nTYPE=t\nBYTE_ORDER=big_endian\nWAVELENGTH=5;\nHEADER_BYTES=1;\n}\n\1\2\3\4");
  EXPECT_EQ(frame.distance, 2);
  EXPECT_EQ(frame.wavelength, 5);
  EXPECT_EQ(frame.osc_start, 4);
  EXPECT_EQ(frame.osc_range, 3);
  EXPECT_EQ(frame.time, 1);
  EXPECT_EQ(frame.text,
            "# detector=12 type=t adc=a bin=b saturation=11\n"
            "# Dim=13, x=2 y=1, Beam_x=7.0, Beam_y=8.0 pixelsize=6.00000\n"
            "# Date=a b c d e\n"
            "# Lambda=5.0000, Axis=omega start=4.000, end=3.000, time=1\n" +
                kNotConverted + "# 2 1 * 4 bereitgestellt\n");
  EXPECT_EQ(frame.bytes, std::string("\1\2\3\4") + test::zeros(4));
}

TEST(Bnl, HeaderWithoutKeysGivesTheInitialValues) {
  const Frame frame = read_bytes("{\n}\n" + test::zeros(12));
  EXPECT_EQ(frame.result, 0);
  EXPECT_EQ(frame.distance, -1.0);
  EXPECT_EQ(frame.wavelength, -1.0);
  EXPECT_EQ(frame.osc_start, -1.0);
  EXPECT_EQ(frame.osc_range, -1.0);
  EXPECT_EQ(frame.time, -1.0);
  EXPECT_EQ(frame.text, bare_summary(3, 2) + kConverted + "# 3 2 * 4 bereitgestellt\n");
}

TEST(Bnl, MissingSizeKeepsTheCallers) {
  EXPECT_EQ(read_bytes("{\n}\n", 5, 4).bytes, test::zeros(80));

  const Frame without_height = read_bytes("{\nSIZE1=7;\n}\n", 5, 4);
  EXPECT_EQ(std::pair(without_height.width, without_height.height), std::pair(7, 4));
  const Frame without_width = read_bytes("{\nSIZE2=7;\n}\n", 5, 4);
  EXPECT_EQ(std::pair(without_width.width, without_width.height), std::pair(5, 7));
}

TEST(Bnl, RepeatedKeyKeepsItsLastValue) {
  const Frame frame = read_lines(
      "WAVELENGTH=1;\nWAVELENGTH=2;\nTYPE=long_first\nTYPE=b\nADC=long_first\nADC=c\nBIN=long_first\nBIN=d\n"
      "DATE=1 1 1 1 1\nDATE=2 2 2 2 "
      "2\nAXIS=long_first\nAXIS=e\nSIZE1=1;\nSIZE1=3;\nSIZE2=1;\nSIZE2=2;\nDIM=1;\nDIM=2;\n"
      "DETECTOR_SN=1;\nDETECTOR_SN=3;\nCCD_IMAGE_SATURATION=1;\nCCD_IMAGE_SATURATION=4;\nPIXEL_SIZE=1;\nPIXEL_SIZE=5;\n"
      "BEAM_CENTER_X=1;\nBEAM_CENTER_X=6;\nBEAM_CENTER_Y=1;\nBEAM_CENTER_Y=7;\nTIME=1;\nTIME=8;\nDISTANCE=1;\n"
      "DISTANCE=9;\nOSC_RANGE=1;\nOSC_RANGE=10;\nOSC_START=1;\nOSC_START=11;\nBYTE_ORDER=x\nBYTE_ORDER=big_endian\n");
  EXPECT_EQ(frame.distance, 9);
  EXPECT_EQ(frame.text,
            "# detector=3 type=b adc=c bin=d saturation=4\n"
            "# Dim=2, x=3 y=2, Beam_x=6.0, Beam_y=7.0 pixelsize=5.00000\n"
            "# Date=2 2 2 2 2\n"
            "# Lambda=2.0000, Axis=e start=11.000, end=10.000, time=8\n" +
                kNotConverted + "# 3 2 * 4 bereitgestellt\n");
}

TEST(Bnl, ValueThatDoesNotConvertChangesNothing) {
  const Frame frame =
      read_lines("TIME=3;\nTIME=;\nTIME=x\nTIME=\nDIM=5;\nDIM=x5;\nDIM=;\nADC=fast\nADC=\nADC=  \nSIZE1=\nSIZE2=-;\n");
  EXPECT_EQ(frame.time, 3);
  EXPECT_EQ(line_of(frame, "# detector"), "# detector=-1 type= adc=fast bin= saturation=-1");
  EXPECT_EQ(line_of(frame, "# Dim"), "# Dim=5, x=3 y=2, Beam_x=0.0, Beam_y=0.0 pixelsize=-1.00000");
}

TEST(Bnl, KeyMustBeginItsLineExactly) {
  const Frame frame = read_lines(
      " TIME=1;\nxTIME=1;\ntime=1;\nTime=1;\nTIME =1;\nTIME:1;\nTIMES=1;\n"
      "BIN_TYPE=HW;\nSIZE=9;\nSIZE12=9;\nBEAM_CENTER=9;\n;DISTANCE=1;\n\nOSC_STARTS=1;\n");
  EXPECT_EQ(frame.text, bare_summary(3, 2) + kConverted + "# 3 2 * 4 bereitgestellt\n");
  EXPECT_EQ(frame.time, -1.0);
  EXPECT_EQ(frame.distance, -1.0);
  EXPECT_EQ(frame.osc_start, -1.0);
}

TEST(Bnl, BlanksStandBeforeValuesAndNothingIsNeededBehindThem) {
  const Frame frame = read_lines(
      "TIME= \t 1.5\nDISTANCE=2.5mm;\nWAVELENGTH=1e-1\nOSC_START=-.5;\nOSC_RANGE=0x1p3;\nDIM=  2.9;\nDETECTOR_SN=+7 ;\n"
      "CCD_IMAGE_SATURATION=08;\nTYPE=  spaced out;\nADC=\tq;r\n");
  EXPECT_EQ(frame.time, 1.5);
  EXPECT_EQ(frame.distance, 2.5);
  EXPECT_EQ(frame.wavelength, 0.1);
  EXPECT_EQ(frame.osc_start, -0.5);
  EXPECT_EQ(frame.osc_range, 8);
  EXPECT_EQ(line_of(frame, "# detector"), "# detector=7 type=spaced adc=q;r bin= saturation=8");
  EXPECT_EQ(line_of(frame, "# Dim=2,"), "# Dim=2, x=3 y=2, Beam_x=0.0, Beam_y=0.0 pixelsize=-1.00000");
}

TEST(Bnl, MissingTimeIsPrintedAsMinusOne) {
  const Frame frame = read_lines("OSC_START=1;\n");
  EXPECT_EQ(frame.time, -1.0);
  EXPECT_EQ(line_of(frame, "# Lambda"), "# Lambda=-1.0000, Axis= start=1.000, end=-1.000, time=-1");
}

TEST(Bnl, PhiAndHeaderBytesChangeNothing) {
  EXPECT_EQ(read_lines("PHI=12;\nHEADER_BYTES=2;\n").text, read_lines("").text);
  EXPECT_EQ(read_bytes("{\nHEADER_BYTES=100;\nBYTE_ORDER=big_endian\n}\nABCDEFGHIJKL").bytes,
            "ABCDEFGHIJKL" + test::zeros(12));
}

TEST(Bnl, DateNeedsFiveWords) {
  EXPECT_EQ(line_of(read_lines("DATE=Mon Jan 12 10:11:12 2004;\n"), "# Date"), "# Date=Mon Jan 12 10:11:12 2004;");
  EXPECT_EQ(line_of(read_lines("DATE=Mon Jan 12 10:11:12\n"), "# Date"), "# Date=");
  EXPECT_EQ(line_of(read_lines("DATE=a b c d e\nDATE=1 2 3 4\n"), "# Date"), "# Date=a b c d e");
  EXPECT_EQ(line_of(read_lines("DATE=  a\tb  c \t d e f g;\n"), "# Date"), "# Date=a b c d e");
}

TEST(Bnl, TextsAreCutAtTheirLengths) {
  const std::string digits = "1234567890123456789012345678901234567890";
  const Frame frame = read_lines("TYPE=" + digits + "\nADC=" + digits + "\nBIN=" + digits + "\nAXIS=" + digits +
                                 "\nBYTE_ORDER=big_endian" + digits + digits + "\nDATE=" + digits + " " + digits + " " +
                                 digits + " " + digits + " " + digits + "\n");
  EXPECT_EQ(line_of(frame, "# detector"),
            "# detector=-1 type=1234567890123456789012345678901 adc=123456789012345 bin=123456789012345 saturation=-1");
  EXPECT_EQ(line_of(frame, "# Date"), "# Date=123456789 123456789 123456789 123456789 123456789");
  EXPECT_EQ(line_of(frame, "# Lambda"), "# Lambda=-1.0000, Axis=123456789012345 start=-1.000, end=-1.000, time=-1");
  EXPECT_NE(frame.text.find(kConverted), std::string::npos);
}

TEST(Bnl, TextsAsLongAsTheirFieldsAreWhole) {
  const Frame frame = read_lines(
      "TYPE=1234567890123456789012345678901\nADC=123456789012345\nBIN=abcdefghijklmno\n"
      "AXIS=ABCDEFGHIJKLMNO\nDATE=123456789 b c d e\n");
  EXPECT_EQ(line_of(frame, "# detector"),
            "# detector=-1 type=1234567890123456789012345678901 adc=123456789012345 bin=abcdefghijklmno saturation=-1");
  EXPECT_EQ(line_of(frame, "# Date"), "# Date=123456789 b c d e");
  EXPECT_EQ(line_of(frame, "# Lambda"), "# Lambda=-1.0000, Axis=ABCDEFGHIJKLMNO start=-1.000, end=-1.000, time=-1");
}

TEST(Bnl, PercentSignsInTextsAreConversions) {
  const Frame frame = read_lines("TYPE=%d%%%5d;\nADC=%s%n%c;\nBIN=1x%04d\nAXIS=a%300db\nBYTE_ORDER=big%s_endian\n");
  EXPECT_EQ(line_of(frame, "# detector"), "# detector=-1 type=0%    0; adc=; bin=1x0000 saturation=-1");
  EXPECT_EQ(line_of(frame, "# Lambda"),
            "# Lambda=-1.0000, Axis=a" + std::string(14, ' ') + " start=-1.000, end=-1.000, time=-1");
  EXPECT_NE(frame.text.find(kNotConverted), std::string::npos);
}

TEST(Bnl, PercentSignAtATextsEndIsDropped) {
  EXPECT_EQ(line_of(read_lines("TYPE=50%\nADC=a%-08.3l\nBIN=b%5\n"), "# detector"),
            "# detector=-1 type=50 adc=a bin=b saturation=-1");
}

TEST(Bnl, DateIsPlainTextWhateverItHolds) {
  EXPECT_EQ(line_of(read_lines("DATE=%d %s %n 100% %%\n"), "# Date"), "# Date=%d %s %n 100% %%");
}

TEST(Bnl, OnlyBigEndianWithoutSemicolonIsNotConverted) {
  const auto converts = [](const std::string& lines) {
    const Frame frame = read_lines(lines);
    const bool converted = frame.text == bare_summary(3, 2) + kConverted + "# 3 2 * 4 bereitgestellt\n";
    EXPECT_TRUE(converted || frame.text == bare_summary(3, 2) + kNotConverted + "# 3 2 * 4 bereitgestellt\n");
    return converted;
  };
  EXPECT_FALSE(converts("BYTE_ORDER=big_endian\n"));
  EXPECT_FALSE(converts("BYTE_ORDER=big_endian ;\n"));
  EXPECT_FALSE(converts("BYTE_ORDER= big_endian\r\n"));
  EXPECT_TRUE(converts("BYTE_ORDER=big_endian;\n"));
  EXPECT_TRUE(converts("BYTE_ORDER=little_endian;\n"));
  EXPECT_TRUE(converts("BYTE_ORDER=little_endian\n"));
  EXPECT_TRUE(converts("BYTE_ORDER=big_endia\n"));
  EXPECT_TRUE(converts("BYTE_ORDER=big_endians\n"));
  EXPECT_TRUE(converts("BYTE_ORDER=BIG_ENDIAN\n"));
  EXPECT_TRUE(converts("BYTE_ORDER=\n"));
  EXPECT_TRUE(converts(""));
}

TEST(Bnl, SamplesStandSideBySideInTheFirstHalf) {
  const Frame frame = read_bytes("{\nBYTE_ORDER=big_endian\n}\n\1\2\3\4\5\6\7\10\11\12\13\14");
  EXPECT_EQ(frame.bytes, "\1\2\3\4\5\6\7\10\11\12\13\14" + test::zeros(12));
}

TEST(Bnl, ConversionExchangesTheBytesOfEverySecondSample) {
  EXPECT_EQ(read_bytes("{\n}\n\1\2\3\4\5\6\7\10\11\12\13\14").bytes, "\2\1\3\4\6\5\7\10\12\11\13\14" + test::zeros(12));
  // An odd number of samples: the last one is the lower half of its word.
  EXPECT_EQ(read_bytes("{\n}\n\1\2\3\4\5\6\7\10\11\12", 5, 1).bytes, "\2\1\3\4\6\5\7\10\12\11" + test::zeros(10));
}

TEST(Bnl, BytesBehindTheSamplesAreIgnored) {
  EXPECT_EQ(read_bytes("{\nBYTE_ORDER=big_endian\n}\n\1\2\3\4\5\6\7\10\11\12\13\14\15\16").bytes,
            "\1\2\3\4\5\6\7\10\11\12\13\14" + test::zeros(12));
}

TEST(Bnl, ShortDataAreFilledUpWithZeros) {
  EXPECT_EQ(read_bytes("{\nBYTE_ORDER=big_endian\n}\n\1\2\3\4\5").bytes, "\1\2\3\4\5" + test::zeros(19));
  EXPECT_EQ(read_bytes("{\n}\n\1\2\3\4\5").bytes, std::string("\2\1\3\4\0\5", 6) + test::zeros(18));
  EXPECT_EQ(read_bytes("{\n}\n").bytes, test::zeros(24));
}

TEST(Bnl, DataFollowTheClosingBraceLine) {
  const std::string header = "{\nBYTE_ORDER=big_endian\n";
  EXPECT_EQ(read_bytes(header + "} any ; text = here\nABCD", 2, 1).bytes, "ABCD" + test::zeros(4));
  EXPECT_EQ(read_bytes(header + "}\r\nABCD", 2, 1).bytes, "ABCD" + test::zeros(4));
  EXPECT_EQ(read_bytes(header + "}\n\nABC", 2, 1).bytes, "\nABC" + test::zeros(4));
  EXPECT_EQ(read_bytes(header + " }\nSIZE1=1;\n}\nABCD", 2, 1).bytes, "AB" + test::zeros(2));
  // Without a line feed the line ends after 255 characters.
  EXPECT_EQ(read_bytes(header + "}" + std::string(254, ' ') + "ABCD", 2, 1).bytes, "ABCD" + test::zeros(4));
  EXPECT_EQ(read_bytes(header + "}" + test::zeros(254) + "ABCD", 2, 1).bytes, "ABCD" + test::zeros(4));
  EXPECT_EQ(read_bytes(header + "}" + std::string(254, ' ') + "\nABC", 2, 1).bytes, "\nABC" + test::zeros(4));
  EXPECT_EQ(read_bytes(header + "}" + std::string(253, ' ') + "\nABCD", 2, 1).bytes, "ABCD" + test::zeros(4));
}

TEST(Bnl, LongLineCountsAsSeveral) {
  const auto time_behind = [](std::size_t length) { return read_lines(std::string(length, 'x') + "TIME=5;\n").time; };
  EXPECT_EQ(time_behind(254), -1);
  EXPECT_EQ(time_behind(255), 5);
  EXPECT_EQ(time_behind(256), -1);
  EXPECT_EQ(time_behind(510), 5);
  EXPECT_EQ(time_behind(1000), -1);
  EXPECT_EQ(read_lines("TIME=" + std::string(249, ' ') + "57;\n").time, 5);
  EXPECT_EQ(read_lines("TIME=" + std::string(250, ' ') + "57;\n").time, -1);
  // The brace that follows 255 characters begins a line, too.
  EXPECT_EQ(read_lines(std::string(255, 'x') + "}\nTIME=5;\n").time, -1);
}

TEST(Bnl, LineEndsAtANul) {
  const std::string nul(1, '\0');
  EXPECT_EQ(read_lines("TIME=5" + nul + "7;\n").time, 5);
  EXPECT_EQ(read_lines(nul + "TIME=5;\n").time, -1);
  EXPECT_EQ(read_lines("TIME=" + nul + "5;\nDISTANCE=4;\n").distance, 4);
}

TEST(Bnl, HeaderWithoutClosingBraceGivesZeroPixels) {
  const Frame frame = read_bytes("{\nSIZE1=2;\nSIZE2=2;\nTIME=4;\nABCDEFGHIJ");
  EXPECT_EQ(frame.time, 4);
  EXPECT_EQ(frame.bytes, test::zeros(16));
}

TEST(Bnl, ReservedArgumentIsIgnored) {
  const test::TemporaryDirectory directory;
  const std::string path = directory.write("frame.img", "{\n}\nABCDEFGHIJKL");
  const Frame expected = read_path(path);
  for (const int reserved : {-1, 1, 123456789}) {
    const Frame frame = read_path(path, 3, 2, reserved);
    EXPECT_EQ(frame.text, expected.text);
    EXPECT_EQ(frame.bytes, expected.bytes);
  }
}

TEST(Bnl, OpenFailureIsReportedAndLeavesTheImage) {
  const Frame frame = read_path("/nonexistent/%d%s.img", 11, 12);
  EXPECT_EQ(frame.result, 0);
  EXPECT_EQ(frame.text, "# " PLAIN_ERROR " reading File /nonexistent/%d%s.img\n");
  EXPECT_FALSE(frame.allocated);
  EXPECT_EQ(std::pair(frame.width, frame.height), std::pair(11, 12));
  for (const double value : {frame.distance, frame.wavelength, frame.osc_start, frame.osc_range, frame.time}) {
    EXPECT_EQ(value, -1.0);
  }
}

TEST(Bnl, EmptyImageIsAnImage) {
  const Frame frame = read_bytes("{\nSIZE1=0;\nSIZE2=5;\n}\nABCD");
  EXPECT_TRUE(frame.allocated);
  EXPECT_EQ(frame.text, bare_summary(0, 5) + kConverted + "# 0 5 * 4 bereitgestellt\n");
}

TEST(Bnl, SizesThatCannotBeAreRefused) {
  const test::TemporaryDirectory directory;
  const auto refused = [&directory](int width, int height) {
    const std::string size[] = {std::to_string(width), std::to_string(height)};
    const std::string path =
        directory.write("frame.img", "{\nSIZE1=" + size[0] + ";\nSIZE2=" + size[1] + ";\nTIME=3;\n}\nABCD");
    const std::size_t open = test::open_descriptors();
    const Frame frame = read_path(path);
    std::string summary = bare_summary(width, height);
    summary.replace(summary.find("time=-1"), 7, "time=3");
    EXPECT_EQ(frame.text, summary + "# " PLAIN_ERROR " reading File " + path + ": cannot allocate " + size[0] + " x " +
                              size[1] + " pixels\n");
    EXPECT_FALSE(frame.allocated);
    EXPECT_EQ(std::pair(frame.width, frame.height), std::pair(3, 2));
    EXPECT_EQ(frame.result, 0);
    EXPECT_EQ(frame.time, 3);
    EXPECT_EQ(test::open_descriptors(), open);
  };
  for (const auto& [width, height] : test::kImpossibleSizes) refused(width, height);
}

TEST(Bnl, CallersSizeThatCannotBeIsRefused) {
  const Frame frame = read_bytes("{\n}\nABCD", -4, 2);
  EXPECT_FALSE(frame.allocated);
  EXPECT_NE(frame.text.find(": cannot allocate -4 x 2 pixels\n"), std::string::npos);
}

TEST(Bnl, AbsurdSizeTakesNoMemory) {
  const auto before = test::peak_memory_kib();
  const Frame frame = read_bytes("{\nSIZE1=100000;\nSIZE2=100000;\n}\n" + test::zeros(2000));
  EXPECT_FALSE(frame.allocated);
  EXPECT_LT(test::peak_memory_kib() - before, 64 * 1024);
}

TEST(BnlDeathTest, ImageThatMemoryCannotHoldIsReported) {
  const test::TemporaryDirectory directory;
  const std::string path = directory.write("frame.img", "{\nSIZE1=16384;\nSIZE2=16384;\n}\nABCD");
  const auto read = [&path] {
    test::limit_memory();
    const Frame frame = read_path(path);
    const bool reported = frame.text == bare_summary(16384, 16384) + "# " PLAIN_ERROR " reading File " + path +
                                            ": cannot allocate 16384 x 16384 pixels\n";
    std::exit(reported && !frame.allocated && frame.result == 0 ? 0 : 1);
  };
  EXPECT_EXIT(read(), testing::ExitedWithCode(0), "");
}

TEST(Bnl, ClosesTheFile) {
  const test::TemporaryDirectory directory;
  const std::size_t open = test::open_descriptors();
  for (const char* bytes : {"{\n}\nABCDEFGHIJKL", "{\n}\nA", "{\nno brace", "", "{\nSIZE1=0;\n}\n"}) {
    read_path(directory.write("frame.img", bytes));
    EXPECT_EQ(test::open_descriptors(), open) << bytes;
  }
}

TEST(Bnl, PathsThatHoldNothingGiveZeros) {
  const test::TemporaryDirectory directory;
  const std::size_t open = test::open_descriptors();
  for (const std::string& path : test::non_images(directory)) {
    const Frame frame = read_path(path);
    EXPECT_EQ(frame.result, 0);
    EXPECT_EQ(frame.text, bare_summary(3, 2) + kConverted + "# 3 2 * 4 bereitgestellt\n") << path;
    EXPECT_EQ(frame.bytes, test::zeros(24));
  }
  EXPECT_EQ(test::open_descriptors(), open);
}

namespace {

// The last number behind the key, or the initial value.
int whole_of(const std::vector<std::string>& lines, const char* key, int value) {
  for (const std::string& text : test::texts_after(lines, key)) value = test::whole_number(text).value_or(value);
  return value;
}

double real_of(const std::vector<std::string>& lines, const char* key, double value) {
  for (const std::string& text : test::texts_after(lines, key)) value = test::real_number(text).value_or(value);
  return value;
}

std::string text_of(const std::vector<std::string>& lines, const char* key, std::size_t length) {
  std::string value;
  for (const std::string& text : test::texts_after(lines, key)) {
    if (const auto found = test::words(text); !found.empty()) value = test::as_format(found.front(), length);
  }
  return value;
}

std::string date_of(const std::vector<std::string>& lines) {
  std::string date;
  for (const std::string& text : test::texts_after(lines, "DATE=")) {
    const auto found = test::words(text);
    if (found.size() < 5) continue;
    date = found[0].substr(0, 9);
    for (std::size_t i = 1; i < 5; ++i) date.append(" ").append(found[i], 0, 9);
  }
  return date;
}

std::string summary_of(const std::vector<std::string>& lines, const Frame& frame) {
  return test::printed("# detector=%d type=%s adc=%s bin=%s saturation=%d\n", whole_of(lines, "DETECTOR_SN=", -1),
                       text_of(lines, "TYPE=", 31).c_str(), text_of(lines, "ADC=", 15).c_str(),
                       text_of(lines, "BIN=", 15).c_str(), whole_of(lines, "CCD_IMAGE_SATURATION=", -1)) +
         test::printed("# Dim=%d, x=%d y=%d, Beam_x=%3.1f, Beam_y=%3.1f pixelsize=%6.5f\n", whole_of(lines, "DIM=", -1),
                       frame.width, frame.height, real_of(lines, "BEAM_CENTER_X=", 0),
                       real_of(lines, "BEAM_CENTER_Y=", 0), real_of(lines, "PIXEL_SIZE=", -1)) +
         "# Date=" + date_of(lines) + "\n" +
         test::printed("# Lambda=%5.4f, Axis=%s start=%4.3f, end=%4.3f, time=%g\n", frame.wavelength,
                       text_of(lines, "AXIS=", 15).c_str(), frame.osc_start, frame.osc_range, frame.time);
}

// What reading the file is to give, found out without the library.
Frame expected_frame(const std::string& path, const std::string& file, int width, int height) {
  const test::BracedHeader header = test::split_header(file);
  Frame frame;
  frame.result = 0;
  frame.width = whole_of(header.lines, "SIZE1=", width);
  frame.height = whole_of(header.lines, "SIZE2=", height);
  frame.distance = real_of(header.lines, "DISTANCE=", -1);
  frame.wavelength = real_of(header.lines, "WAVELENGTH=", -1);
  frame.osc_start = real_of(header.lines, "OSC_START=", -1);
  frame.osc_range = real_of(header.lines, "OSC_RANGE=", -1);
  frame.time = real_of(header.lines, "TIME=", -1);
  frame.text = summary_of(header.lines, frame);
  const double pixels = static_cast<double>(frame.width) * frame.height;
  frame.allocated = frame.width >= 0 && frame.height >= 0 && pixels <= 268435456;
  if (!frame.allocated) {
    frame.text += test::printed("# " PLAIN_ERROR " reading File %s: cannot allocate %d x %d pixels\n", path.c_str(),
                                frame.width, frame.height);
    frame.width = width;
    frame.height = height;
    return frame;
  }
  const bool converts = text_of(header.lines, "BYTE_ORDER=", 31) != "big_endian";
  frame.text += converts ? kConverted : kNotConverted;
  frame.text += test::printed("# %d %d * 4 bereitgestellt\n", frame.width, frame.height);
  frame.bytes = file.substr(header.end, static_cast<std::size_t>(pixels) * 2);
  frame.bytes.resize(static_cast<std::size_t>(pixels) * 4);
  for (std::size_t i = 0; converts && i < frame.bytes.size(); i += 4) std::swap(frame.bytes[i], frame.bytes[i + 1]);
  return frame;
}

bool same_number(double a, double b) {
  return a == b || (std::isnan(a) && std::isnan(b));
}

void expect_equal(const Frame& frame, const Frame& expected) {
  EXPECT_EQ(frame.result, expected.result);
  EXPECT_EQ(frame.text, expected.text);
  EXPECT_EQ(std::pair(frame.width, frame.height), std::pair(expected.width, expected.height));
  EXPECT_PRED2(same_number, frame.distance, expected.distance);
  EXPECT_PRED2(same_number, frame.wavelength, expected.wavelength);
  EXPECT_PRED2(same_number, frame.osc_start, expected.osc_start);
  EXPECT_PRED2(same_number, frame.osc_range, expected.osc_range);
  EXPECT_PRED2(same_number, frame.time, expected.time);
  EXPECT_EQ(frame.allocated, expected.allocated);
  EXPECT_TRUE(frame.bytes == expected.bytes);
}

constexpr auto kKeys = std::to_array<std::string_view>(
    {"HEADER_BYTES=", "WAVELENGTH=", "BYTE_ORDER=", "TYPE=",          "ADC=",          "BIN=",
     "DATE=",         "AXIS=",       "SIZE1=",      "SIZE2=",         "DIM=",          "DETECTOR_SN=",
     "PIXEL_SIZE=",   "TIME=",       "DISTANCE=",   "OSC_RANGE=",     "OSC_START=",    "CCD_IMAGE_SATURATION=",
     "PHI=",          "BIN_TYPE=",   "TWOTHETA=",   "BEAM_CENTER_X=", "BEAM_CENTER_Y="});

std::string random_value(test::Random& random, std::string_view key) {
  if (key == "BYTE_ORDER=" && test::once_in(random, 2)) {
    return test::random_of(random, std::to_array<std::string_view>(
                                       {"big_endian", "big_endian ", "big_endian;", "big_%sendian", "little_endian"}));
  }
  if (key == "DATE=") {
    std::string date;
    for (std::size_t count = 3 + test::random_below(random, 4); count > 0; --count) {
      date += test::random_of(random, test::kWords) + " ";
    }
    return date;
  }
  return test::once_in(random, 2) ? test::random_of(random, test::kNumbers) : test::random_of(random, test::kWords);
}

std::string random_item(test::Random& random, const std::string& key) {
  return key + random_value(random, key) + (test::once_in(random, 3) ? "" : ";");
}

}  // namespace

TEST(Bnl, RandomHeadersReadAsByHand) {
  const test::TemporaryDirectory directory;
  test::Random random(1);
  for (int round = 0; round < 1500; ++round) {
    std::string file =
        test::random_items(random, kKeys, [&](const std::string& key) { return random_item(random, key); });
    file += test::random_closing_line(random) + test::random_bytes(random, test::random_below(random, 60));
    const std::string path = test::write_anew(directory, "frame.img", file);
    const int width = static_cast<int>(test::random_below(random, 6));
    const int height = static_cast<int>(test::random_below(random, 6));
    expect_equal(read_path(path, width, height), expected_frame(path, file, width, height));
    if (testing::Test::HasFailure()) FAIL() << "round " << round << ", file:\n" << file;
  }
}

TEST(Bnl, RealFrameReadsAsItsTextSays) {
  const std::string path = test::sample_frame("TIMEPIX_SU_512-stdgoni_0001.img");
  if (path.empty()) GTEST_SKIP() << "the shared samples are absent";
  const Frame frame = read_path(path, 0, 0);
  EXPECT_EQ(frame.text,
            "# detector=901 type=unsigned_short; adc=fast; bin=1x1; saturation=-1\n"
            "# Dim=2, x=512 y=512, Beam_x=246.0, Beam_y=240.0 pixelsize=0.05500\n"
            "# Date=Tue Jun 26 09:43:09 2007;\n"
            "# Lambda=0.0251, Axis= start=65.400, end=0.230, time=0.0925\n" +
                kConverted + "# 512 512 * 4 bereitgestellt\n");
  EXPECT_EQ(frame.result, 0);
  EXPECT_EQ(frame.distance, 531.85);
  EXPECT_EQ(frame.wavelength, 0.0251);
  EXPECT_EQ(frame.osc_start, 65.4);
  EXPECT_EQ(frame.osc_range, 0.23);
  EXPECT_EQ(frame.time, 0.0925);

  // The closing brace stands at byte 412. No line feed follows it, but NULs and, from byte 512 on, pixels: its line
  // ends after 255 characters unless a pixel's byte is a line feed.
  const std::string file = test::read_file(path);
  ASSERT_EQ(file.substr(410, 3), std::string(";\n}"));
  const std::size_t line_feed = file.substr(412, 255).find('\n');
  const std::size_t data = 412 + (line_feed == std::string::npos ? 255 : line_feed + 1);
  std::string samples = file.substr(data, std::size_t{512} * 512 * 2);
  samples.resize(std::size_t{512} * 512 * 4);
  for (std::size_t i = 0; i < samples.size(); i += 4) std::swap(samples[i], samples[i + 1]);
  EXPECT_TRUE(frame.bytes == samples);
}

namespace {

// Reads damaged copies of the sample. Nothing is expected but that it can be done.
void survive_damage(const std::string& sample, std::size_t header, int changes) {
  const test::TemporaryDirectory directory;
  const std::size_t open = test::open_descriptors();
  int copies = 0;
  test::capture([&] {
    copies = test::read_damaged_copies(directory, sample, header, changes, [](const std::string& path) {
      Frame frame;
      read_into(frame, path);
      EXPECT_EQ(frame.result, 0);
    });
  });
  EXPECT_EQ(copies, static_cast<int>(header) + 1 + 100 + changes);
  EXPECT_EQ(test::open_descriptors(), open);
}

}  // namespace

TEST(Bnl, SurvivesDamagedFiles) {
  const std::string header =
      "{\nHEADER_BYTES=  512;\nBYTE_ORDER=little_endian;\nTYPE=unsigned_short;\nADC=fast;\nBIN=1x1;\n"
      "DATE=Mon Jan 12 10:11:12 2004;\nAXIS=phi;\nSIZE1=11;\nSIZE2=10;\nDIM=2;\nDETECTOR_SN=901;\n"
      "CCD_IMAGE_SATURATION=65535;\nPIXEL_SIZE=0.0816;\nBEAM_CENTER_X=93.46;\nBEAM_CENTER_Y=94.04;\nTIME=12.5;\n"
      "DISTANCE=150.25;\nOSC_RANGE=0.75;\nOSC_START=30.125;\nPHI=99;\nWAVELENGTH=1.54;\n}\n";
  survive_damage(header + std::string(220, '\7'), header.size(), 2000);
}

TEST(Bnl, SurvivesADamagedRealFrame) {
  const std::string path = test::sample_frame("TIMEPIX_SU_512-stdgoni_0001.img");
  if (path.empty()) GTEST_SKIP() << "the shared samples are absent";
  survive_damage(test::read_file(path), 412, 100);
}
