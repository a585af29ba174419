// Plain TIFF frames: the strips' bytes as signed 16-bit pixels, whatever the tags say of them.
#include <cstdio>

#include "formats/tiff_strips.h"
#include "support/assertion.h"
#include "support/memory.h"
#include "support/message.h"
#include "xrdimage.h"

extern "C" int read_tiff(const char* filename, unsigned int** daten, int /*reserved*/, int* width, int* height) {
  const xrd::TiffHandle tiff = xrd::open_tiff(filename);
  if (!tiff) {
    std::printf("# " XRD_PLAIN_ERROR " reading file %s\n", filename);
    return 0;
  }
  const xrd::TiffSize size = xrd::tiff_size(tiff.get());
  const auto pixels = size.pixels();
  xrd::MallocArray<unsigned int> image;
  if (pixels) {
    image = xrd::allocate_zeroed<unsigned int>(*pixels);
    if (!image) {
      xrd::fail_assertion("*Daten =(unsigned int*)malloc(sizeof(unsigned int)*size)", "tiff_format", 26, "read_tiff");
    }
  }
  xrd::TiffStrips strips;
  if (!image || !strips.read(tiff.get())) {
    std::printf("# " XRD_PLAIN_ERROR " reading file %s: cannot allocate %u x %u pixels\n", filename, size.width,
                size.height);
    return 0;
  }
  // Hosts rely on the sign extension: samples from 32768 on become large numbers.
  for (std::size_t i = 0; i < *pixels; ++i) image[i] = static_cast<unsigned int>(strips.sample(i));
  *width = static_cast<int>(size.width);
  *height = static_cast<int>(size.height);
  *daten = image.release();
  return 0;
}
