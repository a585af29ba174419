// MarCCD frames: TIFF files with a binary header of 3072 bytes behind the first 1024.
#include <cstdint>
#include <string>

#include "formats/mar_ccd_header.h"
#include "frames/bytes.h"
#include "frames/readers/header_items.h"
#include "frames/readers/readers.h"

namespace frames {

namespace {

namespace mar_ccd = xrd::mar_ccd;

constexpr std::string_view kFormatName = "MMX";
constexpr std::size_t kTimestampLength = 15;

std::optional<std::string> date_of(std::string_view stamp) {
  for (std::size_t i = 0; i < kTimestampLength; ++i) {
    const bool fits = i == 12 ? stamp[i] == '.' : stamp[i] >= '0' && stamp[i] <= '9';
    if (!fits) return std::nullopt;
  }
  const auto digits = [&](std::size_t first, std::size_t count) { return std::string(stamp.substr(first, count)); };
  return digits(8, 4) + "-" + digits(0, 2) + "-" + digits(2, 2) + " " + digits(4, 2) + ":" + digits(6, 2) + ":" +
         digits(13, 2);
}

Header read_header(Bytes file) {
  const bool big_endian = number_at<std::uint32_t>(file, mar_ccd::kByteOrder, true) == mar_ccd::kBigEndianMark;
  const auto value = [&](std::size_t offset, double units) -> double {
    return number_at<std::int32_t>(file, offset, big_endian) / units;
  };
  const auto positive = [&](std::size_t offset, double units) { return above_zero(value(offset, units)); };
  Header header;
  header.wavelength = positive(mar_ccd::kWavelength, 1e5);
  header.distance = positive(mar_ccd::kDistance, 1e3);
  header.oscillation_start = value(mar_ccd::kStartPhi, 1e3);
  header.oscillation_range = value(mar_ccd::kRotationRange, 1e3);
  header.exposure_time = positive(mar_ccd::kExposureTime, 1e3);
  header.saturation = positive(mar_ccd::kSaturation, 1);
  const auto pixel_x = positive(mar_ccd::kPixelSizeX, 1e6);
  const auto pixel_y = positive(mar_ccd::kPixelSizeY, 1e6);
  if (pixel_x && pixel_y) header.pixel_size = Point{*pixel_x, *pixel_y};
  const Point beam{value(mar_ccd::kBeamX, 1e3), value(mar_ccd::kBeamY, 1e3)};
  if (beam.x != 0 || beam.y != 0) header.beam_centre = beam;
  header.date = date_of(text_of(file).substr(mar_ccd::kAcquired, kTimestampLength));
  return header;
}

}  // namespace

bool is_mar_ccd(Bytes file) {
  return is_tiff(file) && file.size() > mar_ccd::kName && text_of(file).substr(mar_ccd::kName).starts_with(kFormatName);
}

Frame load_mar_ccd(Bytes file, const LoadOptions& options) {
  if (file.size() < mar_ccd::kHeaderEnd) throw LoadError("is truncated: the header is not whole");
  Frame frame = load_tiff(file, options);
  frame.format = Format::kMarCcd;
  frame.header = read_header(file);
  return frame;
}

}  // namespace frames
