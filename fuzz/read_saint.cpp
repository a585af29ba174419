// read_saint and read_saint_header. The input is the file.
#include "fuzz/harness.h"
#include "xrdimage.h"

void fuzz::run(Bytes input) {
  Image image(3, 2);  // for headers without a size
  read_saint(file_of(input), &image.pixels, &image.width, &image.height);
  image.check();
  close_left_open();

  int columns = 3;
  int rows = 2;
  read_saint_header(stream_of(input).get(), &columns, &rows);
  if (image.pixels != nullptr) require(columns == image.width && rows == image.height);
}
