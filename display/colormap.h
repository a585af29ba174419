// The classic colour map.
#pragma once

#include <array>

namespace xrd {

struct MapColour {
  int red;
  int green;
  int blue;
};

inline constexpr int kMapColours = 255;

// For rising intensity: two runs from black through blue, magenta, orange and yellow to white.
std::array<MapColour, kMapColours> classic_colour_map();

}  // namespace xrd
