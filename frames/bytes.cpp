#include "frames/bytes.h"

#include <bzlib.h>
#include <sys/stat.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <new>
#include <string_view>
#include <utility>

#include "support/files.h"
#include "support/image_size.h"

namespace frames {

namespace {

// No frame is larger when it is decompressed: a damaged or malicious file must not exhaust the memory.
constexpr std::size_t kLargestFile = xrd::kMaxPixels * 8;

void check_size(std::size_t size) {
  if (size > kLargestFile) throw LoadError("is too large for a frame");
}

// The size that the system reports; nothing for a file that is not regular.
std::size_t expected_size(std::FILE* stream) {
  struct stat status {};
  if (fstat(fileno(stream), &status) != 0 || !S_ISREG(status.st_mode)) return 0;
  const auto size = static_cast<std::uint64_t>(status.st_size);
  check_size(static_cast<std::size_t>(std::min<std::uint64_t>(size, kLargestFile + 1)));
  return static_cast<std::size_t>(size);
}

// One read for a file of the reported size: room for one more byte shows its end. Files that
// grow, and pipes, get more room as they go on.
std::vector<unsigned char> read_all(std::FILE* stream) {
  constexpr std::size_t kLeastRoom = 65536;
  std::vector<unsigned char> bytes(std::max(expected_size(stream) + 1, kLeastRoom));
  std::size_t size = 0;
  while (const std::size_t count = std::fread(bytes.data() + size, 1, bytes.size() - size, stream)) {
    size += count;
    check_size(size);
    if (size == bytes.size()) bytes.resize(2 * size);
  }
  if (std::ferror(stream) != 0) throw LoadError(std::strerror(errno), Problem::kSystem);
  bytes.resize(size);
  return bytes;
}

// Whether the texts agree up to the end of the shorter one: files may be cut anywhere.
bool agree(std::string_view one, std::string_view other) {
  const std::size_t length = std::min(one.size(), other.size());
  return one.substr(0, length) == other.substr(0, length);
}

// The differences between the two compression libraries, whose interfaces are alike. The marks alone could also be
// the first pixels of a raw frame, so the bytes behind them are checked too.
struct Gzip {
  using Stream = z_stream;
  using Byte = Bytef;
  static constexpr std::string_view kMark = "\x1F\x8B";
  static constexpr const char* kDamage = "is a damaged gzip file";
  // The only method, and flags whose upper three bits are always 0.
  static bool follows_mark(std::string_view text) {
    return agree(text, "\x08") && (text.size() < 2 || (static_cast<unsigned char>(text[1]) & 0xE0) == 0);
  }
  static constexpr int kRunning = Z_OK;
  static constexpr int kEnd = Z_STREAM_END;
  static bool begin(Stream& stream) { return inflateInit2(&stream, 16 + MAX_WBITS) == Z_OK; }  // 16: of gzip files
  static int step(Stream& stream) { return inflate(&stream, Z_NO_FLUSH); }
  static void end(Stream& stream) { inflateEnd(&stream); }
};

struct Bzip2 {
  using Stream = bz_stream;
  using Byte = char;
  static constexpr std::string_view kMark = "BZh";
  static constexpr const char* kDamage = "is a damaged bzip2 file";
  // The block size, and the mark of the first block or, without blocks, of the end.
  static bool follows_mark(std::string_view text) {
    if (text.empty()) return true;
    const std::string_view block = text.substr(1);
    return text[0] >= '1' && text[0] <= '9' && (agree(block, "1AY&SY") || agree(block, "\x17rE8P\x90"));
  }
  static constexpr int kRunning = BZ_OK;
  static constexpr int kEnd = BZ_STREAM_END;
  static bool begin(Stream& stream) { return BZ2_bzDecompressInit(&stream, 0, 0) == BZ_OK; }
  static int step(Stream& stream) { return BZ2_bzDecompress(&stream); }
  static void end(Stream& stream) { BZ2_bzDecompressEnd(&stream); }
};

// The limit on the unpacked size of a compressed file.
//
// Some kilobytes can unpack to gigabytes, and those of honest blank frames do. So the frame sets the limit
// as soon as its header is unpacked. If nothing states its size (a TIFF directory at the end of the file, raw
// pixels whose number is their size), the limit is 192 MiB, or 256 times the compressed size: only a blank frame
// exceeds that.
//
// When the limit is reached, the frame is asked again: an image may begin only there, or another one of several. This
// has a limit, too: the one above, or what the frame said first.
class Unpacked {
 public:
  Unpacked(Bytes packed, const Enough& enough)
      : enough_(enough),
        largest_(std::max(kAnyBytes, std::min(kLargestFile / kMostTimes, packed.size()) * kMostTimes)) {}

  void append(Bytes more) {
    check_size(bytes_.size() + more.size());
    if (!limit_ && bytes_.size() + more.size() > largest_) {
      throw LoadError("is too large: it unpacks to more than " + std::to_string(largest_) +
                      " bytes, which do not state the size of the frame");
    }
    make_room(bytes_.size() + more.size());
    bytes_.insert(bytes_.end(), more.begin(), more.end());
    if (bytes_.size() < limit_.value_or(next_look_)) return;
    const auto said = enough_(bytes_);
    limit_ = limit_ && said ? std::max(*limit_, std::min(*said, largest_)) : said;
    next_look_ = 2 * bytes_.size();
    // Reserved so that bytes are not moved. Unused room takes no memory, but a large reservation may be refused.
    if (limit_) bytes_.reserve(std::min(*limit_, kMostReserved) + kFirstLook);
  }

