// Raw dumps: nothing but samples.
#include "frames/writers/samples.h"

namespace host {

void write_raw(const frames::Frame& frame, const WriteOptions& options, std::FILE* stream, Remarks& remarks) {
  write_samples(frame, unsigned_type(frame, options, remarks), stream);
}

}  // namespace host
