#include "host/frames/bytes.h"

#include <bzlib.h>
#include <zlib.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "support/files.h"
#include "support/image_size.h"

namespace frames {

namespace {

// No frame is larger when it is decompressed: a damaged or malicious file must not exhaust the memory.
constexpr std::size_t kLargestFile = xrd::kMaxPixels * 8;

using Buffer = std::array<char, 65536>;

void append(std::vector<unsigned char>& bytes, const Buffer& buffer, std::size_t count) {
  if (bytes.size() + count > kLargestFile) throw LoadError("is too large for a frame");
  bytes.insert(bytes.end(), buffer.begin(), buffer.begin() + static_cast<std::ptrdiff_t>(count));
}

std::vector<unsigned char> read_plain(std::FILE* stream) {
  std::vector<unsigned char> bytes;
  Buffer buffer;  // NOLINT: filled before it is read
  while (const std::size_t count = std::fread(buffer.data(), 1, buffer.size(), stream)) append(bytes, buffer, count);
  if (std::ferror(stream) != 0) throw LoadError(std::strerror(errno));
  return bytes;
}

std::vector<unsigned char> read_gzip(const std::string& path) {
  const std::unique_ptr<gzFile_s, int (*)(gzFile)> file(gzopen(path.c_str(), "rb"), gzclose);
  if (!file) throw LoadError(std::strerror(errno));
  std::vector<unsigned char> bytes;
  Buffer buffer;  // NOLINT: filled before it is read
  int count = 0;
  while ((count = gzread(file.get(), buffer.data(), static_cast<unsigned>(buffer.size()))) > 0) {
    append(bytes, buffer, static_cast<std::size_t>(count));
  }
  int error = Z_OK;
  gzerror(file.get(), &error);
  if (count < 0 || error == Z_BUF_ERROR) throw LoadError("is a damaged gzip file");
  return bytes;
}

std::vector<unsigned char> read_bzip2(const std::string& path) {
  const std::unique_ptr<BZFILE, void (*)(BZFILE*)> file(BZ2_bzopen(path.c_str(), "rb"), BZ2_bzclose);
  if (!file) throw LoadError(std::strerror(errno));
  std::vector<unsigned char> bytes;
  Buffer buffer;  // NOLINT: filled before it is read
  int count = 0;
  while ((count = BZ2_bzread(file.get(), buffer.data(), static_cast<int>(buffer.size()))) > 0) {
    append(bytes, buffer, static_cast<std::size_t>(count));
  }
  if (count < 0) throw LoadError("is a damaged bzip2 file");
  return bytes;
}

}  // namespace

std::vector<unsigned char> read_file(const std::string& path) {
  const xrd::FileHandle stream = xrd::open_file(path.c_str(), "rb");
  if (!stream) throw LoadError(std::strerror(errno));
  std::array<unsigned char, 3> magic{};
  const std::size_t count = std::fread(magic.data(), 1, magic.size(), stream.get());
  if (count >= 2 && magic[0] == 0x1F && magic[1] == 0x8B) return read_gzip(path);
  if (count == 3 && std::memcmp(magic.data(), "BZh", 3) == 0) return read_bzip2(path);
  std::rewind(stream.get());
  return read_plain(stream.get());
}

}  // namespace frames
