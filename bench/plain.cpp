#include "bench/plain.h"

#include <tiffio.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "tests/pack/naive_pack.h"
#include "xrdimage.h"

namespace plain {

namespace {

template <typename Pixel>
Pixel* allocate(std::size_t count) {
  return static_cast<Pixel*>(std::calloc(count, sizeof(Pixel)));
}

std::size_t at(int width, int column, int row) {
  return static_cast<std::size_t>(row) * static_cast<std::size_t>(width) + static_cast<std::size_t>(column);
}

unsigned int low_word(long double value) {
  return static_cast<unsigned int>(static_cast<std::int64_t>(value));
}

// The file, from the pixels behind its header on.
std::FILE* open_behind(const char* path, std::size_t skipped) {
  std::FILE* stream = std::fopen(path, "r");
  std::fseek(stream, static_cast<long>(skipped), SEEK_SET);
  return stream;
}

// The strips' bytes as 16-bit words.
std::vector<std::int16_t> tiff_words(const char* path, std::size_t pixels) {
  TIFF* image = TIFFOpen(path, "r");
  const tmsize_t strip_bytes = TIFFStripSize(image);
  std::vector<std::int16_t> words(pixels + static_cast<std::size_t>(strip_bytes));
  auto* bytes = reinterpret_cast<unsigned char*>(words.data());
  for (std::uint32_t strip = 0; strip < TIFFNumberOfStrips(image); ++strip) {
    TIFFReadEncodedStrip(image, strip, bytes, -1);
    bytes += strip_bytes;
  }
  TIFFClose(image);
  return words;
}

}  // namespace

unsigned int* read_frame(const char* path, int size) {
  const auto count = static_cast<std::size_t>(size) * static_cast<std::size_t>(size);
  std::FILE* stream = std::fopen(path, "r");
  int header[10];
  static_cast<void>(std::fread(header, sizeof *header, 10, stream));

  std::FILE* packed = std::fopen(path, "r");
  naive::find_header_line(packed);
  auto* words = allocate<short>(count);
  naive::Decoder(packed, size, size, words).decode();
  std::fclose(packed);

  auto* pixels = allocate<int>(count);
  for (std::size_t i = 0; i < count; ++i) {
    const int word = static_cast<std::uint16_t>(words[i]);
    pixels[i] = word < 256000 ? word : -1;
  }
  std::free(words);
  std::fseek(stream, 4096, SEEK_SET);
  for (int i = 0; i < header[2]; ++i) {
    int record[2];
    static_cast<void>(std::fread(record, sizeof *record, 2, stream));
    if (record[0] > 0) pixels[record[0]] = record[1] < 256000 ? record[1] : -1;
  }
  std::fclose(stream);
  auto* counts = allocate<unsigned int>(count);
  for (std::size_t i = 0; i < count; ++i) {
    counts[i] = pixels[i] < 0 ? OVERFLOW_MARK : static_cast<unsigned int>(pixels[i]);
  }
  std::free(pixels);
  return counts;
}

unsigned int* read_words(const char* path, std::size_t skipped, std::size_t pixels) {
  std::FILE* stream = open_behind(path, skipped);
  auto* image = allocate<unsigned int>(pixels);
  for (std::size_t i = 0; i < pixels; ++i) {
    unsigned short word = 0;
    static_cast<void>(std::fread(&word, sizeof word, 1, stream));
    image[i] = word;
  }
  std::fclose(stream);
  return image;
}

unsigned int* read_edf(const char* path, std::size_t skipped, std::size_t pixels) {
  std::FILE* stream = open_behind(path, skipped);
  auto* image = allocate<unsigned int>(pixels);
  for (std::size_t i = 0; i < pixels; ++i) static_cast<void>(std::fread(image + i, sizeof *image, 1, stream));
  std::fclose(stream);
  return image;
}

unsigned int* read_bnl(const char* path, std::size_t skipped, std::size_t pixels) {
  std::FILE* stream = open_behind(path, skipped);
  auto* image = allocate<unsigned int>(pixels);
  auto* words = reinterpret_cast<unsigned short*>(image);
  for (std::size_t i = 0; i < pixels; ++i) static_cast<void>(std::fread(words + i, sizeof *words, 1, stream));
  std::fclose(stream);
  auto* bytes = reinterpret_cast<unsigned char*>(image);
  for (std::size_t i = 0; i < pixels; ++i) {
    const unsigned char low = bytes[4 * i];
    bytes[4 * i] = bytes[4 * i + 1];
    bytes[4 * i + 1] = low;
  }
  return image;
}

unsigned int* read_tiff(const char* path, std::size_t pixels) {
  const auto words = tiff_words(path, pixels);
  auto* image = allocate<unsigned int>(pixels);
  for (std::size_t i = 0; i < pixels; ++i) image[i] = static_cast<unsigned int>(words[i]);
  return image;
}

unsigned int* read_mar_ccd(const char* path, std::size_t pixels) {
  const auto words = tiff_words(path, pixels);
  auto* image = allocate<unsigned int>(pixels);
  for (std::size_t i = 0; i < pixels; ++i) {
    image[i] = words[i] < 0 ? OVERFLOW_MARK : static_cast<unsigned int>(words[i]);
  }
  return image;
}

void write_edf(const char* path, const unsigned int* pixels, int width, int height) {
  std::FILE* stream = std::fopen(path, "wb");
  std::fprintf(stream, "{\n");
  std::fprintf(stream, "HeaderID        = EH:000001:000000:000000 ; \n");
  std::fprintf(stream, "ByteOrder       = LowByteFirst ; \n");
  std::fprintf(stream, "DataType        = UnsignedInteger ; \n");
  std::fprintf(stream, "Size            = %d ; \n", 4 * width * height);
  std::fprintf(stream, "Dim_1           = %d ; \n", width);
  std::fprintf(stream, "Dim_2           = %d ; \n", height);
  std::fprintf(stream, "Image           = 1 ; \n");
  std::fprintf(stream, "BitsPerSample   = 32 ; \n");
  std::fprintf(stream, "\n}\n");
  for (int row = 0; row < height; ++row) {
    for (int column = 0; column < width; ++column) {
      std::fwrite(pixels + at(width, column, row), sizeof *pixels, 1, stream);
    }
  }
  std::fclose(stream);
}

void write_dump(const char* path, const unsigned int* pixels, std::size_t count) {
  std::FILE* stream = std::fopen(path, "wb");
  for (std::size_t i = 0; i < count; ++i) {
    const auto word = static_cast<unsigned short>(pixels[i]);
    std::fwrite(&word, sizeof word, 1, stream);
  }
  std::fclose(stream);
}

// Compiled as a function of its own, whose results may lie anywhere.
[[gnu::noinline]] void find_extremes(const unsigned int* pixels, int width, int height, unsigned int* max,
                                     unsigned int* min) {
  for (int row = 0; row < height; ++row) {
    for (int column = 0; column < width; ++column) {
      if (pixels[at(width, column, row)] > *max) *max = pixels[at(width, column, row)];
      if (pixels[at(width, column, row)] < *min) *min = pixels[at(width, column, row)];
    }
  }
}

void make_cross(unsigned int* pixels, int width, int height, int x, int y) {
  unsigned int largest = 0;
  unsigned int smallest = 0;
  find_extremes(pixels, width, height, &largest, &smallest);
  const int arm = width / 100;
  for (int i = -arm; i < arm; ++i) {
    if (x + i >= 0 && x + i < width) pixels[at(width, x + i, y)] = largest;
    if (y + i >= 0 && y + i < height) pixels[at(width, x, y + i)] = largest;
  }
}

void invert(unsigned int* pixels, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) pixels[i] = 0xFFFFFFU - pixels[i];
}

