// new_read_pck, gethead and int_getpck. The input is the file.
#include <array>
#include <vector>

#include "fuzz/harness.h"
#include "xrdimage.h"

namespace {

// What new_read_pck does, by the functions that it is made of.
std::vector<int> read_by_parts(const char* path) {
  const xrd::FileHandle stream = xrd::open_file(path, "r");
  int new_layout = 0;
  int size = 0;
  int swapped = 0;
  int overflow_count = 0;
  gethead(&new_layout, stream.get(), &size, &swapped, &overflow_count);
  const int limit = new_layout != 0 ? 256000 : 65356;
  std::vector<int> image(static_cast<std::size_t>(size) * static_cast<std::size_t>(size));
  std::array<int, 2> record{};
  int_getpck(image.data(), record.data(), 0, 0, path, new_layout, stream.get(), size, size, overflow_count, swapped,
             limit);
  return image;
}

unsigned int marked(int value) {
  return value < 0 ? OVERFLOW_MARK : static_cast<unsigned int>(value);
}

}  // namespace

void fuzz::run(Bytes input) {
  limit_arrays(std::size_t{1} << 18);  // 256 x 256 pixels: larger ones show nothing new
  const char* const path = file_of(input);
  Image image;
  const int found = new_read_pck(path, &image.pixels, &image.width, &image.height);
  require((found == 1) == (image.pixels != nullptr));
  image.check();
  close_left_open();
  if (found == 0) return;

  std::size_t i = 0;
  for (const int value : read_by_parts(path)) require(image.pixels[i++] == marked(value));
}
