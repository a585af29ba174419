// Loaders in callers whose locale has a decimal comma and other white space, as Python's programs may.
#include <cstdint>
#include <string>

#include "frames/frame.h"
#include "tests/environment.h"
#include "tests/formats/tiff_builder.h"
#include "tests/frames/load_bytes.h"
#include "tests/locale/locale.h"

namespace {

using frames::load_frame;
using test::CallerLocale;
using test::Whose;

TEST(FramesInGerman, NumbersOfHeadersHavePoints) {
  const test::TemporaryDirectory directory;
  const std::string adsc = directory.write(
      "frame.img",
      "{\nHEADER_BYTES=512;\nBYTE_ORDER=little_endian;\nTYPE=unsigned_short;\nSIZE1=1;\nSIZE2=1;\nWAVELENGTH=0.0251;\n"
      "DISTANCE=120.25;\nOSC_RANGE=+.5;\nTIME=1,5;\n}\n" +
          std::string(600, ' '));
  const CallerLocale locale(Whose::kProcess);
  const frames::Header header = load_frame(adsc, {}).header;
  EXPECT_EQ(header.wavelength, 0.0251);
  EXPECT_EQ(header.distance, 120.25);
  EXPECT_EQ(header.oscillation_range, 0.5);
  EXPECT_EQ(header.exposure_time, 1);
}

TEST(FramesInGerman, ErrorsHavePointsAndAreInEnglish) {
  constexpr unsigned kXResolution = 282;
  std::string file = test::TiffBuilder(2, 2)
                         .tag(kXResolution, 0xBFC00000)  // as a float: -1.5
                         .tag(test::kRowsPerStrip, 2)
                         .strip("\1\2")
                         .bytes();
  const std::size_t entry = file.find("\x1A\x01\x04");
  ASSERT_NE(entry, std::string::npos);
  file[entry + 2] = 11;  // the type of floats
  const test::TemporaryDirectory directory;
  const std::string path = directory.write("frame.tif", file);
  for (const Whose whose : {Whose::kProcess, Whose::kThread}) {
    const CallerLocale locale(whose);
    EXPECT_EQ(test::load_error([&] { load_frame(path, {}); }),
              "is a damaged TIFF file: frame: Bad value -1.500000 for \"XResolution\" tag");
    EXPECT_EQ(test::load_error([] { load_frame("/nonexistent", {}); }), "No such file or directory");
    EXPECT_EQ(uselocale(nullptr) == LC_GLOBAL_LOCALE, whose == Whose::kProcess);
  }
}

TEST(FramesInEbcdic, PackedImagesAreFoundByTheirLine) {
  const test::TemporaryDirectory directory;
  const std::string path = directory.write("frame.pck", "CCP4 packed image, X:   2, Y:\t1\n" + std::string(10, '\0'));
  const CallerLocale locale(Whose::kThread, test::kGermanEbcdic);
  EXPECT_EQ(load_frame(path, {}).width, 2);
}

}  // namespace
