// Uncompressed pixels of any type, and the counts that they become.
#pragma once

#include "frames/readers/readers.h"

namespace frames {

enum class SampleKind { kUnsigned, kSigned, kReal };

// Integers of 1, 2, 4 or 8 bytes, reals of 4 or 8.
struct SampleType {
  SampleKind kind = SampleKind::kUnsigned;
  std::size_t bytes = 2;
};

// What follows the file's first `offset` bytes; nothing when it is shorter.
Bytes bytes_after(Bytes file, std::size_t offset);

// Fills the frame, whose size is set, from the samples at the beginning of `data`. Reals are rounded, and counts that
// do not fit 32 bits become the nearest that does. A real frame is signed only when it has negative counts; what is no
// number is unknown. Data that end early are damage.
void read_samples(Frame& frame, Bytes data, SampleType type, bool big_endian, const LoadOptions& options);

}  // namespace frames
