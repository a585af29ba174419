// Uncompressed pixels of any type, and the counts that they become.
#pragma once

#include "frames/readers/readers.h"
#include "frames/sample_type.h"

namespace frames {

// What follows the file's first `offset` bytes; nothing when it is shorter.
Bytes bytes_after(Bytes file, std::size_t offset);

// Fills the frame, whose size is set, from the samples at the beginning of `data`. Reals are rounded, and counts that
// do not fit 32 bits become the nearest that does. A real frame is signed only when it has negative counts; what is no
// number is unknown. Data that end early are damage.
void read_samples(Frame& frame, Bytes data, SampleType type, bool big_endian, const LoadOptions& options);

}  // namespace frames
