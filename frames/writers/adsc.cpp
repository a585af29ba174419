// ADSC-style frames: a text header in braces, then uncompressed pixels.
#include <algorithm>
#include <cstdio>
#include <string>
#include <string_view>

#include "frames/writers/header_text.h"
#include "frames/writers/samples.h"

namespace frames {

namespace {

// The header has one size for both sides of a pixel. The beam centre is in millimetres of that size, so that readers
// get the right pixel from both; it stays in pixels if the size is unknown.
void add_geometry(HeaderLines& lines, const Header& header, Remarks& remarks) {
  if (header.pixel_size) {
    const auto [x, y] = *header.pixel_size;
    lines.add("PIXEL_SIZE", x);
    if (number_text(x) != number_text(y)) {
      remarks.warnings.push_back("pixels of " + number_text(x) + " x " + number_text(y) +
                                 " mm were written as squares of " + number_text(x) + " mm");
    }
  }
  if (header.beam_centre) {
    const double unit = header.pixel_size ? header.pixel_size->x : 1.0;
    lines.add("BEAM_CENTER_X", header.beam_centre->x * unit);
    lines.add("BEAM_CENTER_Y", header.beam_centre->y * unit);
  }
}

std::string header_lines(const Frame& frame, SampleType type, Remarks& remarks) {
  const Header& header = frame.header;
  const double largest = largest_sample(type);
  HeaderLines lines(0, "=", ";\n");
  lines.add("DIM", "2");
  lines.add("BYTE_ORDER", "little_endian");
  lines.add("TYPE", type == kUnsigned16 ? "unsigned_short" : "unsigned_long");
  lines.add("SIZE1", std::to_string(frame.width));
  lines.add("SIZE2", std::to_string(frame.height));
  add_geometry(lines, header, remarks);
  lines.add("DISTANCE", header.distance);
  lines.add("WAVELENGTH", header.wavelength);
  lines.add("OSC_START", header.oscillation_start);
  lines.add("OSC_RANGE", header.oscillation_range);
  lines.add("PHI", header.oscillation_start);
  lines.add("TIME", header.exposure_time);
  lines.add_text("DATE", header.date);
  lines.add_text("DETECTOR", header.detector);
  lines.add("CCD_IMAGE_SATURATION", std::min(header.saturation.value_or(largest), largest));
  return lines.text();
}

}  // namespace

void write_adsc(const Frame& frame, const WriteOptions& options, std::FILE* stream, Remarks& remarks) {
  const SampleType type = unsigned_type(frame, options, remarks);
  const std::string lines = header_lines(frame, type, remarks);
  // As wide as the format's own programs write it, whatever the number is.
  constexpr std::string_view kLengthItem = "HEADER_BYTES=     ;\n";
  constexpr std::size_t kLengthDigits = 5;
  std::string length = std::to_string(braced_header_bytes(kLengthItem.size() + lines.size()));
  length.insert(0, kLengthDigits - length.size(), ' ');
  std::fputs(braced_header("HEADER_BYTES=" + length + ";\n" + lines).c_str(), stream);
  write_samples(frame, type, stream);
}

}  // namespace frames
