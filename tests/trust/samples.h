// A small file of each format, with noise for pixels.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace trust {

struct Sample {
  std::string bytes;
  std::size_t header = 0;  // bytes before the pixels
};

Sample raw_sample();    // 12 x 9 pixels
Sample bnl_sample();    // 12 x 9, big-endian
Sample edf_sample();    // 10 x 7, 16 bits
Sample saint_sample();  // 11 x 6
Sample tiff_sample();   // 13 x 10 in strips of three rows, PackBits
Sample mar_ccd_sample();
Sample pck_sample();  // an image of 70 x 20 behind a header that says 1200 x 1200
struct Mar345Layout {
  bool is_new;
  bool swapped;
};
inline constexpr Mar345Layout kMar345Layouts[] = {{true, false}, {true, true}, {false, false}, {false, true}};
// 102 x 102 pixels with three overflow records, and a text header in the newer layout.
Sample mar345_sample(Mar345Layout layout);
Sample packed_sample();  // 70 x 20, header line and bit stream

// A name that no short string holds.
inline constexpr const char* kLongName = "a-frame-whose-name-is-too-long-for-a-short-string";

void write_file(const std::string& path, const std::string& bytes);

}  // namespace trust
