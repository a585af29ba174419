// The C++ face: ownership, spans and exceptions.
#include "xrdframe.hpp"

#include <limits>

#include "tests/api/files.h"
#include "tests/environment.h"

namespace {

using xrdframe::Error;
using xrdframe::Frame;
using xrdframe::Options;
using Counts = std::vector<std::uint32_t>;

static_assert(!std::is_copy_constructible_v<Frame> && std::is_nothrow_move_constructible_v<Frame>);
static_assert(!std::is_copy_constructible_v<Options> && std::is_nothrow_move_constructible_v<Options>);

std::span<const std::byte> bytes_of(const std::string& file) {
  return std::as_bytes(std::span(file));
}

template <typename Action>
xrd_result result_of(const Action& action) {
  try {
    action();
    return XRD_OK;
  } catch (const Error& error) {
    EXPECT_NE(std::string(error.what()), "");
    return error.result();
  }
}

TEST(CppFace, LoadsFromPathsAndMemory) {
  const test::TemporaryDirectory directory;
  const std::string file = test::edf(2, 2, {1, 2, 3, 4}, "Title = x ;\n");
  const std::string path = directory.write("a.edf", file);
  for (const Frame& frame : {Frame::load(path), Frame::load(bytes_of(file)), Frame::load(bytes_of(file), "a.edf")}) {
    EXPECT_EQ(frame.width(), 2);
    EXPECT_EQ(frame.height(), 2);
    EXPECT_EQ(frame.format(), "edf");
    EXPECT_EQ(frame.sample(), XRD_UINT32);
    EXPECT_EQ(frame.images(), 1U);
    EXPECT_TRUE(std::ranges::equal(frame.counts<std::uint32_t>(), Counts{1, 2, 3, 4}));
    EXPECT_TRUE(frame.mask().empty());
    EXPECT_TRUE(frame.notes().empty());
    EXPECT_EQ(frame.items().back().name, "Title");
    EXPECT_EQ(frame.items().back().text, "x");
    EXPECT_EQ(frame.statistics().mean, 2.5);
  }
  EXPECT_EQ(xrdframe::detect(path), "edf");
  EXPECT_EQ(xrdframe::detect(bytes_of(file)), "edf");
  EXPECT_TRUE(Frame::load_header(path).counts<std::uint32_t>().empty());
  EXPECT_EQ(Frame::load_header(bytes_of(file)).width(), 2);
}

TEST(CppFace, FailuresAreErrorsWithResultAndLine) {
  try {
    Frame::load("/no such file");
    FAIL() << "there is none";
  } catch (const Error& error) {
    EXPECT_EQ(error.result(), XRD_SYSTEM);
    EXPECT_STREQ(error.what(), "No such file or directory");
  }
  const auto frame = Frame::create(2, 1, Counts{1, 2});
  EXPECT_EQ(result_of([&] { (void)frame.counts<std::int32_t>(); }), XRD_INVALID);
  EXPECT_EQ(result_of([&] { frame.copy().bin(3); }), XRD_INVALID);
  EXPECT_EQ(result_of([&] { (void)frame.save_to_memory("gif"); }), XRD_UNKNOWN_FORMAT);
  EXPECT_EQ(result_of([] { Options().set("sise", "1x1"); }), XRD_INVALID);
  EXPECT_EQ(result_of([] { (void)xrdframe::detect(bytes_of("noise")); }), XRD_UNKNOWN_FORMAT);
}

TEST(CppFace, LackOfMemoryIsBadAlloc) {
  const std::string file = "{\nDim_1 = 16384 ;\nDim_2 = 16384 ;\nDataType = UnsignedInteger ;\n}\n";
  const auto load = [&] {
    test::limit_memory();
    try {
      Frame::load(bytes_of(file), "", Options().set("force"));
    } catch (const std::bad_alloc&) {
      std::fprintf(stderr, "bad_alloc\n");
    }
    std::_Exit(0);
  };
  EXPECT_EXIT(load(), testing::ExitedWithCode(0), "bad_alloc");
}

TEST(CppFace, CreatesOfSpansThatFit) {
  const std::vector<std::int32_t> counts{-1, 2};
  const std::vector<unsigned char> mask{0, XRD_MASK_USER};
  const auto frame = Frame::create(2, 1, counts, mask);
  EXPECT_EQ(frame.counts<std::int32_t>()[0], -1);
  EXPECT_EQ(frame.mask()[1], XRD_MASK_USER);
  EXPECT_EQ(result_of([&] { Frame::create(3, 1, counts); }), XRD_INVALID);
  EXPECT_EQ(result_of([&] { Frame::create(2, 1, counts, std::vector<unsigned char>(1)); }), XRD_INVALID);
  EXPECT_EQ(result_of([&] { Frame::create(-1, -2, counts); }), XRD_INVALID);
  constexpr int kLargest = std::numeric_limits<int>::max();
  EXPECT_EQ(result_of([&] { Frame::create(kLargest, kLargest, counts); }), XRD_INVALID);
}

TEST(CppFace, MovesAndCopies) {
  auto frame = Frame::create(2, 1, Counts{1, 2});
  auto copy = frame.copy();
  const Frame moved = std::move(frame);
  copy.flip_horizontally();
  EXPECT_EQ(moved.counts<std::uint32_t>()[0], 1U);
  EXPECT_EQ(copy.counts<std::uint32_t>()[0], 2U);
}

TEST(CppFace, OperationsAndValuesAreChained) {
  auto frame = Frame::create(4, 4, Counts(16, 1));
  frame.set("distance_mm", 100).set("date", "today").crop(0, 0, 4, 3).bin(2).rotate().fit(2, 2).flip_vertically();
  EXPECT_EQ(frame.number("distance_mm"), 100);
  EXPECT_EQ(frame.text("date"), "today");
  EXPECT_EQ(frame.number("beam_x_pixels"), std::nullopt);
  EXPECT_EQ(frame.text("detector"), std::nullopt);
  EXPECT_TRUE(std::ranges::equal(frame.counts<std::uint32_t>(), Counts{4, 0, 4, 0}));
  frame.apply("rotate").apply("scale-to", "8").smooth(0.1, 0.1);
  EXPECT_TRUE(std::ranges::equal(frame.counts<std::uint32_t>(), Counts{8, 8, 0, 0}));
}

TEST(CppFace, SavesToPathsAndMemory) {
  const test::TemporaryDirectory directory;
  const auto frame = Frame::create(2, 1, Counts{1, 70000});
  const std::string path = directory.path("a.raw");
  EXPECT_EQ(frame.save(path).size(), 1U);
  std::vector<std::string> warnings;
  const auto bytes = frame.save_to_memory("raw", {}, &warnings);
  EXPECT_EQ(warnings, frame.save(path));
  EXPECT_TRUE(std::ranges::equal(bytes, bytes_of(test::read_file(path))));
  EXPECT_TRUE(frame.save(path, Options().set("bits", "32")).empty());
  EXPECT_EQ(test::read_file(path).size(), 8U);
}

TEST(CppFace, ListsTheFormats) {
  const auto formats = xrdframe::formats();
  ASSERT_EQ(formats.size(), xrd_format_count());
  for (const auto& format : formats) {
    EXPECT_EQ(format.keyword == "png", (format.abilities & XRD_IS_PICTURE) != 0) << format.keyword;
    EXPECT_FALSE(format.name.empty() || format.endings.empty());
  }
}

}  // namespace
