// Gives the readers files that no detector wrote. The first byte of an input chooses the reader, the others are the
// file.
#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "xrdimage.h"

namespace {

// Where the readers put the image, which is freed after each of them.
struct Image {
  unsigned int* pixels = nullptr;
  int width = 0;
  int height = 0;
  Image() = default;
  Image(const Image&) = delete;
  Image& operator=(const Image&) = delete;
  ~Image() { std::free(pixels); }
};

using Reader = void (*)(const char* path);

constexpr std::array<Reader, 9> kReaders{
    [](const char* path) {
      Image image;
      std::array<double, 5> values{};
      read_bnl(path, 0, &image.pixels, &image.width, &image.height, &values[0], &values[1], &values[2], &values[3],
               &values[4]);
    },
    [](const char* path) {
      Image image;
      int bits = -1;
      read_edf(path, &image.pixels, &bits, &image.width, &image.height);
    },
    [](const char* path) {
      Image image;
      read_saint(path, &image.pixels, &image.width, &image.height);
    },
    [](const char* path) {
      Image image;
      read_tiff(path, &image.pixels, 0, &image.width, &image.height);
    },
    [](const char* path) {
      ImageInfo info{};
      read_mar_ccd_header(path, &info);
      ImageData data{};
      double distance = 0.0;
      read_mar_ccd(path, &data, &distance);
      std::free(data.Daten);
    },
    [](const char* path) {
      Image image;
      read_pck(path, &image.pixels, &image.width, &image.height);
    },
    [](const char* path) {
      ImageInfo info{};
      read_mar_header(path, &info);
    },
    [](const char* path) {
      Image image;
      new_read_pck(path, &image.pixels, &image.width, &image.height);
    },
    [](const char* path) {
      static std::vector<short> pixels(std::size_t{9999} * 9999);  // the largest that a header line can state
      readpack_word_c(pixels.data(), path);
    },
};

int last_descriptor_of_process = 0;

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv);
extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
  // Messages are not looked at, and questions get the default for an answer.
  if (std::freopen("/dev/null", "w", stdout) == nullptr || std::freopen("/dev/null", "r", stdin) == nullptr) return 1;
  last_descriptor_of_process = dup(STDERR_FILENO);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const int file = memfd_create("frame", 0);
  if (write(file, data + 1, size - 1) != static_cast<ssize_t>(size - 1)) std::abort();
  kReaders[data[0] % kReaders.size()](("/proc/self/fd/" + std::to_string(file)).c_str());
  // Some readers leave their stream open.
  for (int descriptor = last_descriptor_of_process + 1; descriptor < file + 8; ++descriptor) close(descriptor);
  return 0;
}
