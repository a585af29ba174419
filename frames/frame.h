// Frames of any format, with their true counts and header values.
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

// The values of a header; empty if the header lacks them.
struct Header {
  std::optional<double> wavelength;         // angstrom
  std::optional<double> distance;           // millimetres
  std::optional<double> oscillation_start;  // degrees
  std::optional<double> oscillation_range;  // degrees
  std::optional<double> exposure_time;      // seconds
  std::optional<Point> pixel_size;          // millimetres
  std::optional<Point> beam_centre;         // pixels
  std::optional<double> saturation;         // the largest count that the detector can measure
  std::optional<std::string> date;
  std::optional<std::string> detector;
};

// An item of the file's header, in its own words: "DISTANCE" "100.0".
struct HeaderItem {
  std::string name;
  std::string text;

  bool operator==(const HeaderItem&) const = default;
};

// Why a pixel is masked: bits of its byte, those of NeXus's pixel_mask that fit a byte. Pixels with any of
// them but kSaturated have no count.
enum MaskBit : std::uint8_t {
  kGap = 0x01,
  kDead = 0x02,
  kWeak = 0x04,       // under-responding
  kSaturated = 0x08,  // at or above what the detector can count
  kNoisy = 0x10,
  kUnknown = 0x20,  // it overflowed, and its count is lost
  kCluster = 0x40,  // in a group of faulty pixels
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
  std::vector<std::uint8_t> mask;  // of MaskBits, one byte per pixel; empty if no pixel is masked
  bool is_signed = false;          // counts are 32-bit two's complement numbers
  Header header;
  std::vector<HeaderItem> items;   // all items of the file's header, in its order
  std::size_t images = 0;          // in the unpacked part of the file; 0 without a file
  std::vector<std::string> notes;  // what the user should know: a guessed size, data that end early (with `force`)
};

inline bool is_unknown(const Frame& frame, std::size_t pixel) {
  return !frame.mask.empty() && has_no_count(frame.mask[pixel]);
}

// Masks the pixel for these reasons too.
inline void mask_pixel(Frame& frame, std::size_t pixel, std::uint8_t why) {
  frame.mask.resize(frame.counts.size());
  frame.mask[pixel] = static_cast<std::uint8_t>(frame.mask[pixel] | why);
}

// With its sign; for an unknown count, the content of the array.
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
  std::optional<Format> format;      // instead of detecting it
  std::optional<Size> size;          // raw frames; EDF without dimensions
  std::optional<int> depth;          // bits per raw pixel: 8, 16 or 32 (default: 16)
  bool big_endian = false;           // raw pixels
  std::size_t skip = 0;              // bytes before the raw pixels
  std::optional<std::size_t> image;  // of those in the file, from 1 (default: the first)
  bool header_only = false;          // no counts and no mask are read
  bool force = false;                // damaged frames are read as far as possible
  Header stated;                     // replaces values of the header
};

// Stated values replace those of the header.
void take_stated(Header& header, const Header& stated);

// The kind of an error.
enum class Problem {
  kNoMemory,
  kSystem,         // no such file, no permission
  kUnknownFormat,  // the file has no known mark or ending
  kDamaged,
  kUnsupported,  // valid, but of a kind that is not read
  kInvalid       // options that do not suit the file
};

// Why a frame cannot be loaded: one line for the user, without the path.
class LoadError : public std::runtime_error {
 public:
  explicit LoadError(const std::string& line, Problem problem = Problem::kDamaged)
      : std::runtime_error(line), problem_(problem) {}

  Problem problem() const { return problem_; }

 private:
  Problem problem_;
};

// Out of memory, whatever the frame is.
class NoMemoryError : public LoadError {
 public:
  NoMemoryError() : LoadError("needs more memory than is available", Problem::kNoMemory) {}
};

// Reads a frame from the file, which may be compressed with gzip or bzip2. The content decides the format, or the name
// if the content says nothing. Throws LoadError.
Frame load_frame(const std::string& path, const LoadOptions& options = {});
// The same from the content of a file. The name may be empty.
Frame load_frame(Bytes content, const std::string& name, const LoadOptions& options = {});

// The format that a frame would be read as. Throws LoadError.
Format detect_format(const std::string& path);
Format detect_format(Bytes content, const std::string& name);

// The same for an open file; only the name in the path counts.
Frame load_frame(std::FILE* stream, const std::string& path, const LoadOptions& options = {});

}  // namespace frames
