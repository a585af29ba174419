// Owning handle of a malloc'd array: what a caller will release with free, and scratch of unknown size.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <type_traits>

#if defined(__linux__)
#include <sys/mman.h>
#endif

namespace xrd {

struct FreeDeleter {
  void operator()(void* memory) const noexcept { std::free(memory); }
};

template <typename T>
using MallocArray = std::unique_ptr<T[], FreeDeleter>;

// Asks for huge pages where the array has whole ones, so that its first use costs few page faults.
inline void prefer_huge_pages([[maybe_unused]] void* array, [[maybe_unused]] std::size_t bytes) {
#if defined(__linux__)
  constexpr std::uintptr_t kHugePage = std::uintptr_t{2} << 20;
  const auto first = (reinterpret_cast<std::uintptr_t>(array) + kHugePage - 1) / kHugePage * kHugePage;
  const auto end = (reinterpret_cast<std::uintptr_t>(array) + bytes) / kHugePage * kHugePage;
  if (array != nullptr && first < end) madvise(reinterpret_cast<void*>(first), end - first, MADV_HUGEPAGE);
#endif
}

// A zeroed array; null when there is no memory for it. An empty array is a valid allocation too, so that hosts can
// tell it from a failed one and free it like any other.
template <typename T>
MallocArray<T> allocate_zeroed(std::size_t count) {
  static_assert(std::is_trivial_v<T>, "malloc'd memory holds plain values");
  MallocArray<T> array(static_cast<T*>(std::calloc(count == 0 ? 1 : count, sizeof(T))));
  prefer_huge_pages(array.get(), count * sizeof(T));
  return array;
}

// An array whose values are not set: for arrays that are filled from end to end. Null when there is no memory for it.
template <typename T>
MallocArray<T> allocate_unset(std::size_t count) {
  static_assert(std::is_trivial_v<T>, "malloc'd memory holds plain values");
  MallocArray<T> array(static_cast<T*>(std::malloc((count == 0 ? 1 : count) * sizeof(T))));
  prefer_huge_pages(array.get(), count * sizeof(T));
  return array;
}

}  // namespace xrd
