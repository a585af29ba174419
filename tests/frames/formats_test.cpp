#include "frames/formats.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

#include "frames/options.h"

namespace {

using frames::FileFormat;
using frames::Format;

TEST(Formats, KeywordsAreThoseThatReadingAndWritingShare) {
  EXPECT_EQ(frames::readable_formats(),
            (std::vector<std::string>{"marccd", "tiff", "adsc", "edf", "saint", "mar345", "packed", "raw"}));
  EXPECT_EQ(frames::writable_formats(),
            (std::vector<std::string>{"png", "tiff", "adsc", "edf", "mar345", "packed", "raw", "npy"}));
  EXPECT_EQ(frames::joined(frames::written_endings()), ".png, .tif, .img, .edf, .mar, .pck, .raw, .npy");
}

TEST(Formats, EveryOneIsFoundByItsKeywordAndItsEndings) {
  const std::pair<const char*, Format> names[] = {
      {"mar345", Format::kMar345},  {"mar", Format::kMar345},    {"mar2300", Format::kMar345},
      {"mar1200", Format::kMar345}, {"marccd", Format::kMarCcd}, {"mccd", Format::kMarCcd},
      {"adsc", Format::kAdsc},      {"img", Format::kAdsc},      {"edf", Format::kEdf},
      {"saint", Format::kSaint},    {"sfrm", Format::kSaint},    {"tiff", Format::kTiff},
      {"tif", Format::kTiff},       {"packed", Format::kPacked}, {"pck", Format::kPacked},
      {"raw", Format::kRaw},        {"bin", Format::kRaw},       {"png", Format::kPng},
      {"npy", Format::kNpy},
  };
  for (const auto& [name, format] : names) {
    const FileFormat* const found = frames::find_format(name);
    ASSERT_NE(found, nullptr) << name;
    EXPECT_EQ(found->format, format) << name;
  }
  for (const char* name : {"", "TIFF", "tif tiff", "ti", ".tif", "jpeg", "gz"}) {
    EXPECT_EQ(frames::find_format(name), nullptr) << name;
  }
}

TEST(Formats, KeywordsThatAreNoEndingsAreNone) {
  for (const char* name : {"marccd", "adsc", "saint", "packed", "", "gz"}) {
    EXPECT_EQ(frames::format_of_ending(name), nullptr) << name;
  }
  EXPECT_EQ(frames::format_of_ending("tiff")->format, Format::kTiff);
  EXPECT_EQ(frames::format_of_name("a/b.c/frame.EDF.gz")->format, Format::kEdf);
  EXPECT_EQ(frames::format_of_name("frame.mar2300.bz2")->format, Format::kMar345);
  for (const char* name : {"", "frame", "frame.0001", "frame.edf/frame", ".edf", "frame.gz", "edf"}) {
    EXPECT_EQ(frames::format_of_name(name), nullptr) << name;
  }
}

TEST(Formats, NamesAndEndingsAreEachOnesOwn) {
  std::set<std::string> keywords;
  std::set<Format> entries;
  for (const FileFormat& format : frames::formats()) {
    EXPECT_TRUE(keywords.insert(format.keyword).second);
    EXPECT_TRUE(entries.insert(format.format).second);
    EXPECT_EQ(&frames::entry_of(format.format), &format);
    EXPECT_EQ(frames::format_of_ending(frames::usual_ending(format)), &format);
    EXPECT_STRNE(format.name, "");
    EXPECT_TRUE(format.is_read() || format.is_written()) << format.keyword;
    EXPECT_EQ(format.load == nullptr, format.enough == nullptr) << format.keyword;
  }
  EXPECT_STREQ(frames::entry_of(Format::kMar345).name, "mar345 image plate");
}

TEST(Formats, EndingsAreWhatFollowsTheLastDot) {
  EXPECT_EQ(frames::ending_of("folder.edf/Frame.TIF"), "tif");
  EXPECT_EQ(frames::ending_of("a.b.c"), "c");
  for (const char* path : {"", "frame", "folder.edf/frame", ".edf", "folder/.edf", "frame."}) {
    EXPECT_EQ(frames::ending_of(path), "") << path;
  }
}

TEST(Formats, NamesLoseTheEndingsOfFramesAlone) {
  EXPECT_EQ(frames::name_without_ending("a.mar2300.gz"), "a");
  EXPECT_EQ(frames::name_without_ending("a.EDF"), "a");
  EXPECT_EQ(frames::name_without_ending("a.b.tif"), "a.b");
  EXPECT_EQ(frames::name_without_ending("a.0001.bz2"), "a.0001");
  for (const char* name : {"a.0001", "a", "a.png", "a.npy", ".edf", "..edf", "...edf", ".gz", "a.", ""}) {
    EXPECT_EQ(frames::name_without_ending(name), name);
  }
}

}  // namespace
