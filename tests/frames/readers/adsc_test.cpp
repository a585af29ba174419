// ADSC-style frames written byte by byte.
#include <gtest/gtest.h>

#include "tests/environment.h"
#include "tests/frames/file_bytes.h"

namespace {

using test::Counts;

// A header of 512 bytes for frames of 2 x 2 pixels, with more items.
std::string header(const std::string& items) {
  return test::padded("{\nHEADER_BYTES=  512;\nDIM=2;\nSIZE1=2;\nSIZE2=2;\n" + items + "\n}\n\f", 512);
}

frames::Frame load(const std::string& file, const frames::LoadOptions& options = {}) {
  return frames::load_adsc(test::bytes_of(file), options);
}

TEST(Adsc, UnsignedShortsHaveTheLowByteFirst) {
  const auto frame = load(header("BYTE_ORDER=little_endian;\nTYPE=unsigned_short;") +
                          test::from_bytes({0x01, 0x02, 0xFF, 0xFF, 0, 0, 0x34, 0x12}));
  EXPECT_EQ(frame.format, frames::Format::kAdsc);
  EXPECT_EQ(frame.width, 2);
  EXPECT_EQ(frame.height, 2);
  EXPECT_EQ(frame.counts, (Counts{0x0201, 0xFFFF, 0, 0x1234}));
  EXPECT_FALSE(frame.is_signed);
  EXPECT_TRUE(frame.mask.empty());
  EXPECT_TRUE(frame.notes.empty());
}

TEST(Adsc, ByteOrderIsFollowed) {
  const auto frame = load(header("BYTE_ORDER=big_endian;\nTYPE=unsigned_short;") +
                          test::from_bytes({0x01, 0x02, 0xFF, 0xFE, 0, 0, 0x34, 0x12}));
  EXPECT_EQ(frame.counts, (Counts{0x0102, 0xFFFE, 0, 0x3412}));
}

TEST(Adsc, SignedShortsExtendTheirSign) {
  const auto frame = load(header("TYPE=signed_short;") + test::from_bytes({0xFF, 0xFF, 0, 0x80, 0xFF, 0x7F, 5, 0}));
  EXPECT_TRUE(frame.is_signed);
  EXPECT_EQ(frame.counts, (Counts{0xFFFFFFFF, 0xFFFF8000, 32767, 5}));
}

const std::string kLongs =
    test::from_bytes({1, 2, 3, 4, 0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0x80, 7, 0, 0, 0});  // NOLINT: tests may throw

TEST(Adsc, LongsHaveFourBytes) {
  const Counts counts{0x04030201, 0xFFFFFFFF, 0x80000000, 7};
  const auto plain = load(header("TYPE=unsigned_long;") + kLongs);
  EXPECT_EQ(plain.counts, counts);
  EXPECT_FALSE(plain.is_signed);
  const auto with_sign = load(header("TYPE=signed_long;") + kLongs);
  EXPECT_EQ(with_sign.counts, counts);
  EXPECT_TRUE(with_sign.is_signed);
  EXPECT_EQ(load(header("TYPE=unsigned_long;BYTE_ORDER=big_endian;") + kLongs).counts,
            (Counts{0x01020304, 0xFFFFFFFF, 0x80, 0x07000000}));
}

TEST(Adsc, MadHasTheWidthThatTheLengthTells) {
  EXPECT_EQ(load(header("TYPE=mad;") + kLongs).counts, (Counts{0x04030201, 0xFFFFFFFF, 0x80000000, 7}));
  EXPECT_EQ(load(header("TYPE=mad;") + kLongs.substr(0, 8)).counts, (Counts{0x0201, 0x0403, 0xFFFF, 0xFFFF}));
}

TEST(Adsc, PixelsBeginAtHeaderBytes) {
  const std::string file = test::padded("{\nHEADER_BYTES=1024;\nSIZE1=1;\nSIZE2=1;\nTYPE=unsigned_short;\n}\n", 1024);
  EXPECT_EQ(load(file + test::from_bytes({9, 1})).counts, Counts{0x0109});
}

TEST(Adsc, HeaderValuesAreTaken) {
  const auto head = load(header("TYPE=unsigned_short;\nWAVELENGTH=0.97950;\nDISTANCE=531.85;\nPHI=1;\nOSC_START=65.4;\n"
                                "OSC_RANGE=0.23;\nTIME=0.0925;\nPIXEL_SIZE=0.1024;\nDETECTOR_SN=901;\n"
                                "DATE=Tue Jun 26 09:43:09 2007;\nCCD_IMAGE_SATURATION=65535;") +
                         std::string(8, '\0'))
                        .header;
  EXPECT_EQ(head.wavelength, 0.9795);
  EXPECT_EQ(head.distance, 531.85);
  EXPECT_EQ(head.oscillation_start, 65.4);
  EXPECT_EQ(head.oscillation_range, 0.23);
  EXPECT_EQ(head.exposure_time, 0.0925);
  ASSERT_TRUE(head.pixel_size);
  EXPECT_EQ(head.pixel_size->x, 0.1024);
  EXPECT_EQ(head.pixel_size->y, 0.1024);
  EXPECT_EQ(head.saturation, 65535.0);
  EXPECT_EQ(head.date, "Tue Jun 26 09:43:09 2007");
  EXPECT_EQ(head.detector, "901");
  EXPECT_FALSE(head.beam_centre);
}

TEST(Adsc, PhiStandsInForOscStart) {
  EXPECT_EQ(load(header("TYPE=unsigned_short;PHI=12.5;") + std::string(8, '\0')).header.oscillation_start, 12.5);
}

TEST(Adsc, ValuesThatNobodyMeasuredAreAbsent) {
  const auto head =
      load(header("TYPE=unsigned_short;WAVELENGTH=0;DISTANCE=unknown;TIME=nan;PIXEL_SIZE=0;") + std::string(8, '\0'))
          .header;
  EXPECT_FALSE(head.wavelength);
  EXPECT_FALSE(head.distance);
  EXPECT_FALSE(head.exposure_time);
  EXPECT_FALSE(head.pixel_size);
}

// A detector of 100 x 200 pixels of 0.5 mm: 50 x 100 mm.
std::optional<frames::Point> centre(const std::string& x, const std::string& y) {
  return load(test::padded("{HEADER_BYTES=512;SIZE1=100;SIZE2=200;TYPE=unsigned_char;PIXEL_SIZE=0.5;BEAM_CENTER_X=" +
                               x + ";BEAM_CENTER_Y=" + y + ";}",
                           512 + 100 * 200))
      .header.beam_centre;
}

TEST(Adsc, BeamCentreIsInMillimetresWhereTheseLieOnTheDetector) {
  const auto point = centre("20", "90");
  ASSERT_TRUE(point);
  EXPECT_EQ(point->x, 40.0);
  EXPECT_EQ(point->y, 180.0);
}

TEST(Adsc, BeamCentreIsInPixelsWhereMillimetresDoNotFit) {
  const auto point = centre("51", "90");
  ASSERT_TRUE(point);
  EXPECT_EQ(point->x, 51.0);
  EXPECT_EQ(point->y, 90.0);
}

TEST(Adsc, BeamCentreOffTheDetectorIsAbsent) {
  EXPECT_FALSE(centre("101", "90"));
  EXPECT_FALSE(centre("-1", "90"));
}

TEST(Adsc, MissingPixelsAreDamage) {
  const std::string file = header("TYPE=unsigned_short;") + test::from_bytes({1, 0, 2, 0, 3});
  EXPECT_NE(test::load_error(frames::load_adsc, file).find("is truncated"), std::string::npos);
  frames::LoadOptions force;
  force.force = true;
  const auto frame = load(file, force);
  EXPECT_EQ(frame.counts, (Counts{1, 2, 0, 0}));
  ASSERT_EQ(frame.notes.size(), 1U);
  EXPECT_NE(frame.notes[0].find("is truncated"), std::string::npos);
}

TEST(Adsc, EveryCutIsDamage) {
  const std::string file = header("TYPE=unsigned_short;") + std::string(8, '\1');
  EXPECT_EQ(test::load_error(frames::load_adsc, file), "");
  for (std::size_t length = 0; length < file.size(); ++length) {
    EXPECT_NE(test::load_error(frames::load_adsc, file.substr(0, length)), "") << length;
  }
}

TEST(Adsc, HeadersThatCannotBeAreRefused) {
  const std::string pixels(8, '\0');
  EXPECT_NE(test::load_error(frames::load_adsc, header("TYPE=complex;") + pixels).find("complex"), std::string::npos);
  EXPECT_NE(test::load_error(frames::load_adsc, "{HEADER_BYTES=512;SIZE1=2;}").find("SIZE2"), std::string::npos);
  EXPECT_NE(test::load_error(frames::load_adsc, "{SIZE1=2;SIZE2=2;}").find("HEADER_BYTES"), std::string::npos);
  EXPECT_NE(test::load_error(frames::load_adsc, "{HEADER_BYTES=-1;SIZE1=2;SIZE2=2;}"), "");
  EXPECT_NE(test::load_error(frames::load_adsc, "{HEADER_BYTES=512;SIZE1=-2;SIZE2=2;}"), "");
  EXPECT_NE(test::load_error(frames::load_adsc, "{HEADER_BYTES=512;SIZE1=900000000;SIZE2=900000000;}"), "");
}

TEST(Adsc, IsKnownByItsHeader) {
  EXPECT_TRUE(frames::is_adsc(test::bytes_of(header(""))));
  EXPECT_FALSE(frames::is_adsc(test::bytes_of("{\nHeaderID = EH:000001:000000:000000 ;\nDim_1 = 2 ;\n}\n")));
  EXPECT_FALSE(frames::is_adsc(test::bytes_of("HEADER_BYTES=512;\n}")));
  EXPECT_FALSE(frames::is_adsc({}));
}

TEST(Adsc, RealFrameHasItsHeadersValues) {
  const std::string path = test::sample_frame("TIMEPIX_SU_512-stdgoni_0001.img");
  if (path.empty()) GTEST_SKIP() << "the shared sample frames are absent";
  const frames::Frame frame = frames::load_frame(path);
  EXPECT_EQ(frame.format, frames::Format::kAdsc);
  EXPECT_EQ(frame.width, 512);
  EXPECT_EQ(frame.height, 512);
  EXPECT_FALSE(frame.is_signed);
  EXPECT_TRUE(frame.mask.empty());
  EXPECT_TRUE(frame.notes.empty());
  const std::string file = test::read_file(path);
  ASSERT_EQ(file.size(), 512U + 2 * 512 * 512);
  for (std::size_t i = 0; i < frame.counts.size(); ++i) {
    const unsigned low = static_cast<unsigned char>(file[512 + 2 * i]);
    const unsigned high = static_cast<unsigned char>(file[512 + 2 * i + 1]);
    ASSERT_EQ(frame.counts[i], 256 * high + low) << i;
  }
  EXPECT_EQ(frame.header.wavelength, 0.0251);
  EXPECT_EQ(frame.header.distance, 531.85);
  EXPECT_EQ(frame.header.oscillation_start, 65.4);
  EXPECT_EQ(frame.header.oscillation_range, 0.23);
  EXPECT_EQ(frame.header.exposure_time, 0.0925);
  EXPECT_EQ(frame.header.pixel_size.value().x, 0.055);
  EXPECT_EQ(frame.header.beam_centre.value().x, 246);  // 13.53 mm, says another key
  EXPECT_EQ(frame.header.beam_centre.value().y, 240);
  EXPECT_EQ(frame.header.date, "Tue Jun 26 09:43:09 2007");
  EXPECT_EQ(frame.header.detector, "901");
}

}  // namespace
