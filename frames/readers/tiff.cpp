// TIFF images of one number per pixel, whatever its depth and kind, in strips or tiles; libtiff decodes them.
#include <tiffio.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <string>
#include <utility>

#include "frames/readers/readers.h"
#include "frames/readers/samples.h"
#include "frames/readers/tiff_directory.h"
#include "support/image_size.h"
#include "support/tiff.h"

namespace frames {

namespace {

// ------------------------------------------------------------------------------------------------------------------
// The file's bytes for libtiff
// ------------------------------------------------------------------------------------------------------------------

class Source : public xrd::TiffBytes {
 public:
  explicit Source(Bytes file) : file_(file) {}

  Bytes file() const { return file_; }

  std::size_t read(void* target, std::size_t size) override {
    if (position_ >= file_.size()) return 0;
    const auto begin = static_cast<std::size_t>(position_);
    const std::size_t count = std::min(size, file_.size() - begin);
    std::memcpy(target, file_.data() + begin, count);
    position_ += count;
    return count;
  }

  std::size_t write(const void* /*bytes*/, std::size_t /*size*/) override { return 0; }

  std::uint64_t seek(std::uint64_t offset, int whence) override {
    if (whence == SEEK_CUR) offset += position_;  // sums wrap back
    if (whence == SEEK_END) offset += file_.size();
    position_ = offset;
    return offset;
  }

  std::uint64_t size() override { return file_.size(); }

 private:
  Bytes file_;
  std::uint64_t position_ = 0;
};

std::string damage(const Source& source) {
  return source.has_error() ? "is a damaged TIFF file: " + source.error() : "is a damaged TIFF file";
}

// libtiff keeps every value of a directory, and is the slower per tag the more tags there are. Frames have a few
// dozen; values that overlap in the file would take many times its size.
void check_directory(Bytes file, std::uint64_t begin) {
  constexpr std::uint64_t kMostEntries = 512;
  constexpr std::uint64_t kAnyBytes = 65536;
  const auto directory = tiff_directory(file, begin);
  if (!directory) return;  // libtiff says what is wrong with it
  if (directory->entries > kMostEntries || directory->value_bytes > 2 * (kAnyBytes + file.size())) {
    throw LoadError("is a damaged TIFF file: its directory is far larger than that of a frame");
  }
}

// The image whose directory begins there.
xrd::TiffHandle open(Source& source, std::uint64_t directory) {
  check_directory(source.file(), first_tiff_directory(source.file()));
  xrd::TiffHandle image = xrd::open_tiff(source, "rm");
  if (!image) throw LoadError(damage(source));
  if (directory != first_tiff_directory(source.file())) {
    check_directory(source.file(), directory);
    if (TIFFSetSubDirectory(image.get(), directory) == 0) throw LoadError(damage(source));
  }
  return image;
}

// ------------------------------------------------------------------------------------------------------------------
// Pixels
// ------------------------------------------------------------------------------------------------------------------

// A tag's value, or the format's default.
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
  std::uint64_t count = 0;

