// The list of formats, detection, and frames from files and from memory.
#include <random>

#include "tests/api/files.h"
#include "tests/damage.h"
#include "tests/trust/samples.h"

namespace {

using test::counts_of;
using test::Detail;
using Counts = std::vector<std::uint32_t>;

int abilities_of(const std::string& keyword) {
  for (std::size_t i = 0; i < xrd_format_count(); ++i) {
    if (keyword == xrd_format_keyword(i)) return xrd_format_abilities(i);
  }
  return -1;
}

TEST(FormatList, TellsWhatEachCanDo) {
  constexpr int kBoth = XRD_CAN_READ | XRD_CAN_WRITE;
  EXPECT_EQ(abilities_of("edf"), kBoth | XRD_HAS_HEADER | XRD_HAS_SIGN | XRD_HAS_32_BITS);
  EXPECT_EQ(abilities_of("mar345") & kBoth, kBoth);
  EXPECT_EQ(abilities_of("packed") & (kBoth | XRD_HAS_32_BITS), kBoth);
  EXPECT_EQ(abilities_of("saint") & kBoth, XRD_CAN_READ);
  EXPECT_EQ(abilities_of("marccd") & kBoth, XRD_CAN_READ);
  EXPECT_EQ(abilities_of("png"), XRD_CAN_WRITE | XRD_IS_PICTURE);
  EXPECT_EQ(abilities_of("npy") & XRD_CAN_WRITE, XRD_CAN_WRITE);
  for (std::size_t i = 0; i < xrd_format_count(); ++i) {
    EXPECT_NE(std::string(xrd_format_keyword(i)), "");
    EXPECT_NE(std::string(xrd_format_name(i)), "");
    EXPECT_NE(std::string(xrd_format_endings(i)), "");
  }
}

TEST(FormatList, EndsAfterTheLast) {
  const std::size_t end = xrd_format_count();
  EXPECT_GE(end, 10U);
  EXPECT_EQ(xrd_format_keyword(end), nullptr);
  EXPECT_EQ(xrd_format_name(end), nullptr);
  EXPECT_EQ(xrd_format_endings(end), nullptr);
  EXPECT_EQ(xrd_format_abilities(end), 0);
}

TEST(Detect, ContentDecidesThenTheName) {
  const test::TemporaryDirectory directory;
  const std::string edf = test::edf(1, 1, {1});
  const char* keyword = nullptr;
  ASSERT_EQ(xrd_detect(directory.write("a.mccd", edf).c_str(), &keyword, nullptr), XRD_OK);
  EXPECT_STREQ(keyword, "edf");
  ASSERT_EQ(xrd_detect_memory(edf.data(), edf.size(), nullptr, &keyword, nullptr), XRD_OK);
  EXPECT_STREQ(keyword, "edf");
  ASSERT_EQ(xrd_detect_memory("12345678", 8, "a.raw", &keyword, nullptr), XRD_OK);
  EXPECT_STREQ(keyword, "raw");
}

TEST(Detect, FailuresLeaveTheKeywordAlone) {
  const test::TemporaryDirectory directory;
  const char* keyword = "before";
  Detail detail;
  EXPECT_EQ(xrd_detect(directory.path("missing").c_str(), &keyword, detail), XRD_SYSTEM);
  EXPECT_EQ(detail.text(), "No such file or directory");
  EXPECT_EQ(xrd_detect_memory("12345678", 8, nullptr, &keyword, detail), XRD_UNKNOWN_FORMAT);
  EXPECT_TRUE(detail.text().starts_with("has an unknown format")) << detail.text();
  EXPECT_EQ(xrd_detect(nullptr, &keyword, detail), XRD_INVALID);
  EXPECT_EQ(detail.text(), "the path is a null pointer");
  EXPECT_EQ(xrd_detect_memory(nullptr, 8, nullptr, &keyword, detail), XRD_INVALID);
  EXPECT_EQ(detail.text(), "the file in memory is a null pointer");
  EXPECT_EQ(xrd_detect("x", nullptr, detail), XRD_INVALID);
  EXPECT_EQ(detail.text(), "the place for the keyword is a null pointer");
  EXPECT_EQ(xrd_detect_memory("x", 1, nullptr, nullptr, detail), XRD_INVALID);
  EXPECT_STREQ(keyword, "before");
}

TEST(Load, PathAndMemoryGiveTheSame) {
  const test::TemporaryDirectory directory;
  const std::string file = test::edf(3, 2, {1, 2, 3, 4, 5, 4000000000U});
  xrd_frame* made = nullptr;
  ASSERT_EQ(xrd_load(directory.write("a", file).c_str(), nullptr, &made, nullptr), XRD_OK);
  const test::FrameHandle from_path(made);
  const auto from_memory = test::loaded(file);
  for (const xrd_frame* frame : {from_path.get(), from_memory.get()}) {
    EXPECT_EQ(xrd_width(frame), 3);
    EXPECT_EQ(xrd_height(frame), 2);
    EXPECT_STREQ(xrd_format_of(frame), "edf");
    EXPECT_EQ(xrd_images(frame), 1U);
    EXPECT_EQ(counts_of(frame), (Counts{1, 2, 3, 4, 5, 4000000000U}));
  }
}

TEST(Load, HeadersHaveNoCounts) {
  const test::TemporaryDirectory directory;
  const std::string file = test::edf(3, 2, Counts(6, 9), "Title = x ;\n");
  xrd_frame* made = nullptr;
  ASSERT_EQ(xrd_load_header(directory.write("a", file).c_str(), nullptr, &made, nullptr), XRD_OK);
  const test::FrameHandle from_path(made);
  ASSERT_EQ(xrd_load_header_memory(file.data(), file.size(), nullptr, nullptr, &made, nullptr), XRD_OK);
  const test::FrameHandle from_memory(made);
  for (const xrd_frame* frame : {from_path.get(), from_memory.get()}) {
    EXPECT_EQ(xrd_width(frame), 3);
    EXPECT_EQ(xrd_height(frame), 2);
    EXPECT_EQ(xrd_sample_of(frame), XRD_UINT32);
    EXPECT_EQ(xrd_counts(frame), nullptr);
    EXPECT_EQ(xrd_mask(frame), nullptr);
    EXPECT_EQ(xrd_item_count(frame), 5U);
  }
}

class LoadWithOptions : public ::testing::Test {
 protected:
  void set(const char* name, const char* value) {
    ASSERT_EQ(xrd_options_set(options.get(), name, value, detail), XRD_OK) << detail.text();
  }
  xrd_result load(const std::string& file) {
    xrd_frame* made = nullptr;
    const xrd_result result = xrd_load_memory(file.data(), file.size(), nullptr, options.get(), &made, detail);
    frame.reset(made);
    return result;
  }

