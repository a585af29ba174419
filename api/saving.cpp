// Frames into files and into memory.
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <string>

#include "api/frames.h"
#include "api/guard.h"
#include "frames/failure.h"
#include "frames/formats.h"
#include "frames/new_file.h"
#include "frames/remarks.h"
#include "pictures/save.h"
#include "support/c_locale.h"
#include "support/memory_stream.h"

namespace {

using api::guarded;
using api::Refusal;
using api::required;

const frames::FileFormat& writable(const frames::FileFormat* format) {
  if (format == nullptr) throw Refusal(XRD_UNKNOWN_FORMAT, "cannot be written: no format has this keyword or ending");
  if (!format->is_written()) {
    throw Refusal(XRD_UNSUPPORTED, "cannot be written as " + std::string(format->name));
  }
  return *format;
}

const frames::FileFormat& format_for(const std::string& path, const xrd_options* options) {
  if (options != nullptr && options->format) return writable(frames::find_format(*options->format));
  return writable(frames::format_of_ending(frames::ending_of(path)));
}

// Write errors show in the stream, which is checked when the file is completed.
void write(const frames::Frame& frame, const frames::FileFormat& format, const xrd_options* options, std::FILE* stream,
           frames::Remarks& remarks) {
  try {
    const pictures::SaveOptions saving = options == nullptr ? pictures::SaveOptions() : options->saving;
    pictures::write_frame(frame, format, saving, stream, remarks);
  } catch (const std::runtime_error& failure) {
    if (std::ferror(stream) != 0) return;
    throw Refusal(XRD_UNSUPPORTED, failure.what());
  }
}

// Null if there are no warnings, or if nobody wants them.
std::unique_ptr<xrd_lines> lines_for(xrd_lines** place, const frames::Remarks& remarks) {
  if (place == nullptr || remarks.warnings.empty()) return nullptr;
  return std::make_unique<xrd_lines>(api::printable_lines(remarks.warnings));
}

void hand_over(xrd_lines** place, std::unique_ptr<xrd_lines> lines) {
  if (place != nullptr) *place = lines.release();
}

// The message without the path.
Refusal without_path(const frames::Failure& failure, const std::string& path) {
  std::string line = failure.what();
  if (line.starts_with(path + ": ")) line.erase(0, path.size() + 2);
  return {XRD_SYSTEM, line};
}

}  // namespace

extern "C" {

xrd_result xrd_save(const xrd_frame* frame, const char* path, const xrd_options* options, xrd_lines** warnings,
                    char* detail) {
  return guarded(detail, [&] {
    const frames::Frame& saved = api::with_counts(frame);
    const std::string name = &required(path, "path");
    const xrd::CLocale locale;  // texts of the system's errors
    const frames::FileFormat& format = format_for(name, options);
    try {
      frames::NewFile file(name);
      frames::Remarks remarks;
      write(saved, format, options, file.stream(), remarks);
      auto lines = lines_for(warnings, remarks);
      file.commit();
      hand_over(warnings, std::move(lines));
    } catch (const frames::Failure& failure) {
      throw without_path(failure, name);
    }
  });
}

xrd_result xrd_save_memory(const xrd_frame* frame, const char* format, const xrd_options* options, void** bytes,
                           size_t* size, xrd_lines** warnings, char* detail) {
  return guarded(detail, [&] {
    const frames::Frame& saved = api::with_counts(frame);
    const frames::FileFormat& chosen = writable(frames::find_format(&required(format, "format")));
    required(bytes, "place for the bytes");
    required(size, "place for the size");
    xrd::MemoryStream file;
    frames::Remarks remarks;
    write(saved, chosen, options, file.stream(), remarks);
    auto lines = lines_for(warnings, remarks);
    *size = file.finish();
    *bytes = file.release();
    hand_over(warnings, std::move(lines));
  });
}

}  // extern "C"
