// Counts become samples of each type.
#include "frames/writers/samples.h"

#include "tests/frames/mask.h"
#include "tests/frames/writers/written.h"

namespace {

using frames::kSigned32;
using frames::kUnsigned16;
using frames::kUnsigned32;
using frames::SampleType;
using test::Counts;
using test::frame_of;
using test::Warnings;

constexpr std::uint32_t kMinus1 = 0xFFFFFFFF;
constexpr std::uint32_t kMinus70000 = 0xFFFEEE90;

struct Choice {
  SampleType type;
  Warnings warnings;
};

Choice fitting(const frames::Frame& frame, std::optional<int> bits = std::nullopt) {
  frames::Remarks remarks;
  const SampleType type = frames::fitting_type(frame, {bits}, remarks);
  return {type, remarks.warnings};
}

Choice unsigned_of(const frames::Frame& frame, std::optional<int> bits = std::nullopt) {
  frames::Remarks remarks;
  const SampleType type = frames::unsigned_type(frame, {bits}, remarks);
  return {type, remarks.warnings};
}

std::string samples(const frames::Frame& frame, SampleType type) {
  const test::TemporaryDirectory directory;
  {
    const test::Stream stream(std::fopen(directory.path("samples").c_str(), "wb"));
    frames::write_samples(frame, type, stream.get());
  }
  return test::read_file(directory.path("samples"));
}

TEST(Samples, FittingTypeHas32BitsUnlessToldOtherwise) {
  EXPECT_EQ(fitting(frame_of(2, 1, {0, 65535})).type, kUnsigned32);
  EXPECT_EQ(fitting(frame_of(2, 1, {0, 65535}), 32).type, kUnsigned32);
  EXPECT_EQ(fitting(frame_of(2, 1, {0, 65535}), 16).type, kUnsigned16);
  EXPECT_EQ(fitting(frame_of(2, 1, {0, 65535}), 16).warnings, Warnings());
}

TEST(Samples, FittingTypeHasASignOnlyForNegativeCounts) {
  EXPECT_EQ(fitting(frame_of(2, 1, {0, kMinus1})).type, kUnsigned32);
  EXPECT_EQ(fitting(frame_of(2, 1, {0, kMinus1}, true)).type, kSigned32);
  EXPECT_EQ(fitting(frame_of(2, 1, {0, 0x7FFFFFFF}, true)).type, kUnsigned32);
  EXPECT_EQ(fitting(frame_of(2, 1, {0, 7}, true), 16).type, kUnsigned16);
}

TEST(Samples, SixteenBitsThatDoNotFitAreRefusedWithAWarning) {
  const Choice above = fitting(frame_of(4, 1, {0, 65535, 65536, 70000}), 16);
  EXPECT_EQ(above.type, kUnsigned32);
  EXPECT_EQ(above.warnings, Warnings{"2 pixels are above 65535: written with 32 bits per pixel"});
  const Choice negative = fitting(frame_of(3, 1, {0, 5, kMinus1}, true), 16);
  EXPECT_EQ(negative.type, kSigned32);
  EXPECT_EQ(negative.warnings, Warnings{"1 counts are negative: written with 32 bits per pixel"});
}

TEST(Samples, UnknownPixelsAreNeitherTooLargeNorNegative) {
  frames::Frame frame = frame_of(3, 1, {70000, kMinus1, 5}, true);
  frame.mask = test::unknown({true, true, false});
  const Choice narrow = fitting(frame, 16);
  EXPECT_EQ(narrow.type, kUnsigned16);
  EXPECT_EQ(narrow.warnings, Warnings{"2 pixels of unknown count were written as 65535"});
  EXPECT_EQ(fitting(frame).warnings, Warnings{"2 pixels of unknown count were written as 4294967295"});
  EXPECT_EQ(unsigned_of(frame).warnings, Warnings{"2 pixels of unknown count were written as 65535"});
  EXPECT_EQ(frames::negative_pixels(frame), 0U);
  frame.mask = test::unknown({true, false, false});
  EXPECT_EQ(fitting(frame).warnings, Warnings{"1 pixels of unknown count were written as 2147483647"});
  EXPECT_EQ(frames::negative_pixels(frame), 1U);
}

TEST(Samples, AMaskWithoutUnknownPixelsChangesNothing) {
  frames::Frame frame = frame_of(3, 1, {70000, kMinus1, 5}, true);
  frame.mask = test::unknown({false, false, false});
  EXPECT_EQ(unsigned_of(frame).warnings, (Warnings{"1 pixels above 65535 were written as 65535; --bits 32 keeps them",
                                                   "1 negative counts were written as 0"}));
  EXPECT_EQ(samples(frame, kUnsigned16), test::as_little16({65535, 0, 5}));
}

TEST(Samples, UnsignedTypeHas16BitsUnlessToldOtherwise) {
  const frames::Frame frame = frame_of(4, 1, {65535, 65536, kMinus1, kMinus70000}, true);
  const Choice narrow = unsigned_of(frame);
  EXPECT_EQ(narrow.type, kUnsigned16);
  EXPECT_EQ(narrow.warnings, (Warnings{"1 pixels above 65535 were written as 65535; --bits 32 keeps them",
                                       "2 negative counts were written as 0"}));
  const Choice wide = unsigned_of(frame, 32);
  EXPECT_EQ(wide.type, kUnsigned32);
  EXPECT_EQ(wide.warnings, Warnings{"2 negative counts were written as 0"});
}

TEST(Samples, CountsBecomeTheNearestNumberOfTheType) {
  const Counts counts{0, 1, 65535, 65536, 0x7FFFFFFF, 0x80000000, kMinus1};
  EXPECT_EQ(samples(frame_of(7, 1, counts), kUnsigned16), test::as_little16({0, 1, 65535, 65535, 65535, 65535, 65535}));
  EXPECT_EQ(samples(frame_of(7, 1, counts), kUnsigned32), test::as_little32(counts));
  EXPECT_EQ(samples(frame_of(7, 1, counts, true), kUnsigned16), test::as_little16({0, 1, 65535, 65535, 65535, 0, 0}));
  EXPECT_EQ(samples(frame_of(7, 1, counts, true), kUnsigned32),
            test::as_little32({0, 1, 65535, 65536, 0x7FFFFFFF, 0, 0}));
  EXPECT_EQ(samples(frame_of(7, 1, counts, true), kSigned32), test::as_little32(counts));
}

TEST(Samples, UnknownPixelsBecomeTheLargestNumberOfTheType) {
  frames::Frame frame = frame_of(3, 1, {1, 2, 3});
  frame.mask = test::unknown({false, true, false});
  EXPECT_EQ(samples(frame, kUnsigned16), test::as_little16({1, 65535, 3}));
  EXPECT_EQ(samples(frame, kUnsigned32), test::as_little32({1, 0xFFFFFFFF, 3}));
  EXPECT_EQ(samples(frame, kSigned32), test::as_little32({1, 0x7FFFFFFF, 3}));
}

TEST(Samples, BlocksFollowOneAnother) {
  for (const bool has_unknown : {false, true}) {
    const frames::Frame frame = test::random_frame({301, 707}, 65535, false, has_unknown);
    EXPECT_EQ(samples(frame, kUnsigned16), test::as_little16(test::counts_with(frame, 65535)));
    EXPECT_EQ(samples(frame, kSigned32), test::as_little32(test::counts_with(frame, 0x7FFFFFFF)));
  }
}

}  // namespace
