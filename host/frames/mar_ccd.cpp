// MarCCD frames: TIFF files with a binary header of 3072 bytes behind the first 1024.
#include <cstdint>
#include <string>

#include "host/frames/bytes.h"
#include "host/frames/header_items.h"
#include "host/frames/loaders.h"

namespace frames {

namespace {

constexpr std::size_t kHeaderEnd = 4096;
constexpr std::string_view kName = "MMX";
constexpr std::uint32_t kBigEndianMark = 4321;

// Offsets of the header's fields in the file.
constexpr std::size_t kNameOffset = 1028;
constexpr std::size_t kByteOrder = 1052;
constexpr std::size_t kSaturation = 1128;     // counts
constexpr std::size_t kBeamX = 1668;          // 1/1000 pixel
constexpr std::size_t kBeamY = 1672;          // 1/1000 pixel
constexpr std::size_t kExposureTime = 1680;   // milliseconds
constexpr std::size_t kStartPhi = 1708;       // 1/1000 degree
constexpr std::size_t kDistance = 1720;       // micrometres
constexpr std::size_t kRotationRange = 1760;  // 1/1000 degree
constexpr std::size_t kPixelSizeX = 1796;     // nanometres
constexpr std::size_t kPixelSizeY = 1800;     // nanometres
constexpr std::size_t kWavelength = 1932;     // 1/100000 angstrom
constexpr std::size_t kAcquired = 2368;       // MMDDhhmmYYYY.ss
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
  const bool big_endian = number_at<std::uint32_t>(file, kByteOrder, true) == kBigEndianMark;
  const auto value = [&](std::size_t offset, double units) -> double {
    return number_at<std::int32_t>(file, offset, big_endian) / units;
  };
  const auto positive = [&](std::size_t offset, double units) { return above_zero(value(offset, units)); };
  Header header;
  header.wavelength = positive(kWavelength, 1e5);
  header.distance = positive(kDistance, 1e3);
  header.oscillation_start = value(kStartPhi, 1e3);
  header.oscillation_range = value(kRotationRange, 1e3);
  header.exposure_time = positive(kExposureTime, 1e3);
  header.saturation = positive(kSaturation, 1);
  const auto pixel_x = positive(kPixelSizeX, 1e6);
  const auto pixel_y = positive(kPixelSizeY, 1e6);
  if (pixel_x && pixel_y) header.pixel_size = Point{*pixel_x, *pixel_y};
  const Point beam{value(kBeamX, 1e3), value(kBeamY, 1e3)};
  if (beam.x != 0 || beam.y != 0) header.beam_centre = beam;
  header.date = date_of(text_of(file).substr(kAcquired, kTimestampLength));
  return header;
}

}  // namespace

bool is_mar_ccd(Bytes file) {
  return is_tiff(file) && file.size() > kNameOffset && text_of(file).substr(kNameOffset).starts_with(kName);
}

Frame load_mar_ccd(Bytes file, const LoadOptions& options) {
  if (file.size() < kHeaderEnd) throw LoadError("is truncated: the header is not whole");
  Frame frame = load_tiff(file, options);
  frame.format = Format::kMarCcd;
  frame.header = read_header(file);
  return frame;
}

}  // namespace frames
