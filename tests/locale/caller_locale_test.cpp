// The library in callers whose locale has a decimal comma, other white space, and points between digits: numbers in
// files and messages have decimal points, and what belongs to the caller runs in its locale.
#include "tests/locale/locale.h"

#include <langinfo.h>
#include <tiffio.h>

#include <array>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <functional>
#include <limits>
#include <locale>
#include <string>
#include <utility>
#include <vector>

#include "support/c_locale.h"
#include "tests/environment.h"
#include "tests/formats/saint_header.h"
#include "tests/formats/tiff_builder.h"
#include "xrdimage.h"

namespace {

using test::CallerLocale;
using test::Whose;

std::string radix() {
  return nl_langinfo(RADIXCHAR);
}

// ------------------------------------------------------------------------------------------------------------------
// Files, and what their readers make of them
// ------------------------------------------------------------------------------------------------------------------

std::string mar345_file(const std::string& text) {
  std::string padded(128, '\0');
  padded += text;
  padded.resize(4096, ' ');
  return padded;
}

// The lines that come first; searches for letters lose their way without them.
const std::string kMar345Front =
    "PROGRAM scan\nDATE Mon Jan 1 12:00:00 2024\nFORMAT 2 PCK 4\nHIGH 3\nLENGTH 150 HEIGHT 151\nROFF 0 TOFF 0\n";
const std::string kMar345Text =
    kMar345Front + "WAVELENGTH 1.54179\nDISTANCE 120.25\nPHI            START 10.5  END 12.75  OSC 1\n";

Mar345Header read_mar345(const std::string& text) {
  const test::TemporaryDirectory directory;
  Mar345Header header{};
  read_marheader(&header, directory.write("frame.mar2300", mar345_file(text)).c_str());
  return header;
}

struct AdscHeader {
  double distance = 0;
  double wavelength = 0;
  double start = 0;
  double range = 0;
  double time = 0;
  std::string out;
};

AdscHeader read_adsc(const std::string& lines) {
  const test::TemporaryDirectory directory;
  const std::string path = directory.write("frame.img", "{\n" + lines + "SIZE1=1;\nSIZE2=1;\n}\n\1\2");
  AdscHeader header;
  unsigned int* pixels = nullptr;
  int width = 0;
  int height = 0;
  header.out = test::capture([&] {
                 read_bnl(path.c_str(), 0, &pixels, &width, &height, &header.distance, &header.wavelength,
                          &header.start, &header.range, &header.time);
               }).out;
  EXPECT_NE(test::own(pixels), nullptr);
  return header;
}

// Whether the record closes the header, so that the size behind it is not read.
bool closes_saint_header(const std::string& record) {
  const test::Stream stream = test::stream_of(test::saint_header({"NCOLS  : 3", "NROWS  : 2", record, "NCOLS  : 99"}));
  int columns = 0;
  int rows = 0;
  read_saint_header(stream.get(), &columns, &rows);
  EXPECT_EQ(rows, 2);
  return columns == 3;
}

// ------------------------------------------------------------------------------------------------------------------
// What belongs to the caller, and notes its locale
// ------------------------------------------------------------------------------------------------------------------

struct CallerStream {
  std::string bytes = {};
  std::size_t position = 0;
  std::string radixes = {};  // one for each call
};

ssize_t read_from_caller(void* cookie, char* buffer, std::size_t size) {
  auto& caller = *static_cast<CallerStream*>(cookie);
  caller.radixes += radix();
  const std::size_t count = caller.bytes.copy(buffer, size, caller.position);
  caller.position += count;
  return static_cast<ssize_t>(count);
}

ssize_t write_to_caller(void* cookie, const char* buffer, std::size_t size) {
  auto& caller = *static_cast<CallerStream*>(cookie);
  caller.radixes += radix();
  caller.bytes.append(buffer, size);
  return static_cast<ssize_t>(size);
}

test::Stream stream_of_caller(CallerStream& caller, const char* mode) {
  return test::Stream(fopencookie(&caller, mode, {read_from_caller, write_to_caller, nullptr, nullptr}));
}

// Runs the action with an unbuffered standard output that is the caller's own.
CallerStream with_own_output(const std::function<void()>& action) {
  CallerStream caller;
  std::FILE* const before = stdout;
  const test::Stream stream = stream_of_caller(caller, "w");
  std::setvbuf(stream.get(), nullptr, _IONBF, 0);
  stdout = stream.get();
  action();
  stdout = before;
  return caller;
}

bool only_commas(const std::string& radixes) {
  return !radixes.empty() && radixes.find_first_not_of(',') == std::string::npos;
}

// ------------------------------------------------------------------------------------------------------------------
// The locales
// ------------------------------------------------------------------------------------------------------------------

class InCallerLocale : public testing::TestWithParam<Whose> {
 private:
  CallerLocale locale_{GetParam()};
};

}  // namespace

