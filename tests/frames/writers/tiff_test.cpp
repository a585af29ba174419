// TIFF files, tag by tag and as others read them.
#include <map>

#include "frames/bytes.h"
#include "tests/frames/writers/written.h"

namespace {

using test::Counts;
using test::Warnings;
using test::Written;

Written tiff(const frames::Frame& frame, std::optional<int> bits = std::nullopt) {
  return test::written(frames::write_tiff, frame, bits);
}

frames::Frame loaded(const Written& file) {
  EXPECT_TRUE(frames::is_tiff(test::bytes_of(file.bytes)));
  frames::Frame frame = frames::load_tiff(test::bytes_of(file.bytes), {});
  EXPECT_TRUE(frame.notes.empty());
  return frame;
}

// The values of a little-endian file's tags as their bytes, and the numbers among them.
class Tags {
 public:
  explicit Tags(const std::string& file) : file_(file) {
    EXPECT_EQ(file.substr(0, 4), std::string("II*\0", 4));
    const std::size_t directory = number(4, 4);
    for (std::size_t entry = 0; entry < number(directory, 2); ++entry) {
      const std::size_t begin = directory + 2 + 12 * entry;
      const auto type = number(begin + 2, 2);
      const std::size_t size = type == 3 ? 2 : type == 4 ? 4 : type == 5 ? 8 : 1;
      const std::size_t bytes = size * number(begin + 4, 4);
      values_[number(begin, 2)] = {size, file.substr(bytes <= 4 ? begin + 8 : number(begin + 8, 4), bytes)};
    }
  }

  bool has(std::uint32_t tag) const { return values_.count(tag) != 0; }

  // Texts without the NUL that ends them.
  std::string text(std::uint32_t tag) const {
    const std::string& bytes = values_.at(tag).bytes;
    EXPECT_EQ(bytes.back(), '\0');
    return bytes.substr(0, bytes.size() - 1);
  }

  // Of rationals the quotient.
  std::vector<double> numbers(std::uint32_t tag) const {
    const Value& value = values_.at(tag);
    std::vector<double> numbers;
    for (std::size_t at = 0; at < value.bytes.size(); at += value.size) {
      const auto bytes = test::bytes_of(value.bytes);
      if (value.size == 8) {
        numbers.push_back(1.0 * frames::number_at<std::uint32_t>(bytes, at) /
                          frames::number_at<std::uint32_t>(bytes, at + 4));
      } else {
        numbers.push_back(value.size == 2 ? frames::number_at<std::uint16_t>(bytes, at)
                                          : frames::number_at<std::uint32_t>(bytes, at));
      }
    }
    return numbers;
  }
  double number(std::uint32_t tag) const { return numbers(tag).at(0); }

  // What the strips hold, one behind the other.
  std::string strips() const {
    const std::vector<double> offsets = numbers(273);
    const std::vector<double> sizes = numbers(279);
    std::string bytes;
    for (std::size_t strip = 0; strip < offsets.size(); ++strip) {
      bytes += file_.substr(static_cast<std::size_t>(offsets[strip]), static_cast<std::size_t>(sizes.at(strip)));
    }
    return bytes;
  }

 private:
  struct Value {
    std::size_t size = 0;
    std::string bytes;
  };

  std::uint32_t number(std::size_t offset, std::size_t bytes) const {
    const auto all = test::bytes_of(file_);
    return bytes == 2 ? frames::number_at<std::uint16_t>(all, offset) : frames::number_at<std::uint32_t>(all, offset);
  }

