// Owning handle of a malloc'd array: one that a caller will release with free, or scratch of unknown size.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <limits>
#include <memory>
#include <type_traits>

namespace xrd {

struct FreeDeleter {
  void operator()(void* memory) const noexcept { std::free(memory); }
};

template <typename T>
using MallocArray = std::unique_ptr<T[], FreeDeleter>;

// A zeroed array; null if there is no memory for it. An empty array is a valid allocation too, so that callers can
// tell it from a failed one and free it like any other.
template <typename T>
MallocArray<T> allocate_zeroed(std::size_t count) {
  static_assert(std::is_trivial_v<T>, "malloc'd memory holds plain values");
  return MallocArray<T>(static_cast<T*>(std::calloc(count == 0 ? 1 : count, sizeof(T))));
}

// An array whose values are not set, for arrays that are filled entirely. Null if there is no memory for it.
template <typename T>
MallocArray<T> allocate_unset(std::size_t count) {
  static_assert(std::is_trivial_v<T>, "malloc'd memory holds plain values");
  if (count > std::numeric_limits<std::size_t>::max() / sizeof(T)) return nullptr;
  const std::size_t bytes = count * sizeof(T);
  return MallocArray<T>(static_cast<T*>(std::malloc(bytes == 0 ? 1 : bytes)));
}

}  // namespace xrd
