#include <cstring>
#include <limits>
#include <string>

#include "tests/environment.h"
#include "xrdimage.h"

using namespace std::string_literals;

namespace {

// A file whose text header begins with the given text; the rest of its 3968 bytes are blanks.
std::string header_file(std::string text) {
  text.resize(3968, ' ');
  return std::string(128, 'P') + text;
}

// What the record holds before: every field shows whether it was written.
Mar345Header marked_record() {
  Mar345Header record{};
  for (char* field : {record.program, record.date, record.format, record.mode, record.source}) {
    std::snprintf(field, sizeof record.program, "before");
  }
  record.high = record.pixel_length = record.pixel_height = record.roff = record.toff = -77;
  record.wavelength = record.distance = record.time = -77.5;
  record.intensity_min = record.intensity_max = record.intensity_avg = record.intensity_sig = -77.5;
  record.phi_start = 3;
  record.phi_end = 10;
  record.phi_osc = -77.5;
  return record;
}

class MarHeader : public testing::Test {
 protected:
  // Reads the bytes as a file; the result is kept in `result`.
  Mar345Header read_file(const std::string& bytes) {
    const std::string path = directory_.write("frame.mar2300", bytes);
    Mar345Header record = marked_record();
    const auto output = test::capture([&] { result_ = read_marheader(&record, path.c_str()); });
    EXPECT_EQ(output.out + output.err, "");
    return record;
  }
  Mar345Header read(const std::string& text) { return read_file(header_file(text)); }
  int result() const { return result_; }
  const test::TemporaryDirectory& directory() const { return directory_; }

 private:
  test::TemporaryDirectory directory_;
  int result_ = -99;
};

constexpr const char* kHeader =
    "PROGRAM marwrite\n"
    "DATE Thu Nov 13 21:05:03 2003\n"
    "FORMAT PCK345\n"
    "HIGH 17\n"
    "LENGTH 150 HEIGHT 151\n"
    "ROFF -3 TOFF 4\n"
    "WAVELENGTH 1.5418\n"
    "DISTANCE 120.25\n"
    "PHI            START 10.0  END 11.5  OSC 1\n";

}  // namespace

// --- The keywords, in their order ----------------------------------------------------------------------------------

TEST_F(MarHeader, KeywordsInTheirOrderFillTheRecord) {
  const Mar345Header record = read(kHeader);
  EXPECT_STREQ(record.program, "marwrite");
  EXPECT_STREQ(record.date, "Thu Nov 13 21:05:03 2003");
  EXPECT_STREQ(record.format, "PCK345");
  EXPECT_EQ(record.high, 17);
  EXPECT_EQ(record.pixel_length, 150);
  EXPECT_EQ(record.pixel_height, 151);
  EXPECT_EQ(record.roff, -3);
  EXPECT_EQ(record.toff, 4);
  EXPECT_EQ(record.wavelength, 1.5418);
  EXPECT_EQ(record.distance, 120.25);
  EXPECT_EQ(record.phi_start, 10.0);
  EXPECT_EQ(record.phi_end, 11.5);
  EXPECT_EQ(record.phi_osc, 1.5);
  EXPECT_EQ(result(), 2);
}

TEST_F(MarHeader, OtherFieldsAreLeftAlone) {
  const Mar345Header record = read(kHeader);
  EXPECT_STREQ(record.mode, "before");
  EXPECT_STREQ(record.source, "before");
  EXPECT_EQ(record.intensity_sig, -77.5);
  EXPECT_EQ(record.gap[7], 0);
  EXPECT_EQ(record.trans2, 0);
}

TEST_F(MarHeader, ValuesStandBehindAnyWhiteSpace) {
  const Mar345Header record = read("PROGRAM\n\n  a\nDATE\t1\n2 3 4 5\nFORMAT\tb\nHIGH\n+4\nLENGTH1HEIGHT2\n");
  EXPECT_STREQ(record.program, "a");
  EXPECT_STREQ(record.date, "1 2 3 4 5");
  EXPECT_STREQ(record.format, "b");
  EXPECT_EQ(record.high, 4);
  // A blank in the pattern matches no white space as well.
  EXPECT_EQ(record.pixel_length, 1);
  EXPECT_EQ(record.pixel_height, 2);
}

