// Raw dumps: only samples.
#include "frames/writers/samples.h"

namespace frames {

void write_raw(const Frame& frame, const WriteOptions& options, std::FILE* stream, Remarks& remarks) {
  write_samples(frame, unsigned_type(frame, options, remarks), stream);
}

}  // namespace frames
