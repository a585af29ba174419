// Names that are hostile to a shell, through every function that runs a command.
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <set>

#include "tests/environment.h"
#include "tests/trust/child.h"
#include "tests/trust/hostile_names.h"
#include "tests/trust/readers.h"
#include "xrdimage.h"

namespace {

namespace fs = std::filesystem;
using trust::Ending;

// A working directory, and commands that replace others and note their names and arguments.
class ShellTrust : public testing::Test {
 protected:
  ShellTrust() {
    work_.enter();
    for (const char* command : {"file", "zimg", "xv"}) {
      const std::string path = commands_.write(
          command, "#!/bin/sh\nprintf '%s\\0' \"${0##*/}\" \"$@\" end >>\"$NOTES\"\necho TIFF image data\n");
      fs::permissions(path, fs::perms::owner_all);
    }
  }

  // Runs the action where these commands are found first.
  Ending run(const std::function<std::string()>& action) const {
    return trust::in_child([&] {
      setenv("NOTES", commands_.path("notes").c_str(), 1);
      setenv("PATH", (commands_.path("") + ":" + std::getenv("PATH")).c_str(), 1);
      return action();
    });
  }

  // What the commands have noted since the last call: words, and "end" behind each command.
  std::vector<std::string> noted() const {
    const std::string path = commands_.path("notes");
    if (!fs::exists(path)) return {};
    std::vector<std::string> words;
    const std::string notes = test::read_file(path);
    fs::remove(path);
    for (std::size_t begin = 0, end = 0; (end = notes.find('\0', begin)) != std::string::npos; begin = end + 1) {
      words.push_back(notes.substr(begin, end - begin));
    }
    return words;
  }

  // What is in the working directory. Removes it.
  static std::set<std::string> files_left() {
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(".")) names.insert(entry.path().filename().string());
    for (const std::string& name : names) fs::remove_all("./" + name);
    return names;
  }

 private:
  test::TemporaryDirectory commands_;
  test::TemporaryDirectory work_;
};

// As it stands in a command.
std::string as_argument(const std::string& path) {
  return path.starts_with('-') ? "./" + path : path;
}

using Words = std::vector<std::string>;

}  // namespace

TEST(HostileNames, AreForty) {
  EXPECT_GE(trust::hostile_names().size(), 40U);
}

TEST_F(ShellTrust, TheTypeIsAskedForOneFileOfExactlyThisName) {
  for (const std::string& name : trust::hostile_names()) {
    const Ending ending = run([&] { return std::to_string(get_image_type(name.c_str())); });
    EXPECT_TRUE(ending.is_normal()) << name << ending.err;
    EXPECT_EQ(ending.told, "9") << name << ending.out;  // the first command found TIFF
    EXPECT_EQ(ending.out + ending.err, "") << name;
    EXPECT_EQ(noted(), (Words{"file", as_argument(name), "end"})) << name;
    EXPECT_EQ(files_left(), std::set<std::string>()) << name;
  }
}

TEST_F(ShellTrust, NamesLongerThanACommandAreOfNoType) {
  const Ending ending = run([] { return std::to_string(get_image_type(std::string(200000, '\'').c_str())); });
  EXPECT_TRUE(ending.is_normal()) << ending.err;
  EXPECT_EQ(ending.told, "0");
  EXPECT_EQ(noted(), Words());
}

TEST_F(ShellTrust, ThePictureIsMadeAndShownUnderExactlyThisName) {
  for (const std::string& name : trust::hostile_names()) {
    const Ending ending = run([&] {
      auto pixels = std::vector<unsigned int>(600, 400);
      return std::to_string(view(name.c_str(), pixels.data(), 30, 20, 4));
    });
    EXPECT_TRUE(ending.is_normal()) << name << ending.err;
    EXPECT_EQ(ending.told, "0") << name;
    const std::string raw = name + ".raw";
    const std::string picture = as_argument(name + ".png");
    EXPECT_EQ(noted(), (Words{"zimg", "--colormap=colormap.zimg", "--unsigned-short", "-r", "20x30", "--absolute=0-100",
                              "-o", picture, as_argument(raw), "end", "xv", picture, "end"}))
        << name;
    EXPECT_NE(ending.out.find("# " + raw + " written\n"), std::string::npos) << ending.out;
    std::set<std::string> expected{"colormap.zimg"};
    if (trust::can_name_a_file(raw)) expected.insert(raw);
    EXPECT_EQ(files_left(), expected) << name;
  }
}

TEST_F(ShellTrust, DeletingTakesTheTemporaryImageOnly) {
  for (const std::string& name : trust::hostile_names()) {
    if (trust::can_name_a_file(name)) trust::write_file("./" + name, "kept");
  }
  trust::write_file("tmp.image", "");
  const auto files = static_cast<std::size_t>(std::distance(fs::directory_iterator("."), {}));
  const Ending ending = run([] { return std::to_string(filedelete()); });
  EXPECT_EQ(ending.told, "0");
  const std::set<std::string> left = files_left();
  EXPECT_EQ(left.size(), files - 1);
  EXPECT_FALSE(left.contains("tmp.image"));
}

// What files say of themselves does not reach a shell.
TEST_F(ShellTrust, TextOfHeadersIsNoCommand) {
  for (const trust::Reader& reader : trust::readers()) {
    std::string bytes = reader.sample.bytes;
    for (const std::string text : {"unsigned_short", "fast", "phi", "LowByteFirst", "12-Jan-2004", "scanner"}) {
      if (const std::size_t at = bytes.find(text); at != std::string::npos)
        bytes.replace(at, text.size(), ";>canary;#");
    }
    trust::write_file("frame", bytes);
    const Ending ending = run([&] {
      const int before = trust::NoCommands::count();
      trust::Scene scene;
      reader.read(scene, "frame");
      return std::to_string(trust::NoCommands::count() - before);
    });
    EXPECT_TRUE(ending.is_normal()) << reader.name << ending.err;
    EXPECT_EQ(ending.told, "0") << reader.name;
    EXPECT_EQ(files_left(), std::set<std::string>{"frame"}) << reader.name;
  }
}
