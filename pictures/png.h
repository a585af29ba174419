// PNG pictures.
#pragma once

#include <cstdio>
#include <string>

#include "pictures/picture.h"

namespace pictures {

// Whether the bytes could be written is for the caller to ask of the stream. Throws std::runtime_error when libpng
// refuses the picture.
void write_png(const Picture& picture, std::FILE* stream);

// The same as bytes.
std::string png_bytes(const Picture& picture);

}  // namespace pictures
