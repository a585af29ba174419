// Files in memory, for writers that take a stream.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdio>

#include "support/files.h"

namespace xrd {

// A stream whose bytes stay in memory. That of open_memstream ends where it was written to last, which is not the end
// of a file whose writer has gone back in it.
class MemoryStream {
 public:
  MemoryStream();
  MemoryStream(const MemoryStream&) = delete;
  MemoryStream& operator=(const MemoryStream&) = delete;
  ~MemoryStream();

  std::FILE* stream() { return stream_.get(); }

  // Ends the writing. Returns the size; std::bad_alloc if memory ran out.
  std::size_t finish();

  // The caller releases the bytes with free.
  char* release();

 private:
  // The stream's functions.
  static ssize_t read(void* file, char* target, std::size_t size);
  static ssize_t write(void* file, const char* source, std::size_t size);
  static int seek(void* file, off64_t* offset, int whence);

  // Room for so many bytes.
  bool reserve(std::size_t bytes);

  char* bytes_ = nullptr;
  std::size_t room_ = 0;
  std::size_t size_ = 0;
  std::size_t position_ = 0;
  xrd::FileHandle stream_;
};

}  // namespace xrd
