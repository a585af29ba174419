// Frames with their true counts, whatever their format, and what their headers tell.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "frames/counts.h"

namespace frames {

using Bytes = std::span<const unsigned char>;

// See formats.h for their names and what they can hold.
enum class Format { kMar345, kMarCcd, kTiff, kAdsc, kEdf, kSaint, kPacked, kRaw, kPng, kNpy };

struct Point {
  double x = 0.0;
  double y = 0.0;
};

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

// What the file's header says, in its own words: "DISTANCE" "100.0".
struct HeaderItem {
  std::string name;
  std::string text;

  bool operator==(const HeaderItem&) const = default;
};

// Why a pixel is masked: bits of its byte, as far as a byte goes those of the pixel_mask of NeXus. Pixels with any of
// them but kSaturated have no count.
enum MaskBit : std::uint8_t {
  kGap = 0x01,
  kDead = 0x02,
  kWeak = 0x04,       // under-responding
  kSaturated = 0x08,  // at or above what the detector can count
  kNoisy = 0x10,
  kUnknown = 0x20,  // it overflowed, and nothing tells its count
  kCluster = 0x40,  // in a group of pixels that have something wrong
  kUser = 0x80
};

inline bool has_no_count(std::uint8_t mask) {
  return (mask & ~unsigned{kSaturated}) != 0;
}

struct Frame {
  Format format = Format::kRaw;
  int width = 0;
  int height = 0;
  Counts
      counts;  // row by row; negative counts of signed formats wrap, see is_signed. None if the header was loaded only
  std::vector<std::uint8_t> mask;  // of MaskBits, a byte a pixel; empty when no pixel is masked
  bool is_signed = false;          // counts are 32-bit two's complement numbers
  Header header;
  std::vector<HeaderItem> items;   // all that the file's header says, in its order
  std::size_t images = 0;          // that the file holds, as far as it was unpacked; 0 for frames of no file
  std::vector<std::string> notes;  // what the user should know: a guessed size, data that end early (with `force`)
};

inline bool is_unknown(const Frame& frame, std::size_t pixel) {
  return !frame.mask.empty() && has_no_count(frame.mask[pixel]);
}

// The pixel is masked for these reasons, too.
inline void mask_pixel(Frame& frame, std::size_t pixel, std::uint8_t why) {
  frame.mask.resize(frame.counts.size());
  frame.mask[pixel] = static_cast<std::uint8_t>(frame.mask[pixel] | why);
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
  std::optional<Format> format;      // instead of looking
  std::optional<Size> size;          // raw frames; EDF without dimensions
  std::optional<int> depth;          // bits per raw pixel: 8, 16, 32; 16 if not told
  bool big_endian = false;           // raw pixels
  std::size_t skip = 0;              // bytes before the raw pixels
  std::optional<std::size_t> image;  // of those in the file, from 1; the first if not told
  bool header_only = false;          // no counts and no mask are read
  bool force = false;                // damaged frames are taken as far as they go
  Header stated;                     // takes the place of what the header says
};

// Values that are there take the place of the header's.
void take_stated(Header& header, const Header& stated);

// What kind of error it is.
enum class Problem {
  kNoMemory,
  kSystem,         // no such file, no permission
  kUnknownFormat,  // nothing tells what the file is
  kDamaged,
  kUnsupported,  // valid, but of a kind that is not read
  kInvalid       // options that do not suit the file
};

// Why a frame cannot be had: one line for the user, without the path.
class LoadError : public std::runtime_error {
 public:
  explicit LoadError(const std::string& line, Problem problem = Problem::kDamaged)
      : std::runtime_error(line), problem_(problem) {}

  Problem problem() const { return problem_; }

 private:
  Problem problem_;
};

// For want of memory, whatever the frame is.
class NoMemoryError : public LoadError {
 public:
  NoMemoryError() : LoadError("needs more memory than there is", Problem::kNoMemory) {}
};

// Reads a frame from the file, which may be compressed by gzip or bzip2. The content decides the format, the name where
// the content says nothing. Throws LoadError.
Frame load_frame(const std::string& path, const LoadOptions& options = {});
// The same from the content of a file. The name may be empty.
Frame load_frame(Bytes content, const std::string& name, const LoadOptions& options = {});

// The format that a frame would be read as. Throws LoadError.
Format detect_format(const std::string& path);
Format detect_format(Bytes content, const std::string& name);

// The same of a file that is open; of the path only the name counts.
Frame load_frame(std::FILE* stream, const std::string& path, const LoadOptions& options = {});

}  // namespace frames
