// The directories of a TIFF file, as far as one can see before any of their values is read.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "frames/readers/readers.h"

namespace frames {

struct TiffDirectory {
  std::uint64_t entries = 0;
  std::uint64_t value_bytes = 0;  // of all its values, wherever they stand
  std::uint64_t end = 0;          // of the directory and its values, whichever is last in the file
  std::uint64_t next = 0;         // where the next directory begins; 0: this is the last
};

// Where the first directory begins.
std::uint64_t first_tiff_directory(Bytes file);

// Nothing when the file does not hold the whole directory, with its values or without.
std::optional<TiffDirectory> tiff_directory(Bytes file, std::uint64_t begin);

// Where the directories begin, in their order: the first, and those behind it that the file has room for.
std::vector<std::uint64_t> tiff_directories(Bytes file, std::size_t most);

struct TiffText {
  std::uint16_t tag = 0;
  std::string text;
};

// The entries of a directory as text, as far as they are in the file: texts as they are, numbers with blanks between.
// Lists of numbers, as of the places of strips, end after sixteen.
std::vector<TiffText> tiff_texts(Bytes file, std::uint64_t directory);

// The integers of the tag, in a directory that the file holds with its values; none when the tag is missing.
std::vector<std::uint64_t> tiff_integers(Bytes file, std::uint64_t directory, std::uint16_t tag);

}  // namespace frames
