// read_mar_ccd. The input is the file.
#include "fuzz/harness.h"
#include "xrdimage.h"

void fuzz::run(Bytes input) {
  ImageData data{};
  double distance = -999.0;  // to be taken from the header
  const int found = read_mar_ccd(file_of(input), &data, &distance);
  Image image(data.width, data.height);
  image.pixels = data.Daten;
  require((found == 1) == (data.Daten != nullptr));
  image.check();
  close_left_open();
}
