// Frames from files and from memory.
#include <string>

#include "api/frames.h"
#include "api/guard.h"
#include "frames/formats.h"

namespace {

using api::guarded;
using api::Refusal;
using api::required;

enum class Part { kAll, kHeader };

frames::LoadOptions load_options_of(const xrd_options* options, Part part) {
  frames::LoadOptions reading = options == nullptr ? frames::LoadOptions() : options->reading;
  reading.header_only = part == Part::kHeader;
  if (options != nullptr && options->format) {
    const frames::FileFormat& format = *frames::find_format(*options->format);
    if (!format.is_read()) throw Refusal(XRD_UNSUPPORTED, "cannot be read as " + std::string(format.name));
    reading.format = format.format;
  }
  return reading;
}

frames::Bytes bytes_of(const void* bytes, std::size_t size) {
  if (size > 0) required(static_cast<const char*>(bytes), "file in memory");
  return {static_cast<const unsigned char*>(bytes), size};
}

std::string name_of(const char* name) {
  return name == nullptr ? "" : name;
}

// Loads a frame from what `source` reads.
template <typename Source>
xrd_result load(const xrd_options* options, Part part, xrd_frame** frame, char* detail, const Source& source) {
  return guarded(detail, [&] {
    required(frame, "place for the frame");
    *frame = api::handle_of(source(load_options_of(options, part))).release();
  });
}

xrd_result load_path(const char* path, const xrd_options* options, Part part, xrd_frame** frame, char* detail) {
  return load(options, part, frame, detail, [&](const frames::LoadOptions& reading) {
    return frames::load_frame(std::string(&required(path, "path")), reading);
  });
}

struct Memory {
  const void* bytes;
  std::size_t size;
  const char* name;
};

xrd_result load_memory(const Memory& file, const xrd_options* options, Part part, xrd_frame** frame, char* detail) {
  return load(options, part, frame, detail, [&](const frames::LoadOptions& reading) {
    return frames::load_frame(bytes_of(file.bytes, file.size), name_of(file.name), reading);
  });
}

}  // namespace

extern "C" {

xrd_result xrd_detect(const char* path, const char** keyword, char* detail) {
  return guarded(detail, [&] {
    required(keyword, "place for the keyword");
    *keyword = frames::entry_of(frames::detect_format(std::string(&required(path, "path")))).keyword;
  });
}

xrd_result xrd_detect_memory(const void* bytes, size_t size, const char* name, const char** keyword, char* detail) {
  return guarded(detail, [&] {
    required(keyword, "place for the keyword");
    *keyword = frames::entry_of(frames::detect_format(bytes_of(bytes, size), name_of(name))).keyword;
  });
}

xrd_result xrd_load(const char* path, const xrd_options* options, xrd_frame** frame, char* detail) {
  return load_path(path, options, Part::kAll, frame, detail);
}

xrd_result xrd_load_memory(const void* bytes, size_t size, const char* name, const xrd_options* options,
                           xrd_frame** frame, char* detail) {
  return load_memory({bytes, size, name}, options, Part::kAll, frame, detail);
}

xrd_result xrd_load_header(const char* path, const xrd_options* options, xrd_frame** frame, char* detail) {
  return load_path(path, options, Part::kHeader, frame, detail);
}

xrd_result xrd_load_header_memory(const void* bytes, size_t size, const char* name, const xrd_options* options,
                                  xrd_frame** frame, char* detail) {
  return load_memory({bytes, size, name}, options, Part::kHeader, frame, detail);
}

}  // extern "C"