void scale_up(unsigned int* pixels, int width, int height) {
  unsigned int largest = 0;
  unsigned int smallest = 0;
  find_extremes(pixels, width, height, &largest, &smallest);
  const unsigned int gain = low_word(10000.0 / static_cast<int>(largest));
  for (int row = 0; row < height; ++row) {
    for (int column = 0; column < width; ++column) pixels[at(width, column, row)] *= gain;
  }
}

void scale_up_short(unsigned int* pixels, int width, int height, int target) {
  unsigned int largest = 0;
  unsigned int smallest = 0;
  find_extremes(pixels, width, height, &largest, &smallest);
  const long double factor = static_cast<long double>(target) / largest;
  for (int row = 0; row < height; ++row) {
    for (int column = 0; column < width; ++column) {
      unsigned int& pixel = pixels[at(width, column, row)];
      pixel = low_word(pixel * factor);
    }
  }
}

void logarith(unsigned int* pixels, std::size_t count, int logscale, int min, int max) {
  const long double slope = static_cast<long double>(logscale) / (max - min);
  for (std::size_t i = 0; i < count; ++i) {
    const long double above = pixels[i] - static_cast<unsigned int>(min);
    pixels[i] = low_word(static_cast<long double>(max) * std::log(above * slope + 1) /
                         std::log(static_cast<long double>(logscale)));
  }
}

