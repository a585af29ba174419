// Headerless frames: unsigned 16-bit pixels and nothing else. The user states the size.
#include <array>
#include <bit>
#include <cstdio>

#include "support/conversation.h"
#include "support/files.h"
#include "support/image_size.h"
#include "support/memory.h"
#include "support/message.h"
#include "support/pixels.h"
#include "support/prompt.h"
#include "xrdimage.h"

extern "C" int read_raw(const char* filename, unsigned int** daten, int* width, int* height) {
  // Callers rely on the stream staying open for the life of the process.
  std::FILE* stream = xrd::leave_open(xrd::open_file(filename, "r"));
  if (stream == nullptr) {
    xrd::print("# " XRD_RED_ERROR " READING %s\n", filename);
    return 0;
  }
  const xrd::DetectorSize size = xrd::ask_detector_size({1200, 1200});
  const auto pixels = xrd::allocatable_pixels(size.width, size.height);
  auto image = pixels ? xrd::allocate_unset<unsigned int>(*pixels) : nullptr;
  if (!image) {
    xrd::print("# " XRD_RED_ERROR " READING %s: cannot allocate %d x %d pixels\n", filename, size.width, size.height);
    return 0;
  }
  xrd::print_allocated(*pixels * sizeof(unsigned int));
  xrd::read_widened({image.get(), *pixels}, stream);
  *width = size.width;
  *height = size.height;
  *daten = image.release();
  return 0;
}
