// Decoding of CCP4 packed images, for the readers of files that contain one.
#pragma once

#include <cstddef>
#include <cstdio>
#include <limits>
#include <optional>
#include <span>

namespace xrd {

// Decodes the first img.size() pixels of an image `width` pixels wide. The stream stands at the bit stream's first
// byte; no byte is read that these pixels do not need.
void unpack_pixels(std::FILE* stream, int width, std::span<short> img);

// The same of a bit stream in memory. False when it ends early: some rows from there on have no meaning, and the rest
// of the image is left as it was.
bool unpack_pixels(std::span<const unsigned char> stream, int width, std::span<short> img);

struct PackedSize {
  int width = 0;
  int height = 0;
};

// What the header line in the file states, be it possible or not; 0 x 0 where there is none. Nothing when the file
// cannot be opened.
std::optional<PackedSize> packed_file_size(const char* path);

// What `img` holds before. Predictions in an image of one column take pixels from there that are not decoded yet: those
// of the caller, as callers know it, or 0 where nobody has set any.
enum class Held { kCallers, kNothing };

// Opens the file, finds the header line and decodes the image behind it, cut to img.size() pixels. Nothing is written
// when there is no header line or its size cannot be. Returns how many pixels were written; nothing when the file
// cannot be opened.
std::optional<std::size_t> unpack_file(const char* path, std::span<short> img, Held held = Held::kCallers);

// An `img` whose caller vouches that it is as large as the header line says.
inline std::span<short> unbounded(short* img) {
  return {img, std::numeric_limits<std::ptrdiff_t>::max() / sizeof(short)};
}

}  // namespace xrd
