// What the program says of files that are no frames, or damaged ones: one clear line, and never a crash.
#include <sys/stat.h>

#include <filesystem>

#include "tests/host/program.h"

namespace {

namespace fs = std::filesystem;
using test::Result;

class WrongFiles : public testing::Test {
 protected:
  // Every subcommand that reads frames says the same of the file.
  void expect_refused(const std::string& arguments, const std::string& message) const {
    for (const std::string& command : {"info " + arguments, "convert " + arguments + " out.png", "view " + arguments}) {
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
  expect_refused("notes", "notes: is in no format that is known by its name or contents (--type states one)");
}

TEST_F(WrongFiles, FormatsThatThisVersionCannotRead) {
  place_.write("sheet.IFF", "words");
  expect_refused("sheet.IFF", "sheet.IFF: this version cannot read the type iff (IFF image)");
  place_.write("taxi.dat", "words");
  expect_refused("taxi.dat", "taxi.dat: this version cannot read the type xi (XI image)");
}

TEST_F(WrongFiles, TextUnderTheNameOfAFrame) {
  place_.write("words.mar2300", "just words, but quite a lot of them, so that the first header words are complete\n");
  const Result result = place_.xrdimage("info words.mar2300");
  EXPECT_EQ(result.status, 1);
  EXPECT_TRUE(result.err.starts_with("xrdimage: words.mar2300: Something wrong with header; Cannot allocate "))
      << result.err;
  EXPECT_EQ(result.err.find('\n'), result.err.size() - 1);
}

TEST_F(WrongFiles, HeaderAlone) {
  place_.write("short.mar2300", "few bytes");
  // The first word is "few ", 0x66657720 in the other byte order.
  expect_refused("--type mar2300 short.mar2300",
                 "short.mar2300: Cannot read header; Something wrong with header; Cannot allocate 1717925664 x "
                 "1717925664 pixels");
}

TEST_F(WrongFiles, ImpossibleSizeInTheHeader) {
  const std::string frame = test::small_mar345();
  place_.write("huge.mar2300", test::mar345_words(30000, 0) + frame.substr(128));
  expect_refused("huge.mar2300", "huge.mar2300: Cannot allocate 30000 x 30000 pixels");
  expect_refused("--force huge.mar2300", "huge.mar2300: Cannot allocate 30000 x 30000 pixels");
}

TEST_F(WrongFiles, ImpossibleSizeInTheHeaderOfTheOlderLayout) {
  place_.write("huge.mar2300", test::little32(30000) + std::string(4092, '\0'));
  // As the other byte order 30000 is 0x30750000.
  expect_refused("huge.mar2300",
                 "huge.mar2300: Something wrong with header; Cannot allocate 812974080 x 812974080 pixels");
}

TEST_F(WrongFiles, NegativeSizeInTheHeader) {
  const std::string frame = test::small_mar345();
  place_.write("odd.mar2300", test::mar345_words(0xFFFFFFFE, 0) + frame.substr(128));
  expect_refused("odd.mar2300", "odd.mar2300: Cannot allocate -2 x -2 pixels");
}

TEST_F(WrongFiles, NoPixels) {
  const std::string frame = test::small_mar345();
  place_.write("none.mar2300", test::mar345_words(0, 0) + frame.substr(128));
  const Result result = place_.xrdimage("info --force none.mar2300");
  EXPECT_EQ(result.status, 1);
  EXPECT_TRUE(result.err.ends_with("xrdimage: none.mar2300: has no pixels\n")) << result.err;
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
  EXPECT_NE(result.out.find("maximum:          70000 counts\n"), std::string::npos) << result.out;
  EXPECT_EQ(result.err, "xrdimage: cut.mar2300: warning: is truncated: the packed image ends early\n");
}

TEST_F(WrongFiles, ForceGoesOnWithoutAPackedImage) {
  place_.write("cut.mar2300", test::small_mar345().substr(0, 4112));
  const Result result = place_.xrdimage("convert --force cut.mar2300 out.png");
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "xrdimage: cut.mar2300: warning: is truncated or damaged: it holds no packed image\n");
  EXPECT_EQ(test::read_png("out.png").width, 2U);
}

TEST_F(WrongFiles, MissingOverflowRecordsAreAWarning) {
  const std::string frame = test::small_mar345();
  // Two records and the 40 bytes of packed image make seven.
  place_.write("lost.mar2300", test::mar345_words(2, 9) + frame.substr(128));
  const Result result = place_.xrdimage("info lost.mar2300");
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err,
            "xrdimage: lost.mar2300: warning: cannot read overflow pixel # 9! Overflow pixel will be ignored\n");
}

TEST_F(WrongFiles, PackedImageOfAnotherSizeThanTheHeader) {
  const std::string frame = test::small_mar345();
  place_.write("odd.mar2300", test::mar345_words(3, 0) + frame.substr(128));
  expect_refused("odd.mar2300", "odd.mar2300: is damaged: the packed image has 2 x 2 pixels, the header says 3 x 3");
}

TEST_F(WrongFiles, TruncatedRawFile) {
  place_.write("dump.raw", "123456");
  expect_refused("--size 2x2 dump.raw", "dump.raw: is truncated: 2 x 2 pixels take 8 bytes, there are 6");
  const Result result = place_.xrdimage("info --force --size 2x2 dump.raw");
  EXPECT_EQ(result.status, 0);
  EXPECT_NE(result.out.find("minimum:          0 counts\n"), std::string::npos) << result.out;
}

TEST_F(WrongFiles, RawFileOfImpossibleSize) {
  place_.write("dump.raw", "123456");
  expect_refused("--size 30000x30000 dump.raw", "dump.raw: cannot allocate 30000 x 30000 pixels");
}

TEST_F(WrongFiles, FramesCutAnywhereAreToldFromWholeOnes) {
  ASSERT_EQ(place_.xrdimage("sample --size 64 whole.mar2300").status, 0);
  ASSERT_EQ(place_.xrdimage("info whole.mar2300").status, 0);
  const std::string frame = test::read_file("whole.mar2300");
  for (std::size_t length = 1; length < frame.size() - 1; length += 1 + frame.size() / 30) {
    place_.write("cut.mar2300", frame.substr(0, length));
    const Result result = place_.xrdimage("info --type mar2300 cut.mar2300");
    EXPECT_EQ(result.status, 1) << length;
    EXPECT_TRUE(result.err.starts_with("xrdimage: cut.mar2300: ")) << length << ": " << result.err;
  }
}

}  // namespace