TEST_F(MarHeader, LinesBetweenMayHoldAnythingWithoutTheLetterLookedFor) {
  const Mar345Header record = read("mar research\nPROGRAM a\nuseful\nDATE 1 2 3 4 5\nnothing\nFORMAT b\n0 HIGH 6\n");
  EXPECT_STREQ(record.program, "a");
  EXPECT_STREQ(record.date, "1 2 3 4 5");
  EXPECT_STREQ(record.format, "b");
  EXPECT_EQ(record.high, 6);
}

TEST_F(MarHeader, RealsMayHaveExponents) {
  const Mar345Header record = read("PDFHLR\nWAVELENGTH 15.4e-1\nDISTANCE -2E2");
  EXPECT_EQ(record.wavelength, 1.54);
  EXPECT_EQ(record.distance, -200.0);
}

// --- What the search for single letters misses ---------------------------------------------------------------------

TEST_F(MarHeader, FirstOccurrenceOfTheLetterDecides) {
  EXPECT_STREQ(read("Pilatus PROGRAM a\n").program, "before");
  // The D of the program's name stands before DATE.
  EXPECT_STREQ(read("PROGRAM aD\nDATE 1 2 3 4 5\n").date, "    ");
  // Friday has an F. A parse does not move the place where the next search begins.
  const Mar345Header friday = read("PROGRAM a\nDATE Fri Nov 14 21:05:03 2003\nFORMAT PCK345\nHIGH 2\n");
  EXPECT_STREQ(friday.date, "Fri Nov 14 21:05:03 2003");
  EXPECT_STREQ(friday.format, "before");
  EXPECT_EQ(friday.high, 2);
  // The L at the end of PIXEL is not the one of LENGTH.
  const Mar345Header pixel = read("PDFH\nPIXEL LENGTH 150 HEIGHT 150\nROFF 1 TOFF 2\n");
  EXPECT_EQ(pixel.pixel_length, -77);
  EXPECT_EQ(pixel.pixel_height, -77);
  EXPECT_EQ(pixel.roff, 1);
}

TEST_F(MarHeader, LettersAreCaseSensitive) {
  const Mar345Header record = read("program z\nPROGRAM a\nDATE 1 2 3 4 5\nFormat b\nFORMAT c\n");
  EXPECT_STREQ(record.program, "a");
  EXPECT_STREQ(record.format, "before");
}

TEST_F(MarHeader, LiteralTextMustMatchExactly) {
  EXPECT_STREQ(read("PROG a\n").program, "before");
  EXPECT_EQ(read("PDF\nHIGHER 5\n").high, -77);
  EXPECT_EQ(read("PDFHL\nROFF=1 TOFF=2\n").roff, -77);
}

TEST_F(MarHeader, ValuesBeforeAMismatchAreKept) {
  const Mar345Header record = read("PDFH\nLENGTH 150 WIDTH 150\nROFF 5 TOFF x\n");
  EXPECT_EQ(record.pixel_length, 150);
  EXPECT_EQ(record.pixel_height, -77);
  EXPECT_EQ(record.roff, 5);
  EXPECT_EQ(record.toff, -77);
}

TEST_F(MarHeader, TimeIsNotReachedFromDistance) {
  // The letter behind the D of DISTANCE is an I, where the search for TIME stops too.
  const Mar345Header record = read("PDFHLRW\nDISTANCE 5\nTIME 60\nINTENSITY      MIN 1  MAX 2  AVE 3\n");
  EXPECT_EQ(record.distance, 5.0);
  EXPECT_EQ(record.time, -77.5);
  // And from there the I of DISTANCE is the first.
  EXPECT_EQ(record.intensity_min, -77.5);
}

TEST_F(MarHeader, TimeIsReachedFromAnotherD) {
  const Mar345Header record = read("PDFHLRWD\nTIME 60.5\nINTENSITY      MIN 1  MAX 2  AVE 3\n");
  EXPECT_EQ(record.distance, -77.5);
  EXPECT_EQ(record.time, 60.5);
  // The I of TIME is the first behind it.
  EXPECT_EQ(record.intensity_min, -77.5);
}

TEST_F(MarHeader, TimeStopsAtAnyTOrBeforeAnyI) {
  EXPECT_EQ(read("PDFHLRWD aTb\nTIME 60\n").time, -77.5);
  EXPECT_EQ(read("PDFHLRWD aIb\nTIME 60\n").time, -77.5);
  EXPECT_EQ(read("PDFHLRWD xyz\nTIME 60\n").time, 60.0);
}

