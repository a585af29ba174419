#include "pictures/colourmap_file.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "frames/failure.h"
#include "support/files.h"

namespace pictures {

std::vector<Rgb> read_colormap(const std::string& path) {
  const xrd::FileHandle stream = xrd::open_file(path.c_str(), "r");
  if (!stream) throw frames::Failure(path, std::strerror(errno));
  std::vector<Rgb> colours;
  unsigned red = 0;
  unsigned green = 0;
  unsigned blue = 0;
  int found = 0;
  while ((found = std::fscanf(stream.get(), "%u %u %u", &red, &green, &blue)) == 3) {
    if (red > 255 || green > 255 || blue > 255) throw frames::Failure(path, "has a colour above 255");
    colours.push_back(
        {static_cast<std::uint8_t>(red), static_cast<std::uint8_t>(green), static_cast<std::uint8_t>(blue)});
  }
  if (found != EOF || colours.empty() || colours.size() > 256) throw frames::Failure(path, "is not a colour map");
  return colours;
}

}  // namespace pictures
