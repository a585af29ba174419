// Owning handle of a file descriptor.
#pragma once

#include <unistd.h>

#include <cerrno>
#include <utility>

namespace xrd {

// Negative if there is none, as open() returns it.
class Descriptor {
 public:
  Descriptor() noexcept = default;
  explicit Descriptor(int number) noexcept : number_(number) {}
  Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(number_, other.number_);
    return *this;
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  // Keeps the earlier error in errno.
  ~Descriptor() {
    const int error = errno;
    if (number_ >= 0) close(number_);
    errno = error;
  }

  explicit operator bool() const { return number_ >= 0; }
  int number() const { return number_; }
  int release() { return std::exchange(number_, -1); }

 private:
  int number_ = -1;
};

}  // namespace xrd
