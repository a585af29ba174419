// The steps of to_short, also for the writer of raw dumps.
#pragma once

#include <cstddef>
#include <span>

#include "support/memory.h"

namespace xrd {

// An array for 16-bit pixels, and by how many bits those of 32 are shifted down for it.
struct ShortArray {
  MallocArray<unsigned short> words;
  std::size_t pixels = 0;
  int shift = 0;
};

// Makes the array, whose values are not set, for pixels up to `maximum`, and prints what to_short prints. Null words,
// with a message, for an invalid count or without memory.
ShortArray make_short_array(int n, int maximum);

void narrow_pixels(std::span<const unsigned int> pixels, int shift, unsigned short* words);

}  // namespace xrd
