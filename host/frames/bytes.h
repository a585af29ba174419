// Numbers in files.
#pragma once

#include <bit>
#include <concepts>
#include <cstddef>
#include <cstring>

#include "host/frames/loaders.h"

namespace frames {

// The whole file, decompressed if it is a gzip or bzip2 file. LoadError when it cannot be read.
//
// With `damage`, what a damaged compressed file holds up to there counts, and what is wrong is put there.
std::vector<unsigned char> read_file(const std::string& path, std::vector<std::string>* damage = nullptr);

// The number whose bytes begin at `offset`; 0 for bytes past the end.
template <typename Number>
Number number_at(Bytes file, std::size_t offset, bool big_endian = false) {
  unsigned char bytes[sizeof(Number)] = {};
  for (std::size_t i = 0; i < sizeof(Number) && offset + i < file.size(); ++i) {
    bytes[big_endian ? sizeof(Number) - 1 - i : i] = file[offset + i];
  }
  Number number{};
  std::memcpy(&number, bytes, sizeof number);
  return number;
}

}  // namespace frames
