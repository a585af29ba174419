// Owning handle of a standard stream.
#pragma once

#include <cstdio>
#include <memory>

namespace xrd {

struct FileCloser {
  void operator()(std::FILE* stream) const noexcept { std::fclose(stream); }
};

using FileHandle = std::unique_ptr<std::FILE, FileCloser>;

// Null when the file cannot be opened.
inline FileHandle open_file(const char* path, const char* mode) {
  return FileHandle(std::fopen(path, mode));
}

}  // namespace xrd
