#include "support/memory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>

namespace {

// The array's address is kept where the compiler sees a use of it, lest it leave the allocation out.
template <typename T>
bool is_allocated(const xrd::MallocArray<T>& array) {
  static void* volatile address = nullptr;
  address = array.get();
  return address != nullptr;
}

template <typename T>
bool can_be_allocated(std::size_t count) {
  const bool can_be = is_allocated(xrd::allocate_zeroed<T>(count));
  EXPECT_EQ(is_allocated(xrd::allocate_unset<T>(count)), can_be);
  return can_be;
}

}  // namespace

TEST(Memory, NewArraysAreZeroed) {
  constexpr std::size_t kCount = 10000;
  for (int round = 0; round < 3; ++round) {
    const auto array = xrd::allocate_zeroed<unsigned int>(kCount);
    ASSERT_TRUE(array);
    EXPECT_EQ(std::count(array.get(), array.get() + kCount, 0U), static_cast<std::ptrdiff_t>(kCount));
    std::fill_n(array.get(), kCount, 0xFFFFFFFFU);  // the next round gets this memory again
  }
}

TEST(Memory, AnEmptyArrayIsAnAllocationToo) {
  EXPECT_TRUE(can_be_allocated<unsigned int>(0));
}

TEST(Memory, ArraysThatCannotBeAreNull) {
  volatile std::size_t count = std::numeric_limits<std::size_t>::max();
  EXPECT_FALSE(can_be_allocated<unsigned char>(count));
  EXPECT_FALSE(can_be_allocated<unsigned int>(count));
  count = std::numeric_limits<std::size_t>::max() / 4 + 2;  // 4 bytes when the product wraps
  EXPECT_FALSE(can_be_allocated<unsigned int>(count));
}

TEST(Memory, CallersMayFreeWhatAHandleReleased) {
  auto array = xrd::allocate_zeroed<unsigned short>(8);
  ASSERT_TRUE(array);
  unsigned short* const released = array.release();
  EXPECT_FALSE(array);
  std::free(released);
}