unsigned short* to_short(const unsigned int* pixels, std::size_t count, int maximum) {
  int shift = 0;
  while (maximum >> shift > 65535) ++shift;
  auto* words = allocate<unsigned short>(count);
  for (std::size_t i = 0; i < count; ++i) words[i] = static_cast<unsigned short>(pixels[i] >> shift);
  return words;
}

void swap_words(unsigned char* bytes, std::size_t count) {
  for (std::size_t i = 0; i + 4 <= count; i += 4) {
    const unsigned char first = bytes[i];
    bytes[i] = bytes[i + 3];
    bytes[i + 3] = first;
    const unsigned char second = bytes[i + 1];
    bytes[i + 1] = bytes[i + 2];
    bytes[i + 2] = second;
  }
}

void swap_bytes(short* words, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    const int word = words[i];
    words[i] = static_cast<short>(static_cast<unsigned>(word) << 8 | static_cast<unsigned>(word >> 8));
  }
}

void rotate(unsigned short* image, int n) {
  for (int i = 0; i < n / 2; ++i) {
    for (int j = 0; j < (n + 1) / 2; ++j) {
      const unsigned short moved = image[at(n, i, n - 1 - j)];
      image[at(n, i, n - 1 - j)] = image[at(n, n - 1 - j, n - 1 - i)];
      image[at(n, n - 1 - j, n - 1 - i)] = image[at(n, n - 1 - i, j)];
      image[at(n, n - 1 - i, j)] = image[at(n, j, i)];
      image[at(n, j, i)] = moved;
    }
  }
}

unsigned int* bin(const unsigned int* pixels, int factor, int width, int height) {
  const int new_width = width / (2 * factor) * 2;
  const int new_height = height / (2 * factor) * 2;
  auto* binned = allocate<unsigned int>(at(new_width, 0, new_height));
  for (int x = 0; x < width - 1; x += factor) {
    for (int y = 0; y < height - 1; y += factor) {
      if (x / factor >= new_width || y / factor >= new_height) continue;
      unsigned int& sum = binned[at(new_width, x / factor, y / factor)];
      bool marked = false;
      for (int i = 0; i < factor; ++i) {
        for (int j = 0; j < factor; ++j) {
          const unsigned int pixel = pixels[at(width, x + j, y + i)];
          if (pixel == OVERFLOW_MARK) marked = true;
          sum += pixel;
        }
      }
      if (marked) sum = OVERFLOW_MARK;
    }
  }
  return binned;
}

unsigned short* bin_short(const unsigned short* pixels, int factor, int width, int height) {
  const int new_width = width / factor;
  auto* binned = allocate<unsigned short>(at(new_width, 0, height / factor));
  for (int x = 0; x < width - 1; x += factor) {
    for (int y = 0; y < height - 1; y += factor) {
      int sum = 0;
      for (int i = 0; i < factor; ++i) {
        for (int j = 0; j < factor; ++j) sum += pixels[at(width, x + i, y + i)];  // the diagonal, `factor` times
      }
      const double mean = std::rint(static_cast<double>(sum) / (factor * factor));
      binned[at(new_width, x / factor, y / factor)] = static_cast<unsigned short>(mean);
    }
  }
  return binned;
}

unsigned int* fit(const unsigned int* pixels, int width, int height, int new_width, int new_height) {
  auto* fitted = allocate<unsigned int>(at(new_width, 0, new_height));
  for (int column = 0; column < new_width; ++column) {
    for (int row = 0; row < new_height; ++row) {
      if (column < width && row < height) fitted[at(new_width, column, row)] = pixels[at(width, column, row)];
    }
  }
  return fitted;
}

void local_mean(unsigned int* pixels, int width, int height, int radius) {
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      unsigned int sum = 0;
      int count = 0;
      for (int row = y - radius; row < y + radius; ++row) {
        for (int column = x - radius; column < x + radius; ++column) {
          if (row < 0 || row >= height || column < 0 || column >= width) continue;
          sum += pixels[at(width, column, row)];
          ++count;
        }
      }
      pixels[at(width, x, y)] = static_cast<unsigned int>(static_cast<std::int32_t>(sum) / count);
    }
  }
}

}  // namespace plain
