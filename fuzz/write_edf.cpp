// edf16_write and edf32_write: read_edf gives the same pixels back. The first byte of an input is the width, the rest
// are the pixels.
#include <algorithm>
#include <span>
#include <vector>

#include "fuzz/harness.h"
#include "xrdimage.h"

void fuzz::run(Bytes bytes) {
  Input input(bytes);
  const std::size_t width = input.byte() + 1;
  std::vector<unsigned int> pixels;
  while (!input.empty()) pixels.push_back(input.number(4));
  const std::size_t height = pixels.size() / width;
  pixels.resize(width * height);

  static File file;
  for (const int bits : {16, 32}) {
    const auto write = bits == 16 ? edf16_write : edf32_write;
    write(file.path(), pixels.data(), static_cast<int>(width), static_cast<int>(height));
    Image image;
    int bits_read = -1;
    read_edf(file.path(), &image.pixels, &bits_read, &image.width, &image.height);
    require(image.pixels != nullptr && image.count() == pixels.size() && bits_read == bits);
    image.check();
    // The pixels have four bytes in both files; of those that declare two, the first half is read.
    const std::size_t bytes_read = pixels.size() * static_cast<std::size_t>(bits / 8);
    const auto read = std::as_bytes(std::span(image.pixels, image.count())).first(bytes_read);
    require(std::ranges::equal(read, std::as_bytes(std::span(pixels)).first(bytes_read)));
  }
}