TEST_P(InCallerLocale, TheLocaleHasACommaAndGroups) {
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%'.1f", 12345.5);
  EXPECT_STREQ(text.data(), "12.345,5");
  double number = 0;
  EXPECT_EQ(std::sscanf("0.0251", "%lf", &number), 1);
  EXPECT_EQ(number, 0);
}

TEST_P(InCallerLocale, Mar345HeadersHaveDecimalPoints) {
  const Mar345Header header = read_mar345(kMar345Text);
  EXPECT_EQ(header.wavelength, 1.54179);
  EXPECT_EQ(header.distance, 120.25);
  EXPECT_EQ(header.phi_start, 10.5);
  EXPECT_EQ(header.phi_end, 12.75);
  EXPECT_EQ(header.phi_osc, 2.25);
  EXPECT_EQ(header.pixel_height, 151);
  EXPECT_EQ(read_mar345(kMar345Front + "W\nD\nTIME 0.5\n").time, 0.5);
  const Mar345Header counted = read_mar345(kMar345Front + "W\nD\nT\nINTENSITY      MIN 1.5  MAX 2.5  AVE 0.0251\n");
  EXPECT_EQ(counted.intensity_min, 1.5);
  EXPECT_EQ(counted.intensity_max, 2.5);
  EXPECT_EQ(counted.intensity_avg, 0.0251);
}

TEST_P(InCallerLocale, Mar345HeadersArePrintedWithDecimalPoints) {
  Mar345Header header{};
  double* const reals[] = {&header.multiplier,
                           &header.gain,
                           &header.wavelength,
                           &header.distance,
                           &header.resolution,
                           &header.phi_start,
                           &header.phi_end,
                           &header.phi_osc,
                           &header.omega_start,
                           &header.omega_end,
                           &header.omega_osc,
                           &header.chi,
                           &header.twotheta,
                           &header.center_x,
                           &header.center_y,
                           &header.time,
                           &header.intensity_min,
                           &header.intensity_max,
                           &header.intensity_avg,
                           &header.intensity_sig,
                           &header.int_mean,
                           &header.int_sig,
                           &header.kv,
                           &header.ma,
                           &header.slit1_x,
                           &header.slit1_y,
                           &header.collimator_width,
                           &header.collimator_height,
                           &header.slit2_x,
                           &header.slit2_y,
                           &header.beamstop,
                           &header.xtal,
                           &header.trans1,
                           &header.trans2};
  for (double* const real : reals) *real = 1.5;
  int result = 0;
  const std::string out = test::capture([&] { result = print_marheader(&header); }).out;
  EXPECT_EQ(out,
            "Program \nDate \nFormat \n0 high, Pixelsize 0 x 0 nm\nOffset Roff 0 Toff 0\nGaps 0 0 0 0 0 0 0 0\n"
            "ADC A 0 B 0 add_a 0 add_b 0\nMult 1.5 Gain 1.5\nLambda 1.5 Distance 1.5 Resolution 1.5\n"
            "Phi   1.5 - 1.5 (1.5)\nOmega 1.5 - 1.5 (1.5)\nChi 1.5 2Theta 1.5\nCenter 1.5 1.5\nMode \nTime 1.5\n"
            "Counts 0 -> 0 (nmeas 0) min 1.5 max 1.5 avr 1.5 sig 1.5\nInt 0 -> 0 mittl 1.5 sig 1.5\n"
            "Histogram 0 0 0\nSetting 1.5 kV 1.5 mA  Collimator 1.5 x 1.5\n"
            "Slit_1 1.5 x 1.5 Slit_2 1.5 x 1.5 Beamstop 1.5 Xtal 1.5 trans 1.5 1.5\n");
  EXPECT_EQ(result, 70);  // characters of the last line
}

