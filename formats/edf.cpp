// EDF frames: a text header in braces, then pixels in the processor's byte order.
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <span>
#include <string_view>

#include "support/conversation.h"
#include "support/files.h"
#include "support/format_text.h"
#include "support/header_keys.h"
#include "support/image_size.h"
#include "support/memory.h"
#include "support/message.h"
#include "support/prompt.h"
#include "support/reading.h"
#include "xrdimage.h"

namespace {

constexpr int kBitsUnknown = -1;

// If nothing else states the bits per sample, the data type decides. False, with a message, if it is unknown.
bool bits_from_data_type(std::string_view data_type, int* bits) {
  if (data_type == "UnsignedInteger") {
    *bits = 32;
  } else if (data_type == "UnsignedShort") {
    *bits = 16;
  } else {
    xrd::print("# Datatype %s nicht bekannt. Bitte mit -b <bits> starten\n", data_type.data());
    return false;
  }
  xrd::print("# %s found -> %dbit\n", data_type.data(), *bits);
  return true;
}

// Fills the image with the samples as in the file, packed from its first byte on: narrow samples fill
// only its first part, and wider ones than a pixel only as far as the image goes. Returns how many bytes were read.
std::size_t read_samples(std::span<unsigned int> image, int bits, std::FILE* stream) {
  const int sample_bytes = std::clamp(bits / 8, 0, static_cast<int>(sizeof(unsigned int)));
  return xrd::read_bytes(image.data(), image.size() * static_cast<std::size_t>(sample_bytes), stream);
}

void write_edf(const char* filename, const unsigned int* data, int width, int height, const char* data_type, int bits) {
  const std::size_t pixels = xrd::caller_pixels(width, height, sizeof *data);
  if (width < 0 || height < 0 || (pixels == 0 && width != 0 && height != 0)) {
    xrd::print("# " XRD_PLAIN_ERROR " opening %s: cannot write %d x %d pixels\n", filename, width, height);
    return;
  }
  const xrd::FileHandle stream = xrd::open_file(filename, "wb");
  if (!stream) {
    xrd::print("# " XRD_PLAIN_ERROR " opening %s\n", filename);
    return;
  }
  std::FILE* file = stream.get();
  std::fprintf(file, "{\n");
  std::fprintf(file, "%-15s = %s ; \n", "HeaderID", "EH:000001:000000:000000");
  std::fprintf(file, "%-15s = %s ; \n", "ByteOrder", "LowByteFirst");
  std::fprintf(file, "%-15s = %s ; \n", "DataType", data_type);
  // Four bytes per pixel, also in files that declare 16 bits.
  std::fprintf(file, "%-15s = %llu ; \n", "Size", static_cast<unsigned long long>(pixels) * sizeof *data);
  // Dimensions are printed as 16-bit numbers; callers expect large ones to be negative.
  std::fprintf(file, "%-15s = %d ; \n", "Dim_1", static_cast<std::int16_t>(width));
  std::fprintf(file, "%-15s = %d ; \n", "Dim_2", static_cast<std::int16_t>(height));
  std::fprintf(file, "%-15s = %d ; \n", "Image", 1);
  std::fprintf(file, "%-15s = %d ; \n", "BitsPerSample", bits);
  std::fprintf(file, "\n}\n");
  std::fwrite(data, sizeof *data, pixels, file);
}

}  // namespace

extern "C" int read_edf_header(FILE* stream, int* width, int* height, int* bits) {
  if (stream == nullptr) return 0;
  int binning = -1;
  std::array<char, 80> byte_order{};
  std::array<char, 80> data_type{};
  std::array<xrd::HeaderWord, 3> date_words{{{"-1"}, {"-1"}, {"-1"}}};
  const xrd::HeaderKey keys[] = {
      {"Dim_1 %*s %d", width},
      {"Dim_2 %*s %d", height},
      {"DateTime %*s %s %s %s", xrd::HeaderWords{date_words.data(), 3}},
      {"Binning %*s %d", &binning},
      {"BitsPerSample %*s %d", bits},
      {"ByteOrder %*s %s", byte_order},
      {"DataType %*s %s", data_type},
  };
  xrd::read_braced_header(stream, keys);
  if (*bits == kBitsUnknown && !bits_from_data_type(data_type.data(), bits)) return 0;

  std::array<char, 80> day{};
  std::array<char, 80> time_of_day{};
  xrd::HeaderWord rest{};
  xrd::format_text(day, date_words[0].data());
  xrd::format_text(time_of_day, date_words[1].data());
  xrd::format_text(rest, date_words[2].data());
  xrd::print("\n# Scanned: %s %s %s\n", day.data(), time_of_day.data(), rest.data());
  xrd::print("# ByteOrder: %s, BitsPerSample: %d, Binning: %d\n\n", byte_order.data(), *bits, binning);
  return 0;
}

extern "C" int read_edf(const char* filename, unsigned int** daten, int* bits, int* width, int* height) {
  *width = 0;
  const xrd::FileHandle stream = xrd::open_file(filename, "r");
  if (!stream) {
    xrd::print("# " XRD_PLAIN_ERROR " READING %s\n", filename);
    return 0;
  }
  xrd::DetectorSize size{0, *height};
  read_edf_header(stream.get(), &size.width, &size.height, bits);
  if (size.width == 0) size = xrd::ask_detector_size({1242, 1152});

  const auto pixels = xrd::allocatable_pixels(size.width, size.height);
  // The rest behind the samples is zero. Only a file as large as the image fills memory that is not
  // zeroed before, so that a large size in a small damaged file takes no memory before it is used.
  const bool is_large = xrd::file_bytes(fileno(stream.get())) / sizeof(unsigned int) >= pixels.value_or(0);
  auto* const allocate = is_large ? xrd::allocate_unset<unsigned int> : xrd::allocate_zeroed<unsigned int>;
  auto image = pixels ? allocate(*pixels) : nullptr;
  if (!image) {
    xrd::print("# " XRD_PLAIN_ERROR " READING %s: cannot allocate %d x %d pixels\n", filename, size.width, size.height);
    return 0;
  }
  const std::size_t bytes = *pixels * sizeof(unsigned int);
  xrd::print_allocated(bytes);
  const std::size_t read = read_samples({image.get(), *pixels}, *bits, stream.get());
  if (is_large) std::memset(reinterpret_cast<unsigned char*>(image.get()) + read, 0, bytes - read);
  xrd::print("# %d x %d %dbit char read\n", size.width, size.height, *bits);
  *width = size.width;
  *height = size.height;
  *daten = image.release();
  return 0;
}

extern "C" void edf16_write(const char* filename, const unsigned int* data, int width, int height) {
  write_edf(filename, data, width, height, "UnsignedShort", 16);
}

extern "C" void edf32_write(const char* filename, const unsigned int* data, int width, int height) {
  write_edf(filename, data, width, height, "UnsignedInteger", 32);
}
