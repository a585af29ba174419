// What the fuzz targets share: an input taken apart, files and answers for the functions that want them, and the checks
// that end the process when they fail.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <span>
#include <string>

#include "support/files.h"
#include "support/memory.h"

namespace fuzz {

using Bytes = std::span<const unsigned char>;

// What the target does with an input; each source defines it once.
void run(Bytes input);

// Refuses arrays of more than `bytes`; before a target's first call, of more than 2 MiB. Otherwise the sizes that
// inputs state would set the pace.
void limit_arrays(std::size_t bytes);

// Takes an input apart from its front on. What an input lacks is 0 or empty.
class Input {
 public:
  explicit Input(Bytes bytes) : rest_(bytes) {}

  unsigned byte() { return static_cast<unsigned>(number(1)); }
  std::uint32_t number(std::size_t bytes);  // little-endian
  std::string line();                       // without its line feed, which is stepped over
  Bytes take(std::size_t bytes);

  Bytes rest() const { return rest_; }
  bool empty() const { return rest_.empty(); }

 private:
  Bytes rest_;
};

// A file in memory, to be opened by its path.
class File {
 public:
  File();
  File(const File&) = delete;
  File& operator=(const File&) = delete;
  ~File();

  const char* path() const { return path_.c_str(); }
  // Replaces what it holds. Returns the path.
  const char* write(Bytes bytes);
  std::string contents() const;

 private:
  int descriptor_;
  std::string path_;
};

// The process's one file for inputs, holding these bytes from now on, and a stream at its beginning.
const char* file_of(Bytes bytes);
xrd::FileHandle stream_of(Bytes bytes);

// Gives the text to those who read standard input, while it lives.
class StandardInput {
 public:
  explicit StandardInput(std::string text);
  StandardInput(const StandardInput&) = delete;
  StandardInput& operator=(const StandardInput&) = delete;
  ~StandardInput();

 private:
  std::string text_;
  std::FILE* previous_;
};

// Closes the streams that the reader left open. Those that are still open when the run ends are a finding.
void close_left_open();

// A finding if it does not hold.
void require(bool condition);

// The output of a reader: nothing, or an array of the reported size.
struct Image {
  unsigned int* pixels = nullptr;
  int width = 0;
  int height = 0;

  Image() = default;
  Image(int initial_width, int initial_height) : width(initial_width), height(initial_height) {}
  Image(const Image&) = delete;
  Image& operator=(const Image&) = delete;
  ~Image() { std::free(pixels); }

  std::size_t count() const { return static_cast<std::size_t>(width) * static_cast<std::size_t>(height); }
  void check() const;
};

}  // namespace fuzz
