// Frames: made, copied, and what is in them.
#include <limits>

#include "tests/api/files.h"

namespace {

using test::counts_of;
using test::Detail;
using test::frame_of;
using test::mask_of;
using Counts = std::vector<std::uint32_t>;
using Mask = std::vector<int>;

TEST(Create, CopiesCountsAndMask) {
  Counts counts{1, 2, 3, 4000000000U, 5, 6};
  std::vector<unsigned char> mask{0, XRD_MASK_USER, 0, XRD_MASK_SATURATED, 0, XRD_MASK_GAP};
  const auto frame = frame_of(3, 2, counts, mask);
  counts.assign(6, 0);
  mask.assign(6, 0);
  EXPECT_EQ(xrd_width(frame.get()), 3);
  EXPECT_EQ(xrd_height(frame.get()), 2);
  EXPECT_EQ(xrd_sample_of(frame.get()), XRD_UINT32);
  EXPECT_STREQ(xrd_format_of(frame.get()), "raw");
  EXPECT_EQ(xrd_images(frame.get()), 0U);
  EXPECT_EQ(counts_of(frame.get()), (Counts{1, 2, 3, 4000000000U, 5, 6}));
  EXPECT_EQ(mask_of(frame.get()), (Mask{0, 0x80, 0, 0x08, 0, 0x01}));
  EXPECT_EQ(xrd_lines_count(xrd_notes(frame.get())), 0U);
  EXPECT_EQ(xrd_item_count(frame.get()), 0U);
}

TEST(Create, AMaskOfZerosIsNone) {
  EXPECT_EQ(xrd_mask(frame_of(2, 1, {7, 8}, {0, 0}).get()), nullptr);
  EXPECT_EQ(xrd_mask(frame_of(2, 1, {7, 8}).get()), nullptr);
}

TEST(Create, NegativeCountsKeepTheirSign) {
  const std::array<std::int32_t, 3> counts{-5, 0, 7};
  xrd_frame* frame = nullptr;
  ASSERT_EQ(xrd_create(3, 1, XRD_INT32, counts.data(), nullptr, &frame, nullptr), XRD_OK);
  const test::FrameHandle owner(frame);
  EXPECT_EQ(xrd_sample_of(frame), XRD_INT32);
  EXPECT_EQ(static_cast<const std::int32_t*>(xrd_counts(frame))[0], -5);
  xrd_statistics statistics{};
  ASSERT_EQ(xrd_statistics_of(frame, &statistics, nullptr), XRD_OK);
  EXPECT_EQ(statistics.minimum, -5);
  EXPECT_EQ(statistics.maximum, 7);
}

TEST(Create, SizesAndKindsThatCannotBeAreRefused) {
  const std::uint32_t count = 1;
  constexpr int kLargest = std::numeric_limits<int>::max();
  for (const auto& [width, height] : std::initializer_list<std::pair<int, int>>{{0, 1},
                                                                                {1, 0},
                                                                                {-1, 1},
                                                                                {1, -1},
                                                                                {-1, -1},
                                                                                {kLargest, kLargest},
                                                                                {(1 << 28) + 1, 1},
                                                                                {1 << 14, (1 << 14) + 1}}) {
    xrd_frame* frame = nullptr;
    Detail detail;
    EXPECT_EQ(xrd_create(width, height, XRD_UINT32, &count, nullptr, &frame, detail), XRD_INVALID);
    EXPECT_EQ(detail.text(),
              "a frame cannot have " + std::to_string(width) + " x " + std::to_string(height) + " pixels");
    EXPECT_EQ(frame, nullptr);
  }
  xrd_frame* frame = nullptr;
  for (const int sample : {0, 3, 7, -1, std::numeric_limits<int>::max()}) {
    EXPECT_EQ(xrd_create(1, 1, static_cast<xrd_sample>(sample), &count, nullptr, &frame, nullptr), XRD_INVALID);
  }
  EXPECT_EQ(frame, nullptr);
}

TEST(Create, NullPointersAreRefused) {
  const std::uint32_t count = 1;
  xrd_frame* frame = nullptr;
  Detail detail;
  EXPECT_EQ(xrd_create(1, 1, XRD_UINT32, nullptr, nullptr, &frame, detail), XRD_INVALID);
  EXPECT_EQ(detail.text(), "the array of counts is a null pointer");
  EXPECT_EQ(xrd_create(1, 1, XRD_UINT32, &count, nullptr, nullptr, detail), XRD_INVALID);
  EXPECT_EQ(detail.text(), "the place for the frame is a null pointer");
}

TEST(Copy, IsAFrameOfItsOwn) {
  const auto frame = test::loaded(test::edf(2, 2, {1, 2, 3, 4}, "Title = a ;\n"));
  ASSERT_EQ(xrd_set_text(frame.get(), "date", "today", nullptr), XRD_OK);
  const double half = 3;
  ASSERT_EQ(xrd_set_number(frame.get(), "beam_x_pixels", &half, nullptr), XRD_OK);
  xrd_frame* copied = nullptr;
  ASSERT_EQ(xrd_copy(frame.get(), &copied, nullptr), XRD_OK);
  const test::FrameHandle copy(copied);
  ASSERT_EQ(xrd_flip(frame.get(), 0, nullptr), XRD_OK);
  ASSERT_EQ(xrd_set_text(frame.get(), "date", nullptr, nullptr), XRD_OK);
  EXPECT_EQ(counts_of(copied), (Counts{1, 2, 3, 4}));
  EXPECT_STREQ(xrd_text(copied, "date"), "today");
  EXPECT_STREQ(xrd_format_of(copied), "edf");
  EXPECT_EQ(xrd_images(copied), 1U);
  EXPECT_EQ(xrd_item_count(copied), xrd_item_count(frame.get()));
  ASSERT_EQ(xrd_set_number(copied, "beam_y_pixels", &half, nullptr), XRD_OK);
  double x = 0;
  EXPECT_EQ(xrd_number(copied, "beam_x_pixels", &x), 1);
  EXPECT_EQ(x, 3);
}

TEST(Copy, KeepsMasksAndHeadersWithoutCounts) {
  xrd_frame* copied = nullptr;
  ASSERT_EQ(xrd_copy(frame_of(2, 1, {7, 8}, {0, 2}).get(), &copied, nullptr), XRD_OK);
  EXPECT_EQ(mask_of(test::FrameHandle(copied).get()), (Mask{0, 2}));

  const std::string file = test::edf(3, 2, Counts(6));
  xrd_frame* header = nullptr;
  ASSERT_EQ(xrd_load_header_memory(file.data(), file.size(), nullptr, nullptr, &header, nullptr), XRD_OK);
  const test::FrameHandle owner(header);
  ASSERT_EQ(xrd_copy(header, &copied, nullptr), XRD_OK);
  const test::FrameHandle copy(copied);
  EXPECT_EQ(xrd_width(copied), 3);
  EXPECT_EQ(xrd_height(copied), 2);
  EXPECT_EQ(xrd_counts(copied), nullptr);
}

TEST(Copy, NullPointersAreRefused) {
  xrd_frame* copy = nullptr;
  Detail detail;
  EXPECT_EQ(xrd_copy(nullptr, &copy, detail), XRD_INVALID);
  EXPECT_EQ(detail.text(), "the frame is a null pointer");
  EXPECT_EQ(xrd_copy(frame_of(1, 1, {1}).get(), nullptr, detail), XRD_INVALID);
  EXPECT_EQ(detail.text(), "the place for the copy is a null pointer");
}

TEST(NullFrame, HasNothing) {
  xrd_free(nullptr);
  EXPECT_EQ(xrd_width(nullptr), 0);
  EXPECT_EQ(xrd_height(nullptr), 0);
  EXPECT_EQ(static_cast<int>(xrd_sample_of(nullptr)), 0);
  EXPECT_EQ(xrd_format_of(nullptr), nullptr);
  EXPECT_EQ(xrd_images(nullptr), 0U);
  EXPECT_EQ(xrd_counts(nullptr), nullptr);
  EXPECT_EQ(xrd_mask(nullptr), nullptr);
  EXPECT_EQ(xrd_notes(nullptr), nullptr);
  EXPECT_EQ(xrd_item_count(nullptr), 0U);
  EXPECT_EQ(xrd_item_name(nullptr, 0), nullptr);
  EXPECT_EQ(xrd_item_text(nullptr, 0), nullptr);
  double number = 5;
  EXPECT_EQ(xrd_number(nullptr, "distance_mm", &number), 0);
  EXPECT_EQ(xrd_text(nullptr, "date"), nullptr);
}

TEST(FrameStatistics, LeaveOutPixelsWithoutACount) {
  const auto frame =
      frame_of(4, 1, {10, 1000, 20, 4000000000U}, {0, XRD_MASK_DEAD, XRD_MASK_SATURATED, XRD_MASK_UNKNOWN});
  xrd_statistics statistics{};
  ASSERT_EQ(xrd_statistics_of(frame.get(), &statistics, nullptr), XRD_OK);
  EXPECT_EQ(statistics.minimum, 10);
  EXPECT_EQ(statistics.maximum, 20);
  EXPECT_EQ(statistics.mean, 15);
  EXPECT_EQ(statistics.known_pixels, 2);
  EXPECT_EQ(statistics.unknown_pixels, 2);
}

TEST(FrameStatistics, AreZeroWithoutACount) {
  xrd_statistics statistics{1, 1, 1, 1, 1};
  ASSERT_EQ(xrd_statistics_of(frame_of(1, 1, {9}, {XRD_MASK_GAP}).get(), &statistics, nullptr), XRD_OK);
  EXPECT_EQ(statistics.minimum, 0);
  EXPECT_EQ(statistics.maximum, 0);
  EXPECT_EQ(statistics.mean, 0);
  EXPECT_EQ(statistics.known_pixels, 0);
  EXPECT_EQ(statistics.unknown_pixels, 1);
}

TEST(FrameStatistics, NeedAFrameWithCountsAndAPlace) {
  xrd_statistics statistics{};
  Detail detail;
  EXPECT_EQ(xrd_statistics_of(nullptr, &statistics, detail), XRD_INVALID);
  EXPECT_EQ(detail.text(), "the frame is a null pointer");
  EXPECT_EQ(xrd_statistics_of(frame_of(1, 1, {1}).get(), nullptr, detail), XRD_INVALID);
  EXPECT_EQ(detail.text(), "the place for the statistics is a null pointer");
  const std::string file = test::edf(1, 1, {1});
  xrd_frame* header = nullptr;
  ASSERT_EQ(xrd_load_header_memory(file.data(), file.size(), nullptr, nullptr, &header, nullptr), XRD_OK);
  EXPECT_EQ(xrd_statistics_of(test::FrameHandle(header).get(), &statistics, detail), XRD_INVALID);
  EXPECT_EQ(detail.text(), "has no counts: only its header was loaded");
}

}  // namespace