TEST_F(MarHeader, IntensityIsReachedFromTheCharacterBeforeIt) {
  const Mar345Header record = read("PDFHLRWD\nINTENSITY      MIN 1  MAX 65535  AVE 3.25  SIG 4\nPHI START 1 END 3\n");
  EXPECT_EQ(record.intensity_min, 1.0);
  EXPECT_EQ(record.intensity_max, 65535.0);
  EXPECT_EQ(record.intensity_avg, 3.25);
  EXPECT_EQ(record.intensity_sig, -77.5);
  EXPECT_EQ(record.time, -77.5);
  EXPECT_EQ(record.phi_start, 1.0);
  const Mar345Header cut = read("PDFHLRWD\nINTENSITY MIN 1 MAX 2 SIG 4\n");
  EXPECT_EQ(cut.intensity_min, 1.0);
  EXPECT_EQ(cut.intensity_max, 2.0);
  EXPECT_EQ(cut.intensity_avg, -77.5);
}

TEST_F(MarHeader, SearchForPhiBeginsAtTheLastI) {
  // A P between INTENSITY and PHI is taken for it.
  const Mar345Header record = read("PDFHLRWD\nINTENSITY MIN 1 MAX 2 AVE 3\nPOLARIZATION\nPHI START 1 END 3\n");
  EXPECT_EQ(record.phi_start, 3.0);
  EXPECT_EQ(result(), 0);
}

TEST_F(MarHeader, MissingLetterEndsTheSearchForTheOthersToo) {
  // No R: the scan stops at the end of the text, and there is nothing behind it.
  const Mar345Header record = read("PROGRAM a\nD\nF\nH\nLENGTH 1 HEIGHT 2\nWAVELENGTH 1.5\nDISTANCE 5\nPHI 1\n");
  EXPECT_EQ(record.pixel_height, 2);
  EXPECT_EQ(record.roff, -77);
  EXPECT_EQ(record.wavelength, -77.5);
  EXPECT_EQ(record.distance, -77.5);
  EXPECT_EQ(record.phi_start, 3.0);
  EXPECT_EQ(result(), -1);
}

// --- DATE ----------------------------------------------------------------------------------------------------------

TEST_F(MarHeader, DateOfThreeWordsTakesTheNextTwoOfTheText) {
  EXPECT_STREQ(read("P\nDATE Nov 13 2003\nFORMAT PCK345\n").date, "Nov 13 2003 FORMAT PCK345");
}

TEST_F(MarHeader, WordsThatTheTextLacksAreEmptyInTheDate) {
  EXPECT_STREQ(read("P\nDATE Nov 13 2003").date, "Nov 13 2003  ");
  EXPECT_STREQ(read("P\nDATE Nov\0 13 2003 a b"s).date, "Nov    ");
}

TEST_F(MarHeader, DateIsRewrittenAlsoWithoutAMatch) {
  EXPECT_STREQ(read("").date, "    ");
  EXPECT_STREQ(read("PROGRAM a\nDAY 1 2 3 4 5\n").date, "    ");
}

// --- Texts that are too long ---------------------------------------------------------------------------------------

TEST_F(MarHeader, WordsAreCutAtTheirFields) {
  const Mar345Header record =
      read("PROGRAM " + std::string(300, 'a') + "\nD\nFORMAT " + std::string(256, 'b') + "\nHIGH 3\n");
  EXPECT_EQ(record.program, std::string(255, 'a'));
  EXPECT_EQ(record.format, std::string(255, 'b'));
  EXPECT_EQ(record.high, 3);
}

TEST_F(MarHeader, DateWordsAreCutAt31Characters) {
  const Mar345Header record = read("P\nDATE " + std::string(31, 'a') + " " + std::string(32, 'b') + " " +
                                   std::string(200, 'c') + " d " + std::string(33, 'e') + "\n");
  EXPECT_EQ(record.date, std::string(31, 'a') + " " + std::string(31, 'b') + " " + std::string(31, 'c') + " d " +
                             std::string(31, 'e'));
}

