// Uncompressed pixels of any type, and the counts that they become.
#pragma once

#include "frames/readers/readers.h"
#include "frames/sample_type.h"

namespace frames {

// The file behind its first `offset` bytes; nothing if it is shorter.
Bytes bytes_after(Bytes file, std::size_t offset);

// Fills the frame, whose size is set, from the samples at the beginning of `data`. Reals are rounded, and counts that
// do not fit 32 bits are unknown. A real frame is signed only if it has negative counts. NaN
// is unknown. Data that end early are damage.
void read_samples(Frame& frame, Bytes data, SampleType type, bool big_endian, const LoadOptions& options);

}  // namespace frames
