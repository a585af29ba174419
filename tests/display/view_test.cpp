#include <cstdlib>
#include <filesystem>
#include <limits>
#include <set>
#include <string>
#include <vector>

#include "tests/environment.h"
#include "xrdimage.h"

namespace {

using Pixels = std::vector<unsigned int>;

constexpr char kShift[] = "(to_short) shift = 0\n";

struct Viewing {
  int result = 0;
  test::Output output;
  std::vector<std::string> commands;
};

// Calls view in the working directory. The programs are not run; `status` is what the shell would have returned.
Viewing view_recorded(const std::string& name, Pixels image, int x, int y, int divisor, int status = 0) {
  const Pixels before = image;
  const std::size_t descriptors = test::open_descriptors();
  const test::ShellRecorder shell([=](const std::string&) { return status; });
  Viewing viewing;
  viewing.output = test::capture([&] { viewing.result = view(name.c_str(), image.data(), x, y, divisor); });
  viewing.commands = shell.commands();
  EXPECT_EQ(image, before);
  EXPECT_EQ(test::open_descriptors(), descriptors);
  return viewing;
}

// The command for a 3 x 2 image. The names are given as the shell reads them.
std::string command_for(const std::string& largest, const std::string& picture, const std::string& raw) {
  return "zimg --colormap=colormap.zimg --unsigned-short -r 2x3 --absolute=0-" + largest + " -o " + picture + " " +
         raw + "; xv " + picture;
}

std::set<std::string> files_here() {
  std::set<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(".")) names.insert(entry.path().filename().string());
  return names;
}

// Files are written to the working directory, an empty one.
class View : public testing::Test {
 protected:
  View() { directory_.enter(); }

  // Views an image with this largest pixel and expects this upper limit in the command.
  static void expect_limit(unsigned int largest, int divisor, const std::string& limit) {
    const Viewing viewing = view_recorded("frame", {1, 2, largest, 3, 4, 0}, 3, 2, divisor);
    EXPECT_EQ(viewing.commands, std::vector{command_for(limit, "frame.png", "frame.raw")});
  }

  // Views an image of this name and expects these words in the command.
  static void expect_words(const std::string& name, const std::string& picture, const std::string& raw) {
    const Viewing viewing = view_recorded(name, {1, 2, 3, 4, 5, 6}, 3, 2, 1);
    const std::string command = command_for("6", picture, raw);
    EXPECT_EQ(viewing.commands, std::vector{command});
    EXPECT_EQ(viewing.output.out,
              "# 0 kB f\xFCr Daten_ushort bereitgestellt\n# " + name + ".raw written\n" + command + "\n");
    EXPECT_EQ(test::read_file(name + ".raw").size(), 12U);
  }

  static void expect_refused(int x, int y) {
    const Viewing viewing = view_recorded("frame", {1, 2, 3}, x, y, 1);
    EXPECT_EQ(viewing.result, -1);
    EXPECT_EQ(viewing.output.out,
              "# " RED_ERROR " cannot show " + std::to_string(x) + " x " + std::to_string(y) + " pixels\n");
    EXPECT_EQ(viewing.output.err, "");
    EXPECT_EQ(viewing.commands, std::vector<std::string>{});
    EXPECT_EQ(files_here(), std::set<std::string>{});
  }

  test::TemporaryDirectory directory_;
};

// Small programs take the place of the converter and the viewer. They note their arguments.
class ViewPrograms : public View {
 protected:
  ViewPrograms() {
    if (const char* path = std::getenv("PATH")) old_path_ = path;
    std::filesystem::create_directory("bin");
    make_program("zimg", "touch \"$7\"");
    make_program("xv", "exit 3");
    setenv("PATH", (directory_.path("bin") + ":" + old_path_).c_str(), 1);
  }
  ~ViewPrograms() override { setenv("PATH", old_path_.c_str(), 1); }

 private:
  void make_program(const std::string& name, const std::string& end) {
    const std::string path = directory_.write(
        "bin/" + name, "#!/bin/sh\nprintf '[%s]' " + name + " \"$@\" >>calls\necho " + name + " runs\n" + end + "\n");
    std::filesystem::permissions(path, std::filesystem::perms::owner_all);
  }
  std::string old_path_;
};

}  // namespace

