#include <algorithm>

#include "tests/environment.h"
#include "tests/frames/tiff_file.h"

namespace {

using frames::Frame;
using frames::load_mar_ccd;
using test::bytes_of;
using test::Counts;

// A frame of 2 x 2 pixels whose header fields are all 0.
std::string plain_frame(bool big_endian) {
  test::TiffFile tiff;
  tiff.big_endian = big_endian;
  tiff.width = 2;
  tiff.height = 2;
  tiff.data_begin = 4096;
  tiff.blocks.emplace_back();
  for (const unsigned count : {0U, 32767U, 32768U, 65535U}) tiff.blocks[0] += tiff.number(count, 2);
  std::string file = tiff.bytes();
  test::put(file, 1028, "MMX");
  test::put(file, 1052, test::number_bytes(big_endian ? 4321 : 1234, 4, big_endian));
  return file;
}

std::string telling_frame(bool big_endian) {
  std::string file = plain_frame(big_endian);
  const auto set = [&](std::size_t offset, std::int32_t value) {
    test::put(file, offset, test::number_bytes(static_cast<std::uint32_t>(value), 4, big_endian));
  };
  set(1128, 65000);
  set(1668, 512658);
  set(1672, 400500);
  set(1680, 1500);
  set(1708, -12500);
  set(1720, 150750);
  set(1760, 250);
  set(1796, 158000);
  set(1800, 79000);
  set(1932, 97934);
  test::put(file, 2368, "021016192010.51");
  return file;
}

TEST(MarCcdFrame, CountsReach65535) {
  for (const bool big_endian : {false, true}) {
    const std::string file = plain_frame(big_endian);
    ASSERT_TRUE(frames::is_mar_ccd(bytes_of(file)));
    const Frame frame = load_mar_ccd(bytes_of(file), {});
    EXPECT_EQ(frame.format, frames::Format::kMarCcd);
    EXPECT_EQ(frame.width, 2);
    EXPECT_EQ(frame.height, 2);
    EXPECT_EQ(frame.counts, (Counts{0, 32767, 32768, 65535}));
    EXPECT_TRUE(frame.mask.empty());
    EXPECT_FALSE(frame.is_signed);
  }
}

TEST(MarCcdFrame, HeaderValuesKeepTheirFractions) {
  for (const bool big_endian : {false, true}) {
    const std::string file = telling_frame(big_endian);
    const frames::Header header = load_mar_ccd(bytes_of(file), {}).header;
    EXPECT_DOUBLE_EQ(header.wavelength.value(), 0.97934);
    EXPECT_DOUBLE_EQ(header.distance.value(), 150.75);
    EXPECT_DOUBLE_EQ(header.oscillation_start.value(), -12.5);
    EXPECT_DOUBLE_EQ(header.oscillation_range.value(), 0.25);
    EXPECT_DOUBLE_EQ(header.exposure_time.value(), 1.5);
    EXPECT_DOUBLE_EQ(header.pixel_size.value().x, 0.158);
    EXPECT_DOUBLE_EQ(header.pixel_size.value().y, 0.079);
    EXPECT_DOUBLE_EQ(header.beam_centre.value().x, 512.658);
    EXPECT_DOUBLE_EQ(header.beam_centre.value().y, 400.5);
    EXPECT_DOUBLE_EQ(header.saturation.value(), 65000);
    EXPECT_EQ(header.date, "2010-02-10 16:19:51");
  }
}

TEST(MarCcdFrame, ZeroesAreNoValuesButAngles) {
  const std::string file = plain_frame(false);
  const frames::Header header = load_mar_ccd(bytes_of(file), {}).header;
  EXPECT_FALSE(header.wavelength);
  EXPECT_FALSE(header.distance);
  EXPECT_FALSE(header.exposure_time);
  EXPECT_FALSE(header.pixel_size);
  EXPECT_FALSE(header.beam_centre);
  EXPECT_FALSE(header.saturation);
  EXPECT_FALSE(header.date);
  EXPECT_EQ(header.oscillation_start, 0.0);
  EXPECT_EQ(header.oscillation_range, 0.0);
}

TEST(MarCcdFrame, NeedsBothMarks) {
  std::string nameless = plain_frame(false);
  test::put(nameless, 1028, "MMY");
  EXPECT_FALSE(frames::is_mar_ccd(bytes_of(nameless)));
  EXPECT_TRUE(frames::is_tiff(bytes_of(nameless)));
  std::string no_tiff = plain_frame(false);
  test::put(no_tiff, 0, "IX");
  EXPECT_FALSE(frames::is_mar_ccd(bytes_of(no_tiff)));
  EXPECT_FALSE(frames::is_mar_ccd(bytes_of(plain_frame(false).substr(0, 1030))));
}

TEST(MarCcdFrame, DamagedFilesAreErrors) {
  const std::string file = plain_frame(false);
  for (const std::size_t length : {4095U, 2000U, 8U, 0U}) {
    const std::string cut = file.substr(0, length);
    EXPECT_EQ(test::load_error([&] { load_mar_ccd(bytes_of(cut), {}); }), "is truncated: the header is incomplete");
  }
  const std::string cut = file.substr(0, file.size() - 1);
  EXPECT_NE(test::load_error([&] { load_mar_ccd(bytes_of(cut), {}); }), "");
  EXPECT_EQ(load_mar_ccd(bytes_of(cut), test::forced()).notes.size(), 1U);
}

TEST(MarCcdFrame, RealFrameTellsItsGeometry) {
  const std::string path = test::sample_frame("AgBehenate_003.tif");
  if (path.empty()) GTEST_SKIP() << "the shared sample frames are absent";
  const Frame frame = frames::load_frame(path);
  EXPECT_EQ(frame.format, frames::Format::kMarCcd);
  EXPECT_EQ(frame.width, 1024);
  EXPECT_EQ(frame.height, 1024);
  // The pixels are the last 2 MiB of the file, 16 bits each.
  const std::string file = test::read_file(path);
  const std::string pixels = file.substr(file.size() - std::size_t{2} * 1024 * 1024);
  for (std::size_t i = 0; i < frame.counts.size(); ++i) {
    const unsigned low = static_cast<unsigned char>(pixels[2 * i]);
    const unsigned high = static_cast<unsigned char>(pixels[2 * i + 1]);
    ASSERT_EQ(frame.counts[i], 256 * high + low) << i;
  }
  EXPECT_DOUBLE_EQ(frame.header.wavelength.value(), 1.5);
  EXPECT_DOUBLE_EQ(frame.header.distance.value(), 1864);
  EXPECT_DOUBLE_EQ(frame.header.exposure_time.value(), 10);
  EXPECT_DOUBLE_EQ(frame.header.pixel_size.value().x, 0.158);
  EXPECT_DOUBLE_EQ(frame.header.beam_centre.value().y, 512.658);
  EXPECT_DOUBLE_EQ(frame.header.saturation.value(), 65535);
  EXPECT_EQ(frame.header.date, "2010-02-10 16:19:51");
}

TEST(MarCcdFrame, CountsAtTheSaturationAreKept) {
  std::string file = plain_frame(false);
  test::put(file, 1128, test::number_bytes(32768, 4, false));
  const Frame frame = load_mar_ccd(bytes_of(file), {});
  EXPECT_EQ(frame.counts, (Counts{0, 32767, 32768, 65535}));
  EXPECT_TRUE(frame.mask.empty());
  EXPECT_EQ(frame.header.saturation, 32768);
}

TEST(MarCcdFrame, RealFrameHasItsHeadersStatistics) {
  const std::string path = test::sample_frame("AgBehenate_003.tif");
  if (path.empty()) GTEST_SKIP() << "the shared sample frames are absent";
  const std::string file = test::read_file(path);
  // Smallest and largest count, and 1000 times the mean, of the pixels that the detector's window does not cover.
  EXPECT_EQ(file.substr(1304, 12), test::little32(8) + test::little32(5046) + test::little32(81338));
  const Frame frame = frames::load_frame(path);
  std::uint32_t smallest = 65535;
  std::uint32_t largest = 0;
  double sum = 0;
  double hit = 0;
  for (const std::uint32_t count : frame.counts) {
    if (count == 0) continue;
    smallest = std::min(smallest, count);
    largest = std::max(largest, count);
    sum += count;
    hit += 1;
  }
  EXPECT_EQ(smallest, 8U);
  EXPECT_EQ(largest, 5046U);
  EXPECT_NEAR(sum / hit, 81.338, 0.001);
}

}  // namespace
