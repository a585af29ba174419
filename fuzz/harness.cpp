#include "fuzz/harness.h"

#include <malloc.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <new>
#include <utility>
#include <vector>

#include "support/assertion.h"

// ------------------------------------------------------------------------------------------------------------------
// Memory: too large a request is refused silently, so that refusals are tried too. The sanitizer's own limit
// prints a message each time, and ends the process where C++ throws; it remains for other libraries.
// ------------------------------------------------------------------------------------------------------------------

extern "C" const char* __asan_default_options();
extern "C" const char* __asan_default_options() {
  return "allocator_may_return_null=1:max_allocation_size_mb=256:quarantine_size_mb=32";
}

namespace {

std::size_t most_bytes = std::size_t{2} << 20;
// While a target runs: the fuzzer's own calls end up here, too.
bool is_limited = false;

bool is_refused(std::size_t count, std::size_t size) {
  return is_limited && size != 0 && count > most_bytes / size;
}

}  // namespace

void fuzz::limit_arrays(std::size_t bytes) {
  most_bytes = bytes;
}

// The linker sends the calls in the library and in the program here (--wrap).
extern "C" void* __real_malloc(std::size_t size);
extern "C" void* __wrap_malloc(std::size_t size);
extern "C" void* __wrap_malloc(std::size_t size) {
  return is_refused(size, 1) ? nullptr : __real_malloc(size);
}

extern "C" void* __real_calloc(std::size_t count, std::size_t size);
extern "C" void* __wrap_calloc(std::size_t count, std::size_t size);
extern "C" void* __wrap_calloc(std::size_t count, std::size_t size) {
  return is_refused(count, size) ? nullptr : __real_calloc(count, size);
}

// operator new
extern "C" void* __real__Znwm(std::size_t size);
extern "C" void* __wrap__Znwm(std::size_t size);
extern "C" void* __wrap__Znwm(std::size_t size) {
  if (is_refused(size, 1)) throw std::bad_alloc();
  return __real__Znwm(size);
}

namespace {

struct FailedAssertion {};

}  // namespace

// Replaces the library's, which ends the process: the assertions guard only allocations.
void xrd::fail_assertion(const char* /*expression*/, const char* /*source*/, unsigned /*line*/,
                         const char* /*function*/) {
  throw FailedAssertion();
}

// ------------------------------------------------------------------------------------------------------------------
// Streams
// ------------------------------------------------------------------------------------------------------------------

namespace {

std::vector<std::FILE*>& open_streams() {
  static std::vector<std::FILE*> streams;
  return streams;
}

}  // namespace

extern "C" std::FILE* __real_fopen(const char* path, const char* mode);
extern "C" std::FILE* __wrap_fopen(const char* path, const char* mode);
extern "C" std::FILE* __wrap_fopen(const char* path, const char* mode) {
  std::FILE* const stream = __real_fopen(path, mode);
  const int error = errno;
  if (stream != nullptr) open_streams().push_back(stream);
  errno = error;
  return stream;
}

extern "C" int __real_fclose(std::FILE* stream);
extern "C" int __wrap_fclose(std::FILE* stream);
extern "C" int __wrap_fclose(std::FILE* stream) {
  std::erase(open_streams(), stream);
  return __real_fclose(stream);
}

namespace fuzz {

void close_left_open() {
  for (std::FILE* stream : std::exchange(open_streams(), {})) __real_fclose(stream);
}

// ------------------------------------------------------------------------------------------------------------------
// Inputs
// ------------------------------------------------------------------------------------------------------------------

std::uint32_t Input::number(std::size_t bytes) {
  std::uint32_t number = 0;
  unsigned shift = 0;
  for (const unsigned char byte : take(bytes)) {
    number |= std::uint32_t{byte} << shift;
    shift += 8;
  }
  return number;
}

std::string Input::line() {
  const auto end = std::ranges::find(rest_, '\n');
  std::string text(rest_.begin(), end);
  take(text.size() + 1);
  return text;
}

Bytes Input::take(std::size_t bytes) {
  const Bytes taken = rest_.first(std::min(bytes, rest_.size()));
  rest_ = rest_.subspan(taken.size());
  return taken;
}

File::File() : descriptor_(memfd_create("frame", MFD_CLOEXEC)), path_("/proc/self/fd/" + std::to_string(descriptor_)) {
  require(descriptor_ >= 0);
}

File::~File() {
  close(descriptor_);
}

const char* File::write(Bytes bytes) {  // NOLINT(readability-make-member-function-const): the file changes
  require(ftruncate(descriptor_, 0) == 0);
  require(pwrite(descriptor_, bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(bytes.size()));
  return path();
}

std::string File::contents() const {
  std::string bytes(static_cast<std::size_t>(lseek(descriptor_, 0, SEEK_END)), '\0');
  require(pread(descriptor_, bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(bytes.size()));
  return bytes;
}

const char* file_of(Bytes bytes) {
  static File file;
  return file.write(bytes);
}

xrd::FileHandle stream_of(Bytes bytes) {
  return xrd::open_file(file_of(bytes), "r");
}

StandardInput::StandardInput(std::string text)
    : text_(std::move(text)), previous_(std::exchange(stdin, fmemopen(text_.data(), text_.size(), "r"))) {}

StandardInput::~StandardInput() {
  std::fclose(std::exchange(stdin, previous_));
}

// ------------------------------------------------------------------------------------------------------------------
// Checks
// ------------------------------------------------------------------------------------------------------------------

void require(bool condition) {
  if (!condition) std::abort();  // the report's stack says where
}

void Image::check() const {
  if (pixels == nullptr) return;
  require(width >= 0 && height >= 0);
  require(malloc_usable_size(pixels) >= count() * sizeof *pixels);
}

}  // namespace fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  is_limited = true;
  try {
    fuzz::run({data, size});
  } catch (const FailedAssertion&) {
    fuzz::close_left_open();
  }
  is_limited = false;
  fuzz::require(open_streams().empty());
  return 0;
}