TEST_F(MarHeader, TextEndsBehindItsLastByte) {
  std::string text(3968, ' ');
  const std::string phi = "PHI            START 12";
  text.replace(text.size() - phi.size(), phi.size(), phi);
  text.replace(0, 9, "PDFHLRWDI");
  // More digits follow in the file.
  const Mar345Header record = read_file(std::string(128, ' ') + text + "34  END 50");
  EXPECT_EQ(record.phi_start, 12.0);
  EXPECT_EQ(record.phi_end, 10.0);
  EXPECT_EQ(record.phi_osc, -2.0);
  EXPECT_EQ(result(), 1);
}

TEST_F(MarHeader, TextWithoutWhiteSpaceIsReadToItsEnd) {
  const Mar345Header record = read("PROGRAM " + std::string(3960, 'x'));
  EXPECT_EQ(record.program, std::string(255, 'x'));
  EXPECT_EQ(result(), -1);
}

TEST_F(MarHeader, TextBeginsBehind128Bytes) {
  std::string file = header_file("ROGRAM a\n");
  file[127] = 'P';
  EXPECT_STREQ(read_file(file).program, "before");
  EXPECT_STREQ(read("PROGRAM a\n").program, "a");
}

TEST_F(MarHeader, SearchGoesOnBehindANulCharacter) {
  const Mar345Header record = read("\0PROGRAM a\0b\0DATE 1 2 3 4 5\0FORMAT c\0HIGH 8\0"s);
  EXPECT_STREQ(record.program, "a");
  EXPECT_STREQ(record.date, "1 2 3 4 5");
  EXPECT_STREQ(record.format, "c");
  EXPECT_EQ(record.high, 8);
}

TEST_F(MarHeader, NulCharacterEndsAParse) {
  const Mar345Header record = read("PROGRAM \0a\nD\nF\nHIGH 1\0005\nLENGTH 1 \0HEIGHT 2"s);
  EXPECT_STREQ(record.program, "before");
  EXPECT_EQ(record.high, 1);
  EXPECT_EQ(record.pixel_length, 1);
  EXPECT_EQ(record.pixel_height, -77);
}

// --- Results -------------------------------------------------------------------------------------------------------

TEST_F(MarHeader, ResultCountsThePhiValues) {
  const std::string before = "PDFHLRWDI\n";
  const Mar345Header both = read(before + "PHI            START 4  END 6  ");
  EXPECT_EQ(result(), 2);
  EXPECT_EQ(both.phi_osc, 2.0);
  const Mar345Header start = read(before + "PHI START 4 OSC 6");
  EXPECT_EQ(result(), 1);
  EXPECT_EQ(start.phi_osc, 6.0);
  const Mar345Header neither = read(before + "PHI START x END 6");
  EXPECT_EQ(result(), 0);
  EXPECT_EQ(neither.phi_osc, 7.0);
  const Mar345Header ended = read(before + "PHI START ");
  EXPECT_EQ(result(), -1);
  EXPECT_EQ(ended.phi_osc, 7.0);
  read(before);
  EXPECT_EQ(result(), -1);
}

TEST_F(MarHeader, UnopenedFileLeavesTheRecord) {
  Mar345Header record = marked_record();
  const auto output = test::capture([&] { EXPECT_EQ(read_marheader(&record, "/nonexistent/frame"), 0); });
  EXPECT_EQ(output.out + output.err, "");
  EXPECT_STREQ(record.date, "before");
  EXPECT_EQ(record.phi_osc, -77.5);
}

TEST_F(MarHeader, ShortFilesAreReadAsFarAsTheyGo) {
  const std::string file = header_file(kHeader);
  for (std::size_t length = 0; length < 400; length += 3) {
    const Mar345Header record = read_file(file.substr(0, length));
    // 128 + 8 bytes reach to the blank behind PROGRAM.
    EXPECT_EQ(record.program, length <= 136 ? "before" : std::string("marwrite").substr(0, length - 136)) << length;
  }
  EXPECT_STREQ(read_file(std::string(128, ' ') + "PROGRAM a").program, "a");
  EXPECT_STREQ(read_file("").program, "before");
  EXPECT_STREQ(read_file("").date, "    ");
  EXPECT_EQ(read_file("").phi_osc, 7.0);
  EXPECT_EQ(result(), -1);
}

TEST_F(MarHeader, DirectoryIsAnEmptyFile) {
  Mar345Header record = marked_record();
  EXPECT_EQ(read_marheader(&record, directory().path("").c_str()), -1);
  EXPECT_STREQ(record.program, "before");
}

