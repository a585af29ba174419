// Decoding of CCP4 packed images, for the readers of files that contain one.
#pragma once

#include <cstddef>
#include <cstdio>
#include <limits>
#include <optional>
#include <span>

namespace xrd {

// Decodes the first img.size() pixels of an image `width` pixels wide. The stream stands at the bit stream's first
// byte; only the bytes that these pixels need are read.
void unpack_pixels(std::FILE* stream, int width, std::span<short> img);

// The same for a bit stream in memory. False if it ends early: some rows from there on have no meaning, and the rest
// of the image is left as it was.
bool unpack_pixels(std::span<const unsigned char> stream, int width, std::span<short> img);

struct PackedSize {
  int width = 0;
  int height = 0;
};

// The size in the file's header line, valid or not; 0 x 0 if there is none. Nothing if the file
// cannot be opened.
std::optional<PackedSize> packed_file_size(const char* path);

// The initial content of `img`. Predictions in an image of one column use pixels that are not decoded yet: those
// of the caller, as callers expect, or 0 if nobody has set them.
enum class Held { kCallers, kNothing };

// Opens the file, finds the header line and decodes the image behind it, cut to img.size() pixels. Nothing is written
// if there is no header line or its size is invalid. Returns how many pixels were written; nothing if the file
// cannot be opened.
std::optional<std::size_t> unpack_file(const char* path, std::span<short> img, Held held = Held::kCallers);

// An `img` for which the caller guarantees the size in the header line.
inline std::span<short> unbounded(short* img) {
  return {img, std::numeric_limits<std::ptrdiff_t>::max() / sizeof(short)};
}

}  // namespace xrd
