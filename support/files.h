// Owning handle of a standard stream.
#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <cstdio>
#include <memory>

namespace xrd {

struct FileCloser {
  void operator()(std::FILE* stream) const noexcept { std::fclose(stream); }
};

using FileHandle = std::unique_ptr<std::FILE, FileCloser>;

// Null if the file cannot be opened.
FileHandle open_file(const char* path, const char* mode);

// For functions that leave a stream open for the life of the process, on which callers rely.
std::FILE* leave_open(FileHandle stream);

// Closes a stream that a caller opened. Returns what std::fclose does.
int close_stream(std::FILE* stream);

// The size of a regular file; 0 for other files, whose size is unknown.
inline std::uint64_t file_bytes(int descriptor) {
  struct stat status {};
  const bool known = fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
  return known ? static_cast<std::uint64_t>(status.st_size) : 0;
}

}  // namespace xrd
