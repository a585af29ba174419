// SAINT area-detector frames: 96 text records of 80 bytes, then 16-bit pixels.
#include <array>
#include <cstdio>
#include <iterator>

#include "support/conversation.h"
#include "support/files.h"
#include "support/header_keys.h"
#include "support/image_size.h"
#include "support/memory.h"
#include "support/message.h"
#include "support/pixels.h"
#include "support/reading.h"
#include "xrdimage.h"

namespace {

constexpr std::size_t kHeaderBytes = 7680;  // whatever the header says
constexpr std::size_t kRecordBytes = 80;

// Reads records up to the one that closes the parsed part, or the end of the file. Returns how many bytes they are.
std::size_t scan_records(std::FILE* stream, int* ncols, int* nrows) {
  float ignored = 0.0F;
  std::array<xrd::HeaderWord, 2> created{};
  const xrd::HeaderKey keys[] = {
      {"CREATED:%s %s", xrd::HeaderWords{created.data(), 2}},
      {"NCOLS  : %d", ncols},
      {"NROWS  : %d", nrows},
      {"START  : %f", &ignored},
      {"INCREME: %f", &ignored},
      {"DISTANC: %f", &ignored},
      {"WAVELEN: %f", &ignored},
      {"ELAPSDR: %f", &ignored},
      {"   ENDING2: %f", &ignored},
  };
  const xrd::HeaderKey* const closing = std::end(keys) - 1;
  std::array<char, kRecordBytes + 1> record{};
  std::size_t bytes = 0;
  while (xrd::read_bytes(record.data(), kRecordBytes, stream) == kRecordBytes) {
    bytes += kRecordBytes;
    if (xrd::match_header_line(record.data(), keys) == closing) break;
  }
  return bytes;
}

}  // namespace

extern "C" int read_saint_header(FILE* stream, int* ncols, int* nrows) {
  const std::size_t bytes = scan_records(stream, ncols, nrows);
  std::array<char, kHeaderBytes> rest;  // NOLINT: read and discarded
  if (bytes < kHeaderBytes) xrd::read_bytes(rest.data(), kHeaderBytes - bytes, stream);
  return 0;
}

extern "C" int read_saint(const char* filename, unsigned int** daten, int* width, int* height) {
  // Callers rely on the stream staying open for the life of the process.
  std::FILE* stream = xrd::leave_open(xrd::open_file(filename, "r"));
  if (stream == nullptr) {
    xrd::print("# " XRD_PLAIN_ERROR " READING %s\n", filename);
    return 0;
  }
  int ncols = *width;
  int nrows = *height;
  read_saint_header(stream, &ncols, &nrows);

  const auto pixels = xrd::allocatable_pixels(ncols, nrows);
  auto image = pixels ? xrd::allocate_unset<unsigned int>(*pixels) : nullptr;
  if (!image) {
    xrd::print("# " XRD_PLAIN_ERROR " READING %s: cannot allocate %d x %d pixels\n", filename, ncols, nrows);
    return 0;
  }
  xrd::print_allocated(*pixels * sizeof(unsigned int));
  xrd::read_widened({image.get(), *pixels}, stream);
  *width = ncols;
  *height = nrows;
  *daten = image.release();
  return 0;
}
