// A file without a name, for functions that write to a path or a descriptor.
#pragma once

#include <cstddef>
#include <string>

namespace program {

class MemoryFile {
 public:
  MemoryFile();
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;
  ~MemoryFile();

  int descriptor() const { return descriptor_; }
  // A path that opens the file in this process.
  std::string path() const;
  std::string contents() const;

 private:
  int descriptor_;
};

}  // namespace program
