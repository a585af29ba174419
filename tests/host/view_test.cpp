#include <unistd.h>

#include <filesystem>

#include "tests/host/png_file.h"
#include "tests/host/program.h"

namespace {

namespace fs = std::filesystem;
using test::Result;
using Components = std::vector<int>;
using Names = std::vector<std::string>;

// By the library's view(). With a frame of 2 x 2 pixels: 5, 5, saturated, 70000. Of the latter, 16 bits hold 65535.
class ClassicView : public testing::Test {
 protected:
  ClassicView() { place_.write("frame.mar2300", test::small_mar345()); }
  test::Workplace place_;
};

TEST_F(ClassicView, LeavesThePictureInTheWorkingDirectory) {
  const Result result = place_.xrdimage("view --classic --divide 6553 frame.mar2300");
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(result.out,
            "range:            0-10 counts\n"
            "divisor:          6553\n"
            "picture:          frame.png\n");
  EXPECT_EQ(place_.files(), (Names{"colormap.zimg", "frame.mar2300", "frame.png", "frame.raw"}));
  EXPECT_EQ(test::read_file("frame.raw"), std::string("\x05\0\x05\0\xFF\xFF\xFF\xFF", 8));
  const test::Png picture = test::read_png("frame.png");
  EXPECT_EQ(picture.pixel(0, 0), (Components{0, 0, 20}));
  EXPECT_EQ(picture.pixel(0, 1), (Components{255, 255, 255}));
}

TEST_F(ClassicView, ChoosesADivisorThatShowsMostPixels) {
  std::string pixels;
  for (int i = 0; i < 398; ++i) pixels += test::little16(static_cast<unsigned>(i % 100));
  place_.write("dump.raw", pixels + test::little16(1000) + test::little16(2000));
  // 99.5 % of 400 pixels are 398, which are not above 99; 2000 / 99 is nearest to 20.
  const Result result = place_.xrdimage("view --classic --size 20x20 dump.raw");
  EXPECT_EQ(result.status, 0);
  EXPECT_TRUE(result.out.starts_with("range:            0-100 counts\ndivisor:          20\n")) << result.out;
}

TEST_F(ClassicView, DarkFramesAreShownToo) {
  place_.write("dark.raw", std::string(8, '\0'));
  const Result result = place_.xrdimage("view --classic --size 2x2 dark.raw");
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(test::read_png("dark-view.png").pixel(0, 0), (Components{0, 0, 0}));
}

TEST_F(ClassicView, DivisorZeroCountsAsOne) {
  const Result result = place_.xrdimage("view --classic --divide 0 frame.mar2300");
  EXPECT_EQ(result.status, 0);
  EXPECT_TRUE(result.out.starts_with("range:            0-65535 counts\n")) << result.out;
}

TEST_F(ClassicView, ARawFrameIsNotOverwritten) {
  place_.write("dump.raw", std::string("\x01\x00\x01\x01", 4));
  const Result result = place_.xrdimage("view --classic --size 2x1 dump.raw");
  EXPECT_EQ(result.status, 0);
  EXPECT_NE(result.out.find("picture:          dump-view.png\n"), std::string::npos) << result.out;
  EXPECT_EQ(test::read_file("dump.raw"), std::string("\x01\x00\x01\x01", 4));
  EXPECT_TRUE(fs::exists("dump-view.png"));
}

TEST_F(ClassicView, ProgramsOfThePathWin) {
  place_.write_script("bin/zimg", "echo \"zimg $*\" >>calls\ntouch frame.png");
  place_.write_script("bin/xv", R"(echo "xv $*" >>calls)");
  const Result result =
      place_.run(R"(PATH="$PWD/bin:$PATH"; exec "$xrdimage" view --classic --divide 65535 frame.mar2300)");
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(test::read_file("calls"),
            "zimg --colormap=colormap.zimg --unsigned-short -r 2x2 --absolute=0-1 -o frame.png frame.raw\n"
            "xv frame.png\n");
}

TEST_F(ClassicView, CompanionsServeWithoutAPath) {
  const Result result = place_.run(R"(unset PATH; exec "$xrdimage" view --classic --format mar345 frame.mar2300)");
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(test::read_png("frame.png").width, 2U);
}

// Programs that a stranger's data might bring, in the working directory; "caught" is there when one of them has run.
void write_traps(const test::Workplace& place) {
  for (const char* name : {"zimg", "xv", "file", "grep", "xdg-open", "feh", "display"}) {
    place.write_script(name, "echo \"$0 $*\" >>caught");
  }
}

// Elements that mean the working directory; in bin there is nothing.
constexpr const char* kPaths[] = {"",      ":",     "::",          ".",      "..//./", "bin/..",
                                  ":$bin", "$bin:", "$bin::/none", ".:$bin", "$bin:.", "bin/..:$bin"};

TEST_F(ClassicView, NoProgramOfTheWorkingDirectoryIsRun) {
  fs::create_directory("bin");
  write_traps(place_);
  for (const std::string path : kPaths) {
    const Result result =
        place_.run(R"(bin=/usr/bin:/bin; PATH=")" + path + R"("; exec "$xrdimage" view --classic frame.mar2300)");
    EXPECT_EQ(result.status, 0) << path << result.err;
    EXPECT_FALSE(fs::exists("caught")) << path << ": " << test::read_file("caught");
    EXPECT_EQ(test::read_png("frame.png").width, 2U) << path;
    fs::remove("frame.png");
  }
}

TEST_F(ClassicView, VerboseShowsTheCommandAndWhatTheProgramsSay) {
  const Result result = place_.xrdimage("-v view --classic --divide 65535 frame.mar2300");
  EXPECT_EQ(result.status, 0);
  EXPECT_NE(result.out.find("zimg --colormap=colormap.zimg --unsigned-short -r 2x2 --absolute=0-1 -o frame.png "
                            "frame.raw; xv frame.png\n"),
            std::string::npos)
      << result.out;
  EXPECT_NE(result.out.find("xv: the picture is "), std::string::npos) << result.out;
}

TEST_F(ClassicView, AFailingConverterIsReportedAndNoOldPictureShown) {
  place_.write("frame.png", "old");
  place_.write_script("bin/zimg", "echo 'zimg: broken' >&2; exit 1");
  const Result result = place_.run(R"(PATH="$PWD/bin:$PATH"; exec "$xrdimage" view --classic frame.mar2300)");
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.out, "");
  EXPECT_TRUE(result.err.starts_with("zimg: broken\n")) << result.err;
  EXPECT_TRUE(result.err.ends_with("xrdimage: frame.png: the picture could not be made\n")) << result.err;
}

