#include "tests/environment.h"
#include "tests/frames/compression.h"
#include "tests/frames/mask.h"
#include "tests/frames/tiff_file.h"
#include "tests/mar345/mar345_file.h"

namespace {

using frames::Format;
using frames::Frame;
using frames::load_frame;
using test::bzip2;
using test::Counts;
using test::gzip;

std::string small_tiff() {
  test::TiffFile tiff;
  tiff.width = 2;
  tiff.height = 1;
  tiff.blocks = {{"\1\0\xFF\xFF", 4}};
  return tiff.bytes();
}

std::string small_packed() {
  return naive::pack({1, 2, 3, 4}, 2, 2);
}

std::string small_mar345() {
  return mar345::Frame{{true, false}, 2, {}, {1, 2, 3, 4}}.bytes();
}

Frame load(const std::string& name, const std::string& bytes, const frames::LoadOptions& options = {}) {
  const test::TemporaryDirectory directory;
  return load_frame(directory.write(name, bytes), options);
}

std::string error_of(const std::string& name, const std::string& bytes) {
  return test::load_error([&] { load(name, bytes); });
}

TEST(Detect, ContentDecidesWhateverTheName) {
  for (const char* name : {"frame", "frame.raw", "frame.edf", "frame.0001", "tif.pck", "FRAME.IMG"}) {
    EXPECT_EQ(load(name, small_tiff()).format, Format::kTiff) << name;
    EXPECT_EQ(load(name, small_packed()).format, Format::kPacked) << name;
    EXPECT_EQ(load(name, small_mar345()).format, Format::kMar345) << name;
  }
  std::string mar_ccd = small_tiff();
  test::put(mar_ccd, 1028, "MMX");
  mar_ccd.resize(4096);
  EXPECT_EQ(load("frame.0001", mar_ccd).format, Format::kMarCcd);
  EXPECT_EQ(load("frame",
                 "{\nHEADER_BYTES=512;\nSIZE1=1;\nSIZE2=1;\nTYPE=unsigned_short;\n}" + std::string(512 - 62 + 40, ' '))
                .format,
            Format::kAdsc);
}

TEST(Detect, NameDecidesWhereContentSaysNothing) {
  const std::string pixels(32, '\1');
  frames::LoadOptions four_by_four;
  four_by_four.size = {4, 4};
  EXPECT_EQ(load("frame.raw", pixels, four_by_four).format, Format::kRaw);
  EXPECT_EQ(load("frame", pixels, four_by_four).format, Format::kRaw);
  // The loader that the name calls for tells what is wrong.
  EXPECT_EQ(error_of("frame.PCK", pixels), "is truncated or damaged: it holds no packed image");
  EXPECT_EQ(error_of("frame.pck.gz", gzip(pixels)), "is truncated or damaged: it holds no packed image");
  EXPECT_EQ(error_of("frame.mar2300", pixels), "is truncated: the header is incomplete");
  EXPECT_EQ(error_of("frame.mccd", pixels), "is truncated: the header is incomplete");
  EXPECT_TRUE(error_of("frame.tif", pixels).starts_with("is a damaged TIFF file"));
  for (const char* name : {"frame.edf", "frame.img", "frame.sfrm"}) EXPECT_NE(error_of(name, pixels), "") << name;
  for (const char* name : {"frame", "raw", "frame.xyz"}) {
    EXPECT_EQ(error_of(name, pixels),
              "has an unknown format; read it as raw pixels with --size WxH, or state the format with --format")
        << name;
  }
}

TEST(Detect, StatedFormatWinsOverContent) {
  frames::LoadOptions options;
  options.format = Format::kPacked;
  EXPECT_EQ(load("frame.mar2300", small_mar345(), options).format, Format::kPacked);
}

TEST(Detect, CompressedFramesAreDecompressed) {
  for (const auto& file : {small_tiff(), gzip(small_tiff()), bzip2(small_tiff())}) {
    EXPECT_EQ(load("frame", file).counts, (Counts{1, 65535}));
  }
  const std::string gzipped = gzip(small_packed());
  EXPECT_EQ(error_of("frame.gz", gzipped.substr(0, gzipped.size() - 9)), "is a damaged gzip file");
  const std::string bzipped = bzip2(small_packed());
  EXPECT_EQ(error_of("frame.bz2", bzipped.substr(0, bzipped.size() - 9)), "is a damaged bzip2 file");
}

TEST(Detect, WhatIsNoFrameIsAnError) {
  const test::TemporaryDirectory directory;
  EXPECT_EQ(test::load_error([&] { load_frame(directory.path("")); }), "Is a directory");
  EXPECT_EQ(test::load_error([&] { load_frame(directory.path("absent")); }), "No such file or directory");
  EXPECT_EQ(error_of("empty.tif", ""), "is empty");
  EXPECT_EQ(error_of("empty.gz", gzip("")), "is empty");
}

TEST(Detect, DamageIsANoteWhenTheUserWantsTheFrame) {
  Frame frame;
  EXPECT_EQ(test::load_error([&] { report_damage(frame, {}, "is bad"); }), "is bad");
  EXPECT_TRUE(frame.notes.empty());
  report_damage(frame, test::forced(), "is bad");
  EXPECT_EQ(frame.notes, std::vector<std::string>{"is bad"});
}

TEST(Detect, SizesThatCannotBeAreErrors) {
  Frame frame;
  for (const auto& [width, height] : {std::pair{0LL, 1LL},
                                      {1LL, 0LL},
                                      {-2LL, -2LL},
                                      {268435457LL, 1LL},
                                      {16385LL, 16384LL},
                                      {4294967296LL, 4294967296LL}}) {
    EXPECT_NE(test::load_error([&, w = width, h = height] { set_size(frame, w, h, {}); }), "")
        << width << " " << height;
  }
  set_size(frame, 3, 2, {});
  EXPECT_EQ(frame.width, 3);
  EXPECT_EQ(frame.height, 2);
  EXPECT_EQ(frame.counts, Counts(6));
  EXPECT_TRUE(frame.mask.empty());
  frames::mask_pixel(frame, 4, frames::kUnknown);
  EXPECT_EQ(frame.mask, test::unknown({false, false, false, false, true, false}));
}

}  // namespace