  std::uint64_t pixels() const { return std::uint64_t{width} * height; }
  const char* name() const { return tiled ? "tiles" : "strips"; }
};

Blocks blocks_of(tiff* image, std::uint32_t width, std::uint32_t height) {
  Blocks blocks;
  blocks.tiled = TIFFIsTiled(image) != 0;
  if (blocks.tiled) {
    blocks.width = tag<std::uint32_t>(image, TIFFTAG_TILEWIDTH, 0);
    blocks.height = tag<std::uint32_t>(image, TIFFTAG_TILELENGTH, 0);
  } else {
    blocks.width = width;
    blocks.height = std::min(tag<std::uint32_t>(image, TIFFTAG_ROWSPERSTRIP, 0xFFFFFFFF), height);
  }
  if (blocks.width == 0 || blocks.height == 0 || blocks.height > xrd::kMaxPixels / blocks.width) {
    throw LoadError("is a damaged TIFF file: its strips or tiles have an invalid size");
  }
  const auto parts = [](std::uint64_t whole, std::uint64_t part) { return (whole + part - 1) / part; };
  blocks.count = parts(width, blocks.width) * parts(height, blocks.height);
  return blocks;
}

// How many bytes the file holds of the block, at most.
std::uint64_t stored_bytes(tiff* image, std::uint64_t block, Bytes file) {
  return std::min<std::uint64_t>(TIFFGetStrileByteCount(image, static_cast<std::uint32_t>(block)), file.size());
}

// Keeps the cost of reading in proportion to the image: limits how far blocks may reach beyond its edges or overlap.
void check_cost(tiff* image, Bytes file, std::uint64_t pixels, const Blocks& blocks, std::size_t sample_bytes) {
  constexpr std::uint64_t kAnyPixels = std::uint64_t{1} << 22;  // a small image may lie in one tile of any size
  constexpr std::uint64_t kTimes = 3;
  const std::string damaged = std::string("is a damaged TIFF file: its ") + blocks.name();
  if (blocks.count > file.size()) throw LoadError(damaged + " are too many for its length");
  const std::uint64_t decoded = blocks.count * blocks.pixels();  // both are below 2^32
  if (decoded > kTimes * pixels + kAnyPixels) throw LoadError(damaged + " hold far more than the image");
  std::uint64_t stored = 0;
  for (std::uint64_t block = 0; block < blocks.count; ++block) stored += stored_bytes(image, block, file);
  if (stored > file.size() + kTimes * sample_bytes * decoded) throw LoadError(damaged + " overlap in the file");
}

// Compressions that keep counts, and whose cost the size of the image bounds.
void check_compression(tiff* image) {
  constexpr std::array<std::uint16_t, 7> kCompressions{
      COMPRESSION_NONE,     COMPRESSION_LZW,  COMPRESSION_ADOBE_DEFLATE, COMPRESSION_DEFLATE,
      COMPRESSION_PACKBITS, COMPRESSION_LZMA, COMPRESSION_ZSTD};
  const auto compression = tag<std::uint16_t>(image, TIFFTAG_COMPRESSION, COMPRESSION_NONE);
  if (std::ranges::find(kCompressions, compression) == kCompressions.end()) {
    throw LoadError("has TIFF compression " + std::to_string(compression) + ", which frames do not use",
                    Problem::kUnsupported);
  }
}

// A small damaged file must not take memory for a large image: the usual compressions make no more of a byte than this.
void check_plausible(Bytes file, std::size_t decoded_bytes) {
  constexpr std::size_t kDecodedBytesPerByte = 2000;
  constexpr std::size_t kHarmless = std::size_t{1} << 26;
  if (decoded_bytes > kHarmless && decoded_bytes / kDecodedBytesPerByte > file.size()) {
    throw LoadError("is a damaged TIFF file: it is too short for its pixels");
  }
}

// The samples row by row, in the processor's byte order. What cannot be decoded is damage, and 0 with `force`.
std::vector<unsigned char> decode(tiff* image, Frame& frame, const Blocks& blocks, std::size_t sample_bytes,
                                  const Source& source, const LoadOptions& options) {
  const auto width = static_cast<std::size_t>(frame.width);
  const auto height = static_cast<std::size_t>(frame.height);
  const std::size_t block_row = blocks.width * sample_bytes;
  std::vector<unsigned char> decoded(blocks.height * block_row);
  const auto size = static_cast<tmsize_t>(decoded.size());
  std::vector<unsigned char> samples(width * height * sample_bytes);
  bool whole = true;
  std::uint32_t block = 0;
  for (std::size_t top = 0; top < height; top += blocks.height) {
    for (std::size_t left = 0; left < width; left += blocks.width, ++block) {
      std::ranges::fill(decoded, static_cast<unsigned char>(0));
      const tmsize_t got = blocks.tiled ? TIFFReadEncodedTile(image, block, decoded.data(), size)
                                        : TIFFReadEncodedStrip(image, block, decoded.data(), size);
      if (got < 0 && std::exchange(whole, false)) report_damage(frame, options, damage(source));
      const std::size_t rows = std::min<std::size_t>(blocks.height, height - top);
      const std::size_t row_bytes = std::min<std::size_t>(blocks.width, width - left) * sample_bytes;
      for (std::size_t row = 0; row < rows; ++row) {
        std::memcpy(samples.data() + ((top + row) * width + left) * sample_bytes, decoded.data() + row * block_row,
                    row_bytes);
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

// The directory's entries, named as libtiff names them, or by their numbers.
std::vector<HeaderItem> items_of(tiff* image, Bytes file, std::uint64_t directory) {
  std::vector<HeaderItem> items;
  for (auto& [number, text] : tiff_texts(file, directory)) {
    const TIFFField* const field = TIFFFindField(image, number, TIFF_ANY);
    const char* const name = field == nullptr ? nullptr : TIFFFieldName(field);
    // Those that libtiff does not know are named by it, too, but not for people.
    const bool is_named = name != nullptr && !std::string_view(name).starts_with("Tag ");
    items.push_back({is_named ? name : std::to_string(number), std::move(text)});
  }
  return items;
}

}  // namespace

bool is_tiff(Bytes file) {
  const std::string_view text = text_of(file);
  using namespace std::string_view_literals;
  return text.starts_with("II*\0"sv) || text.starts_with("MM\0*"sv) ||  // and those with 64-bit offsets
         text.starts_with("II+\0"sv) || text.starts_with("MM\0+"sv);
}

std::optional<std::size_t> enough_of_tiff(Bytes front, const LoadOptions& options) {
  if (options.image) return std::nullopt;  // of a file that holds several, any length may be needed
  // Where the image's blocks stand farther apart than this, other images are between them.
  constexpr std::uint64_t kAnyBytes = std::uint64_t{1} << 24;
  constexpr std::uint64_t kBytesPerPixel = 3 * sizeof(double);
  constexpr std::uint64_t kNextDirectory = std::uint64_t{1} << 17;
  const std::uint64_t begin = first_tiff_directory(front);
  const auto directory = tiff_directory(front, begin);
  if (!directory || directory->end > front.size() || directory->value_bytes > kAnyBytes) return std::nullopt;
  const auto numbers = [&](std::uint16_t name) { return tiff_integers(front, begin, name); };
  const auto width = numbers(TIFFTAG_IMAGEWIDTH);
  const auto height = numbers(TIFFTAG_IMAGELENGTH);
  auto offsets = numbers(TIFFTAG_STRIPOFFSETS);
  auto sizes = numbers(TIFFTAG_STRIPBYTECOUNTS);
  if (offsets.empty()) offsets = numbers(TIFFTAG_TILEOFFSETS);
  if (sizes.empty()) sizes = numbers(TIFFTAG_TILEBYTECOUNTS);
  if (width.empty() || height.empty() || offsets.empty() || sizes.size() != offsets.size()) return std::nullopt;
  if (width[0] > xrd::kMaxPixels || height[0] > xrd::kMaxPixels) return std::nullopt;
  const std::uint64_t most =
      kAnyBytes + kBytesPerPixel * std::min<std::uint64_t>(width[0] * height[0], xrd::kMaxPixels);
  std::uint64_t end = directory->end;
  if (directory->next != 0) end = std::max(end, std::min(directory->next, most) + kNextDirectory);
  for (std::size_t i = 0; i < offsets.size(); ++i) {
    end = std::max(end, std::min(offsets[i], most) + std::min(sizes[i], most));
  }
  constexpr std::uint64_t kLargest = std::numeric_limits<std::ptrdiff_t>::max();
  if (end > std::min(most, kLargest)) return std::nullopt;
  // The directories of further images, of which each says where the next one is.
  const auto last = tiff_directory(front, tiff_directories(front, kMostImages).back());
  if (last && last->next != 0) end = std::max(end, std::min(last->next, kLargest - kNextDirectory) + kNextDirectory);
  return with_room(static_cast<std::size_t>(end));
}

Frame load_tiff(Bytes file, const LoadOptions& options) {
  Frame frame;
  frame.format = Format::kTiff;
  const std::vector<std::uint64_t> directories = tiff_directories(file, kMostImages);
  choose_image(frame, directories.size(), options);
  Source source(file);
  const std::uint64_t directory = directories[options.image.value_or(1) - 1];
  const xrd::TiffHandle image = open(source, directory);
  const int samples = tag<std::uint16_t>(image.get(), TIFFTAG_SAMPLESPERPIXEL, 1);
  if (samples != 1) {
    throw LoadError("has " + std::to_string(samples) + " numbers per pixel; frames have one", Problem::kUnsupported);
  }
  const int bits = tag<std::uint16_t>(image.get(), TIFFTAG_BITSPERSAMPLE, 1);
  const int format = tag<std::uint16_t>(image.get(), TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_UINT);
  const auto type = sample_type(bits, format);
  if (!type) {
    throw LoadError("has pixels of " + std::to_string(bits) + " bits of TIFF sample format " + std::to_string(format) +
                        ", which frames do not use",
                    Problem::kUnsupported);
  }
  set_size(frame, tag<std::uint32_t>(image.get(), TIFFTAG_IMAGEWIDTH, 0),
           tag<std::uint32_t>(image.get(), TIFFTAG_IMAGELENGTH, 0), options);
  frame.header.date = text_tag(image.get(), TIFFTAG_DATETIME);
  frame.header.detector = text_tag(image.get(), TIFFTAG_MODEL);
  frame.items = items_of(image.get(), file, directory);
  if (options.header_only) {
    read_samples(frame, {}, *type, false, options);
    return frame;
  }
  const Blocks blocks =
      blocks_of(image.get(), static_cast<std::uint32_t>(frame.width), static_cast<std::uint32_t>(frame.height));
  check_compression(image.get());
  check_plausible(file, frame.counts.size() * type->bytes);
  check_plausible(file, static_cast<std::size_t>(blocks.pixels()) * type->bytes);
  check_cost(image.get(), file, frame.counts.size(), blocks, type->bytes);
  const auto pixels = decode(image.get(), frame, blocks, type->bytes, source, options);
  read_samples(frame, pixels, *type, std::endian::native == std::endian::big, options);
  return frame;
}

}  // namespace frames