TEST_F(ClassicView, AFailingViewerIsReportedButThePictureIsThere) {
  place_.write_script("bin/xv", "exit 3");
  const Result result = place_.run(R"(PATH="$PWD/bin:$PATH"; exec "$xrdimage" view --classic frame.mar2300)");
  EXPECT_EQ(result.status, 1);
  EXPECT_NE(result.out.find("picture:          frame.png\n"), std::string::npos);
  EXPECT_EQ(result.err, "xrdimage: frame.png: the viewer failed\n");
}

TEST_F(ClassicView, FilesThatCannotBeWrittenAreReported) {
  fs::create_directory("frame.raw");
  const Result result = place_.xrdimage("view --classic frame.mar2300");
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err, "xrdimage: frame.raw: cannot be written: Is a directory\n");
}

TEST_F(ClassicView, NamesMayHoldAnything) {
  place_.write("b c'd $(x).mar2300", test::small_mar345());
  const Result result = place_.xrdimage(R"-(view --classic "b c'd \$(x).mar2300")-");
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(test::read_png("b c'd $(x).png").width, 2U);
}

// On the screen or in the terminal.
class View : public testing::Test {
 protected:
  View() { place_.write("frame.mar2300", test::small_mar345()); }
  test::Workplace place_;
};

TEST_F(View, WithADisplayThePictureIsOpened) {
  place_.write_script("bin/xv", R"(echo "xv $*" >>calls)");
  const Result result = place_.run(
      R"(PATH="$PWD/bin:$PATH" DISPLAY=:7 XDG_CACHE_HOME="$PWD/cache" "$xrdimage" view frame.mar2300 --range 0-10)");
  EXPECT_EQ(result.status, 0) << result.err;
  const std::string picture = fs::current_path().string() + "/cache/xrdimage/frame.png";
  EXPECT_EQ(result.out, "range:            0-10 counts\npicture:          " + picture + "\n");
  EXPECT_EQ(test::read_file("calls"), "xv " + picture + "\n");
  EXPECT_EQ(test::read_png(picture).pixel(0, 0), (Components{0, 0, 20}));
  EXPECT_EQ(place_.files(), (Names{"bin", "cache", "calls", "frame.mar2300"}));
}

// view, its stand-in for xv, and viewers that this starts.
TEST_F(View, NoViewerOfTheWorkingDirectoryIsRun) {
  fs::create_directory("bin");
  write_traps(place_);
  for (const std::string path : {":$bin", "$bin:", "$bin::$bin", ".:$bin", "bin/..:$bin"}) {
    const Result result = place_.run(R"(bin="$PWD/bin"; PATH=")" + path +
                                     R"(" DISPLAY=:7 XDG_CACHE_HOME="$PWD/cache" "$xrdimage" view frame.mar2300)");
    EXPECT_EQ(result.status, 0) << path << result.err;
    EXPECT_FALSE(fs::exists("caught")) << path << ": " << test::read_file("caught");
    EXPECT_NE(result.out.find("xv: the picture is /"), std::string::npos) << path << result.out;
  }
}