TEST_F(View, WritesDumpAndColormapAndRunsTheCommand) {
  const Viewing viewing = view_recorded("frame", {1, 2, 256001, 3, 4, 12000}, 3, 2, 4, 0);
  // 256001 / 4
  const std::string command =
      "zimg --colormap=colormap.zimg --unsigned-short -r 2x3 --absolute=0-64000 -o frame.png frame.raw; xv frame.png";
  EXPECT_EQ(viewing.commands, std::vector{command});
  EXPECT_EQ(viewing.output.out, "# 0 kB f\xFCr Daten_ushort bereitgestellt\n# frame.raw written\n" + command + "\n");
  EXPECT_EQ(viewing.output.err, kShift);
  EXPECT_EQ(files_here(), (std::set<std::string>{"colormap.zimg", "frame.raw"}));
  EXPECT_EQ(test::read_file("frame.raw"), std::string("\1\0\2\0\x01\xE8\3\0\4\0\xE0\x2E", 12));
  write_colormap("expected");
  EXPECT_EQ(test::read_file("colormap.zimg"), test::read_file("expected"));
}

TEST_F(View, FilesAreThereWhenTheProgramsStart) {
  std::set<std::string> files;
  std::string dump;
  const test::ShellRecorder shell([&](const std::string&) {
    files = files_here();
    dump = test::read_file("frame.raw");
    return 0;
  });
  Pixels image{0x6261, 0x6463, 0x6665};
  test::capture([&] { view("frame", image.data(), 3, 1, 1); });
  EXPECT_EQ(files, (std::set<std::string>{"colormap.zimg", "frame.raw"}));
  EXPECT_EQ(dump, "abcdef");
}

TEST_F(View, ReturnsWhatTheShellReturns) {
  for (const int status : {0, 256, 127 << 8, 9, -1}) {
    EXPECT_EQ(view_recorded("frame", {1}, 1, 1, 1, status).result, status);
  }
}

TEST_F(View, TheHeightComesFirst) {
  const Viewing viewing = view_recorded("frame", Pixels(5000, 7), 100, 50, 1);
  EXPECT_EQ(viewing.commands,
            std::vector<std::string>{"zimg --colormap=colormap.zimg --unsigned-short -r 50x100 --absolute=0-7 "
                                     "-o frame.png frame.raw; xv frame.png"});
  EXPECT_TRUE(viewing.output.out.starts_with("# 9 kB f\xFCr Daten_ushort bereitgestellt\n# frame.raw written\n"));
}

TEST_F(View, TheLargestPixelIsDivided) {
  expect_limit(12000, 4, "3000");
  expect_limit(12000, 1, "12000");
  expect_limit(12000, 7, "1714");
  expect_limit(12000, 12001, "0");
  expect_limit(65536, 1, "65536");
}

TEST_F(View, DivisorsBelowOne) {
  expect_limit(12000, 0, "12000");
  expect_limit(12000, -1, "-12000");
  expect_limit(12000, -7, "-1714");
}

TEST_F(View, TheDivisionIsSigned) {
  // The largest pixel is found without a sign, and divided with one.
  expect_limit(0xFFFFFFFF, 1, "-1");
  expect_limit(0xFFFFFFF9, 2, "-3");
  expect_limit(0x80000000, 2, "-1073741824");
  expect_limit(0x80000000, 0, "-2147483648");
  expect_limit(0x80000000, -1, "-2147483648");  // 2^31 fits no int
  expect_limit(0x7FFFFFFF, -1, "-2147483647");
  expect_limit(0x80000000, std::numeric_limits<int>::min(), "1");
}

TEST_F(View, ABlackImageHasTheLimitZero) {
  EXPECT_EQ(view_recorded("frame", Pixels(6, 0), 3, 2, 5).commands,
            std::vector{command_for("0", "frame.png", "frame.raw")});
}

TEST_F(View, PlainNamesStandInTheCommandAsTheyAre) {
  expect_words("frame_001.mar2300", "frame_001.mar2300.png", "frame_001.mar2300.raw");
  expect_words("50%s=a+b:c,d@e", "50%s=a+b:c,d@e.png", "50%s=a+b:c,d@e.raw");
  expect_words(directory_.path("frame"), directory_.path("frame.png"), directory_.path("frame.raw"));
  expect_words("", ".png", ".raw");
}

