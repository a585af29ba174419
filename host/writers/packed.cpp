// Packed image files: a binary header that begins with width and height, and a CCP4-packed image.
#include <cstdio>
#include <vector>

#include "host/writers/samples.h"
#include "xrdimage.h"

namespace host {

void write_packed(const frames::Frame& frame, const WriteOptions& /*options*/, std::FILE* stream, Remarks& remarks) {
  warn_of_clipping(frame, SampleType::kUnsigned16, "", remarks);
  std::vector<short> words(frame.counts.size());
  copy_samples(frame, SampleType::kUnsigned16, 0, words.size(), words.data());
  PackedFileHeader header{};
  header.width = frame.width;
  header.height = frame.height;
  std::fwrite(&header, sizeof header, 1, stream);
  pack_wordimage_c(words.data(), frame.width, frame.height, stream);
}

}  // namespace host
