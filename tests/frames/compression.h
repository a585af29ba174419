// Compressed copies of files.
#pragma once

#include <bzlib.h>
#include <zlib.h>

#include <string>

#include "tests/environment.h"

namespace test {

inline std::string gzip(const std::string& bytes) {
  const TemporaryDirectory directory;
  const std::string path = directory.path("gz");
  gzFile file = gzopen(path.c_str(), "wb");
  EXPECT_EQ(gzwrite(file, bytes.data(), static_cast<unsigned>(bytes.size())), static_cast<int>(bytes.size()));
  EXPECT_EQ(gzclose(file), Z_OK);
  return read_file(path);
}

inline std::string bzip2(std::string bytes) {
  std::string packed(bytes.size() * 2 + 1000, '\0');
  auto size = static_cast<unsigned>(packed.size());
  EXPECT_EQ(BZ2_bzBuffToBuffCompress(packed.data(), &size, bytes.data(), static_cast<unsigned>(bytes.size()), 9, 0, 0),
            BZ_OK);
  packed.resize(size);
  return packed;
}

}  // namespace test
