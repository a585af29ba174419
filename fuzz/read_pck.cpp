// read_pck. The input is the file.
#include "fuzz/harness.h"
#include "xrdimage.h"

void fuzz::run(Bytes input) {
  limit_arrays(std::size_t{1200} * 1200 * sizeof(unsigned int));  // its only size
  Image image;
  read_pck(file_of(input), &image.pixels, &image.width, &image.height);
  require(image.width == 1200 && image.height == 1200);
  image.check();
}
