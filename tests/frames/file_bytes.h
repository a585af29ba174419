// Headers and pixels as the tests of uncompressed frames write them.
#pragma once

#include <cstddef>
#include <initializer_list>
#include <string>

#include "tests/frames/load_bytes.h"

namespace test {

// The numbers given, as bytes.
inline std::string from_bytes(std::initializer_list<int> bytes) {
  std::string file;
  for (const int byte : bytes) file += static_cast<char>(byte);
  return file;
}

// The text, filled up to the length.
inline std::string padded(std::string text, std::size_t length, char filling = ' ') {
  text.resize(length, filling);
  return text;
}

// What the loader throws, or "" when it takes the file.
template <typename Loader>
std::string load_error(Loader load, const std::string& file, const frames::LoadOptions& options = {}) {
  try {
    load(bytes_of(file), options);
  } catch (const frames::LoadError& error) {
    return error.what();
  }
  return "";
}

}  // namespace test
