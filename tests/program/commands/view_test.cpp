#include <unistd.h>

#include <filesystem>
#include <tuple>

#include "tests/pictures/png_file.h"
#include "tests/program/program.h"

namespace {

namespace fs = std::filesystem;
using test::Result;
using Components = std::vector<int>;
using Names = std::vector<std::string>;

// Frames of 2 x 2 pixels: 5, 5, saturated, 70000. Of the latter, 16 bits hold 65535. The viewer keeps a copy of the
// folder where the picture is.
class View : public testing::Test {
 protected:
  View() {
    place_.write("frame.mar2300", test::small_mar345());
    place_.write_script("bin/xv", "echo \"xv $1\" >>\"$PLACE/calls\"; cp -r \"$(dirname \"$1\")\" \"$PLACE/shown\"");
    fs::create_directory("run");
    fs::permissions("run", fs::perms::owner_all);
  }

  // The program, with what is in "bin", and "run" as the user's own folder. Variables may be set before.
  Result view(const std::string& arguments, const std::string& variables = "DISPLAY=:7") const {
    return place_.run(R"(export PLACE="$PWD" XDG_RUNTIME_DIR="$PWD/run" PATH="$PWD/bin:$PATH"; export )" + variables +
                      R"(; exec "$xrdimage" view )" + arguments);
  }
  // The frame, and what the viewer wrote.
  Names files() const {
    Names names = place_.files();
    std::erase_if(names, [](const std::string& name) { return name == "bin" || name == "run"; });
    return names;
  }
  static bool nothing_is_left() { return fs::is_empty("run"); }
  static bool soon_nothing_is_left() {
    for (int i = 0; i < 200 && !nothing_is_left(); ++i) usleep(50000);
    return nothing_is_left();
  }

