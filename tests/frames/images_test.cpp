// Files that hold several images, files in memory, and headers without their pixels.
#include <gtest/gtest.h>

#include "frames/formats.h"
#include "tests/environment.h"
#include "tests/frames/compression.h"
#include "tests/frames/file_bytes.h"
#include "tests/frames/tiff_file.h"
#include "tests/mar345/mar345_file.h"

namespace {

using frames::Format;
using frames::Frame;
using frames::HeaderItem;
using frames::LoadOptions;
using test::Counts;
using Items = std::vector<HeaderItem>;

Frame load(const std::string& file, const LoadOptions& options = {}) {
  return frames::load_frame(test::bytes_of(file), "", options);
}

LoadOptions image(std::size_t number) {
  LoadOptions options;
  options.image = number;
  return options;
}

LoadOptions header_only() {
  LoadOptions options;
  options.header_only = true;
  return options;
}

std::string edf(const std::string& pixels, const std::string& items = "") {
  return "{\nDim_1 = " + std::to_string(pixels.size()) + " ;\nDim_2 = 1 ;\nDataType = UnsignedByte ;\n" + items +
         "}\n" + pixels;
}

// Each with a directory behind its pixel, which leads to the next, and the last one to `next`.
std::string tiff_of_pixels(const std::string& pixels, unsigned next = 0) {
  constexpr unsigned kEntries = 8;
  constexpr unsigned kImage = 4 + 2 + 12 * kEntries + 4;
  std::string file = std::string("II*\0", 4) + test::number_bytes(8 + 4, 4, false);
  for (std::size_t i = 0; i < pixels.size(); ++i) {
    const auto begin = static_cast<unsigned>(file.size());
    file += pixels[i] + std::string(3, '\0') + test::number_bytes(kEntries, 2, false);
    const unsigned entries[kEntries][3] = {{256, 4, 1}, {257, 4, 1},     {258, 3, 8}, {259, 3, 1},
                                           {262, 3, 1}, {273, 4, begin}, {278, 4, 1}, {279, 4, 1}};
    for (const auto& [tag, type, value] : entries) {
      file += test::number_bytes(tag, 2, false) + test::number_bytes(type, 2, false) + test::number_bytes(1, 4, false) +
              test::number_bytes(value, 4, false);
    }
    file += test::number_bytes(i + 1 < pixels.size() ? begin + kImage + 4 : next, 4, false);
  }
  return file;
}

TEST(Images, OfAnEdfFileEachIsItsOwn) {
  const std::string file = edf("\1\2", "Title = one ;\n") + edf("\3\4\5", "Title = two ;\n") + edf("\6");
  const Frame first = load(file, image(1));
  EXPECT_EQ(first.images, 3U);
  EXPECT_EQ(first.counts, (Counts{1, 2}));
  EXPECT_TRUE(first.notes.empty());
  const Frame second = load(file, image(2));
  EXPECT_EQ(second.images, 3U);
  EXPECT_EQ(second.counts, (Counts{3, 4, 5}));
  EXPECT_EQ(second.items.back(), (HeaderItem{"Title", "two"}));
  EXPECT_EQ(load(file, image(3)).counts, Counts{6});
  const Frame unchosen = load(file);
  EXPECT_EQ(unchosen.counts, (Counts{1, 2}));
  EXPECT_EQ(unchosen.images, 3U);
  EXPECT_EQ(unchosen.notes, std::vector<std::string>{"has several images; this is the first"});
  EXPECT_EQ(load(edf("\1\2")).images, 1U);
}

TEST(Images, OfATiffFileEachIsItsOwn) {
  const std::string file = tiff_of_pixels("\7\x8\x9");
  for (std::size_t number = 1; number <= 3; ++number) {
    const Frame frame = load(file, image(number));
    EXPECT_EQ(frame.counts, Counts{static_cast<std::uint32_t>(number) + 6});
    EXPECT_EQ(frame.images, 3U);
    EXPECT_TRUE(frame.notes.empty());
  }
  EXPECT_EQ(load(file).counts, Counts{7});
  EXPECT_EQ(load(file).notes, std::vector<std::string>{"has several images; this is the first"});
}

TEST(Images, OnesThatAreNotThereAreAnError) {
  const std::string three = edf("\1") + edf("\2") + edf("\3");
  EXPECT_EQ(test::load_error([&] { load(three, image(4)); }), "has no image 4; it holds 3");
  EXPECT_EQ(test::load_error([&] { load(three, image(0)); }), "has no image 0; it holds 3");
  EXPECT_EQ(test::load_error([&] { load(tiff_of_pixels("\1\2"), image(3)); }), "has no image 3; it holds 2");
  EXPECT_EQ(test::load_error([&] { load(naive::pack({1, 2, 3, 4}, 2, 2), image(2)); }), "has no image 2; it holds 1");
  try {
    load(three, image(4));
    FAIL();
  } catch (const frames::LoadError& error) {
    EXPECT_EQ(error.problem(), frames::Problem::kInvalid);
  }
}

TEST(Images, DirectoriesThatLeadInACircleOrNowhereEndTheList) {
  for (const unsigned next : {12U, 12U + 4 + 2 + 96 + 4, 1000000U, 3U}) {
    EXPECT_EQ(load(tiff_of_pixels("\1\2", next), image(2)).images, 2U) << next;
  }
}

TEST(Images, WhatIsNoHeaderEndsTheList) {
  EXPECT_EQ(load(edf("\1") + "{ no size ; }\nab", image(1)).images, 1U);
  EXPECT_EQ(load(edf("\1") + "{ Dim_1 = 1 ;", image(1)).images, 1U);
  // The last image is cut short.
  const std::string cut = edf("\1") + edf("\2\3").substr(0, edf("\2\3").size() - 1);
  EXPECT_EQ(load(cut, image(1)).images, 2U);
  EXPECT_EQ(test::load_error([&] { load(cut, image(2)); }), "is truncated: has 1 of 2 pixels");
}

TEST(Images, AreCountedAsFarAsAnyFileHasThem) {
  std::string many;
  const std::string one = edf("\1");
  for (std::size_t i = 0; i < frames::kMostImages + 10; ++i) many += one;
  EXPECT_EQ(load(many, image(2)).images, frames::kMostImages);
}

TEST(Images, OfACompressedFileAllCanBeHad) {
  const std::string file = edf(std::string(300000, '\1')) + edf(std::string(300000, '\2')) + edf("\3");
  EXPECT_EQ(load(test::gzip(file), image(3)).counts, Counts{3});
  EXPECT_EQ(load(test::bzip2(tiff_of_pixels("\1\2\3")), image(3)).counts, Counts{3});
}

TEST(Images, OfACompressedFileAreAllCounted) {
  std::string edf_file;
  for (int i = 0; i < 7; ++i) edf_file += edf(std::string(400000, '\1'));
  EXPECT_EQ(load(test::gzip(edf_file)).images, 7U);
  EXPECT_EQ(load(test::bzip2(edf_file), header_only()).images, 7U);
  // Directories far apart.
  std::string tiff_file;
  for (int i = 0; i < 5; ++i) {
    const std::string one = tiff_of_pixels("\1");
    const auto begin = static_cast<unsigned>(i * 1000000);
    tiff_file.resize(begin);
    tiff_file += one;
    // What leads to the directory, and where this one's pixel is.
    test::put(tiff_file, i == 0 ? 4 : begin - 1000000 + 12 + 2 + 12 * 8, test::number_bytes(begin + 12, 4, false));
    test::put(tiff_file, begin + 12 + 2 + 12 * 5 + 8, test::number_bytes(begin + 8, 4, false));
  }
  ASSERT_EQ(load(tiff_file).images, 5U);
  EXPECT_EQ(load(test::gzip(tiff_file)).images, 5U);
}

TEST(Images, RealFileHasSix) {
  const std::string path = test::sample_frame("ID16B_diatomee.edf");
  if (path.empty()) GTEST_SKIP() << "the shared sample frames are absent";
  const Frame last = frames::load_frame(path, image(6));
  EXPECT_EQ(last.images, 6U);
  EXPECT_EQ(last.width, 640);
  EXPECT_EQ(last.height, 540);
  // Headers of 3072 bytes; 16 bits, low byte first.
  const std::string file = test::read_file(path);
  const std::size_t begin = 5 * (3072 + 2 * 640 * 540) + 3072;
  for (std::size_t i = 0; i < last.counts.size(); ++i) {
    const auto low = static_cast<unsigned char>(file[begin + 2 * i]);
    const auto high = static_cast<unsigned char>(file[begin + 2 * i + 1]);
    ASSERT_EQ(last.counts[i], low + 256U * high) << i;
  }
  EXPECT_NE(test::load_error([&] { frames::load_frame(path, image(7)); }), "");
}

TEST(Memory, HoldsTheSameFrames) {
  const test::TemporaryDirectory directory;
  for (const char* name : {"nx09_strain_011.mar2300", "AgBehenate_003.tif", "TIMEPIX_SU_512-stdgoni_0001.img",
                           "medipix.edf", "Fe3O4_map_1_001.tif"}) {
    const std::string path = test::sample_frame(name);
    if (path.empty()) GTEST_SKIP() << "the shared sample frames are absent";
    const Frame expected = frames::load_frame(path);
    const std::string file = test::read_file(path);
    for (const std::string& content : {file, test::gzip(file)}) {
      const Frame frame = load(content);
      EXPECT_EQ(frame.format, expected.format) << name;
      EXPECT_EQ(frame.counts, expected.counts) << name;
      EXPECT_EQ(frame.mask, expected.mask) << name;
      EXPECT_EQ(frame.items, expected.items) << name;
      EXPECT_EQ(frame.notes, expected.notes) << name;
      EXPECT_EQ(frames::detect_format(test::bytes_of(content), ""), expected.format) << name;
    }
    EXPECT_EQ(frames::detect_format(path), expected.format) << name;
  }
}

TEST(Memory, NamesDecideWhereContentSaysNothing) {
  const std::string pixels(32, '\1');
  EXPECT_EQ(frames::load_frame(test::bytes_of(pixels), "frame.raw").width, 4);
  EXPECT_EQ(frames::detect_format(test::bytes_of(pixels), "frame.raw"), Format::kRaw);
  EXPECT_EQ(frames::detect_format(test::bytes_of(pixels), "frame.edf"), Format::kEdf);
  for (const char* name : {"", "frame", "frame.png", "frame.npy"}) {
    try {
      frames::detect_format(test::bytes_of(pixels), name);
      ADD_FAILURE() << name;
    } catch (const frames::LoadError& error) {
      EXPECT_EQ(error.problem(), frames::Problem::kUnknownFormat) << name;
    }
  }
  EXPECT_EQ(test::load_error([] { frames::detect_format(frames::Bytes(), "frame.edf"); }), "is empty");
  EXPECT_EQ(test::load_error([] { frames::detect_format(std::string("absent.edf")); }), "No such file or directory");
}

TEST(Memory, FormatsThatAreOnlyWrittenCannotBeStated) {
  LoadOptions options;
  options.format = Format::kNpy;
  EXPECT_EQ(test::load_error([&] { load("abc", options); }), "cannot be read as npy: this format is only written");
}

TEST(HeaderOnly, HasAllButThePixels) {
  for (const char* name : {"nx09_strain_011.mar2300", "AgBehenate_003.tif", "TIMEPIX_SU_512-stdgoni_0001.img",
                           "medipix.edf", "Fe3O4_map_1_001.tif"}) {
    const std::string path = test::sample_frame(name);
    if (path.empty()) GTEST_SKIP() << "the shared sample frames are absent";
    const Frame expected = frames::load_frame(path);
    const Frame frame = frames::load_frame(path, header_only());
    EXPECT_TRUE(frame.counts.empty());
    EXPECT_TRUE(frame.mask.empty());
    EXPECT_EQ(frame.width, expected.width) << name;
    EXPECT_EQ(frame.height, expected.height) << name;
    EXPECT_EQ(frame.is_signed, expected.is_signed) << name;
    EXPECT_EQ(frame.items, expected.items) << name;
    EXPECT_EQ(frame.header.wavelength, expected.header.wavelength) << name;
    EXPECT_EQ(frame.header.date, expected.header.date) << name;
  }
  EXPECT_TRUE(load(naive::pack({1, 2, 3, 4}, 2, 2), header_only()).counts.empty());
}

TEST(HeaderItems, AreInTheFilesOrderAndWords) {
  EXPECT_EQ(load(edf("a", "Title = b = c ;\nempty = ;\ntitle = again ;\n")).items, (Items{{"Dim_1", "1"},
                                                                                          {"Dim_2", "1"},
                                                                                          {"DataType", "UnsignedByte"},
                                                                                          {"Title", "b = c"},
                                                                                          {"empty", ""},
                                                                                          {"title", "again"}}));
  const std::string adsc = "{\nHEADER_BYTES=512;\nSIZE1=1;\nSIZE2=1;\nTYPE=unsigned_short;\nBEAMLINE=x 1;\n}";
  EXPECT_EQ(
      load(adsc + std::string(512 - adsc.size() + 2, ' ')).items,
      (Items{
          {"HEADER_BYTES", "512"}, {"SIZE1", "1"}, {"SIZE2", "1"}, {"TYPE", "unsigned_short"}, {"BEAMLINE", "x 1"}}));
}

TEST(HeaderItems, OfTiffFilesAreTheTags) {
  test::TiffFile tiff;
  tiff.width = 2;
  tiff.height = 1;
  tiff.blocks = {{"\1\0\xFF\xFF", 4}};
  tiff.date = "2011:06:26 09:43:09";
  const Items items = load(tiff.bytes()).items;
  ASSERT_GE(items.size(), 6U);
  EXPECT_EQ(items[0], (HeaderItem{"ImageWidth", "2"}));
  EXPECT_EQ(items[1], (HeaderItem{"ImageLength", "1"}));
  EXPECT_EQ(items[2], (HeaderItem{"BitsPerSample", "16"}));
  EXPECT_NE(std::ranges::find(items, HeaderItem{"DateTime", "2011:06:26 09:43:09"}), items.end());
}

TEST(HeaderItems, OfRealFrames) {
  const auto value = [](const char* name, const char* key) -> std::string {
    const std::string path = test::sample_frame(name);
    if (path.empty()) return "absent";
    const Frame frame = frames::load_frame(path, header_only());
    const auto item = std::ranges::find(frame.items, key, &HeaderItem::name);
    return item == frame.items.end() ? "none" : item->text;
  };
  if (test::sample_frame("medipix.edf").empty()) GTEST_SKIP() << "the shared sample frames are absent";
  EXPECT_EQ(value("medipix.edf", "Dim_1"), "256");
  EXPECT_EQ(value("AgBehenate_003.tif", "pixelsize_x"), value("AgBehenate_003.tif", "pixelsize_y"));
  EXPECT_EQ(value("TIMEPIX_SU_512-stdgoni_0001.img", "BYTE_ORDER"), "little_endian");
  EXPECT_TRUE(value("nx09_strain_011.mar2300", "PIXEL").starts_with("LENGTH"));
  // A private tag, by its number.
  EXPECT_NE(value("Fe3O4_map_1_001.tif", "65010").find(':'), std::string::npos);
}

}  // namespace
