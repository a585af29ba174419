#include "host/png.h"

#include <png.h>

#include <cerrno>
#include <cstring>

#include "host/failure.h"
#include "host/new_file.h"

namespace host {

static_assert(sizeof(Rgb) == 3, "libpng takes the palette as it lies in memory");

void write_png(const std::string& path, FrameSize size, std::span<const std::uint8_t> pixels,
               std::span<const Rgb> palette) {
  NewFile file(path);
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  image.width = static_cast<png_uint_32>(size.width);
  image.height = static_cast<png_uint_32>(size.height);
  image.format = palette.empty() ? PNG_FORMAT_GRAY : PNG_FORMAT_RGB_COLORMAP;
  image.colormap_entries = static_cast<png_uint_32>(palette.size());
  errno = 0;
  if (png_image_write_to_stdio(&image, file.stream(), 0, pixels.data(), 0, palette.data()) == 0) {
    throw Failure(path, std::string("cannot be written: ") + (errno != 0 ? std::strerror(errno) : image.message));
  }
  file.commit();
}

}  // namespace host
