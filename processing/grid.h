// Images that get another pixel grid: the new array replaces the caller's.
#pragma once

#include <cstdlib>

#include "support/memory.h"

namespace xrd {

// The caller's array and its size, as the functions that change the grid receive them.
template <typename Pixel>
struct GridRef {
  Pixel** pixels;
  int* width;
  int* height;
};

// Frees the caller's array and stores the new one with its size. Nothing can fail any more here.
template <typename Pixel>
void replace_grid(const GridRef<Pixel>& image, MallocArray<Pixel> pixels, int width, int height) {
  std::free(*image.pixels);
  *image.pixels = pixels.release();
  *image.width = width;
  *image.height = height;
}

// Crops or pads the image to the new size, keeping its top left corner, and prints what fit_to_new_dimension and
// fit_to_new_dimension_short print. False, with the image untouched, if the new array cannot be allocated.
bool fit_grid(const GridRef<unsigned int>& image, int new_width, int new_height);
bool fit_grid(const GridRef<unsigned short>& image, int new_width, int new_height);

}  // namespace xrd
