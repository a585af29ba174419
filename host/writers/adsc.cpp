// ADSC-style frames: a text header in braces, then uncompressed pixels.
#include <algorithm>
#include <cstdio>
#include <string>
#include <string_view>

#include "host/writers/header_text.h"
#include "host/writers/samples.h"

namespace host {

namespace {

// The header has one size for both sides of a pixel. The beam centre is in millimetres of that size, so that readers
// get the right pixel from both; it stays in pixels when the size is not known.
void add_geometry(HeaderItems& items, const frames::Header& header, Remarks& remarks) {
  if (header.pixel_size) {
    const auto [x, y] = *header.pixel_size;
    items.add("PIXEL_SIZE", x);
    if (number_text(x) != number_text(y)) {
      remarks.warnings.push_back("pixels of " + number_text(x) + " x " + number_text(y) +
                                 " mm were written as squares of " + number_text(x) + " mm");
    }
  }
  if (header.beam_centre) {
    const double unit = header.pixel_size ? header.pixel_size->x : 1.0;
    items.add("BEAM_CENTER_X", header.beam_centre->x * unit);
    items.add("BEAM_CENTER_Y", header.beam_centre->y * unit);
  }
}

std::string items_text(const frames::Frame& frame, SampleType type, Remarks& remarks) {
  const frames::Header& header = frame.header;
  const double largest = largest_sample(type);
  HeaderItems items(0, "=", ";\n");
  items.add("DIM", "2");
  items.add("BYTE_ORDER", "little_endian");
  items.add("TYPE", type == SampleType::kUnsigned16 ? "unsigned_short" : "unsigned_long");
  items.add("SIZE1", std::to_string(frame.width));
  items.add("SIZE2", std::to_string(frame.height));
  add_geometry(items, header, remarks);
  items.add("DISTANCE", header.distance);
  items.add("WAVELENGTH", header.wavelength);
  items.add("OSC_START", header.oscillation_start);
  items.add("OSC_RANGE", header.oscillation_range);
  items.add("PHI", header.oscillation_start);
  items.add("TIME", header.exposure_time);
  items.add_text("DATE", header.date);
  items.add_text("DETECTOR", header.detector);
  items.add("CCD_IMAGE_SATURATION", std::min(header.saturation.value_or(largest), largest));
  return items.text();
}

}  // namespace

void write_adsc(const frames::Frame& frame, const WriteOptions& options, std::FILE* stream, Remarks& remarks) {
  const SampleType type = unsigned_type(frame, options, remarks);
  const std::string items = items_text(frame, type, remarks);
  // As wide as the format's own programs write it, whatever the number is.
  constexpr std::string_view kLengthItem = "HEADER_BYTES=     ;\n";
  constexpr std::size_t kLengthDigits = 5;
  std::string length = std::to_string(braced_header_bytes(kLengthItem.size() + items.size()));
  length.insert(0, kLengthDigits - length.size(), ' ');
  std::fputs(braced_header("HEADER_BYTES=" + length + ";\n" + items).c_str(), stream);
  write_samples(frame, type, stream);
}

}  // namespace host
