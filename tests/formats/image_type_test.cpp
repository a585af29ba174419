#include <array>
#include <string>
#include <vector>

#include "tests/environment.h"
#include "xrdimage.h"

namespace {

struct Probe {
  const char* word;
  int type;
};

// In the order in which they are tried.
constexpr std::array<Probe, 12> kProbes{{{"TIFF", 9},
                                         {"tif", 9},
                                         {"edf", 8},
                                         {"mar2300", 4},
                                         {"mar2000", 12},
                                         {"pck", 3},
                                         {"img", 6},
                                         {"IFF", 7},
                                         {"raw", 10},
                                         {"TRA", 1},
                                         {"tra", 1},
                                         {"xi", 2}}};

// The first `count` commands for a path, which is written as in them.
std::vector<std::string> commands_for(const std::string& word, std::size_t count = kProbes.size()) {
  std::vector<std::string> commands;
  for (std::size_t i = 0; i < count; ++i) {
    commands.push_back("file " + word + " | grep " + kProbes.at(i).word + " >/dev/null");
  }
  return commands;
}

// The commands that are run for a path when none of them finds anything.
std::vector<std::string> commands_run(const std::string& path) {
  const test::ShellRecorder shell([](const std::string&) { return 256; });
  test::capture([&] { EXPECT_EQ(get_image_type(path.c_str()), IMAGE_TYPE_UNKNOWN) << path; });
  return shell.commands();
}

// What the type of a file in the working directory is, the commands being run.
int type_of(const std::string& path) {
  int type = -1;
  const auto output = test::capture([&] { type = get_image_type(path.c_str()); });
  EXPECT_EQ(output.err, "") << path;
  EXPECT_EQ(output.out.empty(), type != IMAGE_TYPE_UNKNOWN) << path;
  return type;
}

// The working directory is an empty one, so that paths hold no other words than those of their test. `file` calls the
// contents data, or text.
class ImageTypeByCommand : public testing::Test {
 protected:
  ImageTypeByCommand() { directory_.enter(); }
  int type_of_new(const std::string& name, std::string_view contents = "\x01\x02\x03\x04") {
    directory_.write(name, contents);
    return type_of(name);
  }
  test::TemporaryDirectory directory_;
};

}  // namespace

TEST(ImageType, CodesAreThoseThatCallersSwitchOn) {
  EXPECT_EQ(IMAGE_TYPE_UNKNOWN, 0);
  EXPECT_EQ(IMAGE_TYPE_TRA, 1);
  EXPECT_EQ(IMAGE_TYPE_XI, 2);
  EXPECT_EQ(IMAGE_TYPE_PCK, 3);
  EXPECT_EQ(IMAGE_TYPE_MAR2300, 4);
  EXPECT_EQ(IMAGE_TYPE_IMG, 6);
  EXPECT_EQ(IMAGE_TYPE_IFF, 7);
  EXPECT_EQ(IMAGE_TYPE_EDF, 8);
  EXPECT_EQ(IMAGE_TYPE_TIFF, 9);
  EXPECT_EQ(IMAGE_TYPE_RAW, 10);
  EXPECT_EQ(IMAGE_TYPE_MAR2000, 12);
}

TEST(ImageType, TheFirstWordThatIsFoundDecides) {
  for (std::size_t match = 0; match < kProbes.size(); ++match) {
    std::size_t calls = 0;
    const test::ShellRecorder shell([&](const std::string&) { return calls++ == match ? 0 : 256; });
    int type = -1;
    const auto output = test::capture([&] { type = get_image_type("frame"); });
    EXPECT_EQ(type, kProbes.at(match).type) << kProbes.at(match).word;
    EXPECT_EQ(shell.commands(), commands_for("frame", match + 1));
    EXPECT_EQ(output.out, "");
    EXPECT_EQ(output.err, "");
  }
}

TEST(ImageType, NothingFoundIsReportedWithTheLastCommand) {
  const test::ShellRecorder shell([](const std::string&) { return 256; });
  int type = -1;
  const auto output = test::capture([&] { type = get_image_type("/data/frame"); });
  EXPECT_EQ(type, 0);
  EXPECT_EQ(shell.commands(), commands_for("/data/frame"));
  EXPECT_EQ(output.out, "# \033[31;1mERROR\033[0m file /data/frame | grep xi >/dev/null returned -1\n");
  EXPECT_EQ(output.err, "");
}

TEST(ImageType, AShellThatFailsIsNoMatch) {
  for (const int status : {-1, 1, 2, 127, 127 << 8, 9}) {
    std::size_t calls = 0;
    const test::ShellRecorder shell([&](const std::string&) {
      ++calls;
      return status;
    });
    test::capture([] { EXPECT_EQ(get_image_type("frame"), 0); });
    EXPECT_EQ(calls, 12U);
  }
}

TEST(ImageType, PlainPathsStandInTheCommandAsTheyAre) {
  const std::string path = "/ABCXYZ/abcxyz/0123456789/_-./+=:,@%";
  EXPECT_EQ(commands_run(path), commands_for(path));
  EXPECT_EQ(commands_run("%s%n%d"), commands_for("%s%n%d"));
}

TEST(ImageType, OtherPathsAreOneQuotedWord) {
  EXPECT_EQ(commands_run("my frame"), commands_for("'my frame'"));
  EXPECT_EQ(commands_run("$(reboot)"), commands_for("'$(reboot)'"));
  EXPECT_EQ(commands_run("a;b|c&d"), commands_for("'a;b|c&d'"));
  EXPECT_EQ(commands_run("\"frame\""), commands_for("'\"frame\"'"));
  EXPECT_EQ(commands_run("it's"), commands_for("'it'\\''s'"));
  EXPECT_EQ(commands_run("two\nlines"), commands_for("'two\nlines'"));
  EXPECT_EQ(commands_run("M\xFCller"), commands_for("'M\xFCller'"));
  EXPECT_EQ(commands_run("~"), commands_for("'~'"));
  EXPECT_EQ(commands_run(""), commands_for("''"));
}