  test::OptionsHandle options{xrd_options_new()};
  test::FrameHandle frame;
  Detail detail;
};

TEST_F(LoadWithOptions, RawPixelsHaveTheStatedSizeAndDistance) {
  set("size", "2x1");
  set("big-endian", nullptr);
  set("skip", "1");
  set("distance", "123.5");
  set("beam", "0.5,0");
  ASSERT_EQ(load(std::string("x\1\2\0\3", 5)), XRD_OK) << detail.text();
  EXPECT_EQ(counts_of(frame.get()), (Counts{0x0102, 3}));
  double distance = 0;
  ASSERT_EQ(xrd_number(frame.get(), "distance_mm", &distance), 1);
  EXPECT_EQ(distance, 123.5);
}

TEST_F(LoadWithOptions, DamagedFramesNeedForce) {
  const std::string cut = test::edf(3, 3, Counts(6, 7));
  EXPECT_EQ(load(cut), XRD_DAMAGED);
  EXPECT_EQ(detail.text(), "is truncated: has 6 of 9 pixels");
  EXPECT_EQ(frame, nullptr);
  set("force", nullptr);
  ASSERT_EQ(load(cut), XRD_OK) << detail.text();
  EXPECT_EQ(counts_of(frame.get()), (Counts{7, 7, 7, 7, 7, 7, 0, 0, 0}));
  EXPECT_EQ(test::texts_of(xrd_notes(frame.get())), std::vector<std::string>{"is truncated: has 6 of 9 pixels"});
}

TEST_F(LoadWithOptions, FormatsThatAreOnlyWrittenAreNotRead) {
  set("format", "png");
  EXPECT_EQ(load(test::edf(1, 1, {1})), XRD_UNSUPPORTED);
  EXPECT_TRUE(detail.text().starts_with("cannot be read as ")) << detail.text();
}

TEST_F(LoadWithOptions, ImagesThatAreNotThereAreRefused) {
  set("image", "2");
  EXPECT_EQ(load(test::edf(1, 1, {1})), XRD_INVALID) << detail.text();
}

// Only the counts tell.
TEST(Load, RealNumbersHaveASignWhereOneIsBelow0) {
  std::string file = "{\nDim_1 = 1 ;\nDim_2 = 1 ;\nByteOrder = LowByteFirst ;\nDataType = FloatValue ;\n}\n";
  file += std::string("\0\0\x80\xBF", 4);  // -1
  EXPECT_EQ(xrd_sample_of(test::loaded(file).get()), XRD_INT32);
  xrd_frame* made = nullptr;
  ASSERT_EQ(xrd_load_header_memory(file.data(), file.size(), nullptr, nullptr, &made, nullptr), XRD_OK);
  EXPECT_EQ(xrd_sample_of(test::FrameHandle(made).get()), XRD_UINT32);
}

TEST(Load, FailuresLeaveTheFrameAlone) {
  const test::TemporaryDirectory directory;
  auto* const before = reinterpret_cast<xrd_frame*>(std::uintptr_t{8});
  xrd_frame* frame = before;
  Detail detail;
  EXPECT_EQ(xrd_load(directory.path("missing").c_str(), nullptr, &frame, detail), XRD_SYSTEM);
  EXPECT_EQ(detail.text(), "No such file or directory");
  EXPECT_EQ(xrd_load(directory.path("").c_str(), nullptr, &frame, detail), XRD_SYSTEM);
  EXPECT_EQ(detail.text(), "Is a directory");
  EXPECT_EQ(xrd_load(directory.write("noise", "noise").c_str(), nullptr, &frame, detail), XRD_UNKNOWN_FORMAT);
  EXPECT_EQ(xrd_load_memory("", 0, nullptr, nullptr, &frame, detail), XRD_DAMAGED);
  EXPECT_EQ(detail.text(), "is empty");
  EXPECT_EQ(xrd_load_memory(nullptr, 0, nullptr, nullptr, &frame, detail), XRD_DAMAGED);
  EXPECT_EQ(xrd_load_memory(nullptr, 1, nullptr, nullptr, &frame, detail), XRD_INVALID);
  EXPECT_EQ(detail.text(), "the file in memory is a null pointer");
  EXPECT_EQ(xrd_load(nullptr, nullptr, &frame, detail), XRD_INVALID);
  EXPECT_EQ(detail.text(), "the path is a null pointer");
  EXPECT_EQ(xrd_load_header(nullptr, nullptr, &frame, nullptr), XRD_INVALID);
  EXPECT_EQ(xrd_load_header_memory(nullptr, 1, nullptr, nullptr, &frame, nullptr), XRD_INVALID);
  EXPECT_EQ(frame, before);
  const std::string file = test::edf(1, 1, {1});
  EXPECT_EQ(xrd_load(directory.write("a", file).c_str(), nullptr, nullptr, detail), XRD_INVALID);
  EXPECT_EQ(detail.text(), "the place for the frame is a null pointer");
  EXPECT_EQ(xrd_load_memory(file.data(), file.size(), nullptr, nullptr, nullptr, nullptr), XRD_INVALID);
  EXPECT_EQ(xrd_load_header(directory.path("a").c_str(), nullptr, nullptr, nullptr), XRD_INVALID);
  EXPECT_EQ(xrd_load_header_memory(file.data(), file.size(), nullptr, nullptr, nullptr, nullptr), XRD_INVALID);
}

TEST(Load, MoreMemoryThanThereIsIsAResult) {
  // 2^28 pixels are 1 GiB of counts, of which the file has none.
  const std::string file = "{\nDim_1 = 16384 ;\nDim_2 = 16384 ;\nDataType = UnsignedInteger ;\n}\n";
  const auto load = [&] {
    test::limit_memory();
    const test::OptionsHandle options(xrd_options_new());
    xrd_options_set(options.get(), "force", nullptr, nullptr);
    xrd_frame* frame = nullptr;
    Detail detail;
    const xrd_result result = xrd_load_memory(file.data(), file.size(), nullptr, options.get(), &frame, detail);
    std::fprintf(stderr, "result %d: %s\n", result, detail.text().c_str());
    std::_Exit(0);
  };
  EXPECT_EXIT(load(), testing::ExitedWithCode(0), "result 1: needs more memory than is available");
}

// Hostile bytes: a frame, or a failure with one printable line.
void expect_frame_or_failure(const std::string& bytes) {
  for (const auto load : {xrd_load_memory, xrd_load_header_memory}) {
    xrd_frame* made = nullptr;
    Detail detail;
    const xrd_result result = load(bytes.data(), bytes.size(), "a.img", nullptr, &made, detail);
    const test::FrameHandle frame(made);
    if (result == XRD_OK) {
      EXPECT_EQ(detail.text(), Detail::kUntouched);
      EXPECT_GT(xrd_width(made), 0);
      EXPECT_GT(xrd_height(made), 0);
      counts_of(made);  // reads all of them
    } else {
      EXPECT_EQ(made, nullptr);
      EXPECT_NE(detail.text(), Detail::kUntouched);
      EXPECT_EQ(detail.text().find_first_of("\n\x1B"), std::string::npos) << detail.text();
    }
  }
}

TEST(Load, HostileBytesGiveAFrameOrAFailure) {
  const std::vector<trust::Sample> samples{trust::bnl_sample(),
                                           trust::edf_sample(),
                                           trust::saint_sample(),
                                           trust::tiff_sample(),
                                           trust::mar_ccd_sample(),
                                           trust::packed_sample(),
                                           trust::mar345_sample(trust::kMar345Layouts[0])};
  std::mt19937 random(1);
  for (const trust::Sample& sample : samples) {
    const std::size_t size = sample.bytes.size();
    for (std::size_t cut = 0; cut < 100; ++cut) expect_frame_or_failure(sample.bytes.substr(0, size * cut / 100));
    const std::size_t front = std::min<std::size_t>(size, 1024);
    for (int i = 0; i < 100; ++i) expect_frame_or_failure(test::with_random_bytes(sample.bytes, front, random));
  }
}

}  // namespace
