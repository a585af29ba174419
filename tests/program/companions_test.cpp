// The programs zimg and xv, run as the library's view() runs them.
#include <unistd.h>

#include <filesystem>

#include "tests/pictures/png_file.h"
#include "tests/program/program.h"

namespace {

using test::Result;
using Components = std::vector<int>;

constexpr const char* kColormap = "0 0 0\n10 20 30\n40 50 60\n255 255 255\n";

class Zimg : public testing::Test {
 protected:
  Zimg() {
    place_.write("map", kColormap);
    // Two rows of three pixels.
    place_.write("dump.raw", std::string("\x00\x00\x02\x00\x03\x00\x06\x00\x07\x00\xFF\xFF", 12));
  }

  Result zimg(const std::string& arguments) const { return place_.run(R"("$companions/zimg" )" + arguments); }

  test::Workplace place_;
};

TEST_F(Zimg, MakesAPictureOfTheDumpAndTheColourMap) {
  const Result result = zimg("--colormap=map --unsigned-short -r 2x3 --absolute=0-8 -o out.png dump.raw");
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err, "");
  const test::Png picture = test::read_png("out.png");
  ASSERT_EQ(picture.width, 3U);
  ASSERT_EQ(picture.height, 2U);
  // Four colours for 0 to 8: two counts each.
  EXPECT_EQ(picture.pixel(0, 0), (Components{0, 0, 0}));
  EXPECT_EQ(picture.pixel(1, 0), (Components{10, 20, 30}));
  EXPECT_EQ(picture.pixel(2, 0), (Components{10, 20, 30}));
  EXPECT_EQ(picture.pixel(0, 1), (Components{255, 255, 255}));
  EXPECT_EQ(picture.pixel(1, 1), (Components{255, 255, 255}));
  EXPECT_EQ(picture.pixel(2, 1), (Components{255, 255, 255}));
}

TEST_F(Zimg, TheRangeBeginsAtItsLowEnd) {
  EXPECT_EQ(zimg("--colormap=map --unsigned-short -r 2x3 --absolute=2-6 -o out.png dump.raw").status, 0);
  const test::Png picture = test::read_png("out.png");
  EXPECT_EQ(picture.pixel(1, 0), (Components{0, 0, 0}));
  EXPECT_EQ(picture.pixel(2, 0), (Components{10, 20, 30}));
  EXPECT_EQ(picture.pixel(0, 1), (Components{255, 255, 255}));
}

TEST_F(Zimg, NegativeEndsOfTheRangeAreUnderstood) {
  // The library divides as signed numbers, so that the end can be negative.
  EXPECT_EQ(zimg("--colormap=map --unsigned-short -r 2x3 --absolute=0--5 -o out.png dump.raw").status, 0);
  const test::Png picture = test::read_png("out.png");
  EXPECT_EQ(picture.pixel(0, 0), (Components{0, 0, 0}));
  EXPECT_EQ(picture.pixel(1, 0), (Components{255, 255, 255}));
}

TEST_F(Zimg, WithoutAColourMapThePictureIsGrey) {
  EXPECT_EQ(zimg("--unsigned-short -r 2x3 -o out.png dump.raw").status, 0);
  const test::Png picture = test::read_png("out.png");
  EXPECT_TRUE(picture.is_grey);
  EXPECT_EQ(picture.pixel(1, 0), (Components{0, 0, 0}));
  EXPECT_EQ(picture.pixel(2, 1), (Components{255, 255, 255}));
}

TEST_F(Zimg, EndsOfTheRangeAreNumbersOf32Bits) {
  EXPECT_EQ(zimg("--unsigned-short -r 2x3 --absolute=-2147483648-2147483647 -o out.png dump.raw").status, 0);
  EXPECT_EQ(zimg("--unsigned-short -r 2x3 --absolute=0-2147483648 -o out.png dump.raw").status, 2);
  EXPECT_EQ(zimg("--unsigned-short -r 2x3 --absolute=-2147483649-0 -o out.png dump.raw").status, 2);
}

TEST_F(Zimg, WhatIsWrongIsSaid) {
  const std::string options = "--unsigned-short -r 2x3 --absolute=0-8 -o out.png ";
  EXPECT_EQ(zimg(options + "--colormap=map missing").err, "zimg: missing: No such file or directory\n");
  EXPECT_EQ(zimg(options + "--colormap=none dump.raw").err, "zimg: none: No such file or directory\n");
  EXPECT_EQ(zimg(options + "--colormap=dump.raw dump.raw").err, "zimg: dump.raw: is not a colour map\n");
  place_.write("short.raw", "12345");
  const Result result = zimg(options + "--colormap=map short.raw");
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "zimg: short.raw: ends early\n");
  EXPECT_EQ(zimg("--unsigned-short -r 2 -o out.png dump.raw").status, 2);
  EXPECT_EQ(zimg("--unsigned-short -r 0x3 -o out.png dump.raw").status, 2);
  EXPECT_EQ(zimg("--unsigned-short -r 99999x99999 -o out.png dump.raw").status, 2);
  EXPECT_EQ(zimg("--unsigned-short -r 2x3 --absolute=5 -o out.png dump.raw").status, 2);
  EXPECT_EQ(place_.files(), (std::vector<std::string>{"dump.raw", "map", "short.raw"}));
}

TEST_F(Zimg, WordsOfTheUserSteerNoTerminal) {
  const std::string options = "--unsigned-short -r 2x3 -o out.png ";
  EXPECT_EQ(zimg(options + "'no\033\u009B\233fileä'").err, "zimg: no???fileä: No such file or directory\n");
  const Result result = zimg(options + "dump.raw '--absolute=1\033\n\u202E'");
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(result.err,
            "zimg: --absolute: '1?"
            "?"
            "?' is not of the form LO-HI\n");
}

