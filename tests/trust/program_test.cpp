// The program xrdimage on files with hostile names, and where there is no room for what it writes.
#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>

#include "tests/environment.h"
#include "tests/trust/child.h"
#include "tests/trust/hostile_names.h"
#include "tests/trust/samples.h"
#include "tests/trust/small_disk.h"

namespace {

namespace fs = std::filesystem;
using trust::Ending;

// Runs the program with these arguments, of which no shell learns. `prepare` is called before.
Ending run_program(
    std::vector<std::string> arguments, const std::function<void()>& prepare = [] {}) {
  return trust::in_child([&]() -> std::string {
    arguments.insert(arguments.begin(), XRDIMAGE_PROGRAM);
    std::vector<char*> pointers;
    for (std::string& argument : arguments) pointers.push_back(argument.data());
    pointers.push_back(nullptr);
    for (const char* variable : {"DISPLAY", "WAYLAND_DISPLAY"}) unsetenv(variable);
    prepare();
    execv(XRDIMAGE_PROGRAM, pointers.data());
    return "the program is not there";
  });
}

std::vector<std::string> files_here() {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(".")) names.push_back(entry.path().filename().string());
  std::ranges::sort(names);
  return names;
}

// One line, which names the file.
void expect_failure(const Ending& ending, const std::string& file) {
  EXPECT_EQ(ending.signal, 0);
  EXPECT_EQ(ending.status, 1) << ending.out << ending.err;
  EXPECT_NE(ending.err.find(file), std::string::npos) << ending.err;
  EXPECT_EQ(std::ranges::count(ending.err, '\n'), 1) << ending.err;
}

class Program : public testing::Test {
 protected:
  Program() { directory_.enter(); }

 private:
  test::TemporaryDirectory directory_;
};

const std::vector<std::string> kFormats{"edf", "tif", "img", "mar", "pck", "raw", "npy", "png"};

}  // namespace

TEST_F(Program, HostileNamesAreNamesOfFrames) {
  const std::string frame = trust::mar345_sample({true, false}).bytes;
  for (const std::string& name : trust::hostile_names()) {
    if (name.empty() || !trust::can_name_a_file(name + ".png")) continue;
    trust::write_file("./" + name, frame);
    const Ending info = run_program({"info", "--", name});
    EXPECT_EQ(info.status, 0) << name << info.err;
    EXPECT_NE(info.out.find("102 x 102 pixels"), std::string::npos) << name << info.out;
    const std::string output = "./" + name + ".png";
    const Ending convert = run_program({"convert", "-o", output, "--", name});
    EXPECT_EQ(convert.status, 0) << name << convert.err;
    EXPECT_TRUE(test::read_file(output).starts_with("\x89PNG")) << name;
    EXPECT_EQ(files_here().size(), 2U) << name;  // no canary
    for (const std::string& file : files_here()) fs::remove("./" + file);
  }
}

// The classic view makes names for a shell of the frame's.
TEST_F(Program, HostileNamesAreNoCommandsOfTheClassicView) {
  const test::TemporaryDirectory commands;
  for (const char* command : {"zimg", "xv"}) {
    const std::string path = commands.write(command,
                                            "#!/bin/sh\nfor last; do :; done\nprintf '%s\\0' \"$last\" >>\"$NOTES\"\n"
                                            "[ \"${0##*/}\" = xv ] || : >\"$7\"\n");
    fs::permissions(path, fs::perms::owner_all);
  }
  const std::string frame = trust::mar345_sample({true, false}).bytes;
  for (const std::string& name : trust::hostile_names()) {
    if (name.empty() || !trust::can_name_a_file(name + ".mar2300")) continue;
    trust::write_file("./" + name + ".mar2300", frame);
    const std::string notes = commands.path("notes");
    const Ending ending = run_program({"view", "--classic", "--", name + ".mar2300"}, [&] {
      setenv("NOTES", notes.c_str(), 1);
      setenv("PATH", (commands.path("") + ":" + std::getenv("PATH")).c_str(), 1);
    });
    EXPECT_EQ(ending.status, 0) << name << ending.out << ending.err;
    const std::string shown = (name.starts_with('-') ? "./" : "") + name;
    const std::string expected = shown + ".raw" + '\0' + shown + ".png" + '\0';
    EXPECT_EQ(test::read_file(notes), expected);
    EXPECT_EQ(files_here().size(), 1U) << name;  // the frame
    for (const std::string& file : files_here()) fs::remove("./" + file);
    fs::remove(notes);
  }
}

TEST_F(Program, FilesThatFindNoRoomAreAnErrorAndLeaveNothing) {
  trust::write_file("frame", trust::mar345_sample({true, false}).bytes);
  for (const std::string& format : kFormats) {
    const std::string output = "written." + format;
    const Ending ending = run_program({"convert", "frame", "-o", output}, [] {
      std::signal(SIGXFSZ, SIG_IGN);
      const rlimit limit{600, 600};
      setrlimit(RLIMIT_FSIZE, &limit);
    });
    expect_failure(ending, output);
    EXPECT_EQ(files_here(), std::vector<std::string>{"frame"}) << format;
  }
}

TEST_F(Program, FullFileSystemsAreAnErrorAndLeaveNothing) {
  fs::create_directory("small");
  ASSERT_EQ(run_program({"sample", "frame.mar2300", "--size", "1000"}).status, 0);
  for (const std::string& format : kFormats) {
    const std::string output = "small/written." + format;
    const Ending ending = trust::in_child([&]() -> std::string {
      if (const std::string error = trust::mount_small_disk("small"); !error.empty()) return error;
      // All but a few pages are taken.
      trust::write_file("small/other", std::string(1000000, 'x'));
      const Ending converted = run_program({"convert", "frame.mar2300", "-o", output});
      expect_failure(converted, output);
      return std::to_string(std::distance(fs::directory_iterator("small"), {}));
    });
    if (ending.told.starts_with(trust::kNotAllowed)) GTEST_SKIP() << ending.told;
    EXPECT_TRUE(ending.is_normal()) << format << ending.status << ending.out << ending.err;
    EXPECT_EQ(ending.told, "1") << format;
  }
}

TEST_F(Program, OutputThatFindsNoRoomIsAnError) {
  trust::write_file("frame", trust::mar345_sample({true, false}).bytes);
  const auto full = [] { dup2(open("/dev/full", O_WRONLY), STDOUT_FILENO); };
  for (const std::vector<std::string>& arguments :
       {std::vector<std::string>{"info", "frame"}, {"view", "--terminal", "frame"}, {"manual"}, {"--help"}}) {
    const Ending ending = run_program(arguments, full);
    EXPECT_EQ(ending.signal, 0) << arguments[0];
    EXPECT_EQ(ending.status, 2) << arguments[0] << ending.err;
    EXPECT_EQ(std::ranges::count(ending.err, '\n'), 1) << ending.err;
  }
}

// A closed standard output must not become the file that is written.
TEST_F(Program, ClosedOutputIsAnErrorAndNoFile) {
  trust::write_file("frame", trust::mar345_sample({true, false}).bytes);
  for (const std::string& format : kFormats) {
    const Ending ending = run_program({"convert", "frame", "-o", "written." + format}, [] { close(STDOUT_FILENO); });
    EXPECT_EQ(ending.signal, 0);
    EXPECT_EQ(ending.status, 2) << format;
    EXPECT_EQ(files_here(), std::vector<std::string>{"frame"}) << format;
  }
}