TEST_F(View, ViewersInheritAPathWithoutTheWorkingDirectory) {
  place_.write_script("bin/xdg-open", "xdg-mime || :");
  place_.write_script("xdg-mime", "echo \"$0 $*\" >>caught");
  const Result result =
      place_.run(R"(PATH=":$PWD/bin" DISPLAY=:7 XDG_CACHE_HOME="$PWD/cache" "$xrdimage" view frame.mar2300)");
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(result.out.find("xv: "), std::string::npos) << result.out;
  EXPECT_FALSE(fs::exists("caught"));
}

TEST_F(View, WithoutAHomeThePictureIsInAFolderOfTheUsersOwn) {
  place_.write_script("bin/xv", "exit 0");
  fs::create_directory("tmp");
  const std::string view =
      R"(unset HOME XDG_CACHE_HOME; PATH="$PWD/bin:$PATH" DISPLAY=:7 TMPDIR="$PWD/tmp" "$xrdimage" view frame.mar2300)";
  EXPECT_EQ(place_.run(view).status, 0);
  const fs::path folder = "tmp/xrdimage-" + std::to_string(geteuid());
  EXPECT_EQ(fs::status(folder).permissions(), fs::perms::owner_all);
  EXPECT_TRUE(fs::exists(folder / "frame.png"));
  EXPECT_EQ(place_.run(view).status, 0);
  fs::permissions(folder, fs::perms::all);  // others could have put a link there
  EXPECT_TRUE(place_.run(view).err.ends_with("is not a folder that you alone can write to\n"));
  fs::remove_all(folder);
  fs::create_directory_symlink("..", folder);
  EXPECT_EQ(place_.run(view).status, 1);
}

TEST_F(View, AViewerThatFailsIsReported) {
  place_.write_script("bin/xv", "exit 3");
  const Result result = place_.run(
      R"(PATH="$PWD/bin:$PATH" WAYLAND_DISPLAY=w XDG_CACHE_HOME="$PWD/cache" "$xrdimage" view frame.mar2300)");
  EXPECT_EQ(result.status, 1);
  EXPECT_TRUE(result.err.ends_with("frame.png: the viewer failed\n")) << result.err;
}

TEST_F(View, WithoutADisplayItIsDrawnInTheTerminal) {
  for (const char* command : {"\"$xrdimage\" view frame.mar2300 --range 0-10",
                              "DISPLAY=:7 \"$xrdimage\" view --terminal frame.mar2300 --range 0-10"}) {
    const Result result = place_.run(std::string("LC_ALL=C.UTF-8 COLORTERM=truecolor ") + command);
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_NE(result.out.find("\033[38;2;0;0;20m\033[48;2;0;0;20m▀"), std::string::npos) << result.out;
    EXPECT_TRUE(result.out.ends_with("range:            0-10 counts\n")) << result.out;
  }
  EXPECT_EQ(place_.files(), Names{"frame.mar2300"});
}

// The terminal of script(1) answers what comes from a pipe, after the picture has been drawn by blocks.
TEST_F(View, ALateAnswerOfTheTerminalIsNotLeftForTheShell) {
  place_.write_script(
      "shell", "\"$1\" view frame.mar2300 --range 0-10; echo \"status $?\"; sleep 1; stty -icanon min 0 time 0; cat");
  const Result result = place_.run(
      "export TERM=xterm LC_ALL=C.UTF-8; unset NO_COLOR\n"
      R"((sleep 1.5; printf '\033[?62;4c'; sleep 2) | script -qec "./shell $xrdimage" /dev/null)");
  EXPECT_EQ(result.status, 0);
  const std::size_t drawn = result.out.find("▀");
  ASSERT_NE(drawn, std::string::npos) << result.out;
  EXPECT_EQ(result.out.find("62;4c"), std::string::npos) << result.out;
  EXPECT_TRUE(result.out.ends_with("range:            0-10 counts\r\nstatus 0\r\n")) << result.out;
}

}  // namespace
