// Frames of the formats whose readers only need to be called: TIFF, MarCCD, EDF, ADSC-style CCD images, SAINT frames
// and packed files.
#include <tiffio.h>

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "host/failure.h"
#include "host/header_values.h"
#include "host/readers.h"
#include "support/files.h"
#include "xrdimage.h"

namespace host {

namespace {

// A distance setting that is not set.
constexpr double kNotSet = -999.0;

// What the CCD reader hands out for a value that the header does not have.
constexpr double kAbsent = -1.0;

// The library leaves 16-bit samples side by side in the array's first half: gives each a pixel of its own.
void spread_samples(std::span<unsigned int> pixels) {
  std::vector<std::uint16_t> samples(pixels.size());
  std::memcpy(samples.data(), pixels.data(), samples.size() * sizeof samples[0]);
  std::ranges::copy(samples, pixels.begin());
}

// The bytes of every second sample, from the first on, are exchanged by the library when it converts byte orders.
void undo_exchange(std::span<unsigned int> pixels) {
  for (std::size_t i = 0; i < pixels.size(); i += 2) pixels[i] = (pixels[i] >> 8 | pixels[i] << 8) & 0xFFFFU;
}

bool any_line_holds(const LibraryReport& report, std::string_view text) {
  return std::ranges::any_of(report.lines,
                             [&](const std::string& line) { return line.find(text) != std::string::npos; });
}

// libtiff says on standard error what is wrong with a file; the library has no more to tell than that something is.
// Shows each of the messages as a warning, with the file's name in front as in all others.
void warn_of_tiff_error(const char* module, const char* format, va_list values) {
  std::array<char, 500> text{};
  std::vsnprintf(text.data(), text.size(), format, values);
  warn(module, text.data());
}

// MarCCD frames are TIFF files with a binary header behind the first 1024 bytes, which names itself.
bool has_mar_ccd_prefix(const std::string& path) {
  constexpr std::size_t kPrefixBytes = 4096;
  constexpr std::size_t kHeaderName = 1024 + 4;
  std::array<char, kPrefixBytes> prefix{};
  const xrd::FileHandle stream = xrd::open_file(path.c_str(), "r");
  if (!stream || std::fread(prefix.data(), prefix.size(), 1, stream.get()) != 1) return false;
  return std::string_view(prefix.data() + kHeaderName, 3) == "MMX";
}

Frame read_mar_ccd_frame(const ReadRequest& request) {
  Frame frame;
  ImageInfo info{};
  ImageData data{};
  double distance = kNotSet;
  call_reader(request, [&] {
    read_mar_ccd_header(request.path.c_str(), &info);
    read_mar_ccd(request.path.c_str(), &data, &distance);
  });
  frame.daten.reset(data.Daten);
  frame.size = {data.width, data.height};
  add_text(frame.header, "detector", "MarCCD");
  add_number(frame.header, "wavelength", info.wavelength, "Å");
  add_number(frame.header, "distance", distance, "mm");
  add_number(frame.header, "phi start", info.start_angle, "degrees");
  add_number(frame.header, "oscillation", info.oscillation_range, "degrees");
  add_number(frame.header, "exposure time", info.exposure_time, "s");
  return frame;
}

}  // namespace

Frame read_tiff_frame(const ReadRequest& request) {
  TIFFSetErrorHandler(warn_of_tiff_error);
  if (has_mar_ccd_prefix(request.path)) return read_mar_ccd_frame(request);
  Frame frame;
  call_reader(request, [&] {
    unsigned int* daten = nullptr;
    read_tiff(request.path.c_str(), &daten, 0, &frame.size.width, &frame.size.height);
    frame.daten.reset(daten);
  });
  return frame;
}

Frame read_edf_frame(const ReadRequest& request) {
  Frame frame;
  int bits = request.options.bits;
  call_reader(request, [&] {
    unsigned int* daten = nullptr;
    read_edf(request.path.c_str(), &daten, &bits, &frame.size.width, &frame.size.height);
    frame.daten.reset(daten);
  });
  if (bits == 16) spread_samples(frame.pixels());
  if (bits != 16 && bits != 32)
    report_damage(request, "has " + std::to_string(bits) + " bits a pixel (-b states them)");
  add_number(frame.header, "bits", bits);
  return frame;
}

Frame read_ccd_frame(const ReadRequest& request) {
  Frame frame;
  double distance = kAbsent;
  double wavelength = kAbsent;
  double start = kAbsent;
  double range = kAbsent;
  double time = kAbsent;
  const LibraryReport report = call_reader(request, [&] {
    unsigned int* daten = nullptr;
    read_bnl(request.path.c_str(), 0, &daten, &frame.size.width, &frame.size.height, &distance, &wavelength, &start,
             &range, &time);
    frame.daten.reset(daten);
  });
  spread_samples(frame.pixels());
  if (any_line_holds(report, "convertion needed....")) undo_exchange(frame.pixels());
  const auto add = [&](const char* key, double value, const char* unit) {
    if (value != kAbsent) add_number(frame.header, key, value, unit);
  };
  add("wavelength", wavelength, "Å");
  add("distance", distance, "mm");
  add("oscillation start", start, "degrees");
  add("oscillation", range, "degrees");
  add("exposure time", time, "s");
  return frame;
}

Frame read_saint_frame(const ReadRequest& request) {
  Frame frame;
  call_reader(request, [&] {
    unsigned int* daten = nullptr;
    read_saint(request.path.c_str(), &daten, &frame.size.width, &frame.size.height);
    frame.daten.reset(daten);
  });
  return frame;
}

Frame read_packed_frame(const ReadRequest& request) {
  Frame frame;
  call_reader(request, [&] {
    unsigned int* daten = nullptr;
    read_pck(request.path.c_str(), &daten, &frame.size.width, &frame.size.height);
    frame.daten.reset(daten);
  });
  return frame;
}

}  // namespace host
