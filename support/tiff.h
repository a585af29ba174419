// libtiff on files and on bytes from elsewhere, and its messages about them.
#pragma once

#include <array>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

struct tiff;  // libtiff's TIFF

namespace xrd {

struct TiffCloser {
  void operator()(tiff* image) const noexcept;
};
using TiffHandle = std::unique_ptr<tiff, TiffCloser>;

// For flat functions. Null if libtiff cannot open the file. libtiff prints its messages, or sends them to the
// conversation.
TiffHandle open_tiff(const char* path);

// For the rest of the process, or of the conversation.
void silence_tiff_warnings();

// A file for libtiff, whose bytes may be anywhere. Keeps the first error that libtiff reports for it.
class TiffBytes {
 public:
  TiffBytes() = default;
  TiffBytes(const TiffBytes&) = delete;
  TiffBytes& operator=(const TiffBytes&) = delete;
  virtual ~TiffBytes() = default;

  // Return how many bytes were read or written.
  virtual std::size_t read(void* target, std::size_t size) = 0;
  virtual std::size_t write(const void* source, std::size_t size) = 0;
  // Returns the new position, or the largest number; `whence` is that of fseek. Offsets may be negative numbers that
  // wrapped.
  virtual std::uint64_t seek(std::uint64_t offset, int whence) = 0;
  virtual std::uint64_t size() = 0;

  bool has_error() const { return error_.front() != '\0'; }
  // The first error, in one line.
  std::string error() const { return error_.data(); }
  // libtiff calls this, through which nothing can be thrown: it takes no memory.
  void keep_error(const char* format, std::va_list values) noexcept;

 private:
  std::array<char, 300> error_{};
};

// Null if libtiff cannot open it. The bytes outlive the handle. Throws std::bad_alloc.
TiffHandle open_tiff(TiffBytes& bytes, const char* mode);

}  // namespace xrd
