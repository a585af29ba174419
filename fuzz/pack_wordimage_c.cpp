// pack_wordimage_c: bit for bit what a naive encoder writes, and readpack_word_c gives the same pixels back. The first
// byte of an input is the width, the second how often the pixels behind them are repeated, so that short inputs can
// make long images: only a few, as they take long.
#include "fuzz/harness.h"
#include "tests/pack/naive_pack.h"
#include "xrdimage.h"

namespace {

naive::Pixels pixels_of(fuzz::Bytes bytes, std::size_t times) {
  naive::Pixels pixels;
  for (std::size_t i = 0; i < times; ++i) {
    for (fuzz::Input input(bytes); !input.empty();) pixels.push_back(static_cast<short>(input.number(2)));
  }
  return pixels;
}

}  // namespace

void fuzz::run(Bytes bytes) {
  Input input(bytes);
  const int width = static_cast<int>(input.byte() + 1);
  const unsigned repeated = input.byte();
  const std::size_t times = repeated < 224 ? 1 : repeated - 223;
  naive::Pixels image = pixels_of(input.rest(), times);
  const int height = static_cast<int>(image.size()) / width;
  image.resize(naive::pixel_count(width, height));

  static File file;
  pack_wordimage_c(image.data(), width, height, xrd::open_file(file.path(), "w").get());
  require(file.contents() == naive::pack(image, width, height));

  if (height > 9999) return;  // the header line is read with four digits
  naive::Pixels unpacked(image.size());
  readpack_word_c(unpacked.data(), file.path());
  require(unpacked == image || width == 1);  // the format cannot hold images one pixel wide
}
