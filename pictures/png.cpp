#include "pictures/png.h"

#include <png.h>
#include <zlib.h>

#include <array>
#include <csetjmp>
#include <cstring>
#include <stdexcept>

#include "support/memory.h"
#include "support/memory_stream.h"

namespace pictures {

namespace {

static_assert(sizeof(Rgb) == sizeof(png_color), "libpng takes the palette as it lies in memory");

using ErrorText = std::array<char, 128>;

void keep_error(png_structp png, png_const_charp text) {
  auto& kept = *static_cast<ErrorText*>(png_get_error_ptr(png));
  std::strncpy(kept.data(), text, kept.size() - 1);
  png_longjmp(png, 1);
}

void ignore_warning(png_structp /*png*/, png_const_charp /*text*/) {}

// The stream itself remembers write errors.
void write_to_stream(png_structp png, png_bytep bytes, std::size_t size) {
  std::fwrite(bytes, 1, size, static_cast<std::FILE*>(png_get_io_ptr(png)));
}

void leave_unflushed(png_structp /*png*/) {}

// libpng jumps back here on an error: nothing in this function has a destructor, and nothing that it
// changes is looked at afterwards. False with an error's text.
bool encode(png_structp png, png_infop info, const Picture& picture, std::FILE* stream) {
  if (setjmp(png_jmpbuf(png)) != 0) return false;  // NOLINT(cert-err52-cpp): libpng has no other way
  png_set_write_fn(png, stream, write_to_stream, leave_unflushed);
  // Noisy pixels have no repetitions to look for, but differ little from their neighbours: of a real frame this makes
  // smaller files than the best of the levels, in a tenth of its time.
  png_set_compression_level(png, 1);
  png_set_compression_strategy(png, Z_RLE);
  png_set_filter(png, PNG_FILTER_TYPE_BASE, PNG_FILTER_SUB);
  const bool is_grey = picture.palette.empty();
  png_set_IHDR(png, info, static_cast<png_uint_32>(picture.width), static_cast<png_uint_32>(picture.height), 8,
               is_grey ? PNG_COLOR_TYPE_GRAY : PNG_COLOR_TYPE_PALETTE, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
               PNG_FILTER_TYPE_DEFAULT);
  if (!is_grey) {
    png_set_PLTE(png, info, reinterpret_cast<png_const_colorp>(picture.palette.data()),
                 static_cast<int>(picture.palette.size()));
  }
  png_write_info(png, info);
  for (int y = 0; y < picture.height; ++y) {
    png_write_row(png, picture.pixels.data() + std::ptrdiff_t{y} * picture.width);
  }
  png_write_end(png, info);
  return true;
}

}  // namespace

void write_png(const Picture& picture, std::FILE* stream) {
  ErrorText error{};
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &error, keep_error, ignore_warning);
  png_infop info = png == nullptr ? nullptr : png_create_info_struct(png);
  const bool is_complete = info != nullptr && encode(png, info, picture, stream);
  png_destroy_write_struct(&png, &info);
  if (!is_complete) throw std::runtime_error(std::string("cannot make a PNG picture: ") + error.data());
}

std::string png_bytes(const Picture& picture) {
  xrd::MemoryStream file;
  write_png(picture, file.stream());
  const std::size_t size = file.finish();
  const xrd::MallocArray<char> bytes(file.release());
  return {bytes.get(), size};
}

}  // namespace pictures