TEST_P(InCallerLocale, Mar345SummariesHaveDecimalPointsInNumbersAndNames) {
  test::TemporaryDirectory directory;
  directory.enter();
  const std::string name = "a%.1f %'.7d";
  directory.write(name, mar345_file(kMar345Text));
  ImageInfo info{};
  const std::string out = test::capture([&] { read_mar_header(name.c_str(), &info); }).out;
  EXPECT_NE(out.find("\nLambda 1.54179 Distance 120.25 Resolution 0\n"), std::string::npos) << out;
  EXPECT_NE(out.find("\nPhi   10.5 - 12.75 (2.25)\n"), std::string::npos) << out;
  EXPECT_EQ(info.wavelength, 1.54179);
  EXPECT_EQ(info.distance, 120.25);
  EXPECT_EQ(info.oscillation_range, 2.25);
  EXPECT_STREQ(info.file_name, "a0.0 0000000");
}

TEST_P(InCallerLocale, AdscHeadersHaveDecimalPoints) {
  const AdscHeader header = read_adsc(
      "WAVELENGTH=0.0251;\nDISTANCE=120.25;\nOSC_START=1.125;\nOSC_RANGE=0.5;\nTIME=0.75;\nPIXEL_SIZE=0.10240;\n"
      "BEAM_CENTER_X=105.45;\nBEAM_CENTER_Y=106.25;\nTYPE=%.2f;\nAXIS=phi;\n");
  EXPECT_EQ(header.wavelength, 0.0251);
  EXPECT_EQ(header.distance, 120.25);
  EXPECT_EQ(header.start, 1.125);
  EXPECT_EQ(header.range, 0.5);
  EXPECT_EQ(header.time, 0.75);
  EXPECT_EQ(header.out,
            "# detector=-1 type=0.00; adc= bin= saturation=-1\n"
            "# Dim=-1, x=1 y=1, Beam_x=105.5, Beam_y=106.2 pixelsize=0.10240\n"
            "# Date=\n"
            "# Lambda=0.0251, Axis=phi; start=1.125, end=0.500, time=0.75\n"
            "# Byte_order convertion needed....# done\n"
            "# 1 1 * 4 bereitgestellt\n");
}

// A message as long as it can be.
TEST_P(InCallerLocale, LargestNumbersArePrintedWhole) {
  const AdscHeader header = read_adsc("WAVELENGTH=-1e308;\nOSC_START=-1e308;\nOSC_RANGE=-1e308;\nAXIS=phi;\n");
  std::array<char, 400> expected{};
  std::snprintf(expected.data(), expected.size(), "%.0f", -1e308);
  const std::string digits = expected.data();
  EXPECT_NE(header.out.find("# Lambda=" + digits + ".0000, Axis=phi; start=" + digits + ".000, end=" + digits +
                            ".000, time=-1\n"),
            std::string::npos);
}

TEST_P(InCallerLocale, SaintHeadersEndWhereTheNumberHasAPoint) {
  EXPECT_TRUE(closes_saint_header("ENDING2: .5"));
  EXPECT_TRUE(closes_saint_header("ENDING2: 1.5"));
  EXPECT_FALSE(closes_saint_header("ENDING2: ,5"));
}

TEST_P(InCallerLocale, EdfHeadersShowNumbersWithPoints) {
  const test::Stream stream = test::stream_of(
      "{\nDim_1 = 3 ;\nDim_2 = 2 ;\nDateTime = %.1f %'.5d 3 ;\nByteOrder = %g%.2e ;\nBitsPerSample = 16 ;\n}\n");
  int width = 0;
  int height = 0;
  int bits = -1;
  const std::string out = test::capture([&] { read_edf_header(stream.get(), &width, &height, &bits); }).out;
  EXPECT_EQ(out, "\n# Scanned: 0.0 00000 3\n# ByteOrder: 00.00e+00, BitsPerSample: 16, Binning: -1\n\n");
}

TEST_P(InCallerLocale, MarCcdNamesHaveDecimalPoints) {
  test::TemporaryDirectory directory;
  directory.enter();
  directory.write("a%.1f", std::string(4096, '\0'));
  ImageInfo info{};
  EXPECT_EQ(read_mar_ccd_header("a%.1f", &info), 1);
  EXPECT_STREQ(info.file_name, "a0.0");
}

