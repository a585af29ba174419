#include "pictures/picture.h"

#include <gtest/gtest.h>

#include "pictures/bar.h"
#include "pictures/options.h"
#include "tests/frames/mask.h"
#include "tests/pictures/frames_and_pixels.h"

namespace {

using frames::Remarks;
using pictures::ColorMap;
using pictures::Picture;
using pictures::PictureOptions;
using pictures::Scale;
using Values = std::vector<std::pair<std::string, std::string>>;

// Gives the option this value; the message of what is wrong.
std::string set(const std::string& name, const std::string& value, PictureOptions& options) {
  for (const auto& option : pictures::picture_options()) {
    if (option.name != name) continue;
    try {
      option.set(options, value);
    } catch (const frames::InvalidValue& error) {
      return error.what();
    }
    return "";
  }
  return "no such option";
}

TEST(PictureOptions, AreParsed) {
  PictureOptions options;
  for (const auto& [name, value] :
       {std::pair("scale", "log"), {"range", "10-500"}, {"colors", "viridis"}, {"rings", "10,4.5,2"}, {"bar", ""}}) {
    EXPECT_EQ(set(name, value, options), "") << name;
  }
  EXPECT_EQ(options.scale, Scale::kLog);
  EXPECT_EQ(options.range->low, 10);
  EXPECT_EQ(options.range->high, 500);
  EXPECT_EQ(options.colors, ColorMap::kViridis);
  EXPECT_EQ(options.rings, (std::vector{10.0, 4.5, 2.0}));
  EXPECT_TRUE(options.bar);
}

TEST(PictureOptions, RangesMayBeNegative) {
  PictureOptions options;
  EXPECT_EQ(set("range", "-5-300", options), "");
  EXPECT_EQ(options.range->low, -5);
  EXPECT_EQ(options.range->high, 300);
  EXPECT_EQ(set("range", "-50--20", options), "");
  EXPECT_EQ(options.range->low, -50);
  EXPECT_EQ(options.range->high, -20);
}

TEST(PictureOptions, WhatIsWrongIsSaidInALine) {
  PictureOptions options;
  for (const char* text : {"5", "5-", "-", "5-x", "5-6-7", "5 -6", ""}) {
    EXPECT_EQ(set("range", text, options), "'" + std::string(text) + "' is not of the form LO-HI, as in 0-500");
  }
  EXPECT_EQ(set("range", "7-7", options), "'7-7' must begin with the lower count");
  EXPECT_EQ(set("range", "0-4294967296", options), "'0-4294967296' does not fit into 32 bits");
  for (const char* text : {"0", "-1", "4,", ",4", "4;5", "4,0", "1e6", "1e999", "nan", "inf", "x", ""}) {
    EXPECT_EQ(set("rings", text, options),
              "'" + std::string(text) + "' is not a list of spacings in ångström, as in 10,4.5,2");
  }
  EXPECT_EQ(set("scale", "cubic", options), "'cubic' must be one of linear, sqrt, log");
  EXPECT_EQ(set("colors", "pink", options), "'pink' must be one of classic, grey, inverse, viridis");
}

TEST(Picture, TellsItsRange) {
  Remarks remarks;
  pictures::draw_picture(test::frame_of(2, 1, {12, 340}), {}, remarks);
  EXPECT_EQ(remarks.values, (Values{{"range", "12-340 counts (1 % to 99.5 % of the pixels)"}}));
  remarks = {};
  PictureOptions options;
  options.range = pictures::CountRange{-5, 9};
  options.scale = Scale::kSqrt;
  pictures::draw_picture(test::frame_of(2, 1, {12, 340}), options, remarks);
  EXPECT_EQ(remarks.values, (Values{{"range", "-5-9 counts"}, {"scale", "sqrt"}}));
}

TEST(Picture, CountsHaveTheColoursOfTheirLevels) {
  PictureOptions options;
  options.range = pictures::CountRange{0, 252};
  options.colors = ColorMap::kGrey;
  frames::Frame frame = test::frame_of(2, 2, {0, 252, 126, 7});
  frame.mask = test::unknown({false, false, false, true});
  Remarks remarks;
  const Picture picture = pictures::draw_picture(frame, options, remarks);
  EXPECT_EQ(picture.width, 2);
  EXPECT_EQ(picture.height, 2);
  EXPECT_EQ(test::rgb_of(picture),
            (std::vector<std::uint8_t>{0, 0, 0, 255, 255, 255, 128, 128, 128, 255, 0, 0}));  // 126 * 253 / 252 = 126.5
  options.colors = ColorMap::kClassic;
  EXPECT_EQ(test::rgb_of(pictures::draw_picture(frame, options, remarks))[11], 128);
}

constexpr int kInk = 254;
constexpr int kPaper = 255;

Picture with_bar(int width, Scale scale = Scale::kLinear) {
  PictureOptions options;
  options.bar = true;
  options.colors = ColorMap::kGrey;
  options.range = pictures::CountRange{100, 355};
  options.scale = scale;
  Remarks remarks;
  return pictures::draw_picture(test::empty_frame(width, width), options, remarks);
}

TEST(Bar, ShowsAllLevelsBelowThePicture) {
  for (const int width : {300, 2300}) {
    const Picture picture = with_bar(width);
    const int dot = width / 700 + 1;
    ASSERT_EQ(picture.height, width + 26 * dot);  // 3 + 10 + 3 dots, 9 of text, 1
    EXPECT_EQ(picture.pixels.size(), static_cast<std::size_t>(picture.width * picture.height));
    const int y = width + 4 * dot;
    EXPECT_EQ(test::entry_at(picture, 0, y), kPaper);
    EXPECT_EQ(test::entry_at(picture, 3 * dot, y), 0);
    EXPECT_EQ(test::entry_at(picture, width / 2, y), 126);
    EXPECT_EQ(test::entry_at(picture, width - 3 * dot - 1, y), 252);
    EXPECT_EQ(test::entry_at(picture, width - 1, y), kPaper);
  }
}

// Whether the text is in the picture with this corner: drawing it once more changes nothing.
bool has_text(const Picture& picture, const std::string& text, pictures::PixelPlace corner) {
  Picture again = picture;
  pictures::draw_text(again, corner, text, {kInk, kPaper, 1, 1});
  return again.pixels == picture.pixels;
}

TEST(Bar, TellsTheCountsAtTheEndsAndInTheMiddle) {
  const Picture linear = with_bar(300);
  constexpr int kTop = 314;  // 3 rows of rim, 10 of colours, 1
  // Three digits and their rim are 19 dots wide.
  EXPECT_TRUE(has_text(linear, "100", {0, kTop}));
  EXPECT_TRUE(has_text(linear, "228", {150 - 9, kTop}));  // 227.5
  EXPECT_TRUE(has_text(linear, "355", {300 - 19, kTop}));
  EXPECT_FALSE(has_text(linear, "356", {300 - 19, kTop}));
  EXPECT_TRUE(has_text(with_bar(300, Scale::kLog), "115", {150 - 9, kTop}));
}

TEST(Bar, IsThereOnTheSmallestPictures) {
  for (const int width : {1, 2, 3, 50, 99, 100}) {
    const Picture picture = with_bar(width);
    EXPECT_GT(picture.height, width);
    EXPECT_EQ(picture.pixels.size(), static_cast<std::size_t>(picture.width * picture.height));
  }
}

TEST(Bar, LeavesOutCountsThatThereIsNoRoomFor) {
  PictureOptions options;
  options.bar = true;
  options.colors = ColorMap::kGrey;
  options.range = pictures::CountRange{-2147483648, 4294967295};
  Remarks remarks;
  const Picture picture = pictures::draw_picture(test::empty_frame(110, 1), options, remarks);
  EXPECT_EQ(std::ranges::count(picture.pixels, kInk), 0);
}

}  // namespace
