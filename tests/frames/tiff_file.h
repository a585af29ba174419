// TIFF files of one image, written byte by byte.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "tests/frames/load_bytes.h"

namespace test {

struct TiffFile {
  bool big_endian = false;
  unsigned width = 0;
  unsigned height = 0;
  unsigned bits = 16;
  unsigned format = 0;          // SampleFormat: 1 unsigned, 2 signed, 3 real; 0: the tag is left out
  unsigned samples = 1;         // SamplesPerPixel
  unsigned compression = 1;     // 1: none
  unsigned rows_per_strip = 0;  // 0: the tag is left out
  unsigned tile_width = 0;      // 0: strips
  unsigned tile_height = 0;
  std::vector<std::string> blocks;  // the bytes of the strips or tiles
  std::size_t data_begin = 0;       // where the first block shall begin; 0: right behind the directory
  std::string date;                 // DateTime: 19 characters

  std::string number(std::uint64_t value, std::size_t bytes) const { return number_bytes(value, bytes, big_endian); }

  // Header, directory, the arrays and texts that do not fit their entries, blocks.
  std::string bytes() const {
    const bool tiled = tile_width != 0;
    std::vector<std::array<unsigned, 4>> entries{
        {256, 4, 1, width}, {257, 4, 1, height}, {258, 3, 1, bits}, {259, 3, 1, compression}, {262, 3, 1, 1}};
    const auto count = static_cast<unsigned>(blocks.size());
    const std::size_t entry_count = 5 + 1 + (tiled ? 4 : 2) + (!tiled && rows_per_strip != 0 ? 1 : 0) +
                                    (date.empty() ? 0 : 1) + (format == 0 ? 0 : 1);
    const auto arrays = static_cast<unsigned>(8 + 2 + 12 * entry_count + 4);
    const auto text = arrays + 8 * count;
    auto begin = static_cast<unsigned>(data_begin == 0 ? text + 20 : data_begin);

    std::string offsets;
    std::string sizes;
    for (const std::string& block : blocks) {
      offsets += number(begin, 4);
      sizes += number(block.size(), 4);
      begin += static_cast<unsigned>(block.size());
    }
    const unsigned first = count == 1 ? begin - static_cast<unsigned>(blocks[0].size()) : arrays;
    const unsigned size = count == 1 ? static_cast<unsigned>(blocks[0].size()) : arrays + 4 * count;
    if (!tiled) entries.push_back({273, 4, count, first});
    entries.push_back({277, 3, 1, samples});
    if (!tiled && rows_per_strip != 0) entries.push_back({278, 4, 1, rows_per_strip});
    if (!tiled) entries.push_back({279, 4, count, size});
    if (!date.empty()) entries.push_back({306, 2, 20, text});
    if (tiled) entries.push_back({322, 4, 1, tile_width});
    if (tiled) entries.push_back({323, 4, 1, tile_height});
    if (tiled) entries.push_back({324, 4, count, first});
    if (tiled) entries.push_back({325, 4, count, size});
    if (format != 0) entries.push_back({339, 3, 1, format});
    EXPECT_EQ(entries.size(), entry_count);

    std::string file = (big_endian ? "MM" : "II") + number(42, 2) + number(8, 4) + number(entries.size(), 2);
    for (const auto& [tag, type, values, value] : entries) {
      file += number(tag, 2) + number(type, 2) + number(values, 4);
      file += type == 3 ? number(value, 2) + std::string(2, '\0') : number(value, 4);
    }
    file += number(0, 4) + offsets + sizes;
    put(file, text, date + std::string(20 - date.size(), '\0'));
    if (data_begin != 0) file.resize(data_begin);
    for (const std::string& block : blocks) file += block;
    return file;
  }
};

}  // namespace test