TEST_P(InCallerLocale, OddNumbersAreReadAsInTheCLocale) {
  struct Odd {
    const char* text;
    double value;  // -1: none
  };
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  constexpr double kNone = -1;
  const Odd odd_ones[] = {
      {"1e", 1},          {"1e+", 1},   {"1.5e", 1.5},  {"0x1p3", 8},          {"0x1.8p1", 3}, {"inf", kInfinity},
      {"1,5", 1},         {"+.5", 0.5}, {"1.5.5", 1.5}, {".", kNone},          {"1.", 1},      {",5", kNone},
      {"1.234,5", 1.234}, {"1'000", 1}, {"0x.8", 0.5},  {"-0.25e-2", -2.5e-3}, {"1.5d2", 1.5}, {"infinity", kInfinity}};
  const auto check = [](const Odd& odd) {
    EXPECT_EQ(read_adsc(std::string("WAVELENGTH=") + odd.text + ";\n").wavelength, odd.value) << odd.text;
    const Mar345Header header = read_mar345(kMar345Front + "WAVELENGTH " + odd.text + "\nDISTANCE 2.5\n");
    EXPECT_EQ(header.wavelength, odd.value == kNone ? 0 : odd.value) << odd.text;
    EXPECT_EQ(header.distance, 2.5) << odd.text;
  };
  for (const Odd& odd : odd_ones) {
    check(odd);
    const xrd::CLocale locale;
    check(odd);
  }
  EXPECT_TRUE(std::isnan(read_adsc("WAVELENGTH=nan;\n").wavelength));
  EXPECT_TRUE(std::isnan(read_mar345(kMar345Front + "WAVELENGTH nan\n").wavelength));
}

TEST_P(InCallerLocale, TheCallersStreamsRunInItsLocale) {
  CallerStream saint{test::saint_header({"NCOLS  : 3", "ENDING2: 1.5"})};
  int width = 0;
  int height = 0;
  read_saint_header(stream_of_caller(saint, "r").get(), &width, &height);
  EXPECT_TRUE(only_commas(saint.radixes)) << saint.radixes;

  CallerStream edf{"{\nDim_1 = 3 ;\nBitsPerSample = 16 ;\n}\n"};
  int bits = -1;
  const CallerStream scanned =
      with_own_output([&] { read_edf_header(stream_of_caller(edf, "r").get(), &width, &height, &bits); });
  EXPECT_TRUE(only_commas(edf.radixes)) << edf.radixes;
  EXPECT_TRUE(only_commas(scanned.radixes)) << scanned.radixes;

  CallerStream packed{"\nCCP4 packed image, X: 0001, Y: 0001\n" + std::string(10, '\0')};
  short pixel = 0;
  unpack_word(stream_of_caller(packed, "r").get(), 1, 1, &pixel);
  EXPECT_TRUE(only_commas(packed.radixes)) << packed.radixes;

  Mar345Header header{};
  header.wavelength = 1.5;
  const CallerStream printed = with_own_output([&] { print_marheader(&header); });
  EXPECT_NE(printed.bytes.find("Lambda 1.5 Distance 0"), std::string::npos) << printed.bytes;
  EXPECT_TRUE(only_commas(printed.radixes)) << printed.radixes;
}

TEST_P(InCallerLocale, TheCallerIsAskedInItsLocale) {
  const test::TemporaryDirectory directory;
  const std::string path = directory.write("frame.edf", "{\nBitsPerSample = 16 ;\n}\n");
  CallerStream answer{"2 1\n"};
  std::FILE* const before = stdin;
  const test::Stream stream = stream_of_caller(answer, "r");
  unsigned int* pixels = nullptr;
  int bits = -1;
  int width = 0;
  int height = 0;
  const CallerStream question = with_own_output([&] {
    stdin = stream.get();
    read_edf(path.c_str(), &pixels, &bits, &width, &height);
    stdin = before;
  });
  EXPECT_NE(test::own(pixels), nullptr);
  EXPECT_EQ(width, 2);
  EXPECT_EQ(height, 1);
  EXPECT_TRUE(only_commas(answer.radixes)) << answer.radixes;
  EXPECT_TRUE(only_commas(question.radixes)) << question.radixes;
}

