// Packed files: a header of 2400 bytes, whose first two words are the size, and a CCP4-packed image.
#include <algorithm>
#include <cstdio>
#include <cstring>

#include "pack/decoder.h"
#include "support/conversation.h"
#include "support/files.h"
#include "support/memory.h"
#include "support/message.h"
#include "support/reading.h"
#include "xrdimage.h"

namespace {

// The reader handles images of only one size.
constexpr int kEdge = 1200;
constexpr std::size_t kPixels = std::size_t{kEdge} * kEdge;

static_assert(sizeof(PackedFileHeader) == 2400);

PackedFileHeader read_header(std::FILE* stream) {
  PackedFileHeader header{};
  xrd::read_bytes(&header, sizeof header, stream);
  return header;
}

}  // namespace

extern "C" int read_pck(const char* filename, unsigned int** Daten, int* x, int* y) {
  xrd::FileHandle stream = xrd::open_file(filename, "r");
  if (!stream) {
    // The colour sequence is malformed; callers rely on the message.
    xrd::print("# \033[0mERROR\033s [0m opening %s\n", filename);
    return 0;
  }
  const PackedFileHeader header = read_header(stream.get());
  stream.reset();
  if (header.width != kEdge || header.height != kEdge) {
    xrd::print("# " XRD_RED_WARNING " Dimension %dx%d auf %dx%d gesetzt\n", header.width, header.height, kEdge, kEdge);
  }
  auto image = xrd::allocate_zeroed<unsigned int>(kPixels);
  const auto words = xrd::allocate_zeroed<short>(kPixels);
  if (!image || !words) {
    xrd::print("# " XRD_RED_ERROR " opening %s: cannot allocate %d x %d pixels\n", filename, kEdge, kEdge);
    return 0;
  }
  if (!xrd::unpack_file(filename, {words.get(), kPixels})) xrd::print("# %s does not exist.", filename);
  // Callers rely on the sign extension: values from 32768 on become large numbers.
  std::copy_n(words.get(), kPixels, image.get());
  *x = kEdge;
  *y = kEdge;
  *Daten = image.release();
  return 0;
}

extern "C" int tomar(const char* filename, short* img, int /*unused*/, PackedFileHeader header) {
  const xrd::FileHandle stream = xrd::open_file(filename, "w");
  if (!stream) {
    xrd::print("# " XRD_RED_ERROR " opening %s", filename);
    return 0;
  }
  std::fwrite(&header, 1, sizeof header, stream.get());
  pack_wordimage_c(img, header.width, header.height, stream.get());
  return 0;
}
