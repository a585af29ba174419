// A frame of every format, compressed, cut, and with single bits wrong: loaders give a frame or an error, whatever they
// are given.
#include <new>

#include "frames/bytes.h"
#include "frames/formats.h"
#include "tests/environment.h"
#include "tests/frames/compression.h"
#include "tests/frames/file_bytes.h"
#include "tests/frames/tiff_file.h"
#include "tests/mar345/mar345_file.h"

namespace {

using frames::Format;
using frames::Frame;
using frames::LoadOptions;
using test::Counts;

constexpr unsigned kWidth = 104;  // as many as the older mar345 layout needs
constexpr unsigned kHeight = 104;

unsigned pixel(unsigned i) {
  return i * 7 % 1000;
}

// The pixels as 16-bit words, the low byte first.
std::string words() {
  std::string bytes;
  for (unsigned i = 0; i < kWidth * kHeight; ++i) bytes += test::number_bytes(pixel(i), 2, false);
  return bytes;
}

naive::Pixels packed_pixels() {
  naive::Pixels pixels;
  for (unsigned i = 0; i < kWidth * kHeight; ++i) pixels.push_back(static_cast<short>(pixel(i)));
  return pixels;
}

std::string tiff(std::size_t data_begin = 0) {
  test::TiffFile file;
  file.width = kWidth;
  file.height = kHeight;
  file.rows_per_strip = 52;
  file.data_begin = data_begin;
  const std::string bytes = words();
  file.blocks = {bytes.substr(0, bytes.size() / 2), bytes.substr(bytes.size() / 2)};
  return file.bytes();
}

std::string mar_ccd() {
  std::string file = tiff(4096);
  test::put(file, 1028, "MMX");
  return file;
}

std::string saint() {
  const auto record = [](const std::string& key, const std::string& value) {
    return test::padded(test::padded(key, 7) + ":" + value, 80);
  };
  return test::padded(record("FORMAT", "100") + record("NROWS", "104 1") + record("NCOLS", "104 1") +
                          record("NPIXELB", "2 1") + record("NOVERFL", "-1 0 1"),
                      7680, '.') +
         words() + std::string(16, '\0');
}

Counts expected_counts() {
  Counts counts;
  for (unsigned i = 0; i < kWidth * kHeight; ++i) counts.push_back(pixel(i));
  return counts;
}

struct Sample {
  Format format;
  std::string file;
  Frame (*load)(frames::Bytes file, const LoadOptions& options);
};

std::vector<Sample> samples() {
  const std::string adsc = test::padded("{\nHEADER_BYTES=512;\nSIZE1=104;\nSIZE2=104;\nTYPE=unsigned_short;\n}\n", 512);
  const std::string edf =
      test::padded("{\nDim_1 = 104 ;\nDim_2 = 104 ;\nDataType = UnsignedShort ;\nByteOrder = LowByteFirst ;\n", 510) +
      "}\n";
  const std::vector<mar345::OverflowRecord> records{{1, 0}};  // the older layout's pixel 0
  const std::vector<mar345::OverflowRecord> index_records{{1, 7}};
  return {
      {Format::kTiff, tiff(), frames::load_tiff},
      {Format::kMarCcd, mar_ccd(), frames::load_mar_ccd},
      {Format::kAdsc, adsc + words(), frames::load_adsc},
      {Format::kEdf, edf + words(), frames::load_edf},
      {Format::kSaint, saint(), frames::load_saint},
      {Format::kMar345, mar345::Frame{{true, false}, 104, index_records, packed_pixels()}.bytes(), frames::load_mar345},
      {Format::kMar345, mar345::Frame{{false, true}, 104, records, packed_pixels()}.bytes(), frames::load_mar345},
      {Format::kPacked, naive::pack(packed_pixels(), kWidth, kHeight), frames::load_packed},
      {Format::kRaw, words(), frames::load_raw}};
}

LoadOptions options_for(const Sample& sample) {
  LoadOptions options;
  if (sample.format == Format::kRaw) options.size = {kWidth, kHeight};
  return options;
}

// A whole frame or a LoadError, with force and without.
void survives(const Sample& sample, const std::string& file) {
  for (const bool force : {false, true}) {
    LoadOptions options = options_for(sample);
    options.force = force;
    try {
      const Frame frame = sample.load(test::bytes_of(file), options);
      EXPECT_EQ(frame.counts.size(), static_cast<std::size_t>(frame.width) * static_cast<std::size_t>(frame.height));
      EXPECT_TRUE(frame.mask.empty() || frame.mask.size() == frame.counts.size());
    } catch (const frames::LoadError& error) {
      EXPECT_STRNE(error.what(), "");
    } catch (const std::bad_alloc&) {
      // load_frame makes a LoadError of it. Only a size that became very large asks for so much.
    }
  }
}

// Lengths to cut a file to: half of them in its first 4096 bytes.
std::vector<std::size_t> cuts(std::size_t size) {
  const std::size_t front = std::min<std::size_t>(size, 4096);
  std::vector<std::size_t> lengths;
  for (std::size_t i = 0; i < 30; ++i) lengths.push_back(front * i / 30);
  for (std::size_t i = 0; i < 30; ++i) lengths.push_back(front + (size - front) * i / 30);
  return lengths;
}

TEST(FrameDamage, FramesOfEveryFormatComeBackCompressedOrNot) {
  const Counts expected = expected_counts();
  const test::TemporaryDirectory directory;
  for (const Sample& sample : samples()) {
    for (const std::string& file : {sample.file, test::gzip(sample.file), test::bzip2(sample.file)}) {
      const Frame frame = frames::load_frame(directory.write("frame", file), options_for(sample));
      EXPECT_EQ(frame.format, sample.format);
      EXPECT_EQ(frame.width, 104);
      EXPECT_EQ(frame.height, 104);
      EXPECT_TRUE(frame.counts == expected) << frames::entry_of(sample.format).name;
      EXPECT_TRUE(frame.mask.empty());
      EXPECT_TRUE(frame.notes.empty());
    }
    for (const std::string& file : {test::gzip(sample.file), test::bzip2(sample.file)}) {
      const std::string cut = directory.write("cut", file.substr(0, file.size() / 2));
      EXPECT_NE(test::load_error([&] { frames::load_frame(cut, options_for(sample)); }).find("is a damaged "),
                std::string::npos);
    }
  }
}

TEST(FrameDamage, OfGigabytesBehindACompressedFrameSomeAreUnpacked) {
  const test::TemporaryDirectory directory;
  const std::string zeros(std::size_t{1} << 20, '\0');
  for (const Sample& sample : samples()) {
    for (const bool is_gzip : {false, true}) {
      std::string file = is_gzip ? test::gzip(sample.file) : test::bzip2(sample.file);
      const std::string member = is_gzip ? test::gzip(zeros) : test::bzip2(zeros);
      for (int i = 0; i < 2047; ++i) file += member;
      const LoadOptions options = options_for(sample);
      const std::string path = directory.write("frame", file);
      const auto enough = [&](frames::Bytes front) { return frames::enough_of_file(front, path, options); };
      EXPECT_LE(frames::unpack(test::bytes_of(file), enough)->size(), 3 * sample.file.size() + (std::size_t{1} << 19))
          << frames::entry_of(sample.format).name;
      const Frame frame = frames::load_frame(path, options);
      EXPECT_EQ(frame.format, sample.format);
      EXPECT_TRUE(frame.counts == expected_counts()) << frames::entry_of(sample.format).name;
      EXPECT_TRUE(frame.notes.empty());
    }
  }
}

TEST(FrameDamage, EveryCutIsAnErrorAndIsTakenWithForceOrNotAtAll) {
  for (const Sample& sample : samples()) {
    for (const std::size_t length : cuts(sample.file.size())) {
      const std::string cut = sample.file.substr(0, length);
      EXPECT_NE(test::load_error([&] { sample.load(test::bytes_of(cut), options_for(sample)); }), "")
          << frames::entry_of(sample.format).name << " " << length;
      survives(sample, cut);
    }
  }
}

TEST(FrameDamage, AnyWrongBitInFrontIsSurvived) {
  for (const Sample& sample : samples()) {
    std::string file = sample.file;
    for (std::size_t bit = 0; bit < std::size_t{512} * 8; ++bit) {
      char& byte = file[bit / 8];
      byte = static_cast<char>(byte ^ (1 << bit % 8));
      survives(sample, file);
      byte = sample.file[bit / 8];
    }
  }
}

}  // namespace
