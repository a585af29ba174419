// Colour map files: a line "RED GREEN BLUE" for each colour.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace pictures {

struct Rgb {
  std::uint8_t red;
  std::uint8_t green;
  std::uint8_t blue;

  bool operator==(const Rgb&) const = default;
};

// From 1 to 256 colours; a Failure if the file is anything else.
std::vector<Rgb> read_colormap(const std::string& path);

// The library's colour map.
std::vector<Rgb> library_colormap();

}  // namespace pictures
