// Loaders called with a string as the file.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "frames/readers/readers.h"

namespace test {

using Counts = std::vector<std::uint32_t>;

inline frames::Bytes bytes_of(const std::string& file) {
  return {reinterpret_cast<const unsigned char*>(file.data()), file.size()};
}

inline frames::LoadOptions forced() {
  frames::LoadOptions options;
  options.force = true;
  return options;
}

// The LoadError's text; empty when there is none.
inline std::string load_error(const std::function<void()>& load) {
  try {
    load();
  } catch (const frames::LoadError& error) {
    return error.what();
  }
  return "";
}

// The number's low `count` bytes.
inline std::string number_bytes(std::uint64_t value, std::size_t count, bool big_endian) {
  std::string bytes(count, '\0');
  for (std::size_t i = 0; i < count; ++i) {
    bytes[big_endian ? count - 1 - i : i] = static_cast<char>(static_cast<unsigned char>(value >> (8 * i)));
  }
  return bytes;
}

// Writes the bytes over those that stand at the offset, in a file that is made longer where needed.
inline void put(std::string& file, std::size_t offset, const std::string& bytes) {
  if (file.size() < offset + bytes.size()) file.resize(offset + bytes.size());
  file.replace(offset, bytes.size(), bytes);
}

}  // namespace test
