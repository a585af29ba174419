// MarCCD frames: TIFF files with a binary header of 3072 bytes behind the first 1024.
#include <array>
#include <cstdint>
#include <string>

#include "frames/bytes.h"
#include "frames/readers/header_items.h"
#include "frames/readers/readers.h"
#include "support/marccd_header.h"

namespace frames {

namespace {

namespace mar_ccd = xrd::mar_ccd;

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

bool is_big_endian(Bytes file) {
  return number_at<std::uint32_t>(file, mar_ccd::kByteOrder, true) == mar_ccd::kBigEndianMark;
}

struct Field {
  const char* name;  // as in the published description of the format
  std::size_t offset;
};

// 32-bit integers.
constexpr std::array kNumbers{
    Field{"saturated_value", 1128},  Field{"xtal_to_detector", 1664},
    Field{"beam_x", 1668},           Field{"beam_y", 1672},
    Field{"integration_time", 1676}, Field{"exposure_time", 1680},
    Field{"readout_time", 1684},     Field{"nreads", 1688},
    Field{"start_twotheta", 1692},   Field{"start_omega", 1696},
    Field{"start_chi", 1700},        Field{"start_kappa", 1704},
    Field{"start_phi", 1708},        Field{"start_delta", 1712},
    Field{"start_gamma", 1716},      Field{"start_xtal_to_detector", 1720},
    Field{"end_twotheta", 1724},     Field{"end_omega", 1728},
    Field{"end_chi", 1732},          Field{"end_kappa", 1736},
    Field{"end_phi", 1740},          Field{"end_delta", 1744},
    Field{"end_gamma", 1748},        Field{"end_xtal_to_detector", 1752},
    Field{"rotation_axis", 1756},    Field{"rotation_range", 1760},
    Field{"detector_rotx", 1764},    Field{"detector_roty", 1768},
    Field{"detector_rotz", 1772},    Field{"detector_type", 1792},
    Field{"pixelsize_x", 1796},      Field{"pixelsize_y", 1800},
    Field{"source_type", 1920},      Field{"source_wavelength", 1932},
};

struct TextField {
  const char* name;
  std::size_t offset;
  std::size_t length;
};

constexpr std::array kTexts{
    TextField{"filetitle", 2048, 128},       TextField{"filepath", 2176, 128},
    TextField{"filename", 2304, 64},         TextField{"acquire_timestamp", 2368, 32},
    TextField{"header_timestamp", 2400, 32}, TextField{"save_timestamp", 2432, 32},
    TextField{"file_comment", 2464, 512},
};

// In the order of the file, in which the TIFF tags are first.
void add_items(Frame& frame, Bytes file) {
  const bool big_endian = is_big_endian(file);
  for (const auto& [name, offset] : kNumbers) {
    frame.items.push_back({name, std::to_string(number_at<std::int32_t>(file, offset, big_endian))});
  }
  for (const auto& [name, offset, length] : kTexts) {
    const std::string_view text = text_of(file).substr(offset, length);
    frame.items.push_back({name, std::string(trimmed(text.substr(0, text.find('\0'))))});
  }
}

Header read_header(Bytes file) {
  const bool big_endian = is_big_endian(file);
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
  return is_tiff(file) && file.size() > mar_ccd::kName &&
         text_of(file).substr(mar_ccd::kName).starts_with(mar_ccd::kFormatName);
}

Frame load_mar_ccd(Bytes file, const LoadOptions& options) {
  if (file.size() < mar_ccd::kHeaderEnd) throw LoadError("is truncated: the header is incomplete");
  Frame frame = load_tiff(file, options);
  frame.format = Format::kMarCcd;
  frame.header = read_header(file);
  add_items(frame, file);
  return frame;
}

}  // namespace frames
