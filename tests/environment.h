// The surroundings of the library in a program: files, standard streams, and a look at what the library did with
// them.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace test {

// A new empty directory, removed with all it holds. `enter` makes it the working directory until then.
class TemporaryDirectory {
 public:
  TemporaryDirectory();
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
  ~TemporaryDirectory();

  // The path of a file in the directory.
  std::string path(std::string_view name) const;
  // Makes the file and returns its path.
  std::string write(std::string_view name, std::string_view bytes) const;
  void enter();

 private:
  std::filesystem::path directory_;
  std::filesystem::path previous_;
};

// The whole file; a failed test if there is none.
std::string read_file(const std::string& path);

struct Output {
  std::string out;  // bytes written to standard output
  std::string err;  // bytes written to standard error
};

// Runs the action and returns every byte that it wrote to standard output and standard error, child processes included.
Output capture(const std::function<void()>& action);

// Runs the action with the text on standard input. The stream is fresh: nothing is buffered from before.
void with_input(std::string_view text, const std::function<void()>& action);

// Descriptors that the process has open.
std::size_t open_descriptors();

// Integers as the bytes of a file, least significant first.
std::string little16(unsigned value);
std::string little32(std::uint32_t value);

struct Freer {
  void operator()(void* memory) const { std::free(memory); }
};
// Takes over what a function of the library handed out.
template <typename T>
std::unique_ptr<T[], Freer> own(T* array) {
  return std::unique_ptr<T[], Freer>(array);
}

struct StreamCloser {
  void operator()(std::FILE* stream) const { std::fclose(stream); }
};
using Stream = std::unique_ptr<std::FILE, StreamCloser>;

// A stream over the bytes of a temporary file, at its beginning, open for reading and writing.
Stream stream_of(std::string_view bytes);

// A pipe's reading end whose writing end has been given the bytes and closed. At most 64 KiB.
Stream pipe_of(std::string_view bytes);

// Commands given to system() since the last call of this function. `answer` is what system() returns meanwhile, the
// commands not being run; without it they are run.
class ShellRecorder {
 public:
  ShellRecorder();
  explicit ShellRecorder(std::function<int(const std::string&)> answer);
  ShellRecorder(const ShellRecorder&) = delete;
  ShellRecorder& operator=(const ShellRecorder&) = delete;
  ~ShellRecorder();
  const std::vector<std::string>& commands() const { return commands_; }
  int run(const char* command);

 private:
  std::function<int(const std::string&)> answer_;
  std::vector<std::string> commands_;
};

// Makes allocations of more than 256 MiB fail for the rest of the process; for death tests.
void limit_memory();

// A real frame's path; empty where the shared samples are absent. Tests then skip with a message.
std::string sample_frame(std::string_view name);

}  // namespace test

// Words of messages, as callers see them.
#define RED_ERROR "\033[31;1mERROR\033[0m"
#define RED_WARNING "\033[31;1mWARNING\033[0m"
