// PNG pictures.
#pragma once

#include <cstdio>
#include <string>

#include "pictures/picture.h"

namespace pictures {

// The caller checks the stream for write errors. Throws std::runtime_error if libpng
// refuses the picture.
void write_png(const Picture& picture, std::FILE* stream);

// The same as bytes.
std::string png_bytes(const Picture& picture);

}  // namespace pictures
