// readpack_word_c and readpck. The input is the file.
#include <algorithm>
#include <vector>

#include "fuzz/harness.h"
#include "pack/decoder.h"
#include "xrdimage.h"

void fuzz::run(Bytes input) {
  // Larger images take long and show nothing new.
  static std::vector<short> bounded(std::size_t{1} << 14);
  const char* const path = file_of(input);
  std::ranges::fill(bounded, short{0});
  const std::size_t pixels = xrd::unpack_file(path, bounded).value_or(0);
  if (pixels == bounded.size()) return;

  for (const bool is_mar345 : {false, true}) {
    std::vector<short> exact(pixels);  // has room for what the header line says and no more
    if (is_mar345) {
      readpck(exact.data(), path);
    } else {
      readpack_word_c(exact.data(), path);
    }
    require(std::ranges::equal(exact, std::span(bounded).first(pixels)));
  }
}