TEST_P(InCallerLocale, CommandsRunInTheCallersLocale) {
  test::TemporaryDirectory directory;
  directory.enter();
  std::string radixes;
  const test::ShellRecorder shell([&](const std::string& /*command*/) {
    radixes += radix();
    return 256;
  });
  unsigned int pixels[4] = {1, 2, 3, 4};
  test::capture([&] {
    get_image_type("frame");
    view("frame", pixels, 2, 2, 1);
    filedelete();
  });
  EXPECT_GE(radixes.size(), 14U);
  EXPECT_TRUE(only_commas(radixes)) << radixes;
}

// Also where files cannot be opened: tests/caller_locale_test.cpp looks for the rest of the tests.
TEST_P(InCallerLocale, TheLocaleStays) {
  const locale_t thread = uselocale(nullptr);
  const std::string process = std::setlocale(LC_ALL, nullptr);
  const std::locale cpp;
  const auto stays = [&] {
    return uselocale(nullptr) == thread && process == std::setlocale(LC_ALL, nullptr) && cpp == std::locale();
  };
  test::capture([&] {
    unsigned int* pixels = nullptr;
    int width = 0;
    int height = 0;
    int bits = -1;
    double real = 0;
    Mar345Header header{};
    ImageInfo info{};
    ImageData data{};
    const char* const absent = "/nonexistent/%.1f";
    read_bnl(absent, 0, &pixels, &width, &height, &real, &real, &real, &real, &real);
    EXPECT_TRUE(stays());
    read_edf(absent, &pixels, &bits, &width, &height);
    read_saint(absent, &pixels, &width, &height);
    EXPECT_TRUE(stays());
    read_tiff(absent, &pixels, 0, &width, &height);
    read_mar_ccd(absent, &data, &real);
    read_mar_ccd_header(absent, &info);
    EXPECT_TRUE(stays());
    read_marheader(&header, absent);
    read_mar_header(absent, &info);
    print_marheader(&header);
    EXPECT_TRUE(stays());
    new_read_pck(absent, &pixels, &width, &height);
    read_pck(absent, &pixels, &width, &height);
    EXPECT_TRUE(stays());
  });
  read_mar345(kMar345Text);
  read_adsc("WAVELENGTH=x;\n");
  EXPECT_TRUE(stays());
}

static std::string name_of(const testing::TestParamInfo<Whose>& locale) {
  const char* const names[] = {"OfTheProcess", "OfCpp", "OfTheThread"};
  return names[static_cast<int>(locale.param)];
}

INSTANTIATE_TEST_SUITE_P(, InCallerLocale, testing::Values(Whose::kProcess, Whose::kCpp, Whose::kThread), name_of);

// Where a blank is a letter and '@' is a blank, headers have blanks still.
TEST(InEbcdicLocale, WhiteSpaceIsThatOfAscii) {
  const test::TemporaryDirectory directory;
  const std::string packed =
      directory.write("frame.pck", "\n \tCCP4 packed image, X: 0001, Y: 0001\n" + std::string(10, '\0'));
  const std::string edf_header = "{\nDim_1 = 3 ;\nDim_2\t=\t2\t;\nByteOrder = a@b ;\nBitsPerSample = 16 ;\n}\n";
  const test::Stream edf = test::stream_of(edf_header);
  const test::Stream saint = test::stream_of(test::saint_header({"NCOLS  : 3", "NROWS:2", "ENDING2: 1.5"}));
  std::array<int, 5> numbers{0, 0, -1, 0, 0};
  Mar345Header header{};
  std::string out;
  short pixel = 77;
  {
    const CallerLocale locale(Whose::kThread, test::kGermanEbcdic);
    header = read_mar345(kMar345Text);
    out = test::capture([&] { read_edf_header(edf.get(), &numbers[0], &numbers[1], &numbers[2]); }).out;
    read_saint_header(saint.get(), &numbers[3], &numbers[4]);
    readpack_word_c(&pixel, packed.c_str());
  }
  EXPECT_STREQ(header.date, "Mon Jan 1 12:00:00 2024");
  EXPECT_EQ(header.wavelength, 1.54179);
  EXPECT_EQ(header.phi_osc, 2.25);
  EXPECT_EQ(numbers, (std::array<int, 5>{3, 2, 16, 3, 2}));
  EXPECT_EQ(pixel, 0);
  EXPECT_EQ(out, "\n# Scanned: -1 -1 -1\n# ByteOrder: a@b, BitsPerSample: 16, Binning: -1\n\n");
}