TEST_F(MarHeader, FileIsClosedAgain) {
  const std::size_t before = test::open_descriptors();
  read(kHeader);
  EXPECT_EQ(test::open_descriptors(), before);
}

// --- print_marheader -----------------------------------------------------------------------------------------------

namespace {

// Every field has a value of its own.
Mar345Header numbered_record() {
  Mar345Header record{};
  std::snprintf(record.program, sizeof record.program, "prog%%d");
  std::snprintf(record.date, sizeof record.date, "Thu Nov 13");
  std::snprintf(record.format, sizeof record.format, "PCK345");
  record.high = 1;
  record.pixel_length = 2;
  record.pixel_height = 3;
  record.roff = 4;
  record.toff = -5;
  for (int i = 0; i < 8; ++i) record.gap[i] = 10 + i;
  record.adc_a = 20;
  record.adc_b = 21;
  record.add_a = 22;
  record.add_b = 23;
  record.multiplier = 24.5;
  record.gain = 25;
  record.wavelength = 1.5418;
  record.distance = 1234567;
  record.resolution = 0.00001;
  record.phi_start = 30.5;
  record.phi_end = 31.5;
  record.phi_osc = 1;
  record.omega_start = 32;
  record.omega_end = 33;
  record.omega_osc = 34;
  record.chi = 35;
  record.twotheta = 36;
  record.center_x = 37;
  record.center_y = 38;
  std::snprintf(record.mode, sizeof record.mode, "TIME");
  record.time = 39.25;
  record.counts_start = 40;
  record.counts_end = 41;
  record.nmeas = 42;
  record.intensity_min = 43;
  record.intensity_max = 44;
  record.intensity_avg = 45;
  record.intensity_sig = 46;
  record.int_start = 47;
  record.int_end = 48;
  record.int_mean = 49;
  record.int_sig = 50;
  record.histogram[0] = 51;
  record.histogram[1] = 52;
  record.histogram[2] = 53;
  record.kv = 54;
  record.ma = 55;
  std::snprintf(record.source, sizeof record.source, "ROTATING ANODE");
  record.collimator_width = 56;
  record.collimator_height = 57;
  record.slit1_x = 58;
  record.slit1_y = 59;
  record.slit2_x = 60;
  record.slit2_y = 61;
  record.beamstop = 62;
  record.xtal = 63;
  record.trans1 = 64;
  record.trans2 = -0.125;
  return record;
}

constexpr const char* kEmptyRecord =
    "Program \n"
    "Date \n"
    "Format \n"
    "0 high, Pixelsize 0 x 0 nm\n"
    "Offset Roff 0 Toff 0\n"
    "Gaps 0 0 0 0 0 0 0 0\n"
    "ADC A 0 B 0 add_a 0 add_b 0\n"
    "Mult 0 Gain 0\n"
    "Lambda 0 Distance 0 Resolution 0\n"
    "Phi   0 - 0 (0)\n"
    "Omega 0 - 0 (0)\n"
    "Chi 0 2Theta 0\n"
    "Center 0 0\n"
    "Mode \n"
    "Time 0\n"
    "Counts 0 -> 0 (nmeas 0) min 0 max 0 avr 0 sig 0\n"
    "Int 0 -> 0 mittl 0 sig 0\n"
    "Histogram 0 0 0\n"
    "Setting 0 kV 0 mA  Collimator 0 x 0\n"
    "Slit_1 0 x 0 Slit_2 0 x 0 Beamstop 0 Xtal 0 trans 0 0\n";

}  // namespace

