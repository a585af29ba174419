// Plain TIFF frames: the strips' bytes as signed 16-bit pixels, whatever the tags say.
#include <cstddef>

#include "formats/tiff_strips.h"
#include "support/message.h"
#include "xrdimage.h"

extern "C" int read_tiff(const char* filename, unsigned int** daten, int /*reserved*/, int* width, int* height) {
  auto image = xrd::read_tiff_image(
      filename, XRD_PLAIN_ERROR,
      {"*Daten =(unsigned int*)malloc(sizeof(unsigned int)*size)", "tiff_format", 26, "read_tiff"});
  if (!image) return 0;
  // Callers rely on the sign extension: samples from 32768 on become large numbers.
  for (std::size_t i = 0; i < image->count; ++i) image->pixels[i] = static_cast<unsigned int>(image->samples[i]);
  *width = static_cast<int>(image->size.width);
  *height = static_cast<int>(image->size.height);
  *daten = image->pixels.release();
  return 0;
}
