// Frames, read through the library by the type that it detects.
#pragma once

#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "host/library_output.h"
#include "host/program.h"
#include "support/memory.h"

namespace host {

struct FrameSize {
  int width = 0;
  int height = 0;
};

struct ReadOptions {
  std::optional<FrameSize> size;  // for formats that do not tell it
  int bits = -1;                  // per pixel of EDF frames that do not tell it
  int type = 0;                   // an image type code; 0 for the one that the library detects
  bool force = false;             // damaged frames are taken as far as they go
};

// A value of the frame's header, ready to be shown: "wavelength", "1.54179 Å".
struct HeaderValue {
  std::string key;
  std::string value;
};

struct Format;

struct Frame {
  const Format* format = nullptr;
  FrameSize size;
  xrd::MallocArray<unsigned int> daten;
  std::vector<HeaderValue> header;

  int count() const { return size.width * size.height; }
  std::span<unsigned int> pixels() const { return {daten.get(), static_cast<std::size_t>(count())}; }
};

// What a reader is given.
struct ReadRequest {
  const std::string& path;
  const ReadOptions& options;
  const Settings& settings;
};

// A kind of frame, by the library's type code. Without a reader it is known by name only.
struct Format {
  int code;
  std::string_view name;
  const char* description;
  Frame (*read)(const ReadRequest& request);
};

std::span<const Format> formats();

// Throws a Failure that says what is wrong with the file. Warnings go to standard error.
Frame read_frame(const std::string& path, const ReadOptions& options, const Settings& settings);

// Damage of a file: a Failure, or a warning when the user wants the frame all the same.
void report_damage(const ReadRequest& request, const std::string& damage);

// Calls a reader of the library and passes on its messages: an ERROR is a Failure, a WARNING a warning.
LibraryReport call_reader(const ReadRequest& request, const std::function<void()>& call);

}  // namespace host