  std::string file_;
  std::map<std::uint32_t, Value> values_;
};

// What libtiff's own program makes of the strips.
std::string uncompressed_strips(const Written& file) {
  return Tags(test::output_of("/usr/bin/tiffcp -c none frame.tif plain.tif && cat plain.tif", "frame.tif", file.bytes))
      .strips();
}

TEST(TiffWriter, TagsDescribeTheFrame) {
  const Tags tags(tiff(test::frame_of(3, 2, {1, 2, 3, 4, 5, 70000})).bytes);
  const std::map<std::uint32_t, double> expected{
      {256, 3},             // width
      {257, 2},             // height
      {258, 32}, {259, 8},  // Deflate
      {262, 1},             // 0 is black
      {277, 1},  {278, 2},  // rows per strip
      {317, 2},             // horizontal differences
      {339, 1},             // unsigned
  };
  for (const auto& [tag, value] : expected) EXPECT_EQ(tags.number(tag), value) << tag;
  for (const std::uint32_t absent : {270U, 272U, 282U, 283U, 306U}) EXPECT_FALSE(tags.has(absent)) << absent;
}

TEST(TiffWriter, TypeIsThatOfTheCounts) {
  const Tags narrow(tiff(test::frame_of(1, 1, {65535}), 16).bytes);
  EXPECT_EQ(narrow.number(258), 16);
  EXPECT_EQ(narrow.number(339), 1);
  const Tags negative(tiff(test::frame_of(1, 1, {0xFFFFFFFF}, true)).bytes);
  EXPECT_EQ(negative.number(258), 32);
  EXPECT_EQ(negative.number(339), 2);
}

TEST(TiffWriter, HeaderValuesStandInTheirTagsAndInADescription) {
  frames::Frame frame = test::frame_of(1, 1, {5});
  frame.header = test::full_header();
  frame.header.pixel_size = frames::Point{0.1, 0.2};
  const Tags tags(tiff(frame).bytes);
  EXPECT_EQ(tags.text(270),
            "wavelength 1.54179 A\n"
            "distance 120.25 mm\n"
            "oscillation start -10.5 degrees\n"
            "oscillation range 0.25 degrees\n"
            "exposure time 0.003 s\n"
            "pixel size 0.1 0.2 mm\n"
            "beam centre 3.5 2.25 pixels\n"
            "saturation 60000 counts\n"
            "date 2024-05-06 07:08:09\n"
            "detector PILATUS 300K, S/N 3-0101\n");
  EXPECT_EQ(tags.text(272), "PILATUS 300K, S/N 3-0101");
  EXPECT_EQ(tags.text(306), "2024:05:06 07:08:09");
  EXPECT_DOUBLE_EQ(tags.number(282), 100);
  EXPECT_DOUBLE_EQ(tags.number(283), 50);
  EXPECT_EQ(tags.number(296), 3);  // centimetres
}

TEST(TiffWriter, DatesOfOtherFormsStandInTheDescriptionOnly) {
  frames::Frame frame = test::frame_of(1, 1, {5});
  for (const char* date : {"Mon Jan  1 12:00:00 2024", "2024-05-06T07:08:09", "2024-05-06", "2024-05-06 07-08-09",
                           "2024-05-06 07:08:09.5", "2024-0x-06 07:08:09"}) {
    frame.header.date = date;
    const Tags tags(tiff(frame).bytes);
    EXPECT_FALSE(tags.has(306)) << date;
    EXPECT_EQ(tags.text(270), "date " + std::string(date) + "\n");
  }
  frame.header.date = "2024:05:06 07:08:09";
  EXPECT_EQ(Tags(tiff(frame).bytes).text(306), "2024:05:06 07:08:09");
}

TEST(TiffWriter, StripsHaveAboutTheSameSize) {
  const Tags tags(tiff(test::random_frame({301, 707}, 9)).bytes);
  // 108 rows of 1204 bytes are the most that 131072 bytes hold.
  EXPECT_EQ(tags.number(278), 108);
  EXPECT_EQ(tags.numbers(273).size(), 7U);
  EXPECT_EQ(Tags(tiff(test::random_frame({40000, 2}, 9)).bytes).number(278), 1);
}

TEST(TiffWriter, LoaderGivesTheSameFrame) {
  for (const test::Size size : test::kSizes) {
    for (const bool is_signed : {false, true}) {
      frames::Frame frame = test::random_frame(size, is_signed ? 0x7FFFFFFF : 0xFFFFFFFF, is_signed);
      frame.header.date = "2024:05:06 07:08:09";
      frame.header.detector = "PILATUS 300K";
      const Written file = tiff(frame);
      const frames::Frame again = loaded(file);
      EXPECT_EQ(again.width, size.width);
      EXPECT_EQ(again.height, size.height);
      EXPECT_EQ(test::counts_of(again), test::counts_of(frame));
      test::expect_same_header(again.header, frame.header);
      EXPECT_EQ(file.warnings, Warnings());
    }
    const frames::Frame narrow = test::random_frame(size, 65535, false, true);
    EXPECT_EQ(test::counts_of(loaded(tiff(narrow, 16))), test::counts_with(narrow, 65535));
  }
}

TEST(TiffWriter, WhatDoesNotFit16BitsIsWrittenWith32) {
  const Written file = tiff(test::frame_of(2, 1, {65536, 7}), 16);
  EXPECT_EQ(file.warnings, Warnings{"1 pixels are above 65535: written with 32 bits per pixel"});
  EXPECT_EQ(test::counts_of(loaded(file)), (Counts{65536, 7}));
}

TEST(TiffWriter, LibtiffsToolsReadThePixels) {
  const frames::Frame wide = test::random_frame({301, 707}, 0xFFFFFFFF);
  EXPECT_EQ(uncompressed_strips(tiff(wide)), test::as_little32(test::counts_of(wide)));
  const frames::Frame negative = test::random_frame({301, 707}, 0x7FFFFFFF, true, true);
  EXPECT_EQ(uncompressed_strips(tiff(negative)), test::as_little32(test::counts_with(negative, 0x7FFFFFFF)));
  const frames::Frame narrow = test::random_frame({301, 707}, 65535);
  EXPECT_EQ(uncompressed_strips(tiff(narrow, 16)), test::as_little16(test::counts_of(narrow)));
}

TEST(TiffWriter, LibtiffsToolsFindNothingToComplainOf) {
  frames::Frame frame = test::random_frame({301, 707}, 65535);
  frame.header = test::full_header();
  const Written file = tiff(frame, 16);
  // -D reads every strip. Warnings and errors come on standard error.
  const std::string info = test::output_of("/usr/bin/tiffinfo -D frame.tif 2>&1", "frame.tif", file.bytes);
  for (const char* line :
       {"  Image Width: 301 Image Length: 707\n", "  Bits/Sample: 16\n", "  Sample Format: unsigned integer\n",
        "  Compression Scheme: AdobeDeflate\n", "  Photometric Interpretation: min-is-black\n",
        "  Predictor: horizontal differencing 2 (0x2)\n", "  DateTime: 2024:05:06 07:08:09\n",
        "  Model: PILATUS 300K, S/N 3-0101\n"}) {
    EXPECT_NE(info.find(line), std::string::npos) << line << info;
  }
  EXPECT_EQ(info.find("arning"), std::string::npos) << info;
  EXPECT_EQ(info.find("rror"), std::string::npos) << info;
  const std::string dump = test::output_of("/usr/bin/tiffdump frame.tif 2>&1", "frame.tif", file.bytes);
  EXPECT_NE(dump.find("\nRowsPerStrip (278) SHORT (3) 1<217>\n"), std::string::npos) << dump;
}

TEST(TiffWriter, ImageMagickReadsThePixels) {
  const frames::Frame frame = test::random_frame({301, 707}, 65535, false, true);
  EXPECT_EQ(
      test::output_of("/usr/bin/convert frame.tif -depth 16 -endian LSB gray:-", "frame.tif", tiff(frame, 16).bytes),
      test::as_little16(test::counts_with(frame, 65535)));
}

}  // namespace
