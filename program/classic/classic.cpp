#include "program/classic/classic.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <limits>

#include "frames/failure.h"
#include "program/classic/library_output.h"
#include "support/files.h"
#include "support/marccd_header.h"
#include "xrdimage.h"

namespace program {

namespace {

using frames::Format;
using frames::Frame;

// The array, the size and the header values that a reader returns.
struct Result {
  unsigned int* daten = nullptr;
  int width = 0;
  int height = 0;
  frames::Header header;
};

xrd::LibraryReport call_library(const ClassicRequest& request, const std::function<void()>& call) {
  std::optional<std::string> answer;
  if (const auto& size = request.options.size) {
    answer = std::to_string(size->width) + " " + std::to_string(size->height) + "\n";
  }
  xrd::LibraryReport report = run_library(request.settings, answer, call);
  if (!report.errors.empty()) throw frames::Failure(request.path, xrd::joined_errors(report, request.path));
  for (const std::string& warning : report.warnings) request.remarks.warnings.push_back(warning);
  return report;
}

// ------------------------------------------------------------------------------------------------------------------
// Readers
// ------------------------------------------------------------------------------------------------------------------

void read_mar345_values(const ClassicRequest& request, frames::Header& values) {
  // The library leaves the fields of missing keywords unchanged.
  constexpr double kNotFound = std::numeric_limits<double>::quiet_NaN();
  Mar345Header header{};
  header.wavelength = header.distance = header.phi_start = header.phi_end = header.time = kNotFound;
  call_library(request, [&] { read_marheader(&header, request.path.c_str()); });
  const auto found = [](double value) { return std::isnan(value) ? std::nullopt : std::optional(value); };
  values.wavelength = found(header.wavelength);
  values.distance = found(header.distance);
  values.oscillation_start = found(header.phi_start);
  values.oscillation_range = found(header.phi_osc);
  values.exposure_time = found(header.time);
  if (header.pixel_length > 0 && header.pixel_height > 0) {
    values.pixel_size = frames::Point{header.pixel_length / 1000.0, header.pixel_height / 1000.0};
  }
}

void read_mar345(const ClassicRequest& request, Result& result) {
  call_library(request, [&] { new_read_pck(request.path.c_str(), &result.daten, &result.width, &result.height); });
  read_mar345_values(request, result.header);
}

void read_mar_ccd_frame(const ClassicRequest& request, Result& result) {
  ImageInfo info{};
  ImageData data{};
  double distance = xrd::mar_ccd::kDistanceNotSet;
  call_library(request, [&] {
    read_mar_ccd_header(request.path.c_str(), &info);
    read_mar_ccd(request.path.c_str(), &data, &distance);
  });
  result.daten = data.Daten;
  result.width = data.width;
  result.height = data.height;
  result.header.wavelength = info.wavelength;
  result.header.distance = distance;
  result.header.oscillation_start = info.start_angle;
  result.header.oscillation_range = info.oscillation_range;
  result.header.exposure_time = info.exposure_time;
}

void read_tiff_frame(const ClassicRequest& request, Result& result) {
  call_library(request, [&] { read_tiff(request.path.c_str(), &result.daten, 0, &result.width, &result.height); });
}

void read_edf_frame(const ClassicRequest& request, Result& result) {
  int bits = request.options.depth.value_or(-1);
  call_library(request, [&] { read_edf(request.path.c_str(), &result.daten, &bits, &result.width, &result.height); });
}

void read_adsc(const ClassicRequest& request, Result& result) {
  // What the library returns for a value that the header lacks.
  constexpr double kAbsent = -1.0;
  double distance = kAbsent;
  double wavelength = kAbsent;
  double start = kAbsent;
  double range = kAbsent;
  double time = kAbsent;
  call_library(request, [&] {
    read_bnl(request.path.c_str(), 0, &result.daten, &result.width, &result.height, &distance, &wavelength, &start,
             &range, &time);
  });
  const auto present = [](double value) { return value == kAbsent ? std::nullopt : std::optional(value); };
  result.header.wavelength = present(wavelength);
  result.header.distance = present(distance);
  result.header.oscillation_start = present(start);
  result.header.oscillation_range = present(range);
  result.header.exposure_time = present(time);
}

void read_saint_frame(const ClassicRequest& request, Result& result) {
  call_library(request, [&] { read_saint(request.path.c_str(), &result.daten, &result.width, &result.height); });
}

void read_packed(const ClassicRequest& request, Result& result) {
  call_library(request, [&] { read_pck(request.path.c_str(), &result.daten, &result.width, &result.height); });
}

void read_raw_frame(const ClassicRequest& request, Result& result) {
  call_library(request, [&] { read_raw(request.path.c_str(), &result.daten, &result.width, &result.height); });
}

struct Reader {
  Format format;
  void (*read)(const ClassicRequest& request, Result& result);
};

constexpr std::array<Reader, 8> kReaders{{
    {Format::kMar345, read_mar345},
    {Format::kMarCcd, read_mar_ccd_frame},
    {Format::kTiff, read_tiff_frame},
    {Format::kEdf, read_edf_frame},
    {Format::kAdsc, read_adsc},
    {Format::kSaint, read_saint_frame},
    {Format::kPacked, read_packed},
    {Format::kRaw, read_raw_frame},
}};

// ------------------------------------------------------------------------------------------------------------------
// Types
// ------------------------------------------------------------------------------------------------------------------

struct Type {
  int code;
  const char* name;
  std::optional<Format> format;  // none for types that are only known by name
};

constexpr std::array<Type, 10> kTypes{{
    {IMAGE_TYPE_MAR2300, "mar2300", Format::kMar345},
    {IMAGE_TYPE_MAR2000, "mar2000", Format::kMar345},
    {IMAGE_TYPE_RAW, "raw", Format::kRaw},
    {IMAGE_TYPE_TIFF, "tiff", Format::kTiff},
    {IMAGE_TYPE_EDF, "edf", Format::kEdf},
    {IMAGE_TYPE_IMG, "img", Format::kAdsc},
    {IMAGE_TYPE_PCK, "pck", Format::kPacked},
    {IMAGE_TYPE_IFF, "iff", std::nullopt},
    {IMAGE_TYPE_TRA, "tra", std::nullopt},
    {IMAGE_TYPE_XI, "xi", std::nullopt},
}};

// MarCCD frames are TIFF files with a binary header behind the first 1024 bytes, which names itself. The library has no
// own type for them: callers look at the header.
bool has_mar_ccd_header(const std::string& path) {
  std::array<char, xrd::mar_ccd::kFormatName.size()> name{};
  const xrd::FileHandle stream = xrd::open_file(path.c_str(), "r");
  return stream && std::fseek(stream.get(), xrd::mar_ccd::kName, SEEK_SET) == 0 &&
         std::fread(name.data(), name.size(), 1, stream.get()) == 1 &&
         std::string_view(name.data(), name.size()) == xrd::mar_ccd::kFormatName;
}

Format detect(const ClassicRequest& request) {
  if (request.options.format) return *request.options.format;
  int code = IMAGE_TYPE_UNKNOWN;
  run_library(request.settings, std::nullopt, [&] { code = get_image_type(request.path.c_str()); });
  const auto* const type = std::ranges::find(kTypes, code, &Type::code);
  if (type == kTypes.end())
    throw frames::Failure(request.path, "has a type that the library does not know; state one with --format");
  if (!type->format) {
    throw frames::Failure(request.path,
                          "is of the type " + std::string(type->name) + ", which the library cannot read");
  }
  if (*type->format == Format::kTiff && has_mar_ccd_header(request.path)) return Format::kMarCcd;
  return *type->format;
}

}  // namespace

Frame read_classic(const ClassicRequest& request) {
  const Format format = detect(request);
  Result result;
  std::ranges::find(kReaders, format, &Reader::format)->read(request, result);
  xrd::MallocArray<std::uint32_t> daten(result.daten);
  if (!daten || result.width < 1 || result.height < 1) throw frames::Failure(request.path, "has no pixels");
  Frame frame;
  frame.format = format;
  frame.width = result.width;
  frame.height = result.height;
  frame.counts = frames::Counts(std::move(daten),
                                static_cast<std::size_t>(result.width) * static_cast<std::size_t>(result.height));
  frame.header = std::move(result.header);
  return frame;
}

}  // namespace program
