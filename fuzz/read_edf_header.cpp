// read_edf_header. The input is the file.
#include "fuzz/harness.h"
#include "xrdimage.h"

void fuzz::run(Bytes input) {
  const xrd::FileHandle stream = stream_of(input);
  for (int bits : {-1, 16}) {
    int width = 0;
    int height = 0;
    std::rewind(stream.get());
    read_edf_header(stream.get(), &width, &height, &bits);
  }
}
