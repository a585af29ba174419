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

// Told the front of a file, after how many bytes nothing more of it matters; nothing while the front does not say. When
// so many are there it is asked again, and may have found more.
using Enough = std::function<std::optional<std::size_t>(Bytes front)>;

// What the file holds from here on. LoadError when it cannot be read.
std::vector<unsigned char> read_file(std::FILE* stream);

// The content of a file that is compressed by gzip or bzip2, as far as `enough` says; nothing for another file.
// LoadError when it is damaged, and when it goes on without saying.
//
// With `damage`, what a damaged file holds up to there counts, and what is wrong is put there.
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
