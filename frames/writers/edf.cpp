// EDF frames: a text header in braces, then uncompressed pixels.
#include <cstdio>
#include <optional>
#include <string>

#include "frames/writers/header_text.h"
#include "frames/writers/samples.h"

namespace frames {

namespace {

const char* data_type(SampleType type) {
  if (type == kUnsigned16) return "UnsignedShort";
  return type == kUnsigned32 ? "UnsignedInteger" : "SignedInteger";
}

// In metres, the format's unit of length.
std::optional<double> metres(std::optional<double> length, double unit) {
  return length ? std::optional(*length * unit) : std::nullopt;
}

void add_header_values(HeaderLines& lines, const Header& header) {
  constexpr double kAngstrom = 1e-10;
  constexpr double kMillimetre = 1e-3;
  lines.add("WaveLength", metres(header.wavelength, kAngstrom));
  lines.add("SampleDistance", metres(header.distance, kMillimetre));
  if (header.pixel_size) {
    lines.add("PSize_1", metres(header.pixel_size->x, kMillimetre));
    lines.add("PSize_2", metres(header.pixel_size->y, kMillimetre));
  }
  if (header.beam_centre) {
    lines.add("Center_1", header.beam_centre->x);
    lines.add("Center_2", header.beam_centre->y);
  }
  lines.add("Osc_Start", header.oscillation_start);
  lines.add("Osc_Range", header.oscillation_range);
  lines.add("ExposureTime", header.exposure_time);
  lines.add("Saturation", header.saturation);
  lines.add_text("Date", header.date);
  lines.add_text("Detector", header.detector);
}

}  // namespace

void write_edf(const Frame& frame, const WriteOptions& options, std::FILE* stream, Remarks& remarks) {
  const SampleType type = fitting_type(frame, options, remarks);
  HeaderLines lines(15, " = ", " ;\n");
  lines.add("HeaderID", "EH:000001:000000:000000");
  lines.add("Image", "1");
  lines.add("ByteOrder", "LowByteFirst");
  lines.add("DataType", data_type(type));
  lines.add("Size", std::to_string(frame.counts.size() * type.bytes));
  lines.add("Dim_1", std::to_string(frame.width));
  lines.add("Dim_2", std::to_string(frame.height));
  lines.add("BitsPerSample", std::to_string(8 * type.bytes));
  add_header_values(lines, frame.header);
  std::fputs(braced_header(lines.text()).c_str(), stream);
  write_samples(frame, type, stream);
}

}  // namespace frames
