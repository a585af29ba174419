#include "frames/grid.h"

#include <gtest/gtest.h>

#include "tests/frames/frame_of.h"
#include "tests/frames/mask.h"

namespace {

using Counts = std::vector<std::uint32_t>;

// 3 x 2 pixels: all that a frame can have beside its counts is there.
frames::Frame full_frame() {
  frames::Frame frame = test::frame_of(3, 2, {1, 2, 3, 4, 5, 6}, true);
  frame.format = frames::Format::kEdf;
  frame.mask = test::unknown({false, true, false, false, false, false});
  frame.header.wavelength = 1.5;
  frame.notes = {"a note"};
  return frame;
}

TEST(BlankFrame, KeepsAllButThePixels) {
  const frames::Frame frame = frames::blank_frame(full_frame(), 1, 2);
  EXPECT_EQ(frame.width, 1);
  EXPECT_EQ(frame.height, 2);
  EXPECT_TRUE(frame.counts == Counts({0, 0}));
  EXPECT_TRUE(frame.mask.empty());
  EXPECT_TRUE(frame.is_signed);
  EXPECT_EQ(frame.format, frames::Format::kEdf);
  EXPECT_EQ(frame.header.wavelength, 1.5);
  EXPECT_EQ(frame.notes, std::vector<std::string>{"a note"});
}

TEST(Rearranged, PixelsComeFromWhereTheyAreSaidToBe) {
  const auto mirrored = [](std::size_t x, std::size_t y) { return y * 3 + 1 - x; };
  const frames::Frame frame = frames::rearranged(full_frame(), 2, 2, mirrored);
  EXPECT_EQ(frame.width, 2);
  EXPECT_EQ(frame.height, 2);
  EXPECT_TRUE(frame.counts == Counts({2, 1, 5, 4}));
  EXPECT_EQ(frame.mask, test::unknown({true, false, false, false}));
  EXPECT_TRUE(frame.is_signed);
}

TEST(Rearranged, WhereAllIsKnownItStaysSo) {
  frames::Frame frame = full_frame();
  frame.mask.clear();
  EXPECT_TRUE(frames::rearranged(frame, 1, 1, [](std::size_t, std::size_t) { return std::size_t{5}; }).mask.empty());
}

TEST(ScaledGeometry, CentresOfPixelsHaveWholeCoordinates) {
  frames::Header header;
  header.pixel_size = frames::Point{0.1, 0.2};
  header.beam_centre = frames::Point{0.5, 1.0};  // in the middle of the blocks 0 and 0 of 2 x 3 pixels
  frames::scale_geometry(header, 2, 3);
  EXPECT_DOUBLE_EQ(header.pixel_size->x, 0.2);
  EXPECT_DOUBLE_EQ(header.pixel_size->y, 0.6);
  EXPECT_DOUBLE_EQ(header.beam_centre->x, 0.0);
  EXPECT_DOUBLE_EQ(header.beam_centre->y, 0.0);
}

TEST(ScaledGeometry, WhatIsNotKnownStaysUnknown) {
  frames::Header header;
  frames::scale_geometry(header, 2, 3);
  EXPECT_FALSE(header.pixel_size);
  EXPECT_FALSE(header.beam_centre);
}

}  // namespace
