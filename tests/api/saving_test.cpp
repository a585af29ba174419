// Frames into files and into memory.
#include <sys/resource.h>
#include <sys/stat.h>

#include <clocale>
#include <csignal>
#include <cstdlib>

#include "tests/api/files.h"
#include "tests/environment.h"

namespace {

using test::counts_of;
using test::Detail;
using test::frame_of;
using Counts = std::vector<std::uint32_t>;

struct Saved {
  xrd_result result = XRD_OK;
  std::string bytes;
  std::vector<std::string> warnings;
  std::string detail;
};

Saved save_to_memory(const xrd_frame* frame, const char* format, const xrd_options* options = nullptr) {
  void* bytes = nullptr;
  std::size_t size = 0;
  xrd_lines* lines = nullptr;
  Detail detail;
  Saved saved;
  saved.result = xrd_save_memory(frame, format, options, &bytes, &size, &lines, detail);
  const std::unique_ptr<void, decltype(&std::free)> owner(bytes, std::free);
  const test::LinesHandle warnings(lines);
  if (bytes != nullptr) saved.bytes.assign(static_cast<const char*>(bytes), size);
  saved.warnings = test::texts_of(lines);
  saved.detail = detail.text();
  return saved;
}

// Square, as mar345 frames are, with counts above 16 bits, and larger than one strip of a TIFF file.
test::FrameHandle example() {
  constexpr int kSide = 250;
  Counts counts(std::size_t{kSide} * kSide);
  for (std::size_t i = 0; i < counts.size(); ++i) counts[i] = static_cast<std::uint32_t>(i * i % 70000);
  return frame_of(kSide, kSide, counts);
}

TEST(Save, EveryWrittenFormatGivesTheSameBytesInFilesAndInMemory) {
  const test::TemporaryDirectory directory;
  const auto frame = example();
  int written = 0;
  for (std::size_t i = 0; i < xrd_format_count(); ++i) {
    if ((xrd_format_abilities(i) & XRD_CAN_WRITE) == 0) continue;
    ++written;
    const std::string endings = xrd_format_endings(i);
    const std::string path = directory.path("frame." + endings.substr(0, endings.find(' ')));
    Detail detail;
    xrd_lines* lines = nullptr;
    ASSERT_EQ(xrd_save(frame.get(), path.c_str(), nullptr, &lines, detail), XRD_OK) << path << ": " << detail.text();
    const test::LinesHandle owner(lines);
    const Saved saved = save_to_memory(frame.get(), xrd_format_keyword(i));
    ASSERT_EQ(saved.result, XRD_OK) << path << ": " << saved.detail;
    EXPECT_EQ(saved.bytes, test::read_file(path)) << path;
    EXPECT_EQ(saved.warnings, test::texts_of(lines)) << path;
    const bool is_read =
        (xrd_format_abilities(i) & (XRD_CAN_READ | XRD_HAS_32_BITS)) == (XRD_CAN_READ | XRD_HAS_32_BITS);
    if (!is_read || std::string(xrd_format_keyword(i)) == "raw") continue;
    const test::OptionsHandle options(xrd_options_new());
    xrd_options_set(options.get(), "bits", "32", nullptr);
    EXPECT_EQ(counts_of(test::loaded(save_to_memory(frame.get(), xrd_format_keyword(i), options.get()).bytes).get()),
              counts_of(frame.get()))
        << path;
  }
  EXPECT_GE(written, 8);
}

TEST(Save, OptionsAndNamesChooseTheFormat) {
  const test::TemporaryDirectory directory;
  const auto frame = frame_of(2, 1, {1, 2});
  const test::OptionsHandle options(xrd_options_new());
  ASSERT_EQ(xrd_options_set(options.get(), "format", "edf", nullptr), XRD_OK);
  const std::string path = directory.path("frame.png");
  ASSERT_EQ(xrd_save(frame.get(), path.c_str(), options.get(), nullptr, nullptr), XRD_OK);
  EXPECT_TRUE(test::read_file(path).starts_with("{"));
  ASSERT_EQ(xrd_save(frame.get(), path.c_str(), nullptr, nullptr, nullptr), XRD_OK);  // replaces it
  EXPECT_TRUE(test::read_file(path).starts_with("\x89PNG"));
  EXPECT_EQ(save_to_memory(frame.get(), "tif").bytes, save_to_memory(frame.get(), "tiff").bytes);
}

TEST(Save, PicturesFollowTheirOptions) {
  const auto frame = example();
  const test::OptionsHandle options(xrd_options_new());
  const std::string plain = save_to_memory(frame.get(), "png").bytes;
  ASSERT_EQ(xrd_options_set(options.get(), "bar", nullptr, nullptr), XRD_OK);
  EXPECT_NE(save_to_memory(frame.get(), "png", options.get()).bytes, plain);
  ASSERT_EQ(xrd_options_set(options.get(), "rings", "4", nullptr), XRD_OK);
  const Saved saved = save_to_memory(frame.get(), "png", options.get());
  EXPECT_EQ(saved.result, XRD_UNSUPPORTED);  // nothing tells where the beam is
  EXPECT_NE(saved.detail, Detail::kUntouched);
}

TEST(Save, WhatIsNotCarriedOverIsAWarning) {
  const auto frame = frame_of(2, 1, {1, 70000});
  const Saved saved = save_to_memory(frame.get(), "raw");
  ASSERT_EQ(saved.result, XRD_OK) << saved.detail;
  EXPECT_EQ(saved.bytes, std::string("\1\0\xFF\xFF", 4));
  ASSERT_EQ(saved.warnings.size(), 1U);
  EXPECT_NE(saved.warnings[0].find("65535"), std::string::npos) << saved.warnings[0];
}

TEST(Save, WithoutWarningsTheListIsNull) {
  const auto frame = frame_of(1, 1, {1});
  auto* lines = reinterpret_cast<xrd_lines*>(std::uintptr_t{8});
  void* bytes = nullptr;
  std::size_t size = 0;
  ASSERT_EQ(xrd_save_memory(frame.get(), "edf", nullptr, &bytes, &size, &lines, nullptr), XRD_OK);
  std::free(bytes);
  EXPECT_EQ(lines, nullptr);
  // And nobody need want them.
  ASSERT_EQ(xrd_save_memory(frame_of(1, 1, {70000}).get(), "raw", nullptr, &bytes, &size, nullptr, nullptr), XRD_OK);
  std::free(bytes);
}

TEST(Save, FailuresLeaveNothingBehind) {
  const test::TemporaryDirectory directory;
  const auto frame = frame_of(1, 1, {1});
  const auto save = [&](const std::string& path, char* detail) {
    auto* lines = reinterpret_cast<xrd_lines*>(std::uintptr_t{8});
    const xrd_result result = xrd_save(frame.get(), path.c_str(), nullptr, &lines, detail);
    EXPECT_EQ(lines, reinterpret_cast<xrd_lines*>(std::uintptr_t{8}));
    return result;
  };
  Detail detail;
  EXPECT_EQ(save(directory.path("a.gif"), detail), XRD_UNKNOWN_FORMAT);
  EXPECT_EQ(detail.text(), "cannot be written: no format has this keyword or ending");
  EXPECT_EQ(save(directory.path("a"), detail), XRD_UNKNOWN_FORMAT);
  EXPECT_EQ(save(directory.path("a.sfrm"), detail), XRD_UNSUPPORTED);
  EXPECT_EQ(detail.text(), "cannot be written as SAINT");
  EXPECT_EQ(save(directory.path("no/a.edf"), detail), XRD_SYSTEM);
  EXPECT_EQ(detail.text(), "No such file or directory");
  EXPECT_EQ(save("", detail), XRD_UNKNOWN_FORMAT);
  mkdir(directory.path("b.edf").c_str(), 0700);
  EXPECT_EQ(save(directory.path("b.edf"), detail), XRD_SYSTEM);
  EXPECT_EQ(detail.text(), "is a directory");
  EXPECT_EQ(xrd_save(frame.get(), nullptr, nullptr, nullptr, detail), XRD_INVALID);
  EXPECT_EQ(detail.text(), "the path is a null pointer");
  EXPECT_EQ(xrd_save(nullptr, directory.path("a.edf").c_str(), nullptr, nullptr, detail), XRD_INVALID);
  EXPECT_EQ(detail.text(), "the frame is a null pointer");
  EXPECT_EQ(rmdir(directory.path("b.edf").c_str()), 0);
  EXPECT_TRUE(std::filesystem::is_empty(directory.path("")));
}

TEST(Save, AFullDiskLeavesWhatWasThere) {
  const test::TemporaryDirectory directory;
  const auto frame = example();
  const auto save = [&](const std::string& path) {
    std::signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{4096, 4096};
    setrlimit(RLIMIT_FSIZE, &limit);
    Detail detail;
    const xrd_result result = xrd_save(frame.get(), path.c_str(), nullptr, nullptr, detail);
    std::fprintf(stderr, "result %d: %s\n", result, detail.text().c_str());
    std::_Exit(0);
  };
  for (std::size_t i = 0; i < xrd_format_count(); ++i) {
    if ((xrd_format_abilities(i) & XRD_CAN_WRITE) == 0) continue;
    const std::string endings = xrd_format_endings(i);
    const std::string path = directory.write("a." + endings.substr(0, endings.find(' ')), "before");
    EXPECT_EXIT(save(path), testing::ExitedWithCode(0), "result 2: cannot be written");
    EXPECT_EQ(test::read_file(path), "before") << path;
  }
}

TEST(SaveToMemory, FailuresLeaveTheOutputsAlone) {
  const auto frame = frame_of(1, 1, {1});
  char mark = 0;
  void* bytes = &mark;
  std::size_t size = 5;
  Detail detail;
  EXPECT_EQ(xrd_save_memory(frame.get(), "gif", nullptr, &bytes, &size, nullptr, detail), XRD_UNKNOWN_FORMAT);
  EXPECT_EQ(xrd_save_memory(frame.get(), "saint", nullptr, &bytes, &size, nullptr, detail), XRD_UNSUPPORTED);
  EXPECT_EQ(xrd_save_memory(frame.get(), nullptr, nullptr, &bytes, &size, nullptr, detail), XRD_INVALID);
  EXPECT_EQ(detail.text(), "the format is a null pointer");
  EXPECT_EQ(xrd_save_memory(nullptr, "edf", nullptr, &bytes, &size, nullptr, detail), XRD_INVALID);
  EXPECT_EQ(xrd_save_memory(frame.get(), "edf", nullptr, nullptr, &size, nullptr, detail), XRD_INVALID);
  EXPECT_EQ(detail.text(), "the place for the bytes is a null pointer");
  EXPECT_EQ(xrd_save_memory(frame.get(), "edf", nullptr, &bytes, nullptr, nullptr, detail), XRD_INVALID);
  EXPECT_EQ(detail.text(), "the place for the size is a null pointer");
  EXPECT_EQ(bytes, &mark);
  EXPECT_EQ(size, 5U);
}

// Neither handlers of signals nor the locale are other ones afterwards, and nothing is printed.
TEST(Manners, TheProcessStaysAsItWas) {
  const test::TemporaryDirectory directory;
  struct sigaction before {};
  sigaction(SIGTERM, nullptr, &before);
  const std::string locale = std::setlocale(LC_ALL, nullptr);
  const test::Output output = test::capture([&] {
    const auto frame = example();
    const std::string path = directory.path("a.mar");
    EXPECT_EQ(xrd_save(frame.get(), path.c_str(), nullptr, nullptr, nullptr), XRD_OK);
    xrd_frame* loaded = nullptr;
    EXPECT_EQ(xrd_load(path.c_str(), nullptr, &loaded, nullptr), XRD_OK);
    for (const auto& [operation, value] :
         std::initializer_list<std::pair<const char*, const char*>>{{"bin", "2"},
                                                                    {"crop", "1,1,40,40"},
                                                                    {"fit", "50x50"},
                                                                    {"rotate", nullptr},
                                                                    {"flip", "vertical"},
                                                                    {"smooth", "1"},
                                                                    {"mean", "1"},
                                                                    {"log", "2"},
                                                                    {"invert", nullptr},
                                                                    {"scale-to", "100"},
                                                                    {"scale-up", nullptr},
                                                                    {"to-16-bits", nullptr},
                                                                    {"box", "5,5,1,1,1,1"},
                                                                    {"cross", "5,5"},
                                                                    {"swap-words", nullptr}}) {
      Detail detail;
      EXPECT_EQ(xrd_apply(loaded, operation, value, detail), XRD_OK) << operation << ": " << detail.text();
    }
    xrd_free(loaded);
  });
  EXPECT_EQ(output.out, "");
  EXPECT_EQ(output.err, "");
  struct sigaction after {};
  sigaction(SIGTERM, nullptr, &after);
  EXPECT_EQ(after.sa_handler, before.sa_handler);
  EXPECT_EQ(std::setlocale(LC_ALL, nullptr), locale);
}

}  // namespace