TEST(ImageType, ALeadingDashIsNoOption) {
  EXPECT_EQ(commands_run("-f"), commands_for("./-f"));
  EXPECT_EQ(commands_run("- f"), commands_for("'./- f'"));
}

TEST(ImageType, LongPathsAreNotCut) {
  for (const std::size_t length : {215U, 216U, 240U, 256U, 257U, 5000U, 100000U}) {
    const std::string path(length, 'f');
    EXPECT_TRUE(commands_run(path) == commands_for(path)) << length;  // too long to be shown
    const test::ShellRecorder shell([](const std::string&) { return 256; });
    const auto output = test::capture([&] { get_image_type(path.c_str()); });
    EXPECT_TRUE(output.out == "# " RED_ERROR " file " + path + " | grep xi >/dev/null returned -1\n") << length;
  }
}

TEST_F(ImageTypeByCommand, NamesDecideWhatDataAre) {
  EXPECT_EQ(type_of_new("scan.tif"), 9);
  EXPECT_EQ(type_of_new("scan.TIFF"), 9);
  EXPECT_EQ(type_of_new("frame.edf"), 8);
  EXPECT_EQ(type_of_new("image.mar2300"), 4);
  EXPECT_EQ(type_of_new("image.mar2000"), 12);
  EXPECT_EQ(type_of_new("frame.pck"), 3);
  EXPECT_EQ(type_of_new("frame.img"), 6);
  EXPECT_EQ(type_of_new("frame.IFF"), 7);
  EXPECT_EQ(type_of_new("frame.raw"), 10);
  EXPECT_EQ(type_of_new("frame.TRA"), 1);
  EXPECT_EQ(type_of_new("frame.tra"), 1);
  EXPECT_EQ(type_of_new("taxi.dat"), 2);
}

TEST_F(ImageTypeByCommand, EarlierWordsWinOverLaterOnes) {
  EXPECT_EQ(type_of_new("frame.pck.edf"), 8);
  EXPECT_EQ(type_of_new("edf.pck"), 8);
  EXPECT_EQ(type_of_new("frame.mar2300.tif"), 9);
  EXPECT_EQ(type_of_new("mar2000.mar2300"), 4);
  EXPECT_EQ(type_of_new("raw.img"), 6);
  EXPECT_EQ(type_of_new("xi.tra"), 1);
}

TEST_F(ImageTypeByCommand, ContentsDecideAsWellAsNames) {
  EXPECT_EQ(type_of_new("frame", std::string_view("II*\0\x08\0\0\0\0\0", 10)), 9);
  EXPECT_EQ(type_of_new("frame", std::string_view("RIFF\x04\0\0\0abcd", 12)), 7);
  // What `file` calls a TIFF is one whatever its name says.
  EXPECT_EQ(type_of_new("frame.edf", std::string_view("II*\0\x08\0\0\0\0\0", 10)), 9);
}

TEST_F(ImageTypeByCommand, DirectoriesInThePathCountToo) {
  std::filesystem::create_directory("raw");
  EXPECT_EQ(type_of_new("raw/frame.dat"), 10);
}

TEST_F(ImageTypeByCommand, TheFileNeedNotExist) {
  EXPECT_EQ(type_of("missing.edf"), 8);
  EXPECT_EQ(type_of("missing/taxi"), 2);
  EXPECT_EQ(type_of("missing"), 0);
  EXPECT_EQ(type_of(""), 0);
}

TEST_F(ImageTypeByCommand, OtherFilesAreUnknown) {
  directory_.write("frame.dat", "\x01\x02\x03\x04");
  int type = -1;
  const auto output = test::capture([&] { type = get_image_type("frame.dat"); });
  EXPECT_EQ(type, 0);
  EXPECT_EQ(output.out, "# \033[31;1mERROR\033[0m file frame.dat | grep xi >/dev/null returned -1\n");
  EXPECT_EQ(output.err, "");
  EXPECT_EQ(type_of_new("empty", ""), 0);
  EXPECT_EQ(type_of("."), 0);
}

TEST_F(ImageTypeByCommand, NoPathIsMoreThanAPathToTheShell) {
  for (const char* name : {"my frame.edf", "it's.edf", "\"a\".edf", "-C.edf", "--help.edf", "two\nlines.edf", "a;b.edf",
                           "$(touch made).edf", "`touch made`.edf", ";touch made;.edf", "|touch made|.edf",
                           "&touch made&.edf", "a>made.edf", "*.edf", "a\\b.edf", "#a.edf", " .edf", "$HOME.edf"}) {
    EXPECT_EQ(type_of_new(name), 8) << name;
    std::filesystem::remove(name);
    EXPECT_TRUE(std::filesystem::is_empty(".")) << name;
  }
}

TEST_F(ImageTypeByCommand, LongPathsAreLookedAt) {
  std::string path;
  for (int i = 0; i < 500; ++i) path += "./";
  directory_.write("frame", std::string_view("RIFF\x04\0\0\0abcd", 12));
  EXPECT_EQ(type_of(path + "frame"), 7);
  EXPECT_EQ(type_of(path + "missing"), 0);
  EXPECT_EQ(type_of(std::string(5000, 'f') + ".edf"), 8);
}
