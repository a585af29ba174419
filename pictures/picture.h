// Frames as coloured, annotated pictures.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "frames/frame.h"
#include "frames/remarks.h"
#include "pictures/colours.h"
#include "pictures/contrast.h"

namespace pictures {

struct Picture {
  int width = 0;
  int height = 0;
  std::vector<std::uint8_t> pixels;  // entries of the palette, row by row
  std::vector<Rgb> palette;          // at most 256; without one, pixels are grey values
};

struct PictureOptions {
  Scale scale = Scale::kLinear;
  std::optional<CountRange> range;  // automatic_range() without one
  ColorMap colors = ColorMap::kClassic;
  std::vector<double> rings;  // spacings in angstrom
  bool bar = false;           // what the colours mean, below the picture
};

// The range that the options ask for; it is added to the remarks.
CountRange chosen_range(const frames::Frame& frame, const PictureOptions& options, frames::Remarks& remarks);

// The picture in a range that is chosen already; options.range is ignored.
Picture draw_picture_in_range(const frames::Frame& frame, const CountRange& range, const PictureOptions& options,
                              frames::Remarks& remarks);

// Throws std::runtime_error if the header lacks a value that rings need.
Picture draw_picture(const frames::Frame& frame, const PictureOptions& options, frames::Remarks& remarks);

}  // namespace pictures