  test::Workplace place_;
};

// By the library's view().
class ClassicView : public View {
 protected:
  Result classic(const std::string& arguments) const { return view("--classic " + arguments, "DISPLAY="); }
};

TEST_F(ClassicView, ShowsAPictureAndLeavesNothing) {
  const Result result = classic("--divide 6553 frame.mar2300");
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(result.out,
            "range:            0-10 counts\n"
            "divisor:          6553\n");
  EXPECT_EQ(files(), (Names{"calls", "frame.mar2300", "shown"}));
  EXPECT_TRUE(nothing_is_left());
  EXPECT_EQ(test::read_file("calls"), "xv frame.png\n");
  EXPECT_EQ(test::read_file("shown/frame.raw"), std::string("\x05\0\x05\0\xFF\xFF\xFF\xFF", 8));
  EXPECT_TRUE(fs::exists("shown/colormap.zimg"));
  const test::Png picture = test::read_png("shown/frame.png");
  EXPECT_EQ(picture.pixel(0, 0), (Components{0, 0, 20}));
  EXPECT_EQ(picture.pixel(0, 1), (Components{255, 255, 255}));
}

TEST_F(ClassicView, ChoosesADivisorThatShowsMostPixels) {
  std::string pixels;
  for (int i = 0; i < 398; ++i) pixels += test::little16(static_cast<unsigned>(i % 100));
  place_.write("dump.raw", pixels + test::little16(1000) + test::little16(2000));
  // 99.5 % of 400 pixels are 398, which are not above 99; 2000 / 99 is nearest to 20.
  const Result result = classic("--size 20x20 dump.raw");
  EXPECT_EQ(result.status, 0);
  EXPECT_TRUE(result.out.starts_with("range:            0-100 counts\ndivisor:          20\n")) << result.out;
}

TEST_F(ClassicView, DarkFramesAreShownToo) {
  place_.write("dark.raw", std::string(8, '\0'));
  const Result result = classic("--size 2x2 dark.raw");
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(test::read_png("shown/dark.png").pixel(0, 0), (Components{0, 0, 0}));
}

TEST_F(ClassicView, DivisorZeroCountsAsOne) {
  const Result result = classic("--divide 0 frame.mar2300");
  EXPECT_EQ(result.status, 0);
  EXPECT_TRUE(result.out.starts_with("range:            0-65535 counts\n")) << result.out;
}

TEST_F(ClassicView, FilesOfTheWorkingDirectoryStay) {
  place_.write("frame.raw", "a raw frame");
  place_.write("frame.png", "a picture");
  place_.write("colormap.zimg", "colours");
  place_.write("dump.raw", std::string("\x01\x00\x01\x01", 4));
  EXPECT_EQ(classic("frame.mar2300").status, 0);
  EXPECT_EQ(classic("--size 2x1 dump.raw").status, 0);
  EXPECT_EQ(test::read_file("frame.raw"), "a raw frame");
  EXPECT_EQ(test::read_file("frame.png"), "a picture");
  EXPECT_EQ(test::read_file("colormap.zimg"), "colours");
  EXPECT_EQ(test::read_file("dump.raw"), std::string("\x01\x00\x01\x01", 4));
}

TEST_F(ClassicView, ProgramsOfThePathWin) {
  place_.write_script("bin/zimg", "echo \"zimg $*\" >>\"$PLACE/calls\"\ntouch frame.png");
  EXPECT_EQ(classic("--divide 65535 frame.mar2300").status, 0);
  EXPECT_EQ(test::read_file("calls"),
            "zimg --colormap=colormap.zimg --unsigned-short -r 2x2 --absolute=0-1 -o frame.png frame.raw\n"
            "xv frame.png\n");
}

TEST_F(ClassicView, CompanionsServeWithoutAPath) {
  const Result result = place_.run(R"(unset PATH; exec "$xrdimage" view --classic --format mar345 frame.mar2300)");
  EXPECT_TRUE(result.out.starts_with("range: ")) << "by zimg: " << result.out;
  EXPECT_EQ(result.err,
            "xv: there is no viewer (xdg-open, feh, display) or no display\n"
            "xrdimage: frame.png: the viewer failed\n");
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
  fs::remove("bin/xv");
  write_traps(place_);
  for (const std::string path : kPaths) {
    const Result result =
        place_.run(R"(bin=/usr/bin:/bin; PATH=")" + path + R"("; exec "$xrdimage" view --classic frame.mar2300)");
    EXPECT_FALSE(fs::exists("caught")) << path << ": " << test::read_file("caught");
    EXPECT_TRUE(result.out.starts_with("range: ")) << "by zimg: " << path << result.out;
    EXPECT_TRUE(result.err.starts_with("xv: there is no viewer")) << path << result.err;
  }
}

TEST_F(ClassicView, VerboseShowsTheCommandAndWhatTheProgramsSay) {
  place_.write_script("bin/xv", "echo 'xv: this is it'");
  const Result result = classic("-v --divide 65535 frame.mar2300");
  EXPECT_EQ(result.status, 0);
  EXPECT_NE(result.out.find("zimg --colormap=colormap.zimg --unsigned-short -r 2x2 --absolute=0-1 -o frame.png "
                            "frame.raw; xv frame.png\n"),
            std::string::npos)
      << result.out;
  EXPECT_NE(result.out.find("xv: this is it\n"), std::string::npos) << result.out;
}

TEST_F(ClassicView, AFailingConverterIsReportedAndNoOldPictureShown) {
  place_.write("frame.png", "old");
  place_.write_script("bin/zimg", "echo 'zimg: broken' >&2; exit 1");
  const Result result = classic("frame.mar2300");
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.out, "");
  EXPECT_TRUE(result.err.starts_with("zimg: broken\n")) << result.err;
  EXPECT_TRUE(result.err.ends_with("xrdimage: frame.png: the picture could not be made\n")) << result.err;
  EXPECT_FALSE(fs::exists("shown/frame.png"));
  EXPECT_TRUE(nothing_is_left());
}

