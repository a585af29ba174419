// The ten 32-bit words that mar345 files begin with, and the overflow records that they announce.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

namespace xrd::mar345 {

inline constexpr std::int32_t kNewLayoutMark = 1234;
inline constexpr int kNewHeaderBytes = 4096;    // the text header included
inline constexpr std::size_t kTextBegin = 128;  // of the text header
inline constexpr std::size_t kTextBytes = kNewHeaderBytes - kTextBegin;
inline constexpr std::size_t kRecordBytes = 2 * sizeof(std::int32_t);  // position, value

using Words = std::array<std::int32_t, 10>;

// The first word is the newer layout's mark or the older one's size. The range that shows the byte order and the range
// that is sane differ on purpose.
constexpr bool is_swapped(const Words& words) {
  return words[0] <= 100 || words[0] >= 5000;
}

// These take the words in the processor's byte order.
constexpr bool is_sane(const Words& words) {
  return words[0] >= 100 && words[0] <= 5000;
}
constexpr bool is_new_layout(const Words& words) {
  return words[0] == kNewLayoutMark;
}
constexpr std::int32_t frame_size(const Words& words) {
  return is_new_layout(words) ? words[1] : words[0];
}
constexpr std::int32_t overflow_count(const Words& words) {
  return is_new_layout(words) ? words[2] : words[4];
}

// Where the overflow records begin: behind the text header, or behind the older layout's header of one row of 16-bit
// words. Sums of damaged sizes wrap at 32 bits on every processor.
constexpr int overflow_offset(bool new_layout, int width, int height) {
  if (new_layout) return kNewHeaderBytes;
  return static_cast<int>(static_cast<unsigned>(width) + static_cast<unsigned>(height));
}

// The pixel that a record belongs to, if the image has it: the newer layout takes positions as indices, the older one
// counts from 1.
constexpr std::optional<std::size_t> record_pixel(std::int32_t position, int width, int height, bool new_layout) {
  const std::int64_t pixels = std::int64_t{width} * height;
  if (position < 1 || position > pixels) return std::nullopt;
  const std::int64_t index = new_layout ? position : std::int64_t{position / width} * width + position % height - 1;
  if (index < 0 || index >= pixels) return std::nullopt;
  return static_cast<std::size_t>(index);
}

}  // namespace xrd::mar345
