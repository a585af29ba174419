// Frames with their true counts, whatever their format, and what their headers tell.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "frames/counts.h"

namespace frames {

enum class Format { kMar345, kMarCcd, kTiff, kAdsc, kEdf, kSaint, kPacked, kRaw };

// The name for people: "mar345 image plate".
const char* format_name(Format format);

// The name for command lines and scripts: "mar345". Nothing for a keyword that is none.
const char* format_keyword(Format format);
std::optional<Format> format_of_keyword(std::string_view keyword);
std::vector<std::string> format_keywords();

struct Point {
  double x = 0.0;
  double y = 0.0;
};

// The name of a frame's file without the ending of its format, and that of a compressed file: "a" of "a.mar2300.gz",
// but all of "a.0001", where the ending is the frame's number.
std::string name_without_ending(const std::string& name);

// What a header tells; absent where it does not.
struct Header {
  std::optional<double> wavelength;         // angstrom
  std::optional<double> distance;           // millimetres
  std::optional<double> oscillation_start;  // degrees
  std::optional<double> oscillation_range;  // degrees
  std::optional<double> exposure_time;      // seconds
  std::optional<Point> pixel_size;          // millimetres
  std::optional<Point> beam_centre;         // pixels
  std::optional<double> saturation;         // the largest count that the detector can tell
  std::optional<std::string> date;
  std::optional<std::string> detector;
};

struct Frame {
  Format format = Format::kRaw;
  int width = 0;
  int height = 0;
  Counts counts;              // row by row; negative counts of signed formats wrap, see is_signed
  std::vector<bool> unknown;  // pixels whose count is unknown, because it overflowed; empty when there are none
  bool is_signed = false;     // counts are 32-bit two's complement numbers
  Header header;
  std::vector<std::string> notes;  // what the user should know: a guessed size, data that end early (with `force`)
};

inline bool is_unknown(const Frame& frame, std::size_t pixel) {
  return !frame.unknown.empty() && frame.unknown[pixel];
}

// With its sign; of unknown ones it is what the counts hold.
inline std::int64_t count_of(const Frame& frame, std::size_t pixel) {
  const std::uint32_t bits = frame.counts[pixel];
  return frame.is_signed ? std::int64_t{static_cast<std::int32_t>(bits)} : std::int64_t{bits};
}

struct Size {
  int width = 0;
  int height = 0;
};

// How to read a file.
struct LoadOptions {
  std::optional<Format> format;  // instead of looking
  std::optional<Size> size;      // raw frames; EDF without dimensions
  std::optional<int> depth;      // bits per raw pixel: 8, 16, 32; 16 if not told
  bool big_endian = false;       // raw pixels
  std::size_t skip = 0;          // bytes before the raw pixels
  bool force = false;            // damaged frames are taken as far as they go
  Header stated;                 // takes the place of what the header says
};

// Values that are there take the place of the header's.
void take_stated(Header& header, const Header& stated);

// Why a frame cannot be had: one line for the user, without the path.
class LoadError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// For want of memory, whatever the frame is.
class NoMemoryError : public LoadError {
 public:
  NoMemoryError() : LoadError("needs more memory than there is") {}
};

// Reads the frame in the file, which may be compressed by gzip or bzip2. The content decides the format, the name where
// the content says nothing. Throws LoadError.
Frame load_frame(const std::string& path, const LoadOptions& options = {});

}  // namespace frames
