// The library's functions transcribed naively: the obvious loops, item by item. Their results are the same; arrays that
// they hand out are released with free.
#pragma once

#include <cstddef>
#include <cstdio>

namespace plain {

// Files. Pixels are read one by one; sizes are those of the caller.
unsigned int* read_frame(const char* path, int size);
unsigned int* read_words(const char* path, std::size_t skipped, std::size_t pixels);
unsigned int* read_edf(const char* path, std::size_t skipped, std::size_t pixels);
unsigned int* read_bnl(const char* path, std::size_t skipped, std::size_t pixels);
unsigned int* read_tiff(const char* path, std::size_t pixels);
unsigned int* read_mar_ccd(const char* path, std::size_t pixels);
void write_edf(const char* path, const unsigned int* pixels, int width, int height);
void write_dump(const char* path, const unsigned int* pixels, std::size_t count);

// Pixels.
void find_extremes(const unsigned int* pixels, int width, int height, unsigned int* max, unsigned int* min);
void make_cross(unsigned int* pixels, int width, int height, int x, int y);
void invert(unsigned int* pixels, std::size_t count);
void scale_up(unsigned int* pixels, int width, int height);
void scale_up_short(unsigned int* pixels, int width, int height, int target);
void logarith(unsigned int* pixels, std::size_t count, int logscale, int min, int max);
unsigned short* to_short(const unsigned int* pixels, std::size_t count, int maximum);
void swap_words(unsigned char* bytes, std::size_t count);
void swap_bytes(short* words, std::size_t count);
void rotate(unsigned short* image, int n);

// Grids. The new array has the size that the library's function gives it.
unsigned int* bin(const unsigned int* pixels, int factor, int width, int height);
unsigned short* bin_short(const unsigned short* pixels, int factor, int width, int height);
unsigned int* fit(const unsigned int* pixels, int width, int height, int new_width, int new_height);
void local_mean(unsigned int* pixels, int width, int height, int radius);

}  // namespace plain
