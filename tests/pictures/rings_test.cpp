#include "pictures/rings.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <stdexcept>

#include "tests/pictures/frames_and_pixels.h"

namespace {

using frames::Remarks;
using pictures::Picture;
using pictures::PictureOptions;

// 2 theta is 45 degrees where wavelength / 2d is sin 22.5 degrees: as far from the centre as the detector is away.
constexpr double kSpacing = 1.3065629648763766;

frames::Frame frame_with_geometry() {
  frames::Frame frame = test::empty_frame(201, 201);
  frame.header.wavelength = 1.0;
  frame.header.distance = 5.0;
  frame.header.pixel_size = frames::Point{0.1, 0.1};
  frame.header.beam_centre = frames::Point{100.0, 100.0};
  return frame;
}

Picture draw(const frames::Frame& frame, const std::vector<double>& rings, Remarks& remarks) {
  PictureOptions options;
  options.colors = pictures::ColorMap::kGrey;
  options.rings = rings;
  return pictures::draw_picture(frame, options, remarks);
}

constexpr int kInk = 254;
constexpr int kPaper = 255;

TEST(Rings, AreWhereTheReflectionsOfTheSpacingAre) {
  Remarks remarks;
  const Picture picture = draw(frame_with_geometry(), {kSpacing}, remarks);
  EXPECT_TRUE(remarks.warnings.empty());
  // 50 pixels from the centre; 30, 40 and 50 are a right triangle's sides.
  for (const auto& [x, y] :
       {std::pair{50, 0}, {-50, 0}, {0, 50}, {0, -50}, {-30, -40}, {40, 30}, {-40, 30}, {30, 40}}) {
    EXPECT_EQ(test::entry_at(picture, 100 + x, 100 + y), kInk) << x << " " << y;
  }
  EXPECT_EQ(test::entry_at(picture, 149, 100), 0);
  EXPECT_EQ(test::entry_at(picture, 152, 100), 0);
  int ink = 0;
  for (int y = 0; y < 201; ++y) {
    for (int x = 0; x < 201; ++x) {
      if (test::entry_at(picture, x, y) != kInk || (x > 110 && y < 75)) continue;  // the label is there
      ++ink;
      EXPECT_NEAR(std::hypot(x - 100, y - 100), 50.0, 0.71) << x << " " << y;
    }
  }
  EXPECT_GT(ink, 200);
}

TEST(Rings, HaveAShadowOfPaper) {
  Remarks remarks;
  const Picture picture = draw(frame_with_geometry(), {kSpacing}, remarks);
  EXPECT_EQ(test::entry_at(picture, 151, 100), kPaper);
  EXPECT_EQ(test::entry_at(picture, 100, 151), kPaper);
}

TEST(Rings, AreEllipsesWherePixelsAreNotSquare) {
  frames::Frame frame = frame_with_geometry();
  frame.header.pixel_size = frames::Point{0.1, 0.2};
  Remarks remarks;
  const Picture picture = draw(frame, {kSpacing}, remarks);
  EXPECT_EQ(test::entry_at(picture, 150, 100), kInk);
  EXPECT_EQ(test::entry_at(picture, 100, 75), kInk);
  EXPECT_EQ(test::entry_at(picture, 70, 80), kInk);
  EXPECT_EQ(test::entry_at(picture, 100, 50), 0);
}

// The text as it is drawn at this corner, dot by dot, in an otherwise empty picture.
bool has_text(const Picture& picture, const std::string& text, pictures::PixelPlace corner) {
  Picture expected;
  expected.width = picture.width;
  expected.height = picture.height;
  expected.pixels.resize(picture.pixels.size());
  pictures::draw_text(expected, corner, text, {kInk, kPaper, 1, 1});
  for (std::size_t i = 0; i < expected.pixels.size(); ++i) {
    if (expected.pixels[i] != 0 && expected.pixels[i] != picture.pixels[i]) return false;
  }
  return true;
}

TEST(Rings, AreLabelledAtTheUpperRight) {
  Remarks remarks;
  const Picture picture = draw(frame_with_geometry(), {kSpacing}, remarks);
  // The ring is at (135.4, 64.6) there; six characters and their rim are 37 x 9 dots.
  EXPECT_TRUE(has_text(picture, "1.31 Å", {135 - 18, 64 - 4}));
  EXPECT_FALSE(has_text(picture, "1.32 Å", {135 - 18, 64 - 4}));
  // Between the letters there is no line.
  int ink = 0;
  for (int y = 60; y < 69; ++y) {
    for (int x = 117; x < 154; ++x) ink += test::entry_at(picture, x, y) == kInk ? 1 : 0;
  }
  EXPECT_EQ(ink, 10 + 4 + 14 + 10 + 15);  // dots of 1, ., 3, 1 and Å
}

TEST(Rings, AreLabelledElsewhereWhenTheUpperRightIsOutside) {
  frames::Frame frame = frame_with_geometry();
  frame.header.beam_centre = frames::Point{100.0, 20.0};
  Remarks remarks;
  const Picture picture = draw(frame, {kSpacing}, remarks);
  bool found = false;
  for (int y = 0; y < 190; ++y) {
    for (int x = 0; x < 160; ++x) found = found || has_text(picture, "1.31 Å", {x, y});
  }
  EXPECT_TRUE(found);
}

TEST(Rings, LabelsOfTheSameRingDoNotCoverEachOther) {
  Remarks remarks;
  const Picture once = draw(frame_with_geometry(), {kSpacing}, remarks);
  const Picture twice = draw(frame_with_geometry(), {kSpacing, kSpacing}, remarks);
  EXPECT_TRUE(has_text(twice, "1.31 Å", {135 - 18, 64 - 4}));
  EXPECT_GT(std::ranges::count(twice.pixels, kInk), std::ranges::count(once.pixels, kInk));
}

TEST(Rings, SmallPicturesHaveNoLabels) {
  frames::Frame frame = test::empty_frame(141, 141);
  frame.header = frame_with_geometry().header;
  frame.header.beam_centre = frames::Point{70.0, 70.0};
  Remarks remarks;
  const Picture picture = draw(frame, {kSpacing}, remarks);
  // Nothing interrupts the ring at the upper right: 50 from (35, 35.7).
  EXPECT_EQ(test::entry_at(picture, 70 + 35, 70 - 36), kInk);
}

TEST(Rings, LinesAndLettersGrowWithThePicture) {
  const pictures::Colors colors = pictures::make_colors(pictures::ColorMap::kGrey);
  EXPECT_EQ(pictures::pen_for(999, 500, colors).line, 1);
  EXPECT_EQ(pictures::pen_for(500, 1000, colors).line, 2);
  EXPECT_EQ(pictures::pen_for(2300, 2300, colors).line, 3);
  EXPECT_EQ(pictures::pen_for(512, 512, colors).text, 1);
  EXPECT_EQ(pictures::pen_for(2300, 2300, colors).text, 4);
}

TEST(Rings, SpacingsHaveOneOrTwoDecimals) {
  EXPECT_EQ(pictures::spacing_text(4.0), "4.0 Å");
  EXPECT_EQ(pictures::spacing_text(2.35), "2.35 Å");
  EXPECT_EQ(pictures::spacing_text(2.5), "2.5 Å");
  EXPECT_EQ(pictures::spacing_text(58.376), "58.38 Å");
  EXPECT_EQ(pictures::spacing_text(100.0), "100.0 Å");
}

TEST(Rings, ThatCannotBeSeenAreWarnedAbout) {
  Remarks remarks;
  // Beyond sin(theta) of 1; 180, 90.001 and 89.9 degrees.
  draw(frame_with_geometry(), {0.4, 0.5, 0.7071, 0.708, kSpacing}, remarks);
  EXPECT_EQ(remarks.warnings,
            (std::vector<std::string>{
                "the ring at 0.4 Å lies outside of the picture", "the ring at 0.5 Å lies outside of the picture",
                "the ring at 0.71 Å lies outside of the picture", "the ring at 0.71 Å lies outside of the picture"}));
  remarks.warnings.clear();
  frames::Frame frame = frame_with_geometry();
  frame.header.beam_centre = frames::Point{-1e9, 1e12};
  draw(frame, {kSpacing, 1e5}, remarks);
  EXPECT_EQ(remarks.warnings.size(), 2U);
}

std::string error_without(const std::function<void(frames::Header&)>& remove) {
  frames::Frame frame = frame_with_geometry();
  remove(frame.header);
  Remarks remarks;
  try {
    draw(frame, {2.0}, remarks);
  } catch (const std::runtime_error& error) {
    return error.what();
  }
  return "";
}

TEST(Rings, NameExactlyWhatTheFrameDoesNotTell) {
  EXPECT_EQ(error_without([](frames::Header& header) { header.wavelength.reset(); }),
            "rings need the wavelength, which the header lacks (--wavelength)");
  EXPECT_EQ(error_without([](frames::Header& header) { header.wavelength.reset(), header.beam_centre.reset(); }),
            "rings need the wavelength and the beam centre, which the header lacks (--wavelength, --beam)");
  EXPECT_EQ(error_without([](frames::Header& header) { header = {}; }),
            "rings need the wavelength, the distance, the pixel size and the beam centre, which the header lacks "
            "(--wavelength, --distance, --pixel, --beam)");
  EXPECT_EQ(error_without([](frames::Header&) {}), "");
}

TEST(Rings, WithoutRingsNothingIsNeeded) {
  Remarks remarks;
  EXPECT_NO_THROW(draw(test::empty_frame(4, 4), {}, remarks));
}

TEST(Text, LettersAreInkWithARimOfPaper) {
  Picture picture;
  picture.width = 13;
  picture.height = 9;
  picture.pixels.resize(std::size_t{13} * 9);
  pictures::draw_text(picture, {0, 0}, "1Å", {1, 2, 1, 1});
  std::string ink;
  for (int y = 0; y < 9; ++y) {
    for (int x = 0; x < 13; ++x) ink += test::entry_at(picture, x, y) == 1 ? '#' : ' ';
    ink += '\n';
  }
  EXPECT_EQ(ink,
            "             \n"
            "   #     #   \n"
            "  ##    # #  \n"
            "   #     #   \n"
            "   #    # #  \n"
            "   #   #   # \n"
            "   #   ##### \n"
            "  ###  #   # \n"
            "             \n");
  EXPECT_EQ(test::entry_at(picture, 3, 0), 2);
  EXPECT_EQ(test::entry_at(picture, 2, 1), 2);
  EXPECT_EQ(test::entry_at(picture, 0, 0), 0);
}

}  // namespace
