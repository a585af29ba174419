// A program in C++20: the public header compiles as C++, and the functions have C linkage.
#include <array>
#include <cstdlib>
#include <memory>
#include <type_traits>

#include "tests/header/record_layout.h"
#include "xrdimage.h"

// Callers copy the records as bytes and hand them to C.
template <typename Record>
constexpr bool kPlainRecord = std::is_standard_layout_v<Record>&& std::is_trivial_v<Record>;
static_assert(kPlainRecord<ImageInfo> && kPlainRecord<ImageData> && kPlainRecord<Mar345Header> &&
              kPlainRecord<PackedFileHeader>);

int main() {
  std::array<unsigned int, 4> image{5, 0, 3000, 7};
  unsigned int max = 0;
  unsigned int min = 1;
  find_maximum(image.data(), 2, 2, &max, &min);

  unsigned short* words = nullptr;
  to_short(image.data(), &words, 4, static_cast<int>(max));
  const std::unique_ptr<unsigned short, decltype(&std::free)> owner(words, &std::free);

  const bool good =
      max == 3000 && min == 0 && words != nullptr && words[2] == 3000 && get_image_type("frame.tif") == IMAGE_TYPE_TIFF;
  return good ? EXIT_SUCCESS : EXIT_FAILURE;
}
