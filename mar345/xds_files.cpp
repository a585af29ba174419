// XDS correction images, read from streams that the caller opens.
#include <cstddef>
#include <cstdio>
#include <string_view>

#include "support/conversation.h"
#include "support/files.h"
#include "support/image_size.h"
#include "support/reading.h"
#include "xrdimage.h"

namespace {

constexpr std::size_t kValueBytes = 4;
constexpr int kCorrectionValues = 1187;

// Reads 4-byte values unchanged; `file` names the source in the message for a short read. Returns how many were read.
int read_values(void* buffer, std::size_t count, std::FILE* stream, const char* file) {
  const std::size_t values = xrd::read_bytes(buffer, kValueBytes * count, stream) / kValueBytes;
  if (values != count) {
    xrd::print("ERROR> Wrong number of bytes in %s: %d \n", file, static_cast<int>(values));
  }
  return static_cast<int>(values);
}

bool is_modpix(std::string_view name) {
  return name == "MODPIX.XDS";
}

bool is_bkgpix(std::string_view name) {
  return name == "BKGPIX.XDS";
}

void rewind_stream(std::FILE* stream) {
  if (stream != nullptr) std::rewind(stream);
}

}  // namespace

extern "C" int getcorr(void* buffer, FILE* stream) {
  return read_values(buffer, kCorrectionValues, stream, "corr-file");
}

extern "C" int getmod(void* buffer, FILE* stream, int x, int y) {
  return read_values(buffer, xrd::caller_pixels(x, y, kValueBytes), stream, "MODPIX.XDS");
}

extern "C" int fileclose(const char* name, FILE* modpix, FILE* bkgpix, FILE* other) {
  std::FILE* const selected = is_modpix(name) ? modpix : is_bkgpix(name) ? bkgpix : other;
  return selected == nullptr ? EOF : xrd::close_stream(selected);
}

extern "C" void filerewind(const char* name, FILE* modpix, FILE* bkgpix, FILE* other) {
  if (is_bkgpix(name)) {
    rewind_stream(bkgpix);
    return;
  }
  // MODPIX.XDS rewinds the other stream as well; callers rely on it.
  if (is_modpix(name)) rewind_stream(modpix);
  rewind_stream(other);
}

extern "C" int filedelete() {
  return xrd::run_command("/bin/rm tmp.image");  // callers rely on the command
}
