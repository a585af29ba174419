// The counts of a frame: a malloc'd array, which the flat functions can take and replace.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <new>
#include <span>
#include <utility>

#include "support/memory.h"

namespace frames {

class Counts {
 public:
  Counts() = default;
  // All 0.
  explicit Counts(std::size_t size) : Counts(xrd::allocate_zeroed<std::uint32_t>(size), size) {}
  // Takes the array over; null stands for one that could not be allocated.
  Counts(xrd::MallocArray<std::uint32_t> array, std::size_t size) : array_(std::move(array)), size_(size) {
    if (!array_) throw std::bad_alloc();
  }

  std::size_t size() const { return size_; }
  bool empty() const { return size_ == 0; }
  std::uint32_t* data() { return array_.get(); }
  const std::uint32_t* data() const { return array_.get(); }
  std::uint32_t* begin() { return data(); }
  std::uint32_t* end() { return data() + size_; }
  const std::uint32_t* begin() const { return data(); }
  const std::uint32_t* end() const { return data() + size_; }
  std::uint32_t& operator[](std::size_t i) { return array_[i]; }
  std::uint32_t operator[](std::size_t i) const { return array_[i]; }
  std::uint32_t& back() { return array_[size_ - 1]; }

  // Gives the array away; the counts are empty then.
  xrd::MallocArray<std::uint32_t> release() {
    size_ = 0;
    return std::move(array_);
  }

  bool operator==(std::span<const std::uint32_t> other) const {
    return std::ranges::equal(std::span<const std::uint32_t>(data(), size_), other);
  }

 private:
  xrd::MallocArray<std::uint32_t> array_;
  std::size_t size_ = 0;
};

}  // namespace frames
