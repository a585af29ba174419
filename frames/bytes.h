// Files as bytes, and numbers in them.
#pragma once

#include <bit>
#include <concepts>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "frames/readers/readers.h"

namespace frames {

// Given the front of a file, returns after how many bytes the rest does not matter; nothing if the front does not show
// it. It is asked again once so many bytes are there, and may find more.
using Enough = std::function<std::optional<std::size_t>(Bytes front)>;

// The rest of the file. LoadError if it cannot be read.
std::vector<unsigned char> read_file(std::FILE* stream);

// The content of a file compressed with gzip or bzip2, as far as `enough` says; nothing for other files.
// LoadError if it is damaged, or too long without a stated size.
//
// With `damage`, the content up to the damage is returned, and `damage` says what is wrong.
std::optional<std::vector<unsigned char>> unpack(Bytes file, const Enough& enough,
                                                 std::vector<std::string>* damage = nullptr);

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
