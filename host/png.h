// PNG pictures.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "host/colormap.h"
#include "host/frame.h"

namespace host {

// Writes one byte per pixel, row by row, to `path`: an index into the palette, or a grey value when that is empty. The
// file is there when it is complete, or a Failure says why not.
void write_png(const std::string& path, FrameSize size, std::span<const std::uint8_t> pixels,
               std::span<const Rgb> palette);

}  // namespace host
