// Loads frames: decides the format of a file, and does what all formats have in common.
#include <cerrno>
#include <cmath>
#include <cstring>
#include <new>
#include <stdexcept>
#include <utility>

#include "frames/bytes.h"
#include "frames/formats.h"
#include "frames/header_values.h"
#include "frames/readers/header_items.h"
#include "support/c_locale.h"
#include "support/files.h"

namespace frames {

namespace {

const FileFormat* format_by_content(Bytes file) {
  for (const FileFormat& format : formats()) {
    if (format.is_format != nullptr && format.is_format(file)) return &format;
  }
  return nullptr;
}

// The content decides. If it says nothing (raw pixels, or frames damaged at the front), the name does.
const FileFormat& format_of(Bytes file, const std::string& name, const LoadOptions& options) {
  if (options.format) return entry_of(*options.format);
  if (const FileFormat* const format = format_by_content(file)) return *format;
  if (options.size) return entry_of(Format::kRaw);  // a stated size means raw pixels
  if (const FileFormat* const format = format_of_name(name); format != nullptr && format->is_read()) return *format;
  throw LoadError("has an unknown format; read it as raw pixels with --size WxH, or state the format with --format",
                  Problem::kUnknownFormat);
}

// A header value may be too large for a number once it has the right unit.
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

// How much of the compressed file is unpacked.
Enough enough_for(const std::string& name, const LoadOptions& options) {
  return [&](Bytes front) { return enough_of_file(front, name, options); };
}

Frame load_unpacked(Bytes file, const std::string& name, const LoadOptions& options) {
  if (file.empty()) throw LoadError("is empty");
  const FileFormat& format = format_of(file, name, options);
  if (!format.is_read()) {
    throw LoadError("cannot be read as " + std::string(format.keyword) + ": this format is only written",
                    Problem::kUnsupported);
  }
  Frame frame = format.load(file, options);
  if (frame.images == 0) choose_image(frame, 1, options);
  visit_header(frame.header, DropInfinite{});
  take_stated(frame.header, options.stated);
  return frame;
}

Frame load_content(Bytes content, const std::string& name, const LoadOptions& options) {
  std::vector<std::string> damage;
  const auto unpacked = unpack(content, enough_for(name, options), options.force ? &damage : nullptr);
  Frame frame = load_unpacked(unpacked ? Bytes(*unpacked) : content, name, options);
  frame.notes.insert(frame.notes.begin(), damage.begin(), damage.end());
  return frame;
}

// Runs `load` in the C locale, which header and error texts need. A lack of memory becomes a LoadError.
template <typename Load>
auto guarded(Load load) {
  const xrd::CLocale locale;
  try {
    return load();
  } catch (const std::bad_alloc&) {
    throw NoMemoryError();
  } catch (const std::length_error&) {  // more than an array can hold, which is little on 32 bits
    throw NoMemoryError();
  }
}

xrd::FileHandle open_frame(const std::string& path) {
  const xrd::CLocale locale;
  xrd::FileHandle stream = xrd::open_file(path.c_str(), "rb");
  if (!stream) throw LoadError(std::strerror(errno), Problem::kSystem);
  return stream;
}

Format detect(Bytes content, const std::string& name) {
  // Marks are at the front of a file. A packed image may follow anything, but then the file is known by other marks.
  static constexpr std::size_t kFront = std::size_t{1} << 20;
  const Enough front_is_enough = [](Bytes /*front*/) { return std::optional<std::size_t>(kFront); };
  std::vector<std::string> damage;
  const auto unpacked = unpack(content, front_is_enough, &damage);
  const Bytes file = unpacked ? Bytes(*unpacked) : content;
  if (file.empty()) throw LoadError("is empty");
  return format_of(file, name, {}).format;
}

}  // namespace

void take_stated(Header& header, const Header& stated) {
  take_value(header.wavelength, stated.wavelength);
  take_value(header.distance, stated.distance);
  take_value(header.pixel_size, stated.pixel_size);
  take_value(header.beam_centre, stated.beam_centre);
}

std::optional<std::size_t> enough_of_file(Bytes front, const std::string& name, const LoadOptions& options) {
  // Only the whole header shows which of the formats with a header in braces it is.
  const std::string_view text = text_of(front);
  if (begins_with_brace(text) && HeaderItems(text).is_open()) return std::nullopt;
  const FileFormat* format = nullptr;
  try {
    format = &format_of(front, name, options);
  } catch (const LoadError&) {
    return std::nullopt;  // so far
  }
  if (!format->is_read()) return front.size();
  try {
    return format->enough(front, options);
  } catch (const LoadError&) {
    return front.size();  // the loader refuses it likewise
  }
}

Format detect_format(const std::string& path) {
  const xrd::FileHandle stream = open_frame(path);
  return guarded([&] { return detect(read_file(stream.get()), path); });
}

Format detect_format(Bytes content, const std::string& name) {
  return guarded([&] { return detect(content, name); });
}

Frame load_frame(const std::string& path, const LoadOptions& options) {
  return load_frame(open_frame(path).get(), path, options);
}

Frame load_frame(std::FILE* stream, const std::string& path, const LoadOptions& options) {
  return guarded([&] { return load_content(read_file(stream), path, options); });
}

Frame load_frame(Bytes content, const std::string& name, const LoadOptions& options) {
  return guarded([&] { return load_content(content, name, options); });
}

}  // namespace frames
