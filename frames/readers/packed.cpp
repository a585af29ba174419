// CCP4-packed images: a header line, anywhere in the file, and a bit stream.
#include "frames/readers/packed.h"

#include <algorithm>
#include <array>
#include <cstdint>
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

// A chunk's header of six bits: the number of pixels in the chunk, and its length with the header.
struct Chunk {
  unsigned pixels = 0;
  unsigned bits = 0;
};

constexpr std::array<Chunk, 1U << xrd::kChunkHeaderBits> chunk_table() {
  constexpr unsigned kCodes = xrd::low_bits(xrd::kChunkCodeBits);
  std::array<Chunk, 1U << xrd::kChunkHeaderBits> table{};
  for (unsigned header = 0; header < table.size(); ++header) {
    const unsigned pixels = 1U << (header & kCodes);
    const auto field_bits = static_cast<unsigned>(xrd::kFieldBits[header >> xrd::kChunkCodeBits]);
    table[header] = {pixels, xrd::kChunkHeaderBits + pixels * field_bits};
  }
  return table;
}

// How many bytes of the bit stream so many pixels take; nothing if it ends earlier. The headers of chunks state their
// lengths: nothing is decoded.
std::optional<std::size_t> packed_bytes(Bytes stream, std::size_t pixels) {
  static constexpr auto kChunks = chunk_table();
  std::uint64_t bit = 0;
  while (pixels > 0) {
    const auto byte = static_cast<std::size_t>(bit / 8);
    if (byte >= stream.size()) return std::nullopt;
    const unsigned next = byte + 1 < stream.size() ? stream[byte + 1] : 0U;
    const unsigned header = (stream[byte] | next << 8) >> (bit % 8) & xrd::low_bits(xrd::kChunkHeaderBits);
    const auto& [count, bits] = kChunks[header];
    // Pixels of the last chunk beyond the image are not read.
    const bool is_cut = count > pixels;
    bit += is_cut ? xrd::kChunkHeaderBits + pixels * ((bits - xrd::kChunkHeaderBits) / count) : bits;
    pixels -= is_cut ? pixels : count;
  }
  const auto bytes = static_cast<std::size_t>((bit + 7) / 8);
  return bytes > stream.size() ? std::nullopt : std::optional(bytes);
}

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

bool is_packed(Bytes file) {
  return find_packed_line(file).has_value();
}

std::optional<std::size_t> enough_of_packed(Bytes front, const LoadOptions& /*options*/) {
  const auto line = find_packed_line(front);
  if (!line) return std::nullopt;
  // The pixels could take several times as much as those of a frame usually do: the chunks show where they end.
  const std::size_t pixels = xrd::allocatable_pixels(line->width, line->height).value_or(0);
  const Bytes stream = front.subspan(line->end);
  if (stream.size() < pixels / 2) return std::nullopt;  // few images are shorter, and going through chunks takes time
  const auto bytes = packed_bytes(stream, pixels);
  return bytes ? std::optional(line->end + *bytes + with_room(0)) : std::nullopt;
}

Frame load_packed(Bytes file, const LoadOptions& options) {
  const auto line = find_packed_line(file);
  if (!line) throw LoadError("is truncated or damaged: it holds no packed image");
  Frame frame;
  frame.format = Format::kPacked;
  set_size(frame, line->width, line->height, options);
  if (options.header_only) return frame;
  read_packed_pixels(frame, file, *line, options);
  return frame;
}

}  // namespace frames
