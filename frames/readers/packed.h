// The CCP4-packed image within a file, for the loaders of files that have one.
#pragma once

#include <cstddef>
#include <optional>

#include "frames/readers/readers.h"

namespace frames {

// The place of the packed image's header line, and the size that it states.
struct PackedLine {
  std::size_t begin = 0;  // the line feed in front, if there is one
  std::size_t end = 0;    // the first byte of the bit stream
  int width = 0;
  int height = 0;
};

// The first header line with a valid size, anywhere in the file.
std::optional<PackedLine> find_packed_line(Bytes file);

// Decodes unsigned 16-bit pixels into the frame's counts, as far as both go. A bit
// stream that ends early is damage: some rows from there on have no meaning, and the rest are 0.
void read_packed_pixels(Frame& frame, Bytes file, const PackedLine& line, const LoadOptions& options);

}  // namespace frames
