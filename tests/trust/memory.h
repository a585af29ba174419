// The test program's memory, which can be made to run out, and keeps count of what is not given back.
//
// malloc, calloc, realloc and free of this program and of the static library in it are wrapped by the linker, and the
// global operator new goes the same way, also where the standard library's shared object calls it. Allocations that
// other shared objects make for themselves are not reached: those of libtiff, of FFTW, and of the C library (streams
// and their buffers).
#pragma once

#include <cstddef>

namespace trust::memory {

// Which allocations fail once the given one is reached.
enum class Lack { kOfOne, kFromThereOn };

// Watches allocations from now on. The one of this number (from 1 on; 0: none) fails.
void watch(std::size_t failing, Lack lack);
// While watching: calls the action before the allocation of this number, which succeeds.
void watch_for(std::size_t number, void (*action)());
void unwatch();

// Since watch was called.
std::size_t allocations();
bool has_failed();

// Takes a block under watch that was there before.
void adopt(void* block);
// The blocks under watch that have not been released.
std::size_t outstanding();
// A block under watch; null when there is none.
void* any_outstanding();
// The bytes asked for; 0 for what is not under watch.
std::size_t size_of(const void* block);

// Larger allocations fail, watched or not; 0: there is no limit.
void limit(std::size_t bytes);
// New memory of malloc holds this byte while it is watched.
void fill_with(unsigned char byte);

}  // namespace trust::memory