TEST_F(ClassicView, AFailingViewerIsReported) {
  place_.write_script("bin/xv", "exit 3");
  const Result result = classic("frame.mar2300");
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "xrdimage: frame.png: the viewer failed\n");
  EXPECT_TRUE(nothing_is_left());
}

TEST_F(ClassicView, FilesThatCannotBeWrittenAreReported) {
  const std::string name(252, 'x');
  place_.write(name + ".m", test::small_mar345());
  const Result result = classic(name + ".m --format mar345");
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err, "xrdimage: " + name + ".raw: cannot be written: File name too long\n");
}

TEST_F(ClassicView, NamesMayHoldAnything) {
  place_.write("b c'd $(x).mar2300", test::small_mar345());
  const Result result = classic(R"-("b c'd \$(x).mar2300")-");
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(test::read_png("shown/b c'd $(x).png").width, 2U);
}

// On the screen or in the terminal.
TEST_F(View, WithADisplayThePictureIsOpened) {
  const Result result = view("frame.mar2300 --range 0-10");
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(result.out, "range:            0-10 counts\n");
  EXPECT_TRUE(test::read_file("calls").starts_with("xv " + fs::current_path().string() + "/run/xrdimage-"));
  EXPECT_TRUE(test::read_file("calls").ends_with("/frame.png\n"));
  EXPECT_EQ(test::read_png("shown/frame.png").pixel(0, 0), (Components{0, 0, 20}));
  EXPECT_EQ(fs::status("shown").permissions(), fs::perms::owner_all);
  EXPECT_EQ(files(), (Names{"calls", "frame.mar2300", "shown"}));
  EXPECT_TRUE(nothing_is_left());
}

// view, its stand-in for xv, and viewers that this starts.
TEST_F(View, NoViewerOfTheWorkingDirectoryIsRun) {
  fs::remove("bin/xv");
  write_traps(place_);
  for (const std::string path : {":$bin", "$bin:", "$bin::$bin", ".:$bin", "bin/..:$bin"}) {
    const Result result = place_.run(R"(bin="$PWD/bin"; PATH=")" + path +
                                     R"(" DISPLAY=:7 XDG_RUNTIME_DIR="$PWD/run" "$xrdimage" view frame.mar2300)");
    EXPECT_FALSE(fs::exists("caught")) << path << ": " << test::read_file("caught");
    EXPECT_TRUE(result.err.starts_with("xv: there is no viewer")) << path << result.err;
  }
}

TEST_F(View, ViewersInheritAPathWithoutTheWorkingDirectory) {
  fs::remove("bin/xv");
  place_.write_script("bin/xdg-open", "xdg-mime || :");
  place_.write_script("xdg-mime", "echo \"$0 $*\" >>caught");
  const Result result =
      place_.run(R"(PATH=":$PWD/bin" DISPLAY=:7 XDG_RUNTIME_DIR="$PWD/run" "$xrdimage" view frame.mar2300)");
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(result.err.find("xv: "), std::string::npos) << result.err;
  EXPECT_FALSE(fs::exists("caught"));
}

TEST_F(View, PicturesAreInNoFolderInWhichOthersReplaceFiles) {
  fs::create_directory("tmp");
  const std::string temporary = R"(DISPLAY=:7 TMPDIR="$PWD/tmp")";
  for (const auto& [run, tmp, folder] :
       {std::tuple(0700, 0700, "/run/"), {0777, 0700, "/tmp/"}, {01777, 0700, "/run/"}, {0777, 01777, "/tmp/"}}) {
    fs::permissions("run", fs::perms(run));
    fs::permissions("tmp", fs::perms(tmp));
    fs::remove_all("shown");
    EXPECT_EQ(view("frame.mar2300", temporary).status, 0);
    const std::string calls = test::read_file("calls");
    EXPECT_NE(calls.find(folder, calls.rfind("xv ")), std::string::npos) << calls;
    EXPECT_TRUE(fs::is_empty("tmp"));
  }
  fs::permissions("tmp", fs::perms(0777));
  const Result refused = view("frame.mar2300", temporary);
  EXPECT_EQ(refused.status, 1);
  EXPECT_TRUE(refused.err.ends_with("/tmp: is a folder in which others can replace files\n")) << refused.err;
  EXPECT_TRUE(view("frame.mar2300", "DISPLAY=:7 TMPDIR=/none").err.starts_with("xrdimage: TMPDIR: "));
}

