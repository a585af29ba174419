// The CCP4-packed image within a file, for the loaders of files that have one.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "host/frames/loaders.h"

namespace frames {

// Where the header line of the packed image stands, and the size that it states.
struct PackedLine {
  std::size_t begin = 0;  // the line feed in front, if there is one
  std::size_t end = 0;    // the first byte of the bit stream
  int width = 0;
  int height = 0;
};

// The first header line with a size that can be, anywhere in the file.
std::optional<PackedLine> find_packed_line(Bytes file);

struct PackedPixels {
  std::vector<short> samples;  // 16-bit counts; those above 32767 are negative
  bool truncated = false;      // the bit stream ended early: the last samples have no meaning
};

PackedPixels unpack(Bytes file, const PackedLine& line);

// The count of a 16-bit sample.
inline std::uint32_t packed_count(short sample) {
  return static_cast<std::uint16_t>(sample);
}

}  // namespace frames
