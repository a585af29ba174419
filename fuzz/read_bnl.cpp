// read_bnl. The input is the file.
#include <array>

#include "fuzz/harness.h"
#include "xrdimage.h"

void fuzz::run(Bytes input) {
  Image image(3, 2);  // for headers without a size
  std::array<double, 5> values{};
  read_bnl(file_of(input), 0, &image.pixels, &image.width, &image.height, &values[0], &values[1], &values[2],
           &values[3], &values[4]);
  image.check();
}
