#include "tests/trust/memory.h"

#include <array>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>

// The linker's names for the functions themselves, and for what is called in their place.
extern "C" {
void* __real_malloc(std::size_t size);
void* __real_calloc(std::size_t count, std::size_t size);
void* __real_realloc(void* block, std::size_t size);
void __real_free(void* block);
void* __wrap_malloc(std::size_t size);
void* __wrap_calloc(std::size_t count, std::size_t size);
void* __wrap_realloc(void* block, std::size_t size);
void __wrap_free(void* block);
}

namespace trust::memory {

namespace {

struct Block {
  void* address = nullptr;
  std::size_t size = 0;
};

// Blocks under watch, in memory of its own, without gaps: most blocks that are released are none of these.
class Blocks {
 public:
  void add(void* address, std::size_t size) {
    const std::scoped_lock lock(mutex_);
    blocks_[used_++] = {address, size};
  }
  void remove(const void* address) {
    const std::scoped_lock lock(mutex_);
    if (Block* const block = find(address); block != nullptr) *block = blocks_[--used_];
  }
  std::size_t size_of(const void* address) {
    const std::scoped_lock lock(mutex_);
    const Block* const block = find(address);
    return block != nullptr ? block->size : 0;
  }
  std::size_t count() const { return used_; }
  void* any() const { return used_ > 0 ? blocks_[0].address : nullptr; }

 private:
  Block* find(const void* address) {
    for (std::size_t i = 0; i < used_; ++i) {
      if (blocks_[i].address == address) return &blocks_[i];
    }
    return nullptr;
  }

  std::mutex mutex_;
  std::array<Block, 1024> blocks_{};  // more than that would be written past its end, which sanitizers see
  std::size_t used_ = 0;
};

// NOLINTBEGIN(cppcoreguidelines-avoid-non-const-global-variables)
Blocks blocks;
std::atomic<bool> watching = false;
std::atomic<std::size_t> made = 0;
std::atomic<bool> failure = false;
std::size_t failing_number = 0;
Lack lack_kind = Lack::kOfOne;
std::size_t action_number = 0;
void (*action_before)() = nullptr;
std::size_t largest = 0;
unsigned char filling = 0xA5;
// NOLINTEND(cppcoreguidelines-avoid-non-const-global-variables)

// Counts one allocation; false when it is to fail.
bool is_granted(std::size_t size) {
  if (largest != 0 && size > largest) return false;
  if (!watching) return true;
  const std::size_t number = ++made;
  if (action_before != nullptr && number == action_number) action_before();
  const bool fails =
      failing_number != 0 && (lack_kind == Lack::kOfOne ? number == failing_number : number >= failing_number);
  if (fails) failure = true;
  return !fails;
}

void* noted(void* address, std::size_t size) {
  if (watching && address != nullptr) blocks.add(address, size);
  return address;
}

void begin() {
  made = 0;
  failure = false;
  failing_number = 0;
  action_number = 0;
  action_before = nullptr;
}

}  // namespace

void watch(std::size_t failing, Lack lack) {
  begin();
  failing_number = failing;
  lack_kind = lack;
  watching = true;
}

void watch_for(std::size_t number, void (*action)()) {
  begin();
  action_number = number;
  action_before = action;
  watching = true;
}

void unwatch() {
  watching = false;
}

std::size_t allocations() {
  return made;
}

bool has_failed() {
  return failure;
}

void adopt(void* block) {
  blocks.add(block, 0);
}

std::size_t outstanding() {
  return blocks.count();
}

void* any_outstanding() {
  return blocks.any();
}

std::size_t size_of(const void* block) {
  return blocks.size_of(block);
}

void limit(std::size_t bytes) {
  largest = bytes;
}

void fill_with(unsigned char byte) {
  filling = byte;
}

namespace {

void* allocate(std::size_t size) {
  if (!is_granted(size)) return nullptr;
  void* const address = __real_malloc(size);
  if (watching && address != nullptr) std::memset(address, filling, size);
  return noted(address, size);
}

void release(void* block) {
  if (block == nullptr) return;
  blocks.remove(block);
  __real_free(block);
}

}  // namespace

}  // namespace trust::memory

namespace memory = trust::memory;

void* __wrap_malloc(std::size_t size) {
  return memory::allocate(size);
}

void* __wrap_calloc(std::size_t count, std::size_t size) {
  if (!memory::is_granted(count * size)) return nullptr;
  return memory::noted(__real_calloc(count, size), count * size);
}

void* __wrap_realloc(void* block, std::size_t size) {
  if (!memory::is_granted(size)) return nullptr;
  if (block != nullptr) memory::blocks.remove(block);
  return memory::noted(__real_realloc(block, size), size);
}

void __wrap_free(void* block) {
  memory::release(block);
}

void* operator new(std::size_t size) {
  void* const block = memory::allocate(size == 0 ? 1 : size);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

void* operator new[](std::size_t size) {
  return operator new(size);
}

void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  return memory::allocate(size == 0 ? 1 : size);
}

void* operator new[](std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  return memory::allocate(size == 0 ? 1 : size);
}

void operator delete(void* block) noexcept {
  memory::release(block);
}

void operator delete[](void* block) noexcept {
  memory::release(block);
}

void operator delete(void* block, std::size_t /*size*/) noexcept {
  memory::release(block);
}

void operator delete[](void* block, std::size_t /*size*/) noexcept {
  memory::release(block);
}

void operator delete(void* block, const std::nothrow_t& /*tag*/) noexcept {
  memory::release(block);
}

void operator delete[](void* block, const std::nothrow_t& /*tag*/) noexcept {
  memory::release(block);
}
