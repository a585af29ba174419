// read_pck. The input is the file.
#include "fuzz/harness.h"
#include "xrdimage.h"

void fuzz::run(Bytes input) {
  Image image;
  read_pck(file_of(input), &image.pixels, &image.width, &image.height);
  require(image.width == 1200 && image.height == 1200);
  image.check();
}
