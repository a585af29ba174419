// Cropping and padding to a given size.
#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <utility>

#include "processing/grid.h"
#include "support/conversation.h"
#include "support/image_size.h"
#include "support/message.h"
#include "xrdimage.h"

namespace xrd {

namespace {

void warn_of_stripping(const char* dimension, int old_size, int new_size) {
  if (old_size > new_size) {
    xrd::print("# " XRD_RED_WARNING ": IMAGE %s too large, stripping %d\n", dimension, old_size - new_size);
  }
}

// Null, with a message, if a size is invalid or memory is short.
template <typename Pixel>
MallocArray<Pixel> allocate_fitted(const GridRef<Pixel>& image, int new_width, int new_height) {
  const auto pixels = allocatable_pixels(new_width, new_height);
  const bool possible = pixels && *image.width >= 0 && *image.height >= 0;
  auto fitted = possible ? allocate_unset<Pixel>(*pixels) : nullptr;
  if (!fitted) {
    xrd::print("# " XRD_RED_ERROR ": cannot fit %dx%d pixels to %dx%d\n", *image.width, *image.height, new_width,
               new_height);
  }
  return fitted;
}

// Copies the part that both sizes have in common, row by row; the rest becomes 0.
template <typename Pixel>
void copy_padded(const GridRef<Pixel>& image, Pixel* fitted, int new_width, int new_height) {
  const auto old_columns = static_cast<std::size_t>(*image.width);
  const auto new_columns = static_cast<std::size_t>(new_width);
  const std::size_t columns = std::min(old_columns, new_columns);
  const auto rows = static_cast<std::size_t>(std::min(*image.height, new_height));
  for (std::size_t row = 0; row < rows; ++row) {
    Pixel* const new_row = fitted + row * new_columns;
    std::copy_n(*image.pixels + row * old_columns, columns, new_row);
    std::fill(new_row + columns, new_row + new_columns, Pixel{0});
  }
  std::fill(fitted + rows * new_columns, fitted + static_cast<std::size_t>(new_height) * new_columns, Pixel{0});
}

template <typename Pixel>
bool fit(const GridRef<Pixel>& image, int new_width, int new_height) {
  auto fitted = allocate_fitted(image, new_width, new_height);
  if (!fitted) return false;
  warn_of_stripping("width", *image.width, new_width);
  warn_of_stripping("height", *image.height, new_height);
  copy_padded(image, fitted.get(), new_width, new_height);
  replace_grid(image, std::move(fitted), new_width, new_height);
  return true;
}

}  // namespace

bool fit_grid(const GridRef<unsigned int>& image, int new_width, int new_height) {
  // The line ends with the new width again; callers rely on it.
  xrd::print("# fitting dimension from %dx%d to %dx%d\n", *image.width, *image.height, new_width, new_width);
  if (!fit(image, new_width, new_height)) return false;
  print_allocated(caller_pixels(new_width, new_height, sizeof(unsigned int)) * sizeof(unsigned int));
  return true;
}

bool fit_grid(const GridRef<unsigned short>& image, int new_width, int new_height) {
  return fit(image, new_width, new_height);
}

}  // namespace xrd

extern "C" int fit_to_new_dimension(unsigned int** Daten, int* width, int* height, int new_width, int new_height) {
  xrd::fit_grid({Daten, width, height}, new_width, new_height);
  return 0;
}

extern "C" int fit_to_new_dimension_short(unsigned short** Daten_ushort, int* width, int* height, int new_width,
                                          int new_height) {
  xrd::fit_grid({Daten_ushort, width, height}, new_width, new_height);
  return 0;
}
