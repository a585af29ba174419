// TIFF images as the readers take them: a size and strips, whatever the other tags say.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>

#include "support/memory.h"

struct tiff;  // libtiff's TIFF

namespace xrd {

struct TiffCloser {
  void operator()(tiff* image) const noexcept;
};
using TiffHandle = std::unique_ptr<tiff, TiffCloser>;

// Null when libtiff cannot open the file; it prints its own message then.
TiffHandle open_tiff(const char* path);

struct TiffSize {
  std::uint32_t width = 0;
  std::uint32_t height = 0;

  // Nothing for a size that cannot be.
  std::optional<std::size_t> pixels() const;
};

TiffSize tiff_size(tiff* image);

// The decoded bytes of all strips, each beginning where the one before ends, at an even offset. What could not be
// decoded is zero.
class TiffStrips {
 public:
  // Decodes the strips. Without memory for them the result is false, and nothing is decoded.
  bool read(tiff* image);

  // The signed 16-bit sample of a pixel; zero beyond the strips.
  std::int16_t sample(std::size_t pixel) const;

 private:
  MallocArray<unsigned char> bytes_;
  std::size_t size_ = 0;
};

// An image whose pixels are still 0, with the strips that they are taken from.
struct TiffImage {
  TiffSize size;
  std::size_t count = 0;
  MallocArray<unsigned int> pixels;
  TiffStrips strips;
};

// The assertion that fails when there is no memory for the pixels.
struct TiffAssertion {
  const char* expression;
  const char* source;
  unsigned line;
  const char* function;
};

// Opens the file, makes the pixels and decodes the strips. Nothing, with a message that has `error` for its error word,
// when the file cannot be opened, has a size that cannot be, or needs more memory for its strips than there is.
std::optional<TiffImage> read_tiff_image(const char* path, const char* error, const TiffAssertion& no_memory);

}  // namespace xrd
