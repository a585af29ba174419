// Raw dumps: 16-bit pixels, little-endian, without a header.
#include <cstddef>
#include <cstdio>

#include "support/files.h"
#include "support/image_size.h"
#include "support/memory.h"
#include "support/message.h"
#include "xrdimage.h"

extern "C" void write_short_zimg(const char* path, unsigned short* Daten_ushort, int n) {
  if (const xrd::FileHandle stream = xrd::open_file(path, "wb")) {
    std::fwrite(Daten_ushort, sizeof *Daten_ushort, xrd::caller_pixels(n), stream.get());
  } else {
    std::printf("# " XRD_RED_ERROR " opening %s", path);
  }
  std::printf("# %s written\n", path);  // after a failure too: hosts know the pair of messages
}

extern "C" void write_zimg(const char* path, unsigned int* Daten, int n) {
  unsigned short* words = nullptr;
  to_short(Daten, &words, n, 65535);  // the maximum keeps it from halving: each pixel keeps its low 16 bits
  const xrd::MallocArray<unsigned short> owner(words);
  if (words != nullptr) write_short_zimg(path, words, n);
}
