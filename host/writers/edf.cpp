// EDF frames: a text header in braces, then uncompressed pixels.
#include <cstdio>
#include <optional>
#include <string>

#include "host/writers/header_text.h"
#include "host/writers/samples.h"

namespace host {

namespace {

const char* data_type(SampleType type) {
  switch (type) {
    case SampleType::kUnsigned16:
      return "UnsignedShort";
    case SampleType::kUnsigned32:
      return "UnsignedInteger";
    default:
      return "SignedInteger";
  }
}

// In metres, as the format wants lengths to be.
std::optional<double> metres(std::optional<double> length, double unit) {
  return length ? std::optional(*length * unit) : std::nullopt;
}

void add_header_values(HeaderItems& items, const frames::Header& header) {
  constexpr double kAngstrom = 1e-10;
  constexpr double kMillimetre = 1e-3;
  items.add("WaveLength", metres(header.wavelength, kAngstrom));
  items.add("SampleDistance", metres(header.distance, kMillimetre));
  if (header.pixel_size) {
    items.add("PSize_1", metres(header.pixel_size->x, kMillimetre));
    items.add("PSize_2", metres(header.pixel_size->y, kMillimetre));
  }
  if (header.beam_centre) {
    items.add("Center_1", header.beam_centre->x);
    items.add("Center_2", header.beam_centre->y);
  }
  items.add("Osc_Start", header.oscillation_start);
  items.add("Osc_Range", header.oscillation_range);
  items.add("ExposureTime", header.exposure_time);
  items.add("Saturation", header.saturation);
  items.add_text("Date", header.date);
  items.add_text("Detector", header.detector);
}

}  // namespace

void write_edf(const frames::Frame& frame, const WriteOptions& options, std::FILE* stream, Remarks& remarks) {
  const SampleType type = fitting_type(frame, options, remarks);
  HeaderItems items(15, " = ", " ;\n");
  items.add("HeaderID", "EH:000001:000000:000000");
  items.add("Image", "1");
  items.add("ByteOrder", "LowByteFirst");
  items.add("DataType", data_type(type));
  items.add("Size", std::to_string(frame.counts.size() * sample_bytes(type)));
  items.add("Dim_1", std::to_string(frame.width));
  items.add("Dim_2", std::to_string(frame.height));
  items.add("BitsPerSample", std::to_string(8 * sample_bytes(type)));
  add_header_values(items, frame.header);
  std::fputs(braced_header(items.text()).c_str(), stream);
  write_samples(frame, type, stream);
}

}  // namespace host
