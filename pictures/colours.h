// The colours of pictures.
#pragma once

#include <cstdint>
#include <vector>

namespace pictures {

struct Rgb {
  std::uint8_t red;
  std::uint8_t green;
  std::uint8_t blue;

  bool operator==(const Rgb&) const = default;
};

enum class ColorMap { kClassic, kGrey, kInverse, kViridis };

// A palette of at most 256 entries, and what they are for.
struct Colors {
  std::vector<Rgb> palette;  // the levels come first, from faint to bright
  int levels = 0;
  std::uint8_t unknown = 0;  // pixels without a count: a colour that no level has
  std::uint8_t ink = 0;      // rings and letters,
  std::uint8_t paper = 0;    // and their outline
};

// kClassic is the library's colour map.
Colors make_colors(ColorMap map);

}  // namespace pictures
