// MarCCD frames: TIFF files with a binary header of 3072 bytes behind the first 1024.
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <utility>

#include "formats/tiff_strips.h"
#include "support/conversation.h"
#include "support/files.h"
#include "support/format_text.h"
#include "support/marccd_header.h"
#include "support/message.h"
#include "support/reading.h"
#include "support/tiff.h"
#include "xrdimage.h"

namespace {

namespace mar_ccd = xrd::mar_ccd;

// The values that the library reads from the binary header, only in the processor's byte order.
class MarCcdHeader {
 public:
  // Reads it from the start of the file; false, with a message, if it is incomplete.
  bool read(std::FILE* stream) {
    std::array<char, mar_ccd::kHeaderBegin> skipped;  // NOLINT: read and discarded
    xrd::read_bytes(skipped.data(), skipped.size(), stream);
    if (xrd::read_bytes(bytes_.data(), bytes_.size(), stream) == bytes_.size()) return true;
    xrd::print_line("Not read correctly! Abandoning.");
    return false;
  }

  int overflow_count() const { return at(mar_ccd::kOverflowCount); }
  int exposure_milliseconds() const { return at(mar_ccd::kExposureTime); }
  int start_angle_thousandths() const { return at(mar_ccd::kStartPhi); }
  int distance_thousandths() const { return at(mar_ccd::kDistance); }
  int rotation_range_thousandths() const { return at(mar_ccd::kRotationRange); }
  int wavelength_hundred_thousandths() const { return at(mar_ccd::kWavelength); }

 private:
  std::int32_t at(std::size_t file_offset) const {
    std::int32_t value = 0;
    std::memcpy(&value, bytes_.data() + (file_offset - mar_ccd::kHeaderBegin), sizeof value);
    return value;
  }

  std::array<char, mar_ccd::kHeaderEnd - mar_ccd::kHeaderBegin> bytes_{};
};

// Opens the file and reads its header. The stream is closed only behind a complete header: callers rely on it staying
// open behind an incomplete one.
enum class HeaderState { kNotOpened, kIncomplete, kRead };

HeaderState read_header(MarCcdHeader& header, const char* filename) {
  xrd::FileHandle stream = xrd::open_file(filename, "r");
  if (!stream) return HeaderState::kNotOpened;
  if (header.read(stream.get())) return HeaderState::kRead;
  xrd::leave_open(std::move(stream));
  return HeaderState::kIncomplete;
}

// Whole degrees, millimetres and seconds: callers rely on the fractions being dropped in the header's summary.
int whole_units(int thousandths) {
  return thousandths / 1000;
}

// Stores the samples; negative ones, from 32768 on in the file, are marked. Returns how many.
unsigned mark_overflows(xrd::TiffImage& image) {
  unsigned overflows = 0;
  for (std::size_t i = 0; i < image.count; ++i) {
    const std::int16_t sample = image.samples[i];
    image.pixels[i] = sample < 0 ? OVERFLOW_MARK : static_cast<unsigned int>(sample);
    overflows += sample < 0 ? 1 : 0;
  }
  return overflows;
}

}  // namespace

extern "C" int read_mar_ccd_header(const char* filename, ImageInfo* info) {
  MarCcdHeader header;
  const HeaderState state = read_header(header, filename);
  if (state == HeaderState::kNotOpened) xrd::print("# " XRD_RED_ERROR " reading %s\n", filename);
  if (state != HeaderState::kRead) return 0;
  xrd::format_text(info->file_name, filename);
  info->start_angle = whole_units(header.start_angle_thousandths());
  info->reserved_angle = 0.0;
  info->distance = whole_units(header.distance_thousandths());
  info->oscillation_range = whole_units(header.rotation_range_thousandths());
  info->wavelength = header.wavelength_hundred_thousandths() * 1e-5;
  info->exposure_time = whole_units(header.exposure_milliseconds());
  info->overflow_count = header.overflow_count();
  return 1;
}

extern "C" int read_mar_ccd(const char* filename, ImageData* data, double* distance) {
  MarCcdHeader header;
  if (read_header(header, filename) != HeaderState::kRead) return 0;
  xrd::silence_tiff_warnings();
  if (*distance == mar_ccd::kDistanceNotSet) *distance = header.distance_thousandths() * 0.001;
  data->overflows = header.overflow_count();

  auto image = xrd::read_tiff_image(
      filename, XRD_RED_ERROR,
      {"data->Daten =(unsigned int*)malloc(sizeof(unsigned int)*size)", "mar_ccd_format", 262, "read_mar_ccd"});
  if (!image) return 0;
  // Added as the 32-bit numbers wrap: the header's count can be anything.
  data->overflows = static_cast<int>(static_cast<unsigned>(data->overflows) + mark_overflows(*image));
  data->width = static_cast<int>(image->size.width);
  data->height = static_cast<int>(image->size.height);
  data->Daten = image->pixels.release();
  return 1;
}
