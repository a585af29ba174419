// CCP4-packed images: a header line, wherever it stands in the file, and a bit stream.
#include "frames/readers/packed.h"

#include <algorithm>
#include <cstdio>
#include <span>
#include <string>

#include "pack/decoder.h"
#include "pack/packed_format.h"
#include "support/image_size.h"
#include "support/pixels.h"

namespace frames {

namespace {

constexpr std::string_view kLineStart = XRD_PACKED_TITLE;
constexpr std::size_t kLongestLine = 80;

}  // namespace

std::optional<PackedLine> find_packed_line(Bytes file) {
  const std::string_view text = text_of(file);
  for (std::size_t at = text.find(kLineStart); at != text.npos; at = text.find(kLineStart, at + 1)) {
    if (at != 0 && text[at - 1] != '\n') continue;
    const std::size_t length = text.substr(at, kLongestLine).find('\n');
    if (length == text.npos) continue;
    PackedLine line{at == 0 ? 0 : at - 1, at + length + 1, 0, 0};
    const std::string content(text.substr(at, length));
    if (std::sscanf(content.c_str(), XRD_PACKED_LINE("%9d"), &line.width, &line.height) != 2) continue;
    if (line.width >= 1 && line.height >= 1 && xrd::allocatable_pixels(line.width, line.height)) return line;
  }
  return std::nullopt;
}

void read_packed_pixels(Frame& frame, Bytes file, const PackedLine& line, const LoadOptions& options) {
  const std::size_t stated = xrd::allocatable_pixels(line.width, line.height).value_or(0);
  // No second array: the samples wait in the upper half of the pixels that they become.
  const std::span<std::uint32_t> pixels(frame.counts.data(), std::min(stated, frame.counts.size()));
  const bool whole = xrd::unpack_pixels(file.subspan(line.end), line.width, xrd::sample_half(pixels));
  if (!whole) report_damage(frame, options, "is truncated: the packed image ends early");
  xrd::widen_samples(pixels, [](std::uint16_t sample) -> std::uint32_t { return sample; });
}

std::size_t end_of_packed_image(const PackedLine& line) {
  // A chunk of one pixel with the widest field is the longest that a pixel can take.
  constexpr std::uint64_t kMostBits = xrd::kChunkHeaderBits + xrd::kFieldBits.back();
  const std::uint64_t pixels = xrd::allocatable_pixels(line.width, line.height).value_or(0);
  return line.end + static_cast<std::size_t>((pixels * kMostBits + 7) / 8);
}

bool is_packed(Bytes file) {
  return find_packed_line(file).has_value();
}

std::optional<std::size_t> enough_of_packed(Bytes front, const LoadOptions& /*options*/) {
  const auto line = find_packed_line(front);
  if (!line) return std::nullopt;
  return end_of_packed_image(*line) + with_room(0);
}

Frame load_packed(Bytes file, const LoadOptions& options) {
  const auto line = find_packed_line(file);
  if (!line) throw LoadError("is truncated or damaged: it holds no packed image");
  Frame frame;
  frame.format = Format::kPacked;
  set_size(frame, line->width, line->height);
  read_packed_pixels(frame, file, *line, options);
  return frame;
}

}  // namespace frames
