// The formats of files: their names, what they can hold, and the functions that read and write them.
#pragma once

#include <cstddef>
#include <cstdio>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "frames/readers/readers.h"
#include "frames/writers/writers.h"

namespace frames {

// What files of a format hold.
struct Abilities {
  bool header = false;           // values of the header
  bool negative_counts = false;  // as they are; otherwise they become 0
  bool large_counts = false;     // above 65535
  bool is_picture = false;       // colours instead of counts
  int most_bits = 32;            // per pixel; 16 if there is no choice
};

struct FileFormat {
  Format format;
  const char* keyword;       // for command lines and scripts: "marccd"
  const char* name;          // for people: "MarCCD"
  std::string_view endings;  // of file names: "tif tiff", the usual one first
  Abilities abilities;
  // Reading; null if a format is only written.
  bool (*is_format)(Bytes file);  // null for formats that have no mark
  Frame (*load)(Bytes file, const LoadOptions& options);
  std::optional<std::size_t> (*enough)(Bytes front, const LoadOptions& options);
  // Null if a format is only read, and for pictures, which are drawn first.
  void (*write)(const Frame& frame, const WriteOptions& options, std::FILE* stream, Remarks& remarks);

  bool is_read() const { return load != nullptr; }
  bool is_written() const { return write != nullptr || abilities.is_picture; }
};

// In the order in which files are checked for their marks.
std::span<const FileFormat> formats();
const FileFormat& entry_of(Format format);

// The format with this keyword or ending, "tiff" or "tif"; null when there is none.
const FileFormat* find_format(std::string_view name);

// The format that files with this ending have; null when there is none.
const FileFormat* format_of_ending(std::string_view ending);

// The format by the ending of a file's name, in front of ".gz" or ".bz2"; null if there is none.
const FileFormat* format_of_name(std::string_view name);

// "tif" of TIFF.
std::string_view usual_ending(const FileFormat& format);

// "png" of "picture.PNG": what follows the last dot of the path's last part, in lower case.
std::string ending_of(std::string_view path);

// The keywords of the formats that are read, or written.
std::vector<std::string> readable_formats();
std::vector<std::string> writable_formats();

// The usual endings of the formats that are written, with their dots: ".tif".
std::vector<std::string> written_endings();

// The name of a frame's file without the endings of its format and of compression: "a" of "a.mar2300.gz",
// but all of "a.0001", where the ending is the frame's number.
std::string name_without_ending(const std::string& name);

}  // namespace frames
