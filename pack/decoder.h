// Decoding of CCP4 packed images, for the readers of files that contain one.
#pragma once

#include <cstddef>
#include <cstdio>
#include <span>

namespace xrd {

// Decodes the first img.size() pixels of an image `width` pixels wide. The stream stands at the bit stream's first
// byte; no byte is read that these pixels do not need.
void unpack_pixels(std::FILE* stream, int width, std::span<short> img);

// Finds the header line and decodes the image behind it, cut to `capacity` pixels, into `img`. Nothing is written when
// there is no header line or its size cannot be.
void unpack_file(std::FILE* stream, short* img, std::size_t capacity);

}  // namespace xrd
