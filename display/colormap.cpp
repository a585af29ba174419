#include "display/colormap.h"

#include <array>
#include <cstddef>
#include <cstdio>

#include "support/conversation.h"
#include "support/files.h"
#include "support/message.h"
#include "xrdimage.h"

namespace {

// The values of one colour along a ramp.
struct Component {
  int first = 0;
  int step = 0;
  const int* listed = nullptr;  // instead of evenly stepped values
  int at(int line) const { return listed != nullptr ? listed[line] : first + line * step; }
};

struct Ramp {
  int lines;
  Component red;
  Component green;
  Component blue;
};

constexpr Component constant(int value) {
  return {value, 0};
}
constexpr Component stepped(int first, int step) {
  return {first, step};
}
constexpr Component listed(const int* values) {
  return {0, 0, values};
}

constexpr std::array kOrangeToYellow{65, 75, 85, 95, 105, 120, 140, 160, 180, 200, 220, 240};
constexpr std::array kGreenToCyan{5, 20, 35, 50, 65, 70, 90, 110, 120, 160, 200, 240, 255};
constexpr std::array kCyanToWhite{20, 40, 60, 100, 140, 180, 190, 195, 200, 205, 210, 220, 240};
constexpr std::array kLastTen{25, 50, 75, 100, 125, 150, 175, 200, 225, 255};

constexpr std::array<Ramp, 16> kRamps{{
    {12, constant(0), constant(0), stepped(0, 21)},
    {26, stepped(0, 10), constant(0), constant(255)},
    {12, constant(255), stepped(0, 5), constant(255)},
    {13, constant(255), constant(60), stepped(250, -20)},
    {12, constant(255), listed(kOrangeToYellow.data()), constant(0)},
    {25, stepped(250, -10), constant(255), constant(0)},
    {13, constant(0), constant(255), listed(kGreenToCyan.data())},
    {13, listed(kCyanToWhite.data()), constant(255), constant(255)},
    {13, constant(0), constant(0), stepped(0, 20)},
    {26, stepped(0, 10), constant(0), constant(255)},
    {12, constant(255), stepped(0, 5), constant(255)},
    {21, constant(255), constant(60), stepped(250, -12)},
    {11, constant(255), stepped(65, 18), constant(0)},
    {26, stepped(250, -10), constant(255), constant(0)},
    {10, constant(0), constant(255), listed(kLastTen.data())},
    {10, listed(kLastTen.data()), constant(255), constant(255)},
}};

constexpr int lines_of(const std::array<Ramp, 16>& ramps) {
  int lines = 0;
  for (const Ramp& ramp : ramps) lines += ramp.lines;
  return lines;
}
static_assert(lines_of(kRamps) == xrd::kMapColours);

}  // namespace

namespace xrd {

std::array<MapColour, kMapColours> classic_colour_map() {
  std::array<MapColour, kMapColours> map{};
  auto* colour = map.begin();
  for (const Ramp& ramp : kRamps) {
    for (int line = 0; line < ramp.lines; ++line) {
      *colour++ = {ramp.red.at(line), ramp.green.at(line), ramp.blue.at(line)};
    }
  }
  return map;
}

}  // namespace xrd

// The file has a line for each colour.
extern "C" void write_colormap(const char* path) {
  const xrd::FileHandle stream = xrd::open_file(path, "w");
  if (!stream) {
    xrd::print("# " XRD_RED_ERROR " opening %s", path);
    return;
  }
  for (const auto& [red, green, blue] : xrd::classic_colour_map()) {
    std::fprintf(stream.get(), "%d %d %d\n", red, green, blue);
  }
}
