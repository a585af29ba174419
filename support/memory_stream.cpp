#include "support/memory_stream.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>
#include <utility>

namespace xrd {

namespace {

constexpr std::size_t kLargest = std::numeric_limits<std::ptrdiff_t>::max();

}  // namespace

MemoryStream::MemoryStream() : stream_(fopencookie(this, "w+b", {read, write, seek, nullptr})) {
  if (!stream_) throw std::bad_alloc();
}

MemoryStream::~MemoryStream() {
  stream_.reset();
  std::free(bytes_);
}

std::size_t MemoryStream::finish() {
  const bool is_complete = std::fflush(stream_.get()) == 0 && std::ferror(stream_.get()) == 0;
  if (!is_complete) throw std::bad_alloc();
  return size_;
}

char* MemoryStream::release() {
  return std::exchange(bytes_, nullptr);
}

ssize_t MemoryStream::read(void* file, char* target, std::size_t size) {
  auto& self = *static_cast<MemoryStream*>(file);
  const std::size_t count = std::min(size, self.size_ - std::min(self.position_, self.size_));
  if (count > 0) std::memcpy(target, self.bytes_ + self.position_, count);
  self.position_ += count;
  return static_cast<ssize_t>(count);
}

// Skipped bytes are 0, as in files. If memory runs out, nothing is written, and the stream has an error.
ssize_t MemoryStream::write(void* file, const char* source, std::size_t size) {
  auto& self = *static_cast<MemoryStream*>(file);
  if (size == 0 || size > kLargest - self.position_ || !self.reserve(self.position_ + size)) return 0;
  if (self.position_ > self.size_) std::memset(self.bytes_ + self.size_, 0, self.position_ - self.size_);
  std::memcpy(self.bytes_ + self.position_, source, size);
  self.position_ += size;
  self.size_ = std::max(self.size_, self.position_);
  return static_cast<ssize_t>(size);
}

int MemoryStream::seek(void* file, off64_t* offset, int whence) {
  auto& self = *static_cast<MemoryStream*>(file);
  std::size_t from = 0;
  if (whence == SEEK_CUR) from = self.position_;
  if (whence == SEEK_END) from = self.size_;
  std::int64_t place = 0;
  if (__builtin_add_overflow(from, *offset, &place) || place < 0 || std::cmp_greater(place, kLargest)) {
    errno = EINVAL;
    return -1;
  }
  self.position_ = static_cast<std::size_t>(place);
  *offset = place;
  return 0;
}

bool MemoryStream::reserve(std::size_t bytes) {
  if (bytes <= room_) return true;
  const std::size_t room = std::max(bytes, std::min(2 * room_, kLargest));
  auto* const grown = static_cast<char*>(std::realloc(bytes_, room));
  if (grown == nullptr) return false;
  bytes_ = grown;
  room_ = room;
  return true;
}

}  // namespace xrd
