// CCP4-packed images: a header line, wherever it stands in the file, and a bit stream.
#include "host/frames/packed.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

#include "support/files.h"
#include "support/image_size.h"
#include "xrdimage.h"

namespace frames {

namespace {

constexpr std::string_view kLineStart = "CCP4 packed image, X:";
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
    if (std::sscanf(content.c_str(), "CCP4 packed image, X: %9d, Y: %9d", &line.width, &line.height) != 2) continue;
    if (line.width >= 1 && line.height >= 1 && xrd::allocatable_pixels(line.width, line.height)) return line;
  }
  return std::nullopt;
}

PackedPixels unpack(Bytes file, const PackedLine& line) {
  PackedPixels pixels;
  pixels.samples.resize(xrd::allocatable_pixels(line.width, line.height).value_or(0));
  const Bytes stretch = file.subspan(line.end);
  if (stretch.empty()) {
    pixels.truncated = true;
    return pixels;
  }
  // The stream is only read.
  const xrd::FileHandle stream(fmemopen(const_cast<unsigned char*>(stretch.data()), stretch.size(), "rb"));
  if (!stream) throw LoadError(std::strerror(errno));
  unpack_word(stream.get(), line.width, line.height, pixels.samples.data());
  // The decoder reads no byte that it does not need, so it meets the end only when bytes are missing.
  pixels.truncated = std::feof(stream.get()) != 0;
  return pixels;
}

bool is_packed(Bytes file) {
  return find_packed_line(file).has_value();
}

Frame load_packed(Bytes file, const LoadOptions& options) {
  const auto line = find_packed_line(file);
  if (!line) throw LoadError("is truncated or damaged: it holds no packed image");
  Frame frame;
  frame.format = Format::kPacked;
  set_size(frame, line->width, line->height);
  const PackedPixels pixels = unpack(file, *line);
  if (pixels.truncated) report_damage(frame, options, "is truncated: the packed image ends early");
  std::ranges::transform(pixels.samples, frame.counts.begin(), packed_count);
  return frame;
}

}  // namespace frames