class Xv : public testing::Test {
 protected:
  Xv() { place_.write("frame.png", "picture"); }

  // A viewer that notes the picture it was given.
  void add_viewer(const std::string& name, int status) const {
    place_.write_script("bin/" + name, "echo \"" + name + " $*\" >>calls; exit " + std::to_string(status));
  }

  // Only the viewers that the test has added are at hand.
  Result xv(const std::string& display, const std::string& picture = "frame.png") const {
    return place_.run("mkdir -p bin; " + display + R"( PATH="$PWD/bin" "$companions/xv" )" + picture);
  }

  test::Workplace place_;
};

TEST_F(Xv, WithoutADisplayItSaysWhereThePictureIs) {
  add_viewer("feh", 0);
  for (const char* display : {"", "DISPLAY= WAYLAND_DISPLAY="}) {
    const Result result = xv(display);
    EXPECT_EQ(result.status, 0);
    EXPECT_TRUE(result.out.starts_with("xv: the picture is /")) << result.out;
    EXPECT_TRUE(result.out.ends_with("/frame.png\n")) << result.out;
  }
  EXPECT_EQ(place_.files(), (std::vector<std::string>{"bin", "frame.png"}));
}

TEST_F(Xv, WithoutAViewerItSaysWhereThePictureIs) {
  const Result result = xv("DISPLAY=:0");
  EXPECT_EQ(result.status, 0);
  EXPECT_TRUE(result.out.ends_with("/frame.png\n")) << result.out;
}

// Whoever asked has nothing to look at.
TEST_F(Xv, APictureThatGoesWithTheProgramMustBeShown) {
  const auto expect_failure = [](const Result& result) {
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "xv: there is no viewer (xdg-open, feh, display) or no display\n");
  };
  expect_failure(xv("XRDIMAGE_SCRATCH=/x DISPLAY=:0"));
  add_viewer("feh", 0);
  for (const char* display : {"XRDIMAGE_SCRATCH=/x", "XRDIMAGE_SCRATCH=/x DISPLAY= WAYLAND_DISPLAY="})
    expect_failure(xv(display));
  EXPECT_EQ(place_.files(), (std::vector<std::string>{"bin", "frame.png"}));
}

TEST_F(Xv, TheFirstViewerAtHandOpensThePicture) {
  add_viewer("display", 0);
  add_viewer("feh", 0);
  EXPECT_EQ(xv("DISPLAY=:0").out, "");
  EXPECT_TRUE(test::read_file("calls").starts_with("feh /"));
  add_viewer("xdg-open", 0);
  place_.write("calls", "");
  EXPECT_EQ(xv("WAYLAND_DISPLAY=wayland-0").status, 0);
  EXPECT_TRUE(test::read_file("calls").starts_with("xdg-open /"));
  EXPECT_TRUE(test::read_file("calls").ends_with("/frame.png\n"));
}

// What xdg-open has asked to show the picture may not have read it yet. The program waits for what sleeps here.
TEST_F(Xv, BehindXdgOpenSomethingHoldsThePictureForAWhile) {
  add_viewer("xdg-open", 0);
  place_.write_script("bin/sleep", R"(echo "sleep $*" >>calls)");
  EXPECT_EQ(xv("XRDIMAGE_SCRATCH=/x DISPLAY=:0").status, 0);
  for (int i = 0; i < 100 && test::read_file("calls").find("sleep 60\n") == std::string::npos; ++i) usleep(50000);
  EXPECT_NE(test::read_file("calls").find("sleep 60\n"), std::string::npos);
}

TEST_F(Xv, AViewerThatFailsHandsOnToTheNext) {
  add_viewer("xdg-open", 3);
  add_viewer("display", 0);
  const Result result = xv("DISPLAY=:0");
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out, "");
  EXPECT_NE(test::read_file("calls").find("\ndisplay /"), std::string::npos);
}

// Callers run it with a PATH of theirs.
TEST_F(Xv, NoViewerOfTheWorkingDirectoryIsRun) {
  for (const char* name : {"xdg-open", "feh", "display"}) place_.write_script(name, "echo \"$0\" >>calls");
  for (const std::string path : {":$bin", "$bin:", "$bin::$bin", ".:$bin", "bin/..:$bin"}) {
    const Result result =
        place_.run(R"(mkdir -p bin; bin="$PWD/bin"; DISPLAY=:0 PATH=")" + path + R"(" "$companions/xv" frame.png)");
    EXPECT_EQ(result.status, 0) << path << result.err;
    EXPECT_TRUE(result.out.starts_with("xv: the picture is /")) << path << result.out;
    EXPECT_FALSE(std::filesystem::exists("calls")) << path;
  }
}

TEST_F(Xv, TheNameOfThePictureSteersNoTerminal) {
  const std::string name = "ä€%s\\\x1B]0;\x9B\u009B\u061C\u200E\u2028\u202E\u2066\n.png";
  place_.write(name, "picture");
  const std::string shown = "/ä€%s\\?]0;???????.png";  // without the byte that is no UTF-8
  const Result result = xv("", "'" + name + "'");
  EXPECT_EQ(result.status, 0);
  EXPECT_TRUE(result.out.ends_with(shown + "\n")) << result.out;
  const Result missing = xv("", "'" + name + "x'");
  EXPECT_EQ(missing.status, 1);
  EXPECT_TRUE(missing.err.ends_with(shown + "x: there is no such picture\n")) << missing.err;
}

TEST_F(Xv, AMissingPictureIsAnError) {
  const Result result = xv("", "none.png");
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.out, "");
  EXPECT_TRUE(result.err.ends_with("/none.png: there is no such picture\n")) << result.err;
  EXPECT_EQ(xv("", "").status, 2);
}

}  // namespace
