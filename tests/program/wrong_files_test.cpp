// What the program says of files that are no frames, or damaged ones: one clear line, and never a crash.
#include <sys/stat.h>

#include <filesystem>

#include "tests/pictures/png_file.h"
#include "tests/program/program.h"

namespace {

namespace fs = std::filesystem;
using test::Result;

class WrongFiles : public testing::Test {
 protected:
  // Every subcommand that reads frames says the same of the file.
  void expect_refused(const std::string& arguments, const std::string& message) const {
    for (const std::string& command :
         {"info " + arguments, "convert " + arguments + " -o out.png", "view " + arguments}) {
      const Result result = place_.xrdimage(command);
      EXPECT_EQ(result.status, 1) << command;
      EXPECT_EQ(result.out, "") << command;
      EXPECT_EQ(result.err, "xrdimage: " + message + "\n") << command;
      EXPECT_FALSE(fs::exists("out.png")) << command;
    }
  }

  test::Workplace place_;
};

TEST_F(WrongFiles, Missing) {
  expect_refused("none.mar2300", "none.mar2300: No such file or directory");
}

TEST_F(WrongFiles, Directory) {
  fs::create_directory("folder.mar2300");
  expect_refused("folder.mar2300", "folder.mar2300: is a directory");
}

TEST_F(WrongFiles, Empty) {
  place_.write("empty.mar2300", "");
  expect_refused("empty.mar2300", "empty.mar2300: is empty");
}

TEST_F(WrongFiles, DeviceOrPipe) {
  expect_refused("/dev/null", "/dev/null: is not a regular file");
  ASSERT_EQ(mkfifo("pipe.mar2300", 0600), 0);
  expect_refused("pipe.mar2300", "pipe.mar2300: is not a regular file");
}

TEST_F(WrongFiles, NoneOfTheFormats) {
  place_.write("notes", "just words\n");
  expect_refused(
      "notes",
      "notes: has an unknown format; read it as raw pixels with --size WxH, or state the format with --format");
}

TEST_F(WrongFiles, TextUnderTheNameOfAFrame) {
  place_.write("words.mar2300", "just words, but quite a lot of them, so that the first header words are complete\n");
  expect_refused("words.mar2300", "words.mar2300: is damaged: its first word does not belong to a mar345 frame");
}

TEST_F(WrongFiles, HeaderAlone) {
  place_.write("short.mar2300", "few bytes");
  expect_refused("short.mar2300", "short.mar2300: is truncated: the header is incomplete");
}

TEST_F(WrongFiles, ImpossibleSizesInTheHeader) {
  const std::string frame = test::small_mar345();
  for (const auto& [size, words] : {std::pair{30000U, "30000 x 30000"}, {0xFFFFFFFEU, "-2 x -2"}, {0U, "0 x 0"}}) {
    place_.write("odd.mar2300", test::mar345_words(size, 0) + frame.substr(128));
    const std::string message = std::string("odd.mar2300: is damaged: it states a size of ") + words + " pixels";
    expect_refused("odd.mar2300", message);
    expect_refused("--force odd.mar2300", message);
  }
}

TEST_F(WrongFiles, TruncatedPackedImage) {
  const std::string frame = test::small_mar345();
  place_.write("cut.mar2300", frame.substr(0, frame.size() - 1));
  expect_refused("cut.mar2300", "cut.mar2300: is truncated: the packed image ends early");
}

TEST_F(WrongFiles, TruncatedBeforeThePackedImage) {
  const std::string frame = test::small_mar345();
  place_.write("cut.mar2300", frame.substr(0, 4112));
  expect_refused("cut.mar2300", "cut.mar2300: is truncated or damaged: it holds no packed image");
}

TEST_F(WrongFiles, ForceGoesOnWithATruncatedFrame) {
  const std::string frame = test::small_mar345();
  place_.write("cut.mar2300", frame.substr(0, frame.size() - 1));
  const Result result = place_.xrdimage("info --force cut.mar2300");
  EXPECT_EQ(result.status, 0);
  EXPECT_NE(result.out.find("maximum:          256000 counts\n"), std::string::npos) << result.out;
  EXPECT_EQ(result.err, "xrdimage: cut.mar2300: warning: is truncated: the packed image ends early\n");
}

TEST_F(WrongFiles, ForceGoesOnWithoutAPackedImage) {
  place_.write("cut.mar2300", test::small_mar345().substr(0, 4112));
  const Result result = place_.xrdimage("convert --force cut.mar2300 -o out.png");
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "xrdimage: cut.mar2300: warning: is truncated or damaged: it holds no packed image\n");
  EXPECT_EQ(test::read_png("out.png").width, 2U);
}

TEST_F(WrongFiles, MissingOverflowRecordsAreAWarning) {
  const std::string frame = test::small_mar345();
  // Seven more than there are before the packed image.
  place_.write("lost.mar2300", test::mar345_words(2, 9) + frame.substr(128));
  const Result result = place_.xrdimage("info lost.mar2300");
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "xrdimage: lost.mar2300: warning: 7 of 9 overflow records are missing\n");
}

TEST_F(WrongFiles, PackedImageOfAnotherSizeThanTheHeader) {
  const std::string frame = test::small_mar345();
  place_.write("odd.mar2300", test::mar345_words(3, 0) + frame.substr(128));
  expect_refused("odd.mar2300", "odd.mar2300: is damaged: the packed image has 2 x 2 pixels, the header says 3 x 3");
}

TEST_F(WrongFiles, TruncatedRawFile) {
  place_.write("dump.raw", "123456");
  expect_refused("--size 2x2 dump.raw", "dump.raw: is truncated: has 3 of 4 pixels");
  const Result result = place_.xrdimage("info --force --size 2x2 dump.raw");
  EXPECT_EQ(result.status, 0);
  EXPECT_NE(result.out.find("minimum:          0 counts\n"), std::string::npos) << result.out;
}

TEST_F(WrongFiles, RawFileOfImpossibleSize) {
  place_.write("dump.raw", "123456");
  expect_refused("--size 30000x30000 dump.raw", "dump.raw: is damaged: it states a size of 30000 x 30000 pixels");
}

TEST_F(WrongFiles, FramesCutAnywhereAreToldFromWholeOnes) {
  ASSERT_EQ(place_.xrdimage("sample --size 64 whole.mar2300").status, 0);
  ASSERT_EQ(place_.xrdimage("info whole.mar2300").status, 0);
  const std::string frame = test::read_file("whole.mar2300");
  for (std::size_t length = 1; length < frame.size() - 1; length += 1 + frame.size() / 30) {
    place_.write("cut.mar2300", frame.substr(0, length));
    const Result result = place_.xrdimage("info cut.mar2300");
    EXPECT_EQ(result.status, 1) << length;
    EXPECT_TRUE(result.err.starts_with("xrdimage: cut.mar2300: ")) << length << ": " << result.err;
  }
}

}  // namespace
