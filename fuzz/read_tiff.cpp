// read_tiff. The input is the file.
#include "fuzz/harness.h"
#include "xrdimage.h"

void fuzz::run(Bytes input) {
  Image image;
  read_tiff(file_of(input), &image.pixels, 0, &image.width, &image.height);
  image.check();
}
