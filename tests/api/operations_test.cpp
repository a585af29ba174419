// Operations change a frame, or leave it as it was.
#include <functional>
#include <limits>

#include "tests/api/files.h"

namespace {

using test::counts_of;
using test::Detail;
using test::frame_of;
using test::mask_of;
using Counts = std::vector<std::uint32_t>;
using Mask = std::vector<int>;

// 1 2 3
// 4 5 6
test::FrameHandle small(const std::vector<unsigned char>& mask = {}) {
  return frame_of(3, 2, {1, 2, 3, 4, 5, 6}, mask);
}

void expect_size(const test::FrameHandle& frame, int width, int height) {
  EXPECT_EQ(xrd_width(frame.get()), width);
  EXPECT_EQ(xrd_height(frame.get()), height);
}

TEST(FrameOperations, CropCutsOutARectangle) {
  const auto frame = small({0, 0, 0, 0, 0, XRD_MASK_USER});
  ASSERT_EQ(xrd_crop(frame.get(), 1, 0, 2, 9, nullptr), XRD_OK);
  expect_size(frame, 2, 2);
  EXPECT_EQ(counts_of(frame.get()), (Counts{2, 3, 5, 6}));
  EXPECT_EQ(mask_of(frame.get()), (Mask{0, 0, 0, 0x80}));
}

TEST(FrameOperations, BinSumsBlocksAndMovesTheBeam) {
  const auto frame = frame_of(4, 2, {1, 2, 3, 4, 5, 6, 7, 8});
  for (const auto& [name, value] : std::initializer_list<std::pair<const char*, double>>{
           {"beam_x_pixels", 1.5}, {"beam_y_pixels", 0.5}, {"pixel_width_mm", 0.1}, {"pixel_height_mm", 0.2}}) {
    ASSERT_EQ(xrd_set_number(frame.get(), name, &value, nullptr), XRD_OK);
  }
  ASSERT_EQ(xrd_bin(frame.get(), 2, nullptr), XRD_OK);
  expect_size(frame, 2, 1);
  EXPECT_EQ(counts_of(frame.get()), (Counts{1 + 2 + 5 + 6, 3 + 4 + 7 + 8}));
  double value = 0;
  ASSERT_EQ(xrd_number(frame.get(), "beam_x_pixels", &value), 1);
  EXPECT_EQ(value, 0.5);  // (1.5 + 0.5) / 2 - 0.5
  ASSERT_EQ(xrd_number(frame.get(), "pixel_height_mm", &value), 1);
  EXPECT_EQ(value, 0.4);
}

TEST(FrameOperations, FitCutsAndPads) {
  const auto frame = small();
  ASSERT_EQ(xrd_fit(frame.get(), 2, 3, nullptr), XRD_OK);
  expect_size(frame, 2, 3);
  EXPECT_EQ(counts_of(frame.get()), (Counts{1, 2, 4, 5, 0, 0}));
}

TEST(FrameOperations, RotateTakesAnyNumberOfQuarters) {
  const Counts once{4, 1, 5, 2, 6, 3};
  const Counts twice{6, 5, 4, 3, 2, 1};
  const Counts thrice{3, 6, 2, 5, 1, 4};
  const std::vector<std::pair<int, Counts>> expected{{0, {1, 2, 3, 4, 5, 6}},
                                                     {1, once},
                                                     {2, twice},
                                                     {3, thrice},
                                                     {-1, thrice},
                                                     {-2, twice},
                                                     {5, once},
                                                     {std::numeric_limits<int>::max(), thrice},  // 2^31 - 1 = 4 n + 3
                                                     {std::numeric_limits<int>::min(), {1, 2, 3, 4, 5, 6}}};
  for (const auto& [quarters, counts] : expected) {
    const auto frame = small();
    ASSERT_EQ(xrd_rotate(frame.get(), quarters, nullptr), XRD_OK);
    EXPECT_EQ(counts_of(frame.get()), counts) << quarters;
    EXPECT_EQ(xrd_width(frame.get()), quarters % 2 == 0 ? 3 : 2) << quarters;
  }
}

TEST(FrameOperations, FlipExchangesSides) {
  auto frame = small();
  ASSERT_EQ(xrd_flip(frame.get(), 0, nullptr), XRD_OK);
  EXPECT_EQ(counts_of(frame.get()), (Counts{3, 2, 1, 6, 5, 4}));
  frame = small();
  ASSERT_EQ(xrd_flip(frame.get(), 1, nullptr), XRD_OK);
  EXPECT_EQ(counts_of(frame.get()), (Counts{4, 5, 6, 1, 2, 3}));
}

TEST(FrameOperations, ThereIsNoMaskWhenAllThatIsMaskedIsCutOff) {
  const auto cropped = small({0, 0, 0, 0, 0, XRD_MASK_USER});
  ASSERT_EQ(xrd_crop(cropped.get(), 0, 0, 2, 2, nullptr), XRD_OK);
  EXPECT_EQ(xrd_mask(cropped.get()), nullptr);
  const auto fitted = small({0, 0, XRD_MASK_DEAD, 0, 0, 0});
  ASSERT_EQ(xrd_fit(fitted.get(), 2, 3, nullptr), XRD_OK);
  EXPECT_EQ(xrd_mask(fitted.get()), nullptr);
}

TEST(FrameOperations, InvertedNegativeCountsNeedNoSign) {
  const std::array<std::int32_t, 3> counts{std::numeric_limits<std::int32_t>::min(), -1, 16777215};
  xrd_frame* made = nullptr;
  ASSERT_EQ(xrd_create(3, 1, XRD_INT32, counts.data(), nullptr, &made, nullptr), XRD_OK);
  const test::FrameHandle frame(made);
  ASSERT_EQ(xrd_apply(made, "invert", nullptr, nullptr), XRD_OK);
  EXPECT_EQ(xrd_sample_of(made), XRD_UINT32);
  EXPECT_EQ(counts_of(made), (Counts{2164260863U, 16777216, 0}));  // 16777215 + 2^31
}

TEST(FrameOperations, SmoothKeepsAFlatFrameAndWhatHasNoCount) {
  const auto frame = frame_of(3, 3, {7, 7, 7, 7, 1000, 7, 7, 7, 7}, {0, 0, 0, 0, XRD_MASK_DEAD, 0, 0, 0, 0});
  ASSERT_EQ(xrd_smooth(frame.get(), 1, 2, nullptr), XRD_OK);
  const Counts counts = counts_of(frame.get());
  for (const std::size_t pixel : {0U, 1U, 2U, 3U, 5U, 6U, 7U, 8U}) EXPECT_EQ(counts[pixel], 7U);
  EXPECT_EQ(mask_of(frame.get())[4], XRD_MASK_DEAD);
}

TEST(FrameOperations, ApplyTakesThoseOfTheProgram) {
  auto frame = small();
  ASSERT_EQ(xrd_apply(frame.get(), "bin", "2", nullptr), XRD_OK);
  EXPECT_EQ(counts_of(frame.get()), (Counts{1 + 2 + 4 + 5}));
  frame = small();
  ASSERT_EQ(xrd_apply(frame.get(), "invert", nullptr, nullptr), XRD_OK);
  EXPECT_EQ(counts_of(frame.get())[0], 16777214U);
  frame = small();
  ASSERT_EQ(xrd_apply(frame.get(), "flip", "vertical", nullptr), XRD_OK);
  EXPECT_EQ(counts_of(frame.get())[0], 4U);
}

TEST(FrameOperations, WhatAnOperationNotesIsAmongTheNotes) {
  const auto frame = frame_of(1, 2, {65536, 3});
  ASSERT_EQ(xrd_apply(frame.get(), "to-16-bits", nullptr, nullptr), XRD_OK);
  EXPECT_EQ(counts_of(frame.get()), (Counts{32768, 1}));
  EXPECT_EQ(test::texts_of(xrd_notes(frame.get())),
            std::vector<std::string>{"counts were divided by 2 to fit 16 bits"});
}

TEST(FrameOperations, LeaveTheItemsOfTheHeaderAsTheyAre) {
  for (const auto& [operation, value] : std::initializer_list<std::pair<const char*, const char*>>{{"bin", "2"},
                                                                                                   {"crop", "0,0,2,2"},
                                                                                                   {"fit", "5x5"},
                                                                                                   {"rotate", nullptr},
                                                                                                   {"flip", "vertical"},
                                                                                                   {"smooth", "1"}}) {
    const auto frame = test::loaded(test::edf(4, 4, Counts(16, 1), "Title = x ;\n"));
    ASSERT_EQ(xrd_apply(frame.get(), operation, value, nullptr), XRD_OK) << operation;
    EXPECT_EQ(xrd_images(frame.get()), 1U) << operation;
    ASSERT_EQ(xrd_item_count(frame.get()), 5U) << operation;
    EXPECT_STREQ(xrd_item_name(frame.get(), 4), "Title");
  }
}

struct Refused {
  std::function<xrd_result(xrd_frame* frame, char* detail)> call;
  const char* line;  // or how it begins
};

// On a frame of 3 x 2 pixels.
std::vector<Refused> refused() {
  const auto apply = [](const char* operation, const char* value) {
    return [=](xrd_frame* frame, char* detail) { return xrd_apply(frame, operation, value, detail); };
  };
  const auto crop = [](int x, int y, int width, int height) {
    return [=](xrd_frame* frame, char* detail) { return xrd_crop(frame, x, y, width, height, detail); };
  };
  const auto fit = [](int width, int height) {
    return [=](xrd_frame* frame, char* detail) { return xrd_fit(frame, width, height, detail); };
  };
  const auto bin = [](int factor) {
    return [=](xrd_frame* frame, char* detail) { return xrd_bin(frame, factor, detail); };
  };
  const auto smooth = [](double x, double y) {
    return [=](xrd_frame* frame, char* detail) { return xrd_smooth(frame, x, y, detail); };
  };
  constexpr const char* kNoRectangle = "cannot be cropped: the rectangle is invalid";
  constexpr const char* kNoWidth = "cannot be smoothed: widths must be above 0 and at most 10000 pixels";
  return {{crop(3, 0, 1, 1), "--crop begins outside of the frame"},
          {crop(0, 2, 1, 1), "--crop begins outside of the frame"},
          {crop(-1, 0, 1, 1), kNoRectangle},
          {crop(0, -1, 1, 1), kNoRectangle},
          {crop(0, 0, 0, 1), kNoRectangle},
          {crop(0, 0, 1, -1), kNoRectangle},
          {bin(0), "cannot be binned by a factor below 1"},
          {bin(-2), "cannot be binned by a factor below 1"},
          {bin(3), "--bin 3 is more than the frame's width or height"},
          {fit(0, 1), "cannot be fitted to a size below 1"},
          {fit(1, -1), "cannot be fitted to a size below 1"},
          {fit(1 << 20, 1 << 20), "cannot fit 3x2 pixels to 1048576x1048576"},
          {smooth(0, 1), kNoWidth},
          {smooth(1, -1), kNoWidth},
          {smooth(std::numeric_limits<double>::quiet_NaN(), 1), kNoWidth},
          {smooth(1, 1e300), kNoWidth},
          {apply("sharpen", nullptr), "--sharpen is not an operation"},
          {apply("bin", nullptr), "--bin needs a value"},
          {apply("rotate", "1"), "--rotate takes no value"},
          {apply("bin", "x"), "--bin: 'x' is not a whole number"},
          {apply("flip", "sideways"), "--flip: 'sideways' must be one of horizontal, vertical"},
          {apply("bin", "3"), "--bin 3 is more than the frame's width or height"},
          {apply(nullptr, nullptr), "the operation's name is a null pointer"}};
}

TEST(FrameOperations, WhatIsRefusedLeavesTheFrameAsItWas) {
  for (const auto& [call, line] : refused()) {
    const auto frame = small({0, XRD_MASK_USER, 0, 0, 0, 0});
    Detail detail;
    EXPECT_EQ(call(frame.get(), detail), XRD_INVALID) << line;
    EXPECT_TRUE(detail.text().starts_with(line)) << detail.text();
    expect_size(frame, 3, 2);
    EXPECT_EQ(counts_of(frame.get()), (Counts{1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(mask_of(frame.get()), (Mask{0, 0x80, 0, 0, 0, 0}));
  }
}

// Some operations make the counts unsigned, or fill in those that there are not, before they see that counts are too
// large.
TEST(FrameOperations, ThoseThatFailHalfwayLeaveTheFrameAsItWas) {
  const Counts counts{5, 4000000000U, 3};
  for (const auto& [operation, value] : std::initializer_list<std::pair<const char*, const char*>>{
           {"log", "10"}, {"cross", "1,0"}, {"scale-up", nullptr}}) {
    const auto frame = frame_of(3, 1, counts, {XRD_MASK_DEAD, 0, 0});
    EXPECT_EQ(xrd_apply(frame.get(), operation, value, nullptr), XRD_INVALID) << operation;
    EXPECT_EQ(counts_of(frame.get()), counts) << operation;
  }
}

TEST(FrameOperations, NeedAFrameWithCounts) {
  const std::string file = test::edf(2, 2, Counts(4));
  xrd_frame* made = nullptr;
  ASSERT_EQ(xrd_load_header_memory(file.data(), file.size(), nullptr, nullptr, &made, nullptr), XRD_OK);
  const test::FrameHandle header(made);
  const std::vector<std::function<xrd_result(xrd_frame*, char*)>> calls{
      [](xrd_frame* frame, char* detail) { return xrd_crop(frame, 0, 0, 1, 1, detail); },
      [](xrd_frame* frame, char* detail) { return xrd_bin(frame, 2, detail); },
      [](xrd_frame* frame, char* detail) { return xrd_fit(frame, 1, 1, detail); },
      [](xrd_frame* frame, char* detail) { return xrd_rotate(frame, 1, detail); },
      [](xrd_frame* frame, char* detail) { return xrd_flip(frame, 0, detail); },
      [](xrd_frame* frame, char* detail) { return xrd_smooth(frame, 1, 1, detail); },
      [](xrd_frame* frame, char* detail) { return xrd_apply(frame, "rotate", nullptr, detail); }};
  for (const auto& call : calls) {
    Detail detail;
    EXPECT_EQ(call(nullptr, detail), XRD_INVALID);
    EXPECT_EQ(detail.text(), "the frame is a null pointer");
    EXPECT_EQ(call(header.get(), detail), XRD_INVALID);
    EXPECT_EQ(detail.text(), "has no counts: only its header was loaded");
  }
}

}  // namespace
