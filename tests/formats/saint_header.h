// Headers of SAINT frames for tests.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace test {

// 96 records of 80 bytes, of which these come first, each filled up with blanks.
inline std::string saint_header(const std::vector<std::string>& records) {
  std::string header;
  for (std::string record : records) {
    record.resize(80, ' ');
    header += record;
  }
  header.resize(96 * std::size_t{80}, '.');
  return header;
}

}  // namespace test
