// TIFF images of one number per pixel, whatever its depth and kind, in strips or tiles; libtiff decodes them.
#include <tiffio.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <new>
#include <string>

#include "formats/tiff_strips.h"
#include "host/frames/loaders.h"
#include "host/frames/samples.h"
#include "support/image_size.h"

namespace frames {

namespace {

// ------------------------------------------------------------------------------------------------------------------
// The file's bytes as libtiff wants them
// ------------------------------------------------------------------------------------------------------------------

struct Source {
  Bytes file;
  std::uint64_t position = 0;
  std::string error;  // the first that libtiff reported
};

Source& source_of(thandle_t handle) {
  return *static_cast<Source*>(handle);
}

tmsize_t read_bytes(thandle_t handle, void* target, tmsize_t size) {
  Source& source = source_of(handle);
  if (size <= 0 || source.position >= source.file.size()) return 0;
  const auto begin = static_cast<std::size_t>(source.position);
  const std::size_t count = std::min(static_cast<std::size_t>(size), source.file.size() - begin);
  std::memcpy(target, source.file.data() + begin, count);
  source.position += count;
  return static_cast<tmsize_t>(count);
}

tmsize_t write_nothing(thandle_t /*handle*/, void* /*bytes*/, tmsize_t /*size*/) {
  return 0;
}

toff_t seek(thandle_t handle, toff_t offset, int whence) {
  Source& source = source_of(handle);
  // Offsets may be negative numbers that wrapped; sums wrap back.
  if (whence == SEEK_CUR) offset += source.position;
  if (whence == SEEK_END) offset += source.file.size();
  source.position = offset;
  return offset;
}

int close_nothing(thandle_t /*handle*/) {
  return 0;
}

toff_t file_size(thandle_t handle) {
  return source_of(handle).file.size();
}

int keep_error(tiff* /*image*/, void* user_data, const char* /*module*/, const char* format, va_list values) {
  auto& source = *static_cast<Source*>(user_data);
  if (source.error.empty()) {
    std::array<char, 300> text{};
    std::vsnprintf(text.data(), text.size(), format, values);
    source.error = text.data();
    std::ranges::replace(source.error, '\n', ' ');
  }
  return 1;
}

int ignore_warning(tiff* /*image*/, void* /*user_data*/, const char* /*module*/, const char* /*format*/,
                   va_list /*values*/) {
  return 1;
}

std::string damage(const Source& source) {
  return source.error.empty() ? "is a damaged TIFF file" : "is a damaged TIFF file: " + source.error;
}

xrd::TiffHandle open(Source& source) {
  const xrd::TiffOptions options(TIFFOpenOptionsAlloc());
  if (!options) throw std::bad_alloc();
  TIFFOpenOptionsSetErrorHandlerExtR(options.get(), keep_error, &source);
  TIFFOpenOptionsSetWarningHandlerExtR(options.get(), ignore_warning, nullptr);
  xrd::TiffHandle image(TIFFClientOpenExt("frame", "rm", &source, read_bytes, write_nothing, seek, close_nothing,
                                          file_size, nullptr, nullptr, options.get()));
  if (!image) throw LoadError(damage(source));
  return image;
}

// ------------------------------------------------------------------------------------------------------------------
// Pixels
// ------------------------------------------------------------------------------------------------------------------

// A tag's value, or the default that the format gives it.
template <typename Value>
Value tag(tiff* image, std::uint32_t name, Value absent) {
  Value value = absent;
  return TIFFGetFieldDefaulted(image, name, &value) == 1 ? value : absent;
}

std::optional<std::string> text_tag(tiff* image, std::uint32_t name) {
  const char* text = nullptr;
  if (TIFFGetField(image, name, &text) != 1 || text == nullptr || *text == '\0') return std::nullopt;
  return text;
}

// The rectangles in which the pixels are stored: tiles, or strips as wide as the image.
struct Blocks {
  bool tiled = false;
  std::uint32_t width = 0;
  std::uint32_t height = 0;
};

Blocks blocks_of(tiff* image, const Frame& frame) {
  Blocks blocks;
  blocks.tiled = TIFFIsTiled(image) != 0;
  if (blocks.tiled) {
    blocks.width = tag<std::uint32_t>(image, TIFFTAG_TILEWIDTH, 0);
    blocks.height = tag<std::uint32_t>(image, TIFFTAG_TILELENGTH, 0);
  } else {
    blocks.width = static_cast<std::uint32_t>(frame.width);
    blocks.height =
        std::min(tag<std::uint32_t>(image, TIFFTAG_ROWSPERSTRIP, 0xFFFFFFFF), static_cast<std::uint32_t>(frame.height));
  }
  if (blocks.width == 0 || blocks.height == 0 || blocks.height > xrd::kMaxPixels / blocks.width) {
    throw LoadError("is a damaged TIFF file: its strips or tiles have an impossible size");
  }
  return blocks;
}

// A small damaged file must not take memory for a large image: the usual compressions make no more of a byte than this.
void check_plausible(Bytes file, std::size_t decoded_bytes) {
  constexpr std::size_t kDecodedBytesPerByte = 2000;
  constexpr std::size_t kHarmless = std::size_t{1} << 26;
  if (decoded_bytes > kHarmless && decoded_bytes / kDecodedBytesPerByte > file.size()) {
    throw LoadError("is a damaged TIFF file: it is too short for its pixels");
  }
}

// The samples row by row, in the processor's byte order. What could not be decoded is 0, and `whole` false then.
struct Samples {
  std::vector<unsigned char> bytes;
  bool whole = true;
};

Samples decode(tiff* image, const Frame& frame, const Blocks& blocks, std::size_t sample_bytes) {
  const auto width = static_cast<std::size_t>(frame.width);
  const auto height = static_cast<std::size_t>(frame.height);
  const std::size_t block_row = blocks.width * sample_bytes;
  std::vector<unsigned char> decoded(blocks.height * block_row);
  const auto size = static_cast<tmsize_t>(decoded.size());
  Samples samples{std::vector<unsigned char>(width * height * sample_bytes)};
  std::uint32_t block = 0;
  for (std::size_t top = 0; top < height; top += blocks.height) {
    for (std::size_t left = 0; left < width; left += blocks.width, ++block) {
      std::ranges::fill(decoded, static_cast<unsigned char>(0));
      const tmsize_t got = blocks.tiled ? TIFFReadEncodedTile(image, block, decoded.data(), size)
                                        : TIFFReadEncodedStrip(image, block, decoded.data(), size);
      samples.whole = samples.whole && got >= 0;
      const std::size_t rows = std::min<std::size_t>(blocks.height, height - top);
      const std::size_t row_bytes = std::min<std::size_t>(blocks.width, width - left) * sample_bytes;
      for (std::size_t row = 0; row < rows; ++row) {
        std::memcpy(samples.bytes.data() + ((top + row) * width + left) * sample_bytes,
                    decoded.data() + row * block_row, row_bytes);
      }
    }
  }
  return samples;
}

// Nothing for pixels that are no counts.
std::optional<SampleType> sample_type(int bits, int format) {
  const auto bytes = static_cast<std::size_t>(bits / 8);
  if (format == SAMPLEFORMAT_IEEEFP && (bits == 32 || bits == 64)) return SampleType{SampleKind::kReal, bytes};
  if (bits != 8 && bits != 16 && bits != 32) return std::nullopt;
  if (format == SAMPLEFORMAT_INT) return SampleType{SampleKind::kSigned, bytes};
  if (format == SAMPLEFORMAT_UINT || format == SAMPLEFORMAT_VOID) return SampleType{SampleKind::kUnsigned, bytes};
  return std::nullopt;
}

}  // namespace

bool is_tiff(Bytes file) {
  const std::string_view text = text_of(file);
  using namespace std::string_view_literals;
  return text.starts_with("II*\0"sv) || text.starts_with("MM\0*"sv) ||  // and those with 64-bit offsets
         text.starts_with("II+\0"sv) || text.starts_with("MM\0+"sv);
}

Frame load_tiff(Bytes file, const LoadOptions& options) {
  Source source{file, 0, {}};
  const xrd::TiffHandle image = open(source);
  const int samples = tag<std::uint16_t>(image.get(), TIFFTAG_SAMPLESPERPIXEL, 1);
  if (samples != 1) {
    throw LoadError("has " + std::to_string(samples) + " numbers per pixel; frames have one");
  }
  const int bits = tag<std::uint16_t>(image.get(), TIFFTAG_BITSPERSAMPLE, 1);
  const int format = tag<std::uint16_t>(image.get(), TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_UINT);
  const auto type = sample_type(bits, format);
  if (!type) {
    throw LoadError("has pixels of " + std::to_string(bits) + " bits of TIFF sample format " + std::to_string(format) +
                    ", which no frame has");
  }
  Frame frame;
  frame.format = Format::kTiff;
  set_size(frame, tag<std::uint32_t>(image.get(), TIFFTAG_IMAGEWIDTH, 0),
           tag<std::uint32_t>(image.get(), TIFFTAG_IMAGELENGTH, 0));
  frame.header.date = text_tag(image.get(), TIFFTAG_DATETIME);
  frame.header.detector = text_tag(image.get(), TIFFTAG_MODEL);
  const Blocks blocks = blocks_of(image.get(), frame);
  check_plausible(file, frame.counts.size() * type->bytes);
  check_plausible(file, std::size_t{blocks.width} * blocks.height * type->bytes);
  const Samples pixels = decode(image.get(), frame, blocks, type->bytes);
  if (!pixels.whole) report_damage(frame, options, damage(source));
  if (TIFFNumberOfDirectories(image.get()) > 1) frame.notes.emplace_back("has several images; this is the first");
  read_samples(frame, pixels.bytes, *type, std::endian::native == std::endian::big, options);
  return frame;
}

}  // namespace frames