  // Compression may make a file longer, but not much: a file of empty pieces would only take time. Blocks of up
  // to 900 kB are read before they give any output.
  void check_input(std::size_t taken, const char* damage) const {
    if (taken / 2 > kAnyInput + bytes_.size()) {
      throw LoadError(std::string(damage) + ": it is far longer than its content");
    }
  }

  bool is_enough() const { return limit_ && bytes_.size() >= *limit_; }
  bool is_empty() const { return bytes_.empty(); }
  std::vector<unsigned char> release() { return std::move(bytes_); }

 private:
  // Doubles each time, up to the possible maximum.
  void make_room(std::size_t bytes) {
    const std::size_t most = std::min(limit_.value_or(largest_), kLargestFile) + kFirstLook;
    if (bytes > bytes_.capacity()) bytes_.reserve(std::max(bytes, std::min(2 * bytes_.capacity(), most)));
  }

  static constexpr std::size_t kFirstLook = 65536;
  static constexpr std::size_t kMostReserved = std::size_t{1} << 26;
  static constexpr std::size_t kAnyInput = std::size_t{1} << 20;
  static constexpr std::size_t kAnyBytes = std::size_t{192} << 20;
  static constexpr std::size_t kMostTimes = 256;

  const Enough& enough_;
  std::vector<unsigned char> bytes_;
  std::optional<std::size_t> limit_;
  std::size_t largest_;
  std::size_t next_look_ = kFirstLook;
};

// A running decompression, which is always ended.
template <typename Method>
class Decompression {
 public:
  Decompression() {
    if (!Method::begin(stream_)) throw std::bad_alloc();
  }
  Decompression(const Decompression&) = delete;
  Decompression& operator=(const Decompression&) = delete;
  ~Decompression() { Method::end(stream_); }

  // Appends the content of the member at the front of `packed` to `unpacked`, until that is enough. Returns
  // the length read; `taken` is the length of the members before.
  std::size_t run(Bytes packed, std::size_t taken, Unpacked& unpacked) {
    // In pieces: a stream would read all empty blocks at once.
    constexpr std::size_t kPiece = std::size_t{1} << 18;
    std::array<unsigned char, 65536> buffer;  // NOLINT: filled before it is read
    // The input is only read.
    stream_.next_in = reinterpret_cast<typename Method::Byte*>(const_cast<unsigned char*>(packed.data()));
    std::size_t given = 0;
    int state = Method::kRunning;
    while (state != Method::kEnd && !unpacked.is_enough()) {
      if (stream_.avail_in == 0) {
        stream_.avail_in = static_cast<unsigned>(std::min(packed.size() - given, kPiece));
        given += stream_.avail_in;
      }
      stream_.next_out = reinterpret_cast<typename Method::Byte*>(buffer.data());
      stream_.avail_out = static_cast<unsigned>(buffer.size());
      state = Method::step(stream_);
      const std::size_t count = buffer.size() - stream_.avail_out;
      // Without an end, output or input, the file is cut. bzip2 does not report this as an error.
      const bool stuck = state == Method::kRunning && count == 0 && stream_.avail_in == 0 && given == packed.size();
      if ((state != Method::kRunning && state != Method::kEnd) || stuck) throw LoadError(Method::kDamage);
      unpacked.append({buffer.data(), count});
      unpacked.check_input(taken + given - stream_.avail_in, Method::kDamage);
    }
    return given - stream_.avail_in;
  }

 private:
  typename Method::Stream stream_{};
};

template <typename Method>
bool is_compressed(Bytes file) {
  const std::string_view text = text_of(file);
  return text.starts_with(Method::kMark) && Method::follows_mark(text.substr(Method::kMark.size()));
}

// All members of the file, which may be several in a row; anything else behind them is padding.
template <typename Method>
std::vector<unsigned char> decompress(Bytes file, const Enough& enough, std::vector<std::string>* damage) {
  Unpacked unpacked(file, enough);
  std::size_t taken = 0;
  try {
    while (!unpacked.is_enough() && is_compressed<Method>(file.subspan(taken))) {
      taken += Decompression<Method>().run(file.subspan(taken), taken, unpacked);
    }
  } catch (const LoadError& error) {
    if (damage == nullptr || unpacked.is_empty()) throw;
    damage->emplace_back(error.what());
  }
  return unpacked.release();
}

}  // namespace

std::vector<unsigned char> read_file(std::FILE* stream) {
  return read_all(stream);
}

std::optional<std::vector<unsigned char>> unpack(Bytes file, const Enough& enough, std::vector<std::string>* damage) {
  if (is_compressed<Gzip>(file)) return decompress<Gzip>(file, enough, damage);
  if (is_compressed<Bzip2>(file)) return decompress<Bzip2>(file, enough, damage);
  return std::nullopt;
}

}  // namespace frames
