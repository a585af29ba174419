#include "program/classic/memory_file.h"

#include <sys/mman.h>
#include <sys/types.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>

#include "frames/failure.h"

namespace program {

MemoryFile::MemoryFile() : descriptor_(memfd_create("xrdimage", MFD_CLOEXEC)) {
  if (descriptor_ < 0) throw frames::Failure("temporary file", std::strerror(errno));
}

MemoryFile::~MemoryFile() {
  close(descriptor_);
}

std::string MemoryFile::path() const {
  return "/proc/self/fd/" + std::to_string(descriptor_);
}

std::string MemoryFile::contents() const {
  std::string bytes;
  std::array<char, 4096> block{};
  // Not read(): the position is shared with the writers.
  ssize_t size = 0;
  while ((size = pread(descriptor_, block.data(), block.size(), static_cast<off_t>(bytes.size()))) > 0) {
    bytes.append(block.data(), static_cast<std::size_t>(size));
  }
  return bytes;
}

}  // namespace program
