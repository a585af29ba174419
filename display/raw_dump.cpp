// Raw dumps: 16-bit pixels, little-endian, without a header.
#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <span>

#include "processing/short_array.h"
#include "support/conversation.h"
#include "support/files.h"
#include "support/image_size.h"
#include "support/message.h"
#include "xrdimage.h"

namespace {

// Calls write(stream), and prints the messages about the file that callers expect.
template <typename Write>
void write_dump(const char* path, Write write) {
  if (const xrd::FileHandle stream = xrd::open_file(path, "wb")) {
    write(stream.get());
  } else {
    xrd::print("# " XRD_RED_ERROR " opening %s", path);
  }
  xrd::print("# %s written\n", path);  // after a failure too: callers rely on both messages
}

}  // namespace

extern "C" void write_short_zimg(const char* path, unsigned short* Daten_ushort, int n) {
  write_dump(
      path, [=](std::FILE* stream) { std::fwrite(Daten_ushort, sizeof *Daten_ushort, xrd::caller_pixels(n), stream); });
}

extern "C" void write_zimg(const char* path, unsigned int* Daten, int n) {
  // The maximum keeps pixels from being halved: each one keeps its low 16 bits.
  const xrd::ShortArray array = xrd::make_short_array(n, 65535);
  if (!array.words) return;
  // In blocks, through the front of the array: large enough for few system calls, small enough for a cache.
  constexpr std::size_t kBlock = std::size_t{1} << 19;
  write_dump(path, [&](std::FILE* stream) {
    for (std::size_t first = 0; first < array.pixels; first += kBlock) {
      const std::size_t count = std::min(kBlock, array.pixels - first);
      xrd::narrow_pixels({Daten + first, count}, array.shift, array.words.get());
      std::fwrite(array.words.get(), sizeof(unsigned short), count, stream);
    }
  });
}
