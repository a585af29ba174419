// Packed image files: a binary header that begins with width and height, and a CCP4-packed image.
#include <cstdio>
#include <stdexcept>
#include <vector>

#include "frames/writers/samples.h"
#include "xrdimage.h"

namespace frames {

namespace {

// From the third row on a pixel is predicted from its upper right neighbour too, which in one column is the pixel
// itself: decoders do not know it yet, and get other counts.
void refuse_single_column(const Frame& frame) {
  if (frame.width == 1 && frame.height > 2) {
    throw std::runtime_error("cannot be packed: the format does not keep the counts of a single column of pixels");
  }
}

}  // namespace

void write_packed(const Frame& frame, const WriteOptions& /*options*/, std::FILE* stream, Remarks& remarks) {
  refuse_single_column(frame);
  warn_of_clipping(frame, kUnsigned16, "", remarks);
  std::vector<short> words(frame.counts.size());
  copy_samples(frame, kUnsigned16, 0, words.size(), words.data());
  PackedFileHeader header{};
  header.width = frame.width;
  header.height = frame.height;
  std::fwrite(&header, sizeof header, 1, stream);
  pack_wordimage_c(words.data(), frame.width, frame.height, stream);
}

}  // namespace frames
