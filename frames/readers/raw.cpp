// Raw frames: only pixels, perhaps behind a header that is skipped.
#include <array>
#include <cmath>

#include "frames/readers/samples.h"

namespace frames {

namespace {

// Detectors that are not square, by their usual frames.
constexpr std::array kDetectors{
    Size{487, 195},   Size{487, 619},   Size{981, 1043},  Size{1475, 1679}, Size{2463, 2527},
    Size{1030, 1065}, Size{2070, 2167}, Size{3110, 3269}, Size{4150, 4371}, Size{1242, 1152},
};

// Beyond this no sum of sizes fits 32 bits.
constexpr std::size_t kLongestSkip = std::size_t{1} << 30;

std::size_t pixels(Size size) {
  return static_cast<std::size_t>(size.width) * static_cast<std::size_t>(size.height);
}

std::string guess_failed(std::size_t bytes) {
  return "states no size, and its " + std::to_string(bytes) +
         " bytes of pixels fit no usual one; give the size with --size WxH";
}

// A square, or else a detector that has as many pixels.
Size guess_size(std::size_t bytes, std::size_t sample_bytes) {
  const std::size_t count = bytes / sample_bytes;
  if (count == 0 || bytes % sample_bytes != 0) throw LoadError(guess_failed(bytes), Problem::kInvalid);
  const int side = static_cast<int>(std::lround(std::sqrt(static_cast<double>(count))));
  const Size square{side, side};
  if (pixels(square) == count) return square;
  for (const Size& detector : kDetectors) {
    if (pixels(detector) == count) return detector;
  }
  throw LoadError(guess_failed(bytes), Problem::kInvalid);
}

int depth_of(const LoadOptions& options) {
  const int depth = options.depth.value_or(16);
  if (depth != 8 && depth != 16 && depth != 32) {
    throw LoadError("cannot have " + std::to_string(depth) + " bits per pixel; --depth must be 8, 16 or 32",
                    Problem::kInvalid);
  }
  return depth;
}

}  // namespace

std::optional<std::size_t> enough_of_raw(Bytes /*front*/, const LoadOptions& options) {
  const auto bytes = static_cast<std::size_t>(depth_of(options) / 8);
  if (!options.size) return std::nullopt;  // the length of the file decides
  const std::size_t data_bytes = pixels_of_size(options.size->width, options.size->height) * bytes;
  return options.skip > kLongestSkip ? std::nullopt : std::optional(with_room(options.skip + data_bytes));
}

Frame load_raw(Bytes file, const LoadOptions& options) {
  const int depth = depth_of(options);
  const SampleType type{SampleKind::kUnsigned, static_cast<std::size_t>(depth / 8)};
  const Bytes data = bytes_after(file, options.skip);
  const Size size = options.size ? *options.size : guess_size(data.size(), type.bytes);

  Frame frame;
  frame.format = Format::kRaw;
  set_size(frame, size.width, size.height, options);
  if (!options.size) {
    frame.notes.push_back("is read as " + std::to_string(size.width) + " x " + std::to_string(size.height) +
                          " pixels of " + std::to_string(depth) +
                          " bits, a guess from its length; set --size WxH and --depth if it is wrong");
  }
  read_samples(frame, data, type, options.big_endian, options);
  return frame;
}

}  // namespace frames
