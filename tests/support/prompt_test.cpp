#include "support/prompt.h"

#include <unistd.h>

#include <ostream>

#include "tests/environment.h"

namespace xrd {

static bool operator==(const DetectorSize& a, const DetectorSize& b) {
  return a.width == b.width && a.height == b.height;
}

static std::ostream& operator<<(std::ostream& stream, const DetectorSize& size) {
  return stream << size.width << " x " << size.height;
}

}  // namespace xrd

namespace {

using Size = xrd::DetectorSize;

constexpr Size kDefault{1242, 1152};

Size answer(std::string_view text) {
  Size size{};
  test::with_input(text, [&] { test::capture([&] { size = xrd::ask_detector_size(kDefault); }); });
  return size;
}

}  // namespace

TEST(Prompt, QuestionNamesTheDefault) {
  const auto output = test::capture([] {
    test::with_input("\n", [] { static_cast<void>(xrd::ask_detector_size({1242, 1152})); });
  });
  EXPECT_EQ(output.out, "# Detector x y [1242 1152]> ");
  EXPECT_EQ(output.err, "");
}

TEST(Prompt, QuestionIsShownAtOnce) {
  // Nothing but the function itself may flush: the file's size is looked at before the capture ends.
  off_t shown = 0;
  test::capture([&] {
    test::with_input("", [] { static_cast<void>(xrd::ask_detector_size(kDefault)); });
    shown = lseek(STDOUT_FILENO, 0, SEEK_END);
  });
  EXPECT_EQ(shown, 28);
}

TEST(Prompt, TwoNumbersAreTheSize) {
  EXPECT_EQ(answer("1024 768\n"), (Size{1024, 768}));
  EXPECT_EQ(answer("  1024\t  768  \n"), (Size{1024, 768}));
  EXPECT_EQ(answer("1024 768"), (Size{1024, 768}));
  EXPECT_EQ(answer("1024 768 5 and more\n"), (Size{1024, 768}));
  EXPECT_EQ(answer("1024 768x\n"), (Size{1024, 768}));
  EXPECT_EQ(answer("0 0\n"), (Size{0, 0}));
  EXPECT_EQ(answer("-3 +4\n"), (Size{-3, 4}));
}

TEST(Prompt, AnythingElseGivesTheDefault) {
  EXPECT_EQ(answer("\n"), kDefault);
  EXPECT_EQ(answer(""), kDefault);
  EXPECT_EQ(answer("1024\n"), kDefault);
  EXPECT_EQ(answer("1024 x 768\n"), kDefault);
  EXPECT_EQ(answer("1024x768\n"), kDefault);
  EXPECT_EQ(answer("1024, 768\n"), kDefault);
  EXPECT_EQ(answer("large\n"), kDefault);
  EXPECT_EQ(answer(std::string_view("\0 1024 768\n", 11)), kDefault);
}

TEST(Prompt, OneLineIsReadAndNoMore) {
  EXPECT_EQ(answer("1024\n768\n"), kDefault);
  test::with_input("1 2\n3 4\n", [] {
    Size first{};
    Size second{};
    test::capture([&] {
      first = xrd::ask_detector_size(kDefault);
      second = xrd::ask_detector_size(kDefault);
    });
    EXPECT_EQ(first, (Size{1, 2}));
    EXPECT_EQ(second, (Size{3, 4}));
  });
}

TEST(Prompt, ALineHas255CharactersAtTheMost) {
  const std::string blanks(250, ' ');
  EXPECT_EQ(answer(blanks + "12 345\n"), (Size{12, 34}));  // "12 34" ends with character 255
  EXPECT_EQ(answer(blanks + "     12 345\n"), kDefault);
  EXPECT_EQ(answer("12 34" + blanks + blanks + "\n"), (Size{12, 34}));
  EXPECT_EQ(answer(std::string(100000, '1') + " 5\n"), kDefault);
}
