// Writes small TIFF files for the tests, byte by byte and without a TIFF library: any tags and any strips, sensible or
// not.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace test {

// Tags, by their numbers in the file.
inline constexpr unsigned kImageWidth = 256;
inline constexpr unsigned kImageLength = 257;
inline constexpr unsigned kBitsPerSample = 258;
inline constexpr unsigned kCompression = 259;
inline constexpr unsigned kPhotometric = 262;
inline constexpr unsigned kStripOffsets = 273;
inline constexpr unsigned kSamplesPerPixel = 277;
inline constexpr unsigned kRowsPerStrip = 278;
inline constexpr unsigned kStripByteCounts = 279;
inline constexpr unsigned kPlanarConfiguration = 284;

// Values of the Compression tag.
inline constexpr unsigned kUncompressed = 1;
inline constexpr unsigned kLzw = 5;
inline constexpr unsigned kDeflate = 8;
inline constexpr unsigned kPackBits = 32773;

// Bytes written as numbers.
inline std::string raw(std::initializer_list<unsigned> bytes) {
  std::string text;
  for (const unsigned byte : bytes) text.push_back(static_cast<char>(byte));
  return text;
}

class TiffBuilder {
 public:
  // A little-endian grey image, uncompressed, of one strip unless RowsPerStrip is set.
  TiffBuilder(std::uint32_t width, std::uint32_t length, unsigned bits = 16) {
    tag(kImageWidth, width).tag(kImageLength, length);
    short_tag(kBitsPerSample, bits).short_tag(kCompression, kUncompressed).short_tag(kPhotometric, 1);
  }

  TiffBuilder& big_endian() {
    big_endian_ = true;
    return *this;
  }

  // Sets a tag with values of 32 bits, in place of an earlier one of the same number. StripOffsets and StripByteCounts
  // are those of the strips unless they are set here.
  TiffBuilder& tag(unsigned number, std::uint32_t value) { return tag(number, std::vector{value}); }
  TiffBuilder& tag(unsigned number, std::vector<std::uint32_t> values) {
    tags_[number] = {kLong, std::move(values)};
    return *this;
  }
  // The same with one value of 16 bits.
  TiffBuilder& short_tag(unsigned number, std::uint32_t value) {
    tags_[number] = {kShort, {value}};
    return *this;
  }

  TiffBuilder& without(unsigned number) {
    tags_.erase(number);
    return *this;
  }

  TiffBuilder& strip(std::string_view bytes) {
    strips_.emplace_back(bytes);
    return *this;
  }

  // The strips begin at this byte of the file, or behind the directory if that is longer.
  TiffBuilder& strips_at(std::size_t offset) {
    strips_at_ = offset;
    return *this;
  }

  std::string bytes() const {
    std::map<unsigned, Tag> tags = tags_;
    const std::vector<std::uint32_t> unknown(strips_.size());
    if (!strips_.empty()) {
      tags.try_emplace(kStripOffsets, Tag{kLong, unknown});
      tags.try_emplace(kStripByteCounts, Tag{kLong, unknown});
    }
    std::string file = front(tags);
    if (file.size() < strips_at_) file.resize(strips_at_);
    Tag offsets{kLong, {}};
    Tag counts{kLong, {}};
    std::string pixels;
    for (const std::string& strip : strips_) {
      offsets.values.push_back(static_cast<std::uint32_t>(file.size() + pixels.size()));
      counts.values.push_back(static_cast<std::uint32_t>(strip.size()));
      pixels += strip;
    }
    if (!strips_.empty() && !tags_.contains(kStripOffsets)) tags[kStripOffsets] = offsets;
    if (!strips_.empty() && !tags_.contains(kStripByteCounts)) tags[kStripByteCounts] = counts;
    // The same directory again, now that it is known where the strips are.
    const std::string directory = front(tags);
    return directory + file.substr(directory.size()) + pixels;
  }

 private:
  static constexpr unsigned kShort = 3;
  static constexpr unsigned kLong = 4;

  struct Tag {
    unsigned type;
    std::vector<std::uint32_t> values;
  };

  std::string integer(std::uint32_t value, int size) const {
    std::string text;
    for (int i = 0; i < size; ++i) {
      const int shift = 8 * (big_endian_ ? size - 1 - i : i);
      text.push_back(static_cast<char>(value >> shift));
    }
    return text;
  }

  // The file up to its strips: eight bytes, the directory, and the values that do not fit into it.
  std::string front(const std::map<unsigned, Tag>& tags) const {
    std::string directory = integer(static_cast<std::uint32_t>(tags.size()), 2);
    std::string values_behind;
    const std::size_t behind = 8 + 2 + 12 * tags.size() + 4;
    for (const auto& [number, tag] : tags) {
      directory += integer(number, 2) + integer(tag.type, 2);
      directory += integer(static_cast<std::uint32_t>(tag.values.size()), 4);
      std::string values;
      for (const std::uint32_t value : tag.values) values += integer(value, tag.type == kShort ? 2 : 4);
      if (values.size() <= 4) {
        values.resize(4);
        directory += values;
      } else {
        directory += integer(static_cast<std::uint32_t>(behind + values_behind.size()), 4);
        values_behind += values;
      }
    }
    return (big_endian_ ? "MM" : "II") + integer(42, 2) + integer(8, 4) + directory + integer(0, 4) + values_behind;
  }

  bool big_endian_ = false;
  std::map<unsigned, Tag> tags_;
  std::vector<std::string> strips_;
  std::size_t strips_at_ = 0;
};

}  // namespace test
