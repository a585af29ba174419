// Header values by their names, and the items of the header.
#include <cmath>
#include <limits>

#include "tests/api/files.h"

namespace {

using test::Detail;
using test::frame_of;

std::optional<double> number(const test::FrameHandle& frame, const char* name) {
  double value = 0;
  return xrd_number(frame.get(), name, &value) != 0 ? std::optional(value) : std::nullopt;
}

xrd_result set(const test::FrameHandle& frame, const char* name, double value, char* detail = nullptr) {
  return xrd_set_number(frame.get(), name, &value, detail);
}

TEST(HeaderValues, AreThoseOfTheProgram) {
  const std::vector<std::string> expected{"wavelength_angstrom",
                                          "distance_mm",
                                          "oscillation_start_degrees",
                                          "oscillation_range_degrees",
                                          "exposure_seconds",
                                          "pixel_width_mm",
                                          "pixel_height_mm",
                                          "beam_x_pixels",
                                          "beam_y_pixels",
                                          "saturation_counts",
                                          "date",
                                          "detector"};
  std::vector<std::string> names;
  for (std::size_t i = 0; i < xrd_value_count(); ++i) names.emplace_back(xrd_value_name(i));
  EXPECT_EQ(names, expected);
  EXPECT_EQ(xrd_value_name(xrd_value_count()), nullptr);
}

TEST(HeaderValues, AreSetReadAndRemoved) {
  const auto frame = frame_of(1, 1, {1});
  for (std::size_t i = 0; i < xrd_value_count(); ++i) {
    const char* const name = xrd_value_name(i);
    EXPECT_EQ(number(frame, name), std::nullopt);
    EXPECT_EQ(xrd_text(frame.get(), name), nullptr);
    const bool is_text = std::string(name) == "date" || std::string(name) == "detector";
    if (is_text) {
      EXPECT_EQ(xrd_set_text(frame.get(), name, name, nullptr), XRD_OK);
      EXPECT_STREQ(xrd_text(frame.get(), name), name);
      EXPECT_EQ(number(frame, name), std::nullopt);
      EXPECT_EQ(set(frame, name, 1), XRD_INVALID);
    } else {
      EXPECT_EQ(set(frame, name, static_cast<double>(i) + 0.5), XRD_OK);
      EXPECT_EQ(xrd_set_text(frame.get(), name, "1", nullptr), XRD_INVALID);
    }
  }
  for (std::size_t i = 0; i < 10; ++i) EXPECT_EQ(number(frame, xrd_value_name(i)), static_cast<double>(i) + 0.5);
  EXPECT_EQ(xrd_set_number(frame.get(), "distance_mm", nullptr, nullptr), XRD_OK);
  EXPECT_EQ(number(frame, "distance_mm"), std::nullopt);
  EXPECT_EQ(xrd_set_text(frame.get(), "date", nullptr, nullptr), XRD_OK);
  EXPECT_EQ(xrd_text(frame.get(), "date"), nullptr);
}

TEST(HeaderValues, PointsAreKnownWhenBothNumbersAre) {
  const auto frame = frame_of(4, 4, std::vector<std::uint32_t>(16));
  EXPECT_EQ(set(frame, "beam_y_pixels", 2), XRD_OK);
  EXPECT_EQ(number(frame, "beam_y_pixels"), std::nullopt);
  EXPECT_EQ(set(frame, "pixel_width_mm", 0.5), XRD_OK);  // of the other point
  EXPECT_EQ(number(frame, "beam_y_pixels"), std::nullopt);
  EXPECT_EQ(set(frame, "beam_x_pixels", 1), XRD_OK);
  EXPECT_EQ(number(frame, "beam_x_pixels"), 1);
  EXPECT_EQ(number(frame, "beam_y_pixels"), 2);
  EXPECT_EQ(number(frame, "pixel_width_mm"), std::nullopt);
  // Where the operation has moved it, the other number is the new one.
  ASSERT_EQ(xrd_crop(frame.get(), 1, 1, 3, 3, nullptr), XRD_OK);
  EXPECT_EQ(set(frame, "beam_x_pixels", 7), XRD_OK);
  EXPECT_EQ(number(frame, "beam_y_pixels"), 1);
  EXPECT_EQ(xrd_set_number(frame.get(), "beam_x_pixels", nullptr, nullptr), XRD_OK);
  EXPECT_EQ(number(frame, "beam_x_pixels"), std::nullopt);
  EXPECT_EQ(number(frame, "beam_y_pixels"), std::nullopt);
}

TEST(HeaderValues, WhatMakesNoSenseIsRefused) {
  const auto frame = frame_of(1, 1, {1});
  Detail detail;
  EXPECT_EQ(set(frame, "distance", 1, detail), XRD_INVALID);
  EXPECT_EQ(detail.text(), "there is no number 'distance' in headers");
  EXPECT_EQ(xrd_set_text(frame.get(), "name", "x", detail), XRD_INVALID);
  EXPECT_EQ(detail.text(), "there is no text 'name' in headers");
  for (const double wrong : {std::nan(""), std::numeric_limits<double>::infinity(), -HUGE_VAL}) {
    EXPECT_EQ(set(frame, "distance_mm", wrong, detail), XRD_INVALID);
    EXPECT_EQ(detail.text(), "a header value must be finite");
    EXPECT_EQ(set(frame, "beam_x_pixels", wrong), XRD_INVALID);
  }
  EXPECT_EQ(number(frame, "distance_mm"), std::nullopt);
}

TEST(HeaderValues, NullPointersAreRefused) {
  const auto frame = frame_of(1, 1, {1});
  const double value = 1;
  double found = 5;
  Detail detail;
  EXPECT_EQ(xrd_set_number(nullptr, "distance_mm", &value, detail), XRD_INVALID);
  EXPECT_EQ(detail.text(), "the frame is a null pointer");
  EXPECT_EQ(xrd_set_number(frame.get(), nullptr, &value, detail), XRD_INVALID);
  EXPECT_EQ(detail.text(), "the value's name is a null pointer");
  EXPECT_EQ(xrd_set_text(nullptr, "date", "x", detail), XRD_INVALID);
  EXPECT_EQ(xrd_set_text(frame.get(), nullptr, "x", detail), XRD_INVALID);
  EXPECT_EQ(set(frame, "distance_mm", 1), XRD_OK);
  EXPECT_EQ(xrd_number(frame.get(), nullptr, &found), 0);
  EXPECT_EQ(xrd_number(frame.get(), "distance_mm", nullptr), 0);
  EXPECT_EQ(xrd_text(frame.get(), nullptr), nullptr);
  EXPECT_EQ(found, 5);
}

TEST(HeaderItems, StandInTheFilesOrderAndWords) {
  const auto frame = test::loaded(test::edf(1, 1, {1}, "Zebra = 1.50 ;\nApple = two words ;\n"));
  std::vector<std::pair<std::string, std::string>> items;
  for (std::size_t i = 0; i < xrd_item_count(frame.get()); ++i) {
    items.emplace_back(xrd_item_name(frame.get(), i), xrd_item_text(frame.get(), i));
  }
  ASSERT_EQ(items.size(), 6U);
  EXPECT_EQ(items[0], std::pair(std::string("Dim_1"), std::string("1")));
  EXPECT_EQ(items[4], std::pair(std::string("Zebra"), std::string("1.50")));
  EXPECT_EQ(items[5], std::pair(std::string("Apple"), std::string("two words")));
  EXPECT_EQ(xrd_item_name(frame.get(), 6), nullptr);
  EXPECT_EQ(xrd_item_text(frame.get(), 6), nullptr);
}

}  // namespace
