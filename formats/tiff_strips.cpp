#include "formats/tiff_strips.h"

#include <tiffio.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <limits>

#include "support/assertion.h"
#include "support/conversation.h"
#include "support/files.h"
#include "support/image_size.h"

namespace xrd {

namespace {

// Strips of more than 8 bytes per pixel of the largest image mean a damaged file.
constexpr std::uint64_t kMaxStripBytes = std::uint64_t{kMaxPixels} * 8;

}  // namespace

std::optional<std::size_t> TiffSize::pixels() const {
  constexpr std::uint32_t kLargest = std::numeric_limits<int>::max();
  if (width > kLargest || height > kLargest) return std::nullopt;
  return allocatable_pixels(static_cast<int>(width), static_cast<int>(height));
}

TiffSize tiff_size(tiff* image) {
  TiffSize size;
  TIFFGetField(image, TIFFTAG_IMAGEWIDTH, &size.width);
  TIFFGetField(image, TIFFTAG_IMAGELENGTH, &size.height);
  return size;
}

MallocArray<std::int16_t> read_strips(tiff* image, std::size_t pixels) {
  const auto strip_bytes = static_cast<std::uint64_t>(std::max<tmsize_t>(TIFFStripSize(image), 0));
  const std::uint32_t strips = TIFFNumberOfStrips(image);
  if (strip_bytes != 0 && strips > kMaxStripBytes / strip_bytes) return nullptr;
  const auto all_bytes = static_cast<std::size_t>(strip_bytes * strips);
  const std::size_t count = std::max(pixels, all_bytes / sizeof(std::int16_t) + 1);
  // The rest behind the strips is zero. Only a file as large as the array fills memory that is zeroed strip
  // by strip, which is then in the cache: a large size in a small damaged file takes no memory.
  const bool is_large = file_bytes(TIFFFileno(image)) >= count * sizeof(std::int16_t);
  auto samples = is_large ? allocate_unset<std::int16_t>(count) : allocate_zeroed<std::int16_t>(count);
  if (!samples) return nullptr;
  auto* bytes = reinterpret_cast<unsigned char*>(samples.get());
  const auto step = static_cast<std::size_t>(strip_bytes / 2 * 2);
  std::size_t zeroed = is_large ? 0 : count * sizeof(std::int16_t);  // bytes
  const auto zero_up_to = [&](std::size_t end) {
    if (end <= zeroed) return;
    std::memset(bytes + zeroed, 0, end - zeroed);
    zeroed = end;
  };
  for (std::uint32_t strip = 0; strip < strips; ++strip) {
    zero_up_to(strip * step + static_cast<std::size_t>(strip_bytes));
    TIFFReadEncodedStrip(image, strip, bytes + strip * step, -1);
  }
  zero_up_to(count * sizeof(std::int16_t));
  return samples;
}

std::optional<TiffImage> read_tiff_image(const char* path, const char* error, const TiffAssertion& no_memory) {
  const TiffHandle tiff = open_tiff(path);
  if (!tiff) {
    print("# %s reading file %s\n", error, path);
    return std::nullopt;
  }
  TiffImage image;
  image.size = tiff_size(tiff.get());
  const auto pixels = image.size.pixels();
  if (pixels) {
    image.count = *pixels;
    image.pixels = allocate_unset<unsigned int>(image.count);
    if (!image.pixels) fail_assertion(no_memory.expression, no_memory.source, no_memory.line, no_memory.function);
  }
  if (pixels) image.samples = read_strips(tiff.get(), image.count);
  if (!image.samples) {
    print("# %s reading file %s: cannot allocate %u x %u pixels\n", error, path, image.size.width, image.size.height);
    return std::nullopt;
  }
  return image;
}

}  // namespace xrd
