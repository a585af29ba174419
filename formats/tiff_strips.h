// TIFF images for the readers: a size and strips, whatever the other tags say.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "support/memory.h"
#include "support/tiff.h"

namespace xrd {

struct TiffSize {
  std::uint32_t width = 0;
  std::uint32_t height = 0;

  // Nothing for an invalid size.
  std::optional<std::size_t> pixels() const;
};

TiffSize tiff_size(tiff* image);

// The decoded bytes of all strips, each beginning where the one before ends, at an even offset, as signed 16-bit
// samples: at least `pixels` of them. Samples that could not be decoded, or lie beyond the strips, are zero. Null
// without memory for them.
MallocArray<std::int16_t> read_strips(tiff* image, std::size_t pixels);

// An image whose pixels are not set yet, and the samples to make them from.
struct TiffImage {
  TiffSize size;
  std::size_t count = 0;
  MallocArray<unsigned int> pixels;
  MallocArray<std::int16_t> samples;
};

// The assertion that fails when there is no memory for the pixels.
struct TiffAssertion {
  const char* expression;
  const char* source;
  unsigned line;
  const char* function;
};

// Opens the file, makes the pixels and decodes the strips. Nothing, with a message that has `error` as its error word,
// if the file cannot be opened, has an invalid size, or needs more memory for its strips than is available.
std::optional<TiffImage> read_tiff_image(const char* path, const char* error, const TiffAssertion& no_memory);

}  // namespace xrd