TEST(PrintMarheader, PrintsTwentyLines) {
  const Mar345Header record = numbered_record();
  int result = 0;
  const auto output = test::capture([&] { result = print_marheader(&record); });
  EXPECT_EQ(output.out,
            "Program prog%d\n"
            "Date Thu Nov 13\n"
            "Format PCK345\n"
            "1 high, Pixelsize 2 x 3 nm\n"
            "Offset Roff 4 Toff -5\n"
            "Gaps 10 11 12 13 14 15 16 17\n"
            "ADC A 20 B 21 add_a 22 add_b 23\n"
            "Mult 24.5 Gain 25\n"
            "Lambda 1.5418 Distance 1.23457e+06 Resolution 1e-05\n"
            "Phi   30.5 - 31.5 (1)\n"
            "Omega 32 - 33 (34)\n"
            "Chi 35 2Theta 36\n"
            "Center 37 38\n"
            "Mode TIME\n"
            "Time 39.25\n"
            "Counts 40 -> 41 (nmeas 42) min 43 max 44 avr 45 sig 46\n"
            "Int 47 -> 48 mittl 49 sig 50\n"
            "Histogram 51 52 53\n"
            "Setting 54 kV 55 mA ROTATING ANODE Collimator 56 x 57\n"
            "Slit_1 58 x 59 Slit_2 60 x 61 Beamstop 62 Xtal 63 trans 64 -0.125\n");
  EXPECT_EQ(output.err, "");
  EXPECT_EQ(result, static_cast<int>(
                        std::string("Slit_1 58 x 59 Slit_2 60 x 61 Beamstop 62 Xtal 63 trans 64 -0.125\n").size()));
}

TEST(PrintMarheader, PrintsAnEmptyRecord) {
  const Mar345Header record{};
  EXPECT_EQ(test::capture([&] { print_marheader(&record); }).out, kEmptyRecord);
}

// --- read_mar_header -----------------------------------------------------------------------------------------------

namespace {

ImageInfo marked_info() {
  ImageInfo info{};
  info.overflow_count = -77;
  info.start_angle = info.reserved_angle = info.distance = info.oscillation_range = info.wavelength = -77.5;
  info.exposure_time = info.average = -77.5;
  info.minimum = info.maximum = -77;
  std::memset(info.host_fields, 'h', sizeof info.host_fields);
  std::memset(info.file_name, 'f', sizeof info.file_name);
  return info;
}

struct Summary {
  ImageInfo info = marked_info();
  std::string printed;
};

Summary summary_of(const std::string& path) {
  Summary summary;
  const auto output = test::capture([&] { EXPECT_EQ(read_mar_header(path.c_str(), &summary.info), 1); });
  EXPECT_EQ(output.err, "");
  summary.printed = output.out;
  return summary;
}

void expect_zeros(const ImageInfo& info) {
  EXPECT_EQ(info.start_angle, 0.0);
  EXPECT_EQ(info.reserved_angle, 0.0);
  EXPECT_EQ(info.distance, 0.0);
  EXPECT_EQ(info.oscillation_range, 0.0);
  EXPECT_EQ(info.wavelength, 0.0);
  EXPECT_EQ(info.minimum, 0);
  EXPECT_EQ(info.maximum, 0);
  EXPECT_EQ(info.average, 0.0);
}

// The intensities reach the record only when nothing before them has an I.
std::string with_intensities(const std::string& min, const std::string& max) {
  return header_file("PDFHLR\nWAVELENGTH 1.25\nD\nINTENSITY      MIN " + min + "  MAX " + max +
                     "  AVE 2.75\nPHI START 1 END 3\n");
}

}  // namespace

TEST(ReadMarHeader, PrintsTheRecordAndFillsTheSummary) {
  const test::TemporaryDirectory directory;
  const std::string path = directory.write("frame.mar2300", header_file(kHeader));
  const Summary summary = summary_of(path);
  std::string expected = kEmptyRecord;
  const auto put = [&](const std::string& old_line, const std::string& line) {
    ASSERT_NE(expected.find(old_line), std::string::npos) << old_line;
    expected.replace(expected.find(old_line), old_line.size(), line);
  };
  put("Program \n", "Program marwrite\n");
  put("Date \n", "Date Thu Nov 13 21:05:03 2003\n");
  put("Format \n", "Format PCK345\n");
  put("0 high, Pixelsize 0 x 0 nm\n", "17 high, Pixelsize 150 x 151 nm\n");
  put("Roff 0 Toff 0\n", "Roff -3 Toff 4\n");
  put("Lambda 0 Distance 0 ", "Lambda 1.5418 Distance 120.25 ");
  put("Phi   0 - 0 (0)\n", "Phi   10 - 11.5 (1.5)\n");
  EXPECT_EQ(summary.printed, expected);
  EXPECT_EQ(summary.info.start_angle, 0.0);
  EXPECT_EQ(summary.info.reserved_angle, 0.0);
  EXPECT_EQ(summary.info.distance, 120.25);
  EXPECT_EQ(summary.info.oscillation_range, 1.5);
  EXPECT_EQ(summary.info.wavelength, 1.5418);
  EXPECT_EQ(summary.info.file_name, path);
}

