// read_mar_ccd_header. The input is the file.
#include "fuzz/harness.h"
#include "xrdimage.h"

void fuzz::run(Bytes input) {
  ImageInfo info{};
  info.overflow_count = 12345;
  const int found = read_mar_ccd_header(file_of(input), &info);
  require(found == 1 || (found == 0 && info.overflow_count == 12345));
  close_left_open();
}
