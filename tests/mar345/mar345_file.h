// mar345 files for tests, and what a reader must make of them, in the plainest way.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tests/environment.h"
#include "tests/pack/naive_pack.h"
#include "xrdimage.h"

namespace mar345 {

struct OverflowRecord {
  std::int32_t position;
  std::int32_t value;
};

struct Layout {
  bool new_layout;
  bool swapped;  // the file does not have the processor's byte order
};

inline constexpr std::array<Layout, 4> kLayouts{{{true, false}, {true, true}, {false, false}, {false, true}}};

inline int limit(bool new_layout) {
  return new_layout ? 256000 : 65356;
}

// A 32-bit word in the file's byte order.
inline std::string word(std::int32_t value, bool swapped) {
  std::string bytes = test::little32(static_cast<std::uint32_t>(value));
  if (swapped) std::reverse(bytes.begin(), bytes.end());
  return bytes;
}

// The ten words in front, for an image of size x size pixels.
inline std::string header_words(Layout layout, int size, int overflow_count) {
  const std::array<std::int32_t, 10> newer{1234, size, overflow_count, -3, 99, 5, 6, 7, 8, 9};
  const std::array<std::int32_t, 10> older{size, 99, -2, -3, overflow_count, 5, 6, 7, 8, 9};
  std::string bytes;
  for (const std::int32_t value : layout.new_layout ? newer : older) bytes += word(value, layout.swapped);
  return bytes;
}

// Where the overflow records begin.
inline std::size_t header_size(Layout layout, int size) {
  return layout.new_layout ? 4096 : 2 * static_cast<std::size_t>(size);
}

// The header, padded to its whole size with blanks.
inline std::string header(Layout layout, int size, int overflow_count) {
  std::string bytes = header_words(layout, size, overflow_count);
  bytes.resize(header_size(layout, size), ' ');
  return bytes;
}

inline std::string overflow_table(const std::vector<OverflowRecord>& records, bool swapped) {
  std::string bytes;
  for (const auto& [position, value] : records) bytes += word(position, swapped) + word(value, swapped);
  return bytes;
}

struct Frame {
  Layout layout{true, false};
  int size = 0;
  std::vector<OverflowRecord> records;
  naive::Pixels pixels;

  std::string bytes() const {
    return header(layout, size, static_cast<int>(records.size())) + overflow_table(records, layout.swapped) +
           naive::pack(pixels, size, size);
  }
};

// The pixels with the overflow records merged in; what overflowed is negative. Records that would fall outside of the
// image are dropped.
inline std::vector<int> merged(const naive::Pixels& pixels, const std::vector<OverflowRecord>& records, bool new_layout,
                               int width, int height, int limit) {
  std::vector<int> image;
  for (const short pixel : pixels) {
    const int value = static_cast<std::uint16_t>(pixel);
    image.push_back(value < limit ? value : -1);
  }
  for (const auto& [position, value] : records) {
    if (position < 1 || position > width * height) continue;
    const int index = new_layout ? position : position / width * width + position % height - 1;
    if (index < 0 || index >= width * height) continue;
    image[static_cast<std::size_t>(index)] = value >= limit ? -1 : value;
  }
  return image;
}

// What new_read_pck hands out for the frame.
inline std::vector<unsigned> expected_pixels(const Frame& frame) {
  std::vector<unsigned> expected;
  const bool new_layout = frame.layout.new_layout;
  for (const int value : merged(frame.pixels, frame.records, new_layout, frame.size, frame.size, limit(new_layout))) {
    expected.push_back(value < 0 ? OVERFLOW_MARK : static_cast<unsigned>(value));
  }
  return expected;
}

}  // namespace mar345