TEST_F(View, FoldersOfOtherUsersAreNotTaken) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can make a folder of another user";
  constexpr uid_t kNobody = 65534;
  ASSERT_EQ(chown("run", kNobody, kNobody), 0);
  fs::create_directory("tmp");
  EXPECT_EQ(view("frame.mar2300", R"(DISPLAY=:7 TMPDIR="$PWD/tmp")").status, 0);
  EXPECT_NE(test::read_file("calls").find("/tmp/"), std::string::npos);
}

TEST_F(View, AViewerThatFailsIsReported) {
  place_.write_script("bin/xv", "exit 3");
  const Result result = view("frame.mar2300", "WAYLAND_DISPLAY=w");
  EXPECT_EQ(result.status, 1);
  EXPECT_TRUE(result.err.ends_with("frame.png: the viewer failed\n")) << result.err;
  EXPECT_TRUE(nothing_is_left());
}

// As those that ask a viewer that runs already, and those that go to the background.
TEST_F(View, WhatGoesOnBehindTheViewerHasThePicture) {
  place_.write_script("bin/xv", R"(
    (while [ -e "$PLACE" ] && [ ! -e "$PLACE/go" ]; do sleep 0.02; done; cp "$1" "$PLACE/late.png") </dev/null >/dev/null 2>&1 &)");
  for (const char* arguments : {"frame.mar2300", "--classic frame.mar2300"}) {
    EXPECT_EQ(view(arguments).status, 0);
    EXPECT_FALSE(nothing_is_left());
    place_.write("go", "");
    EXPECT_TRUE(soon_nothing_is_left());
    EXPECT_EQ(test::read_png("late.png").width, 2U);
    fs::remove("go");
    fs::remove("late.png");
  }
}

TEST_F(View, NothingIsLeftWhenItIsEnded) {
  for (const std::string signal : {"TERM", "HUP", "KILL"}) {
    place_.write_script("bin/xv", R"(touch "$PLACE/open"; while [ -e "$PLACE/open" ]; do sleep 0.02; done)");
    for (const std::string arguments : {"frame.mar2300", "--classic frame.mar2300"}) {
      const Result result = place_.run(
          R"(export PLACE="$PWD" XDG_RUNTIME_DIR="$PWD/run" PATH="$PWD/bin:$PATH" DISPLAY=:7
             "$xrdimage" view )" +
          arguments + R"( & program=$!
             while [ ! -e open ]; do sleep 0.02; done
             [ -e run/xrdimage-*/frame.png ] || echo 'nothing is shown'
             kill -)" +
          signal + R"( $program; rm open)");
      EXPECT_EQ(result.out.find("nothing is shown"), std::string::npos);
      EXPECT_TRUE(soon_nothing_is_left()) << signal;
    }
  }
}

TEST_F(View, WithoutADisplayItIsDrawnInTheTerminal) {
  for (const char* command : {"\"$xrdimage\" view frame.mar2300 --range 0-10",
                              "DISPLAY=:7 \"$xrdimage\" view --terminal frame.mar2300 --range 0-10"}) {
    const Result result = place_.run(std::string("LC_ALL=C.UTF-8 COLORTERM=truecolor ") + command);
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_NE(result.out.find("\033[38;2;0;0;20m\033[48;2;0;0;20m▀"), std::string::npos) << result.out;
    EXPECT_TRUE(result.out.ends_with("range:            0-10 counts\n")) << result.out;
  }
  EXPECT_EQ(files(), Names{"frame.mar2300"});
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
