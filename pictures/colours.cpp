#include "pictures/colours.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <span>

#include "display/colormap.h"

namespace pictures {

namespace {

constexpr Rgb kBlack{0, 0, 0};
constexpr Rgb kWhite{255, 255, 255};
constexpr Rgb kRed{255, 0, 0};
constexpr Rgb kMidGrey{128, 128, 128};  // the classic map has every bright colour, but no grey
constexpr Rgb kYellow{255, 215, 0};
constexpr Rgb kBlue{0, 70, 200};

// The most levels that leave room for the three other colours in a palette.
constexpr int kLevels = 253;

constexpr std::array kGreyAnchors{kBlack, kWhite};
constexpr std::array kInverseAnchors{kWhite, kBlack};  // as on film

// Follows the map of this name that matplotlib made known: dark blue by green to yellow, ever lighter.
constexpr std::array kViridisAnchors{
    Rgb{68, 1, 84},    Rgb{72, 26, 108},  Rgb{71, 47, 125},  Rgb{65, 68, 135},  Rgb{57, 86, 140},  Rgb{49, 104, 142},
    Rgb{42, 120, 142}, Rgb{35, 136, 142}, Rgb{31, 152, 139}, Rgb{34, 168, 132}, Rgb{53, 183, 121}, Rgb{84, 197, 104},
    Rgb{122, 209, 81}, Rgb{165, 219, 54}, Rgb{210, 226, 27}, Rgb{253, 231, 37},
};

std::uint8_t between(std::uint8_t first, std::uint8_t second, double share) {
  return static_cast<std::uint8_t>(std::lround(first + (second - first) * share));
}

// The colours at equal steps through the anchors.
std::vector<Rgb> ramp(std::span<const Rgb> anchors) {
  std::vector<Rgb> colours;
  for (int level = 0; level < kLevels; ++level) {
    const double place = static_cast<double>(level) * static_cast<double>(anchors.size() - 1) / (kLevels - 1);
    const std::size_t anchor = std::min(static_cast<std::size_t>(place), anchors.size() - 2);
    const Rgb& first = anchors[anchor];
    const Rgb& second = anchors[anchor + 1];
    const double share = place - static_cast<double>(anchor);
    colours.push_back({between(first.red, second.red, share), between(first.green, second.green, share),
                       between(first.blue, second.blue, share)});
  }
  return colours;
}

Colors ramp_colors(std::span<const Rgb> anchors, const Rgb& ink, const Rgb& paper) {
  Colors colors;
  colors.palette = ramp(anchors);
  colors.levels = kLevels;
  colors.unknown = kLevels;
  colors.ink = kLevels + 1;
  colors.paper = kLevels + 2;
  colors.palette.insert(colors.palette.end(), {kRed, ink, paper});
  return colors;
}

std::uint8_t entry_of(const Rgb& colour, const std::vector<Rgb>& palette) {
  return static_cast<std::uint8_t>(std::ranges::find(palette, colour) - palette.begin());
}

// The map fills the palette: ink and paper are its own white and black.
Colors classic_colors() {
  Colors colors;
  for (const auto& [red, green, blue] : xrd::classic_colour_map()) {
    colors.palette.push_back(
        {static_cast<std::uint8_t>(red), static_cast<std::uint8_t>(green), static_cast<std::uint8_t>(blue)});
  }
  colors.levels = static_cast<int>(colors.palette.size());
  colors.unknown = static_cast<std::uint8_t>(colors.levels);
  colors.ink = entry_of(kWhite, colors.palette);
  colors.paper = entry_of(kBlack, colors.palette);
  colors.palette.push_back(kMidGrey);
  return colors;
}

}  // namespace

Colors make_colors(ColorMap map) {
  switch (map) {
    case ColorMap::kGrey:
      return ramp_colors(kGreyAnchors, kYellow, kBlack);
    case ColorMap::kInverse:
      return ramp_colors(kInverseAnchors, kBlue, kWhite);
    case ColorMap::kViridis:
      return ramp_colors(kViridisAnchors, kWhite, kBlack);
    default:
      return classic_colors();
  }
}

}  // namespace pictures
