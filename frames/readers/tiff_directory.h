// The directories of a TIFF file, before any of their values is read.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "frames/readers/readers.h"

namespace frames {

struct TiffDirectory {
  std::uint64_t entries = 0;
  std::uint64_t value_bytes = 0;  // of all its values, wherever they are
  std::uint64_t end = 0;          // of the directory and its values, whichever is last in the file
  std::uint64_t next = 0;         // where the next directory begins; 0: this is the last
};

// Where the first directory begins.
std::uint64_t first_tiff_directory(Bytes file);

// Nothing if the directory is not entirely in the file, with its values or without.
std::optional<TiffDirectory> tiff_directory(Bytes file, std::uint64_t begin);

// Where the directories begin, in their order: the first, and those behind it that the file has room for.
std::vector<std::uint64_t> tiff_directories(Bytes file, std::size_t most);

struct TiffText {
  std::uint16_t tag = 0;
  std::string text;
};

// The entries of a directory that are in the file, as text: texts unchanged, numbers separated by blanks.
// Lists of numbers, such as the offsets of strips, end after sixteen.
std::vector<TiffText> tiff_texts(Bytes file, std::uint64_t directory);

// The integers of the tag, in a directory that is entirely in the file; none if the tag is missing.
std::vector<std::uint64_t> tiff_integers(Bytes file, std::uint64_t directory, std::uint16_t tag);

}  // namespace frames
