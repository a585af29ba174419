// read_edf. The first byte of an input is the caller's setting of the bits, 255 for none; the line behind it answers
// the question for the size, the rest is the file.
#include "fuzz/harness.h"
#include "xrdimage.h"

void fuzz::run(Bytes bytes) {
  Input input(bytes);
  const int setting = static_cast<int>(input.byte());
  int bits = setting == 255 ? -1 : setting;
  const StandardInput answer(input.line());
  Image image(0, 2);
  read_edf(file_of(input.rest()), &image.pixels, &bits, &image.width, &image.height);
  image.check();
}
