#include "host/frame.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>

#include "host/failure.h"
#include "host/readers.h"
#include "support/files.h"
#include "xrdimage.h"

namespace host {

namespace {

namespace fs = std::filesystem;

// A kind of frame that the library does not detect; --type states it.
constexpr int kTypeSaint = -1;

constexpr std::array<Format, 12> kFormats{{
    {IMAGE_TYPE_MAR2300, "mar2300", "mar345 image plate", read_mar345},
    {IMAGE_TYPE_MAR2000, "mar2000", "mar345 image plate", read_mar345},
    {IMAGE_TYPE_RAW, "raw", "raw 16-bit image", read_raw_image},
    {IMAGE_TYPE_TIFF, "tiff", "TIFF or MarCCD image", read_tiff_frame},
    {IMAGE_TYPE_EDF, "edf", "EDF image", read_edf_frame},
    {IMAGE_TYPE_IMG, "img", "CCD image with a key=value header", read_ccd_frame},
    {IMAGE_TYPE_PCK, "pck", "packed image", read_packed_frame},
    {kTypeSaint, "saint", "SAINT frame", read_saint_frame},
    {IMAGE_TYPE_IFF, "iff", "IFF image", nullptr},
    {IMAGE_TYPE_TRA, "tra", "TRA image", nullptr},
    {IMAGE_TYPE_XI, "xi", "XI image", nullptr},
    {IMAGE_TYPE_UNKNOWN, "unknown", "unknown", nullptr},
}};

const Format& format_of(int code) {
  const auto* const found = std::ranges::find(kFormats, code, &Format::code);
  return found == kFormats.end() ? kFormats.back() : *found;
}

// The library's readers say little about why a file cannot be read.
void check_readable(const std::string& path) {
  std::error_code error;
  const fs::file_status status = fs::status(path, error);
  if (error) throw Failure(path, error.message());
  if (fs::is_directory(status)) throw Failure(path, "is a directory");
  if (!fs::is_regular_file(status)) throw Failure(path, "is not a regular file");
  if (!xrd::open_file(path.c_str(), "r")) throw Failure(path, std::strerror(errno));
  if (fs::file_size(path) == 0) throw Failure(path, "is empty");
}

const Format& detect(const std::string& path, const Settings& settings) {
  int code = IMAGE_TYPE_UNKNOWN;
  run_library(settings, {}, [&] { code = get_image_type(path.c_str()); });
  return format_of(code);
}

}  // namespace

std::span<const Format> formats() {
  return kFormats;
}

void report_damage(const ReadRequest& request, const std::string& damage) {
  if (!request.options.force) throw Failure(request.path, damage);
  warn(request.path, damage);
}

LibraryReport call_reader(const ReadRequest& request, const std::function<void()>& call) {
  std::optional<std::string> answer;
  if (const auto& size = request.options.size) {
    answer = std::to_string(size->width) + " " + std::to_string(size->height) + "\n";
  }
  LibraryReport report = run_library(request.settings, {.answer = answer}, call);
  if (!report.errors.empty()) throw Failure(request.path, joined_errors(report, request.path));
  for (const std::string& warning : report.warnings) warn(request.path, warning);
  return report;
}

Frame read_frame(const std::string& path, const ReadOptions& options, const Settings& settings) {
  check_readable(path);
  const Format& format = options.type == IMAGE_TYPE_UNKNOWN ? detect(path, settings) : format_of(options.type);
  if (format.code == IMAGE_TYPE_UNKNOWN) {
    throw Failure(path, "is in no format that is known by its name or contents (--type states one)");
  }
  if (format.read == nullptr) {
    throw Failure(path,
                  "this version cannot read the type " + std::string(format.name) + " (" + format.description + ")");
  }
  Frame frame = format.read({path, options, settings});
  frame.format = &format;
  if (!frame.daten || frame.count() == 0) throw Failure(path, "has no pixels");
  return frame;
}

}  // namespace host
