#include "tests/environment.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <fstream>
#include <iterator>

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define XRDIMAGE_ADDRESS_SANITIZER
#endif
#endif

#ifdef XRDIMAGE_ADDRESS_SANITIZER
// Large allocations fail as they would without memory, instead of ending the process. The sanitizer's own shadow is too
// large for a resource limit.
extern "C" const char* __asan_default_options();
extern "C" const char* __asan_default_options() {  // NOLINT: the sanitizer looks for this name
  return "allocator_may_return_null=1:max_allocation_size_mb=256";
}
#endif

namespace test {

namespace fs = std::filesystem;

TemporaryDirectory::TemporaryDirectory() {
  std::string pattern = (fs::temp_directory_path() / "xrdimage-test-XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr) std::abort();
  directory_ = pattern;
}

TemporaryDirectory::~TemporaryDirectory() {
  std::error_code ignored;
  if (!previous_.empty()) fs::current_path(previous_, ignored);
  fs::remove_all(directory_, ignored);
}

std::string TemporaryDirectory::path(std::string_view name) const {
  return (directory_ / name).string();
}

std::string TemporaryDirectory::write(std::string_view name, std::string_view bytes) const {
  std::string file = path(name);
  std::ofstream(file, std::ios::binary) << bytes;
  return file;
}

void TemporaryDirectory::enter() {
  previous_ = fs::current_path();
  fs::current_path(directory_);
}

std::string read_file(const std::string& path) {
  std::ifstream stream(path, std::ios::binary);
  EXPECT_TRUE(stream) << path;
  return {std::istreambuf_iterator<char>(stream), {}};
}

namespace {

// One standard descriptor, sent to a temporary file for a while.
class Diversion {
 public:
  Diversion(int descriptor, std::FILE* stream) : descriptor_(descriptor), stream_(stream) {
    std::fflush(stream_);
    saved_ = dup(descriptor_);
    file_ = std::tmpfile();
    dup2(fileno(file_), descriptor_);
  }
  Diversion(const Diversion&) = delete;
  Diversion& operator=(const Diversion&) = delete;
  ~Diversion() { restore(); }

  std::string finish() {
    restore();
    std::string bytes;
    std::rewind(file_);
    std::array<char, 4096> block{};
    while (const std::size_t size = std::fread(block.data(), 1, block.size(), file_)) bytes.append(block.data(), size);
    std::fclose(file_);
    return bytes;
  }

 private:
  void restore() {
    if (saved_ < 0) return;
    std::fflush(stream_);
    dup2(saved_, descriptor_);
    close(saved_);
    saved_ = -1;
  }

  int descriptor_;
  std::FILE* stream_;
  int saved_ = -1;
  std::FILE* file_ = nullptr;
};

ShellRecorder* active_recorder = nullptr;

// What system() does where the tests do not stand before it.
int run_in_shell(const char* command) {
  using System = int (*)(const char*);
  static const auto system = reinterpret_cast<System>(dlsym(RTLD_NEXT, "system"));
  return system(command);
}

}  // namespace

Output capture(const std::function<void()>& action) {
  Diversion out(STDOUT_FILENO, stdout);
  Diversion err(STDERR_FILENO, stderr);
  action();
  return {out.finish(), err.finish()};
}

void with_input(std::string_view text, const std::function<void()>& action) {
  const Stream file = stream_of(text);
  const int saved = dup(STDIN_FILENO);
  dup2(fileno(file.get()), STDIN_FILENO);
  // The stream takes its offset, 0, from the new file, and forgets an end of file that it has seen.
  std::fseek(stdin, 0, SEEK_SET);
  std::clearerr(stdin);
  action();
  std::fflush(stdin);  // drops what is buffered; seeking alone would stay within the buffer
  dup2(saved, STDIN_FILENO);
  close(saved);
  std::clearerr(stdin);
}

std::size_t open_descriptors() {
  const fs::directory_iterator entries("/proc/self/fd");
  return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

std::string little16(unsigned value) {
  return {static_cast<char>(value), static_cast<char>(value >> 8)};
}

std::string little32(std::uint32_t value) {
  return little16(value & 0xFFFF) + little16(value >> 16);
}

Stream stream_of(std::string_view bytes) {
  Stream stream(std::tmpfile());
  std::fwrite(bytes.data(), 1, bytes.size(), stream.get());
  std::rewind(stream.get());
  return stream;
}

Stream pipe_of(std::string_view bytes) {
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_NONBLOCK) != 0) std::abort();
  const ssize_t written = write(ends[1], bytes.data(), bytes.size());
  EXPECT_EQ(written, static_cast<ssize_t>(bytes.size()));
  close(ends[1]);
  return Stream(fdopen(ends[0], "r"));
}

ShellRecorder::ShellRecorder() : ShellRecorder(nullptr) {}

ShellRecorder::ShellRecorder(std::function<int(const std::string&)> answer) : answer_(std::move(answer)) {
  active_recorder = this;
}

ShellRecorder::~ShellRecorder() {
  active_recorder = nullptr;
}

int ShellRecorder::run(const char* command) {
  commands_.emplace_back(command);
  return answer_ ? answer_(command) : run_in_shell(command);
}

void limit_memory() {
#ifndef XRDIMAGE_ADDRESS_SANITIZER
  constexpr rlim_t kLimit = rlim_t{256} << 20;
  const rlimit limit{kLimit, kLimit};
  setrlimit(RLIMIT_AS, &limit);
#endif
}

std::string sample_frame(std::string_view name) {
  const fs::path path = fs::path(XRDIMAGE_SAMPLES) / name;
  return fs::exists(path) ? path.string() : std::string();
}

}  // namespace test

// The library calls system() through the dynamic linker, which finds this one first if it is visible.
extern "C" __attribute__((visibility("default"))) int system(const char* command) {
  return test::active_recorder != nullptr ? test::active_recorder->run(command) : test::run_in_shell(command);
}
