// Options by their names, and lists of lines.
#include "tests/api/files.h"

namespace {

using test::Detail;

struct Setting {
  const char* name;
  const char* value;
};

class Options : public ::testing::Test {
 protected:
  xrd_result set(const char* name, const char* value) { return xrd_options_set(options.get(), name, value, detail); }

  test::OptionsHandle options{xrd_options_new()};
  Detail detail;
};

TEST_F(Options, AllNamesOfTheHeaderAreTaken) {
  for (const auto& [name, value] : std::initializer_list<Setting>{
           {"format", "marccd"},    {"format", "png"},     {"format", "tif"},   {"image", "2"},
           {"size", "2048x1024"},   {"depth", "8"},        {"skip", "4096"},    {"force", nullptr},
           {"beam", "1024.5,1020"}, {"wavelength", "1.5"}, {"distance", "100"}, {"pixel", "0.1"},
           {"bits", "16"},          {"bits", "32"},        {"scale", "log"},    {"range", "0-500"},
           {"colors", "viridis"},   {"rings", "4,3"},      {"bar", nullptr},    {"big-endian", nullptr}}) {
    EXPECT_EQ(set(name, value), XRD_OK) << name << ": " << detail.text();
  }
  EXPECT_EQ(detail.text(), Detail::kUntouched);
}

TEST_F(Options, WhatMakesNoSenseIsRefusedWithALine) {
  EXPECT_EQ(set("sise", "1x1"), XRD_INVALID);
  EXPECT_EQ(detail.text(), "--sise is not an option");
  EXPECT_EQ(set("size", "1024"), XRD_INVALID);
  EXPECT_TRUE(detail.text().starts_with("--size: '1024' ")) << detail.text();
  EXPECT_EQ(set("size", nullptr), XRD_INVALID);
  EXPECT_EQ(detail.text(), "--size needs a value");
  EXPECT_EQ(set("force", "yes"), XRD_INVALID);
  EXPECT_EQ(detail.text(), "--force takes no value");
  EXPECT_EQ(set("bits", "24"), XRD_INVALID);
  EXPECT_EQ(detail.text(), "--bits: '24' must be one of 16, 32");
  EXPECT_EQ(set("format", "gif"), XRD_UNKNOWN_FORMAT);
  EXPECT_EQ(detail.text(), "--format 'gif' is not a format");
  EXPECT_EQ(set("wavelength", "-1"), XRD_INVALID);
  EXPECT_EQ(set("image", "0"), XRD_INVALID);
}

TEST_F(Options, NullPointersAreRefused) {
  EXPECT_EQ(xrd_options_set(nullptr, "force", nullptr, detail), XRD_INVALID);
  EXPECT_EQ(detail.text(), "the list of options is a null pointer");
  EXPECT_EQ(set(nullptr, "1"), XRD_INVALID);
  EXPECT_EQ(detail.text(), "the option's name is a null pointer");
  EXPECT_EQ(xrd_options_set(options.get(), "sise", nullptr, nullptr), XRD_INVALID);
  xrd_options_free(nullptr);
}

TEST_F(Options, LinesOfDetailAreCutBetweenCharactersAndPrintable) {
  // An odd number of bytes stands before the first letter, of which each has two bytes.
  std::string name = "\x1B[31m\n";
  for (int i = 0; i < 600; ++i) name += "ä";
  EXPECT_EQ(set(name.c_str(), nullptr), XRD_INVALID);
  const std::string line = detail.text();
  EXPECT_TRUE(line.starts_with("--?[31m?ä")) << line;
  EXPECT_EQ(line.size(), std::size_t{XRD_DETAIL - 2});
  EXPECT_TRUE(line.ends_with("ä"));
}

TEST(Lines, NullIsAnEmptyList) {
  EXPECT_EQ(xrd_lines_count(nullptr), 0U);
  EXPECT_EQ(xrd_lines_text(nullptr, 0), nullptr);
  xrd_lines_free(nullptr);
}

TEST(Results, EachHasAText) {
  EXPECT_STREQ(xrd_result_text(XRD_OK), "no error");
  EXPECT_STREQ(xrd_result_text(XRD_NO_MEMORY), "not enough memory");
  EXPECT_STREQ(xrd_result_text(XRD_SYSTEM), "refused by the system");
  EXPECT_STREQ(xrd_result_text(XRD_UNKNOWN_FORMAT), "unknown format");
  EXPECT_STREQ(xrd_result_text(XRD_DAMAGED), "truncated or damaged");
  EXPECT_STREQ(xrd_result_text(XRD_UNSUPPORTED), "not supported");
  EXPECT_STREQ(xrd_result_text(XRD_INVALID), "invalid argument");
  // As a later version may return it.
  for (const int result : {7, 99, 1000, -1}) {
    EXPECT_STREQ(xrd_result_text(static_cast<xrd_result>(result)), "unknown result");
  }
}

TEST(Version, IsThatOfTheProject) {
  EXPECT_STREQ(xrd_version(), XRDIMAGE_VERSION);
}

}  // namespace
