// read_raw. The first line of an input answers the question for the size, the rest is the file.
#include "fuzz/harness.h"
#include "xrdimage.h"

void fuzz::run(Bytes bytes) {
  Input input(bytes);
  const StandardInput answer(input.line());
  Image image;
  read_raw(file_of(input.rest()), &image.pixels, &image.width, &image.height);
  image.check();
  close_left_open();
}