TEST(ReadMarHeader, LeavesTheOtherFieldsAlone) {
  const test::TemporaryDirectory directory;
  const ImageInfo info = summary_of(directory.write("frame", header_file(kHeader))).info;
  EXPECT_EQ(info.overflow_count, -77);
  EXPECT_EQ(info.exposure_time, -77.5);
  EXPECT_EQ(std::string(info.host_fields, sizeof info.host_fields), std::string(24, 'h'));
}

TEST(ReadMarHeader, IntensitiesAreTruncated) {
  const test::TemporaryDirectory directory;
  const auto info = summary_of(directory.write("frame", with_intensities("-1.9", "65535.9"))).info;
  EXPECT_EQ(info.minimum, -1);
  EXPECT_EQ(info.maximum, 65535);
  EXPECT_EQ(info.average, 2.75);
  EXPECT_EQ(info.wavelength, 1.25);
  EXPECT_EQ(info.oscillation_range, 2.0);
}

TEST(ReadMarHeader, IntensitiesOutOfRangeAreTheLeastInteger) {
  constexpr int kLeast = std::numeric_limits<int>::min();
  const test::TemporaryDirectory directory;
  const auto range = [&](const std::string& min, const std::string& max) {
    const auto info = summary_of(directory.write("frame", with_intensities(min, max))).info;
    return std::pair(info.minimum, info.maximum);
  };
  EXPECT_EQ(range("-3000000000", "3000000000"), std::pair(kLeast, kLeast));
  EXPECT_EQ(range("1e300", "nan"), std::pair(kLeast, kLeast));
  EXPECT_EQ(range("2147483648", "inf"), std::pair(kLeast, kLeast));
  EXPECT_EQ(range("-2147483648.5", "2147483647.5"), std::pair(kLeast, std::numeric_limits<int>::max()));
}

TEST(ReadMarHeader, UnopenedFileCountsAsAnEmptyRecord) {
  const Summary summary = summary_of("/nonexistent/frame");
  EXPECT_EQ(summary.printed, kEmptyRecord);
  expect_zeros(summary.info);
  EXPECT_STREQ(summary.info.file_name, "/nonexistent/frame");
}

TEST(ReadMarHeader, EmptyFileHasADateOfBlanks) {
  const test::TemporaryDirectory directory;
  const Summary summary = summary_of(directory.write("frame", ""));
  std::string expected = kEmptyRecord;
  expected.replace(expected.find("Date \n"), 6, "Date     \n");
  EXPECT_EQ(summary.printed, expected);
  expect_zeros(summary.info);
}

TEST(ReadMarHeader, ConversionsInThePathAreApplied) {
  EXPECT_STREQ(summary_of("/nonexistent/a%db").info.file_name, "/nonexistent/a0b");
  EXPECT_STREQ(summary_of("/nonexistent/a%sb%cc").info.file_name, "/nonexistent/abc");
  EXPECT_STREQ(summary_of("/nonexistent/100%%").info.file_name, "/nonexistent/100%");
  EXPECT_STREQ(summary_of("/nonexistent/%n%03d").info.file_name, "/nonexistent/000");
  EXPECT_STREQ(summary_of("/nonexistent/100%").info.file_name, "/nonexistent/100");
}

TEST(ReadMarHeader, FileNameIsOpenedAsItStands) {
  const test::TemporaryDirectory directory;
  const std::string path = directory.write("scan%d.mar2300", header_file(kHeader));
  const ImageInfo info = summary_of(path).info;
  EXPECT_EQ(info.distance, 120.25);
  EXPECT_EQ(info.file_name, directory.path("scan0.mar2300"));
}

TEST(ReadMarHeader, LongPathsAreCut) {
  EXPECT_EQ(summary_of(std::string(255, 'p')).info.file_name, std::string(255, 'p'));
  EXPECT_EQ(summary_of(std::string(256, 'p')).info.file_name, std::string(255, 'p'));
  EXPECT_EQ(summary_of(std::string(3000, 'p')).info.file_name, std::string(255, 'p'));
  EXPECT_EQ(summary_of(std::string(250, 'p') + "%900d").info.file_name, std::string(250, 'p') + "     ");
}
