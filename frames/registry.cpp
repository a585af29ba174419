// Which format a file has, and what all loaders share.
#include <algorithm>
#include <array>
#include <cmath>
#include <new>
#include <stdexcept>

#include "frames/bytes.h"
#include "frames/header_values.h"
#include "frames/readers/header_items.h"
#include "frames/readers/readers.h"
#include "support/c_locale.h"
#include "support/image_size.h"

namespace frames {

namespace {

struct Loader {
  Format format;
  const char* keyword;
  const char* name;
  bool (*is_format)(Bytes file);  // null for the format that has no mark
  Frame (*load)(Bytes file, const LoadOptions& options);
  std::optional<std::size_t> (*enough)(Bytes front, const LoadOptions& options);
};

// In the order in which they are asked: MarCCD frames are TIFF files too, and mar345 frames hold a packed image.
constexpr std::array<Loader, 8> kLoaders{{
    {Format::kMarCcd, "marccd", "MarCCD", is_mar_ccd, load_mar_ccd, enough_of_tiff},
    {Format::kTiff, "tiff", "TIFF", is_tiff, load_tiff, enough_of_tiff},
    {Format::kAdsc, "adsc", "ADSC-style CCD frame", is_adsc, load_adsc, enough_of_adsc},
    {Format::kEdf, "edf", "EDF", is_edf, load_edf, enough_of_edf},
    {Format::kSaint, "saint", "SAINT", is_saint, load_saint, enough_of_saint},
    {Format::kMar345, "mar345", "mar345 image plate", is_mar345, load_mar345, enough_of_mar345},
    {Format::kPacked, "packed", "CCP4-packed image", is_packed, load_packed, enough_of_packed},
    {Format::kRaw, "raw", "raw pixels", nullptr, load_raw, enough_of_raw},
}};

struct NameEnding {
  std::string_view ending;
  Format format;
};

// For files whose content says nothing: raw pixels, or frames that are damaged right at the front.
constexpr std::array<NameEnding, 19> kNameEndings{{
    {".raw", Format::kRaw},        {".bin", Format::kRaw},        {".pck", Format::kPacked},
    {".edf", Format::kEdf},        {".sfrm", Format::kSaint},     {".tif", Format::kTiff},
    {".tiff", Format::kTiff},      {".mccd", Format::kMarCcd},    {".img", Format::kAdsc},
    {".mar", Format::kMar345},     {".mar1200", Format::kMar345}, {".mar1600", Format::kMar345},
    {".mar1800", Format::kMar345}, {".mar2000", Format::kMar345}, {".mar2300", Format::kMar345},
    {".mar2400", Format::kMar345}, {".mar3000", Format::kMar345}, {".mar3450", Format::kMar345},
    {".mar345", Format::kMar345},
}};

const Loader& loader_of(Format format) {
  return *std::ranges::find(kLoaders, format, &Loader::format);
}

std::optional<Format> format_by_content(Bytes file) {
  const auto found = std::ranges::find_if(
      kLoaders, [&](const Loader& loader) { return loader.is_format != nullptr && loader.is_format(file); });
  if (found == kLoaders.end()) return std::nullopt;
  return found->format;
}

// The name in lower case, without the ending of a compressed file.
std::string uncompressed_name(const std::string& name) {
  std::string plain = lower_case(name);
  for (const std::string_view compressed : {".gz", ".bz2"}) {
    if (plain.ends_with(compressed)) plain.resize(plain.size() - compressed.size());
  }
  return plain;
}

const NameEnding* ending_of(std::string_view name) {
  const auto found =
      std::ranges::find_if(kNameEndings, [&](const NameEnding& entry) { return name.ends_with(entry.ending); });
  return found == kNameEndings.end() ? nullptr : &*found;
}

std::optional<Format> format_by_name(const std::string& name) {
  const NameEnding* const ending = ending_of(uncompressed_name(name));
  return ending == nullptr ? std::nullopt : std::optional(ending->format);
}

Format format_of(Bytes file, const std::string& path, const LoadOptions& options) {
  if (options.format) return *options.format;
  if (const auto format = format_by_content(file)) return *format;
  if (options.size) return Format::kRaw;  // who states a size means raw pixels
  if (const auto format = format_by_name(path)) return *format;
  throw LoadError("is of no known format; --size WxH takes it as raw pixels, --format states the format");
}

}  // namespace

const char* format_name(Format format) {
  return loader_of(format).name;
}

const char* format_keyword(Format format) {
  return loader_of(format).keyword;
}

std::optional<Format> format_of_keyword(std::string_view keyword) {
  const auto found = std::ranges::find(kLoaders, keyword, &Loader::keyword);
  return found == kLoaders.end() ? std::nullopt : std::optional(found->format);
}

std::vector<std::string> format_keywords() {
  std::vector<std::string> keywords;
  keywords.reserve(kLoaders.size());
  for (const Loader& loader : kLoaders) keywords.emplace_back(loader.keyword);
  return keywords;
}

std::string name_without_ending(const std::string& name) {
  const std::string plain = uncompressed_name(name);
  const NameEnding* const ending = ending_of(plain);
  const std::size_t length = plain.size() - (ending == nullptr ? 0 : ending->ending.size());
  const std::string name_itself = name.substr(0, length);
  // What is left must be no folder: "...edf" is not to lead to the one above.
  const bool is_name = length > 0 && name_itself != "." && name_itself != "..";
  return is_name ? name_itself : name;
}

std::string_view text_of(Bytes file) {
  return {reinterpret_cast<const char*>(file.data()), file.size()};
}

void report_damage(Frame& frame, const LoadOptions& options, const std::string& damage) {
  if (!options.force) throw LoadError(damage);
  frame.notes.push_back(damage);
}

std::optional<std::size_t> enough_of_file(Bytes front, const std::string& path, const LoadOptions& options) {
  // Which of the formats with a header in braces it is shows when the header is there.
  const std::string_view text = text_of(front);
  if (begins_with_brace(text) && HeaderItems(text).is_open()) return std::nullopt;
  std::optional<Format> format;
  try {
    format = format_of(front, path, options);
  } catch (const LoadError&) {
    return std::nullopt;  // so far
  }
  try {
    return loader_of(*format).enough(front, options);
  } catch (const LoadError&) {
    return front.size();  // the loader refuses it likewise
  }
}

std::size_t pixels_of_size(long long width, long long height) {
  constexpr auto kMost = static_cast<long long>(xrd::kMaxPixels);
  if (width < 1 || height < 1 || width > kMost || height > kMost / width) {
    throw LoadError("is damaged: it states a size of " + std::to_string(width) + " x " + std::to_string(height) +
                    " pixels");
  }
  return static_cast<std::size_t>(width * height);
}

void set_size(Frame& frame, long long width, long long height) {
  const std::size_t pixels = pixels_of_size(width, height);
  frame.width = static_cast<int>(width);
  frame.height = static_cast<int>(height);
  frame.counts = Counts(pixels);
}

void mark_unknown(Frame& frame, std::size_t pixel) {
  frame.unknown.resize(frame.counts.size());
  frame.unknown[pixel] = true;
}

namespace {

// What a header tells may fit no number once it has the right unit.
struct DropInfinite {
  void operator()(const char* /*name*/, std::optional<double>& number) const {
    if (number && !std::isfinite(*number)) number.reset();
  }
  void operator()(const char* /*name*/, std::optional<std::string>& /*text*/) const {}
  void operator()(const char* /*x_name*/, const char* /*y_name*/, std::optional<Point>& point) const {
    if (point && !(std::isfinite(point->x) && std::isfinite(point->y))) point.reset();
  }
};

template <typename Value>
void take_value(std::optional<Value>& value, const std::optional<Value>& stated) {
  if (stated) value = stated;
}

}  // namespace

void take_stated(Header& header, const Header& stated) {
  take_value(header.wavelength, stated.wavelength);
  take_value(header.distance, stated.distance);
  take_value(header.pixel_size, stated.pixel_size);
  take_value(header.beam_centre, stated.beam_centre);
}

Frame load_frame(const std::string& path, const LoadOptions& options) {
  const xrd::CLocale locale;  // texts of headers, and of errors
  try {
    std::vector<std::string> damage;
    const auto enough = [&](Bytes front) { return enough_of_file(front, path, options); };
    const std::vector<unsigned char> file = read_file(path, enough, options.force ? &damage : nullptr);
    if (file.empty()) throw LoadError("is empty");
    Frame frame = loader_of(format_of(file, path, options)).load(file, options);
    frame.notes.insert(frame.notes.begin(), damage.begin(), damage.end());
    visit_header(frame.header, DropInfinite{});
    take_stated(frame.header, options.stated);
    return frame;
  } catch (const std::bad_alloc&) {
    throw NoMemoryError();
  } catch (const std::length_error&) {  // more than an array could ever hold, which 32 bits make few
    throw NoMemoryError();
  }
}

}  // namespace frames
