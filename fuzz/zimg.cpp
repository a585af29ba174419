// The companion zimg. The first two lines of an input are the size and the range of its command line, a number of two
// bytes the length of the colour map, the rest is the dump.
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "fuzz/harness.h"

int zimg_main(int argc, char** argv);

namespace {

// A folder for the picture, which is renamed when it is complete: the program wants a real file for it.
class Folder {
 public:
  Folder() : path_(std::filesystem::temp_directory_path() / ("xrdimage-fuzz-" + std::to_string(getpid()))) {
    std::filesystem::create_directory(path_);
  }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;
  ~Folder() { std::filesystem::remove_all(path_); }

  std::string picture() const { return path_ / "picture.png"; }

 private:
  std::filesystem::path path_;
};

}  // namespace

void fuzz::run(Bytes bytes) {
  static const Folder folder;
  static File colormap;
  Input input(bytes);
  std::vector<std::string> arguments{"zimg", "--unsigned-short", "-o", folder.picture()};
  arguments.insert(arguments.end(), {"-r", input.line()});
  if (const std::string range = input.line(); !range.empty()) arguments.push_back("--absolute=" + range);
  if (const std::size_t length = input.number(2); length > 0) {
    arguments.push_back(std::string("--colormap=") + colormap.write(input.take(length)));
  }
  arguments.emplace_back(file_of(input.rest()));

  std::vector<char*> words(arguments.size() + 1);  // ends with a null pointer
  std::ranges::transform(arguments, words.begin(), [](std::string& argument) { return argument.data(); });
  const int status = zimg_main(static_cast<int>(arguments.size()), words.data());
  require(status >= 0 && status <= 2);
}
