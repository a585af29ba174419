// The program's writers: what they write without a warning is loaded again with the same counts. The first bytes of an
// input choose the format, the bits, the width and what the header tells; the rest are the counts.
#include <algorithm>
#include <array>
#include <bit>
#include <stdexcept>
#include <string>
#include <vector>

#include "frames/writers/writers.h"
#include "fuzz/harness.h"
#include "xrdimage.h"

namespace {

struct Format {
  frames::Format format;
  void (*write)(const frames::Frame& frame, const frames::WriteOptions& options, std::FILE* stream,
                frames::Remarks& remarks);
};

constexpr std::array<Format, 6> kFormats{{
    {frames::Format::kAdsc, frames::write_adsc},
    {frames::Format::kEdf, frames::write_edf},
    {frames::Format::kMar345, frames::write_mar345},
    {frames::Format::kPacked, frames::write_packed},
    {frames::Format::kRaw, frames::write_raw},
    {frames::Format::kTiff, frames::write_tiff},
}};

// How the frame is to be written, and its counts' width in bytes.
struct Choice {
  Format format;
  frames::WriteOptions options;
  bool is_signed;
  bool has_unknown;
  bool has_geometry;
  std::size_t bytes;
};

Choice choice_of(fuzz::Input& input) {
  const unsigned flags = input.byte();
  Choice choice{kFormats[input.byte() % kFormats.size()], {}, (flags & 1) != 0, (flags & 2) != 0, (flags & 32) != 0, 2};
  if ((flags & 4) != 0) choice.bytes = 4;
  if ((flags & 8) != 0) choice.options.bits = (flags & 16) != 0 ? 16 : 32;
  return choice;
}

// Any number, infinite ones and those that are none included.
double real_of(fuzz::Input& input) {
  return std::bit_cast<float>(input.number(sizeof(float)));
}

frames::Point point_of(fuzz::Input& input) {
  const double x = real_of(input);
  return {x, real_of(input)};
}

frames::Frame frame_of(fuzz::Input& input, const Choice& choice) {
  frames::Frame frame;
  frame.is_signed = choice.is_signed;
  frame.width = static_cast<int>(input.byte() % 64 + 1);
  if (choice.has_unknown) frame.mask = {frames::kUnknown};
  // The header's values are the first counts.
  frame.header.wavelength = input.byte() / 100.0;
  frame.header.distance = input.byte() * 10.0;
  frame.header.date = input.line();
  if (choice.has_geometry) {
    frame.header.pixel_size = point_of(input);
    frame.header.beam_centre = point_of(input);
    frame.header.oscillation_start = real_of(input);
    frame.header.oscillation_range = real_of(input);
    frame.header.exposure_time = real_of(input);
    frame.header.saturation = real_of(input);
    frame.header.detector = input.line();
  }

  std::vector<std::uint32_t> counts;
  while (!input.empty()) counts.push_back(input.number(choice.bytes));
  // Narrow images are made square: the mar345 format has no others.
  const auto width = static_cast<std::size_t>(frame.width);
  const std::size_t height = choice.format.format == frames::Format::kMar345 ? width : counts.size() / width + 1;
  counts.resize(width * height);
  frame.height = static_cast<int>(height);
  frame.counts = frames::Counts(counts.size());
  std::ranges::copy(counts, frame.counts.begin());
  frame.mask.resize(frame.mask.empty() ? 0 : counts.size());
  return frame;
}

// Raw pixels like the beginning of a compressed file are taken for one.
bool looks_compressed(const std::string& file) {
  return file.starts_with("\x1F\x8B\x08") || file.starts_with("BZh");
}

bool same_pixels(const frames::Frame& frame, const frames::Frame& loaded) {
  for (std::size_t i = 0; i < frame.counts.size(); ++i) {
    const bool is_unknown = frames::is_unknown(frame, i);
    const bool loaded_unknown = frames::is_unknown(loaded, i);
    if (is_unknown != loaded_unknown) return false;
    if (!is_unknown && frame.counts[i] != loaded.counts[i]) return false;
  }
  return true;
}

// The library's reader agrees, but for what it marks.
void check_library(const char* path, const frames::Frame& frame) {
  constexpr std::uint32_t kSaturated = 256000;
  fuzz::Image image;
  fuzz::require(new_read_pck(path, &image.pixels, &image.width, &image.height) == 1);
  fuzz::close_left_open();
  fuzz::require(image.width == frame.width && image.height == frame.height);
  for (std::size_t i = 0; i < image.count(); ++i) {
    const bool is_unknown = frames::is_unknown(frame, i);
    const unsigned expected = is_unknown || frame.counts[i] >= kSaturated ? OVERFLOW_MARK : frame.counts[i];
    fuzz::require(image.pixels[i] == expected);
  }
}

}  // namespace

void fuzz::run(Bytes bytes) {
  Input input(bytes);
  const Choice choice = choice_of(input);
  const frames::Frame frame = frame_of(input, choice);

  static File file;
  frames::Remarks remarks;
  try {
    choice.format.write(frame, choice.options, xrd::open_file(file.path(), "w+b").get(), remarks);
  } catch (const std::runtime_error&) {
    return;  // such a frame cannot be written
  }
  frames::LoadOptions options;
  options.format = choice.format.format;
  if (options.format == frames::Format::kRaw) {
    options.size = {frame.width, frame.height};
    options.depth = choice.options.bits;
    if (looks_compressed(file.contents())) return;
  }
  const frames::Frame loaded = frames::load_frame(file.path(), options);
  require(loaded.width == frame.width && loaded.height == frame.height);
  if (!remarks.warnings.empty()) return;  // counts were changed
  require(same_pixels(frame, loaded));
  if (options.format == frames::Format::kMar345) check_library(file.path(), frame);
}