TEST_F(View, OtherNamesAreQuoted) {
  expect_words("my frame", "'my frame.png'", "'my frame.raw'");
  expect_words("it's", "'it'\\''s.png'", "'it'\\''s.raw'");
  expect_words("$(reboot)", "'$(reboot).png'", "'$(reboot).raw'");
  expect_words("a;b", "'a;b.png'", "'a;b.raw'");
  expect_words("two\nlines", "'two\nlines.png'", "'two\nlines.raw'");
  expect_words("M\xFCller", "'M\xFCller.png'", "'M\xFCller.raw'");
}

TEST_F(View, ALeadingDashIsNoOption) {
  expect_words("-o", "./-o.png", "./-o.raw");
  expect_words("- o", "'./- o.png'", "'./- o.raw'");
}

TEST_F(View, LongNamesAreNotCut) {
  std::string name;
  for (int i = 0; i < 500; ++i) name += "./";
  name += "frame";
  expect_words(name, name + ".png", name + ".raw");
}

TEST_F(View, ADumpThatCannotBeOpenedStopsNothing) {
  const Viewing viewing = view_recorded("missing/frame", {1, 2, 3, 4, 5, 6}, 3, 2, 1, 512);
  const std::string command = command_for("6", "missing/frame.png", "missing/frame.raw");
  EXPECT_EQ(viewing.output.out,
            "# 0 kB f\xFCr Daten_ushort bereitgestellt\n# \033[31;1mERROR\033[0m opening missing/frame.raw# "
            "missing/frame.raw written\n" +
                command + "\n");
  EXPECT_EQ(viewing.commands, std::vector{command});
  EXPECT_EQ(viewing.result, 512);
  EXPECT_EQ(files_here(), std::set<std::string>{"colormap.zimg"});
}

TEST_F(View, AColormapThatCannotBeOpenedStopsNothing) {
  std::filesystem::create_directory("colormap.zimg");
  const Viewing viewing = view_recorded("frame", {1, 2, 3, 4, 5, 6}, 3, 2, 1);
  const std::string command = command_for("6", "frame.png", "frame.raw");
  EXPECT_EQ(viewing.output.out,
            "# 0 kB f\xFCr Daten_ushort bereitgestellt\n# frame.raw written\n# \033[31;1mERROR\033[0m opening "
            "colormap.zimg" +
                command + "\n");
  EXPECT_EQ(viewing.commands, std::vector{command});
}

TEST_F(View, AnEmptyImageIsShownToo) {
  const Viewing viewing = view_recorded("frame", {9}, 0, 5, 1);
  EXPECT_EQ(viewing.commands,
            std::vector<std::string>{"zimg --colormap=colormap.zimg --unsigned-short -r 5x0 --absolute=0-0 "
                                     "-o frame.png frame.raw; xv frame.png"});
  EXPECT_EQ(test::read_file("frame.raw"), "");
}

TEST_F(View, SizesThatCannotBeAreRefused) {
  expect_refused(-1, 5);
  expect_refused(5, -1);
  expect_refused(-3, -4);
  expect_refused(65536, 65536);  // 2^32
  expect_refused(65537, 65536);
  expect_refused(2147483647, 2147483647);
  expect_refused(268435457, 1);
}

TEST_F(ViewPrograms, TheConverterAndThenTheViewerAreRun) {
  Pixels image{1, 2, 3, 4, 5, 12000};
  int result = -1;
  const auto output = test::capture([&] { result = view("it's my $(frame)", image.data(), 3, 2, 4); });
  EXPECT_EQ(test::read_file("calls"),
            "[zimg][--colormap=colormap.zimg][--unsigned-short][-r][2x3][--absolute=0-3000][-o][it's my $(frame).png]"
            "[it's my $(frame).raw][xv][it's my $(frame).png]");
  EXPECT_EQ(result, 3 << 8);  // the viewer's exit status
  EXPECT_EQ(output.out, "# 0 kB f\xFCr Daten_ushort bereitgestellt\n# it's my $(frame).raw written\n" +
                            command_for("3000", "'it'\\''s my $(frame).png'", "'it'\\''s my $(frame).raw'") +
                            "\nzimg runs\nxv runs\n");
  EXPECT_EQ(output.err, kShift);
}
