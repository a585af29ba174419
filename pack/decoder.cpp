// Decoder of CCP4 packed images.
//
// Fast because: a chunk's header tells how many bytes the chunk needs, so that these are fetched in one call, never
// more; fields are then cut out of a padded buffer with one unaligned load each; and the stream is locked once.
#include "pack/decoder.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdint>
#include <cstring>

#include "pack/packed_format.h"
#include "support/files.h"
#include "support/image_size.h"
#include "xrdimage.h"

namespace {

using xrd::kChunkCodeBits;

// Bits of a stream, lowest first, fetched byte by byte as they are needed. Past its end the stream goes on with one
// bits.
class BitReader {
 public:
  explicit BitReader(std::FILE* stream) : stream_(stream) { flockfile(stream_); }
  BitReader(const BitReader&) = delete;
  BitReader& operator=(const BitReader&) = delete;
  ~BitReader() { funlockfile(stream_); }

  // Makes the next `count` bits available, at most a chunk's worth, and keeps those that are left over from before.
  void require(std::size_t count) {
    const std::size_t left = end_ - position_;
    if (count <= left) return;
    const std::size_t first_byte = position_ / 8;
    const std::size_t kept = end_ / 8 - first_byte;
    const std::size_t missing = (count - left + 7) / 8;
    std::memmove(buffer_.data(), buffer_.data() + first_byte, kept);
    const std::size_t fetched = fread_unlocked(buffer_.data() + kept, 1, missing, stream_);
    std::memset(buffer_.data() + kept + fetched, 0xFF, missing - fetched);
    position_ -= first_byte * 8;
    end_ = (kept + missing) * 8;
  }

  // The next field of up to 32 bits, which require() has made available, as an unsigned number.
  std::uint32_t take(int bits) {
    std::uint64_t window = 0;
    std::memcpy(&window, buffer_.data() + position_ / 8, sizeof window);
    const auto field = static_cast<std::uint32_t>(window >> (position_ % 8));
    position_ += static_cast<std::size_t>(bits);
    return field & xrd::low_bits(bits);
  }

 private:
  // 128 fields of 32 bits, the byte that a chunk may begin in, and padding for the 64-bit loads.
  static constexpr std::size_t kBufferBytes = xrd::kLargestChunk * sizeof(std::uint32_t) + 16;

  std::FILE* stream_;
  std::array<unsigned char, kBufferBytes> buffer_{};
  std::size_t position_ = 0;  // next bit of the buffer
  std::size_t end_ = 0;       // bits fetched into the buffer
};

// A two's complement number of `bits` bits.
std::int32_t sign_extended(std::uint32_t field, int bits) {
  if (bits == 0) return 0;
  const int unused = 32 - bits;
  return static_cast<std::int32_t>(field << unused) >> unused;
}

short low_word(std::int32_t value) {
  return static_cast<short>(static_cast<std::uint16_t>(value));
}

// Adds prediction and difference as the format does: wrapping.
short restored(int prediction, std::int32_t difference) {
  return low_word(
      static_cast<std::int32_t>(static_cast<std::uint32_t>(prediction) + static_cast<std::uint32_t>(difference)));
}

void restore_pixel(std::span<short> img, std::size_t index, std::size_t width, std::int32_t difference) {
  if (index == 0) {
    img[0] = low_word(difference);
  } else if (index <= width) {
    img[index] = restored(img[index - 1], difference);
  } else {
    const int prediction = xrd::predict(img.data() + index, static_cast<std::ptrdiff_t>(width));
    img[index] = restored(prediction, difference);
  }
}

// The line by line search for the header line. Its buffer begins with a line feed, and keeps behind a line what earlier
// and longer lines left there: the pattern may match into it.
class HeaderLineSearch {
 public:
  struct Size {
    int width = 0;
    int height = 0;
  };

  // Leaves the stream behind the header line. At the end of the file the size is 0 x 0.
  Size find(std::FILE* stream) {
    flockfile(stream);
    Size size;
    bool at_end = false;
    while (!at_end && (size.width == 0 || size.height == 0)) {
      size = {};
      at_end = !read_line(stream, size);
    }
    funlockfile(stream);
    return size;
  }

 private:
  static constexpr std::size_t kBufferBytes = 8192;

  // Reads up to a line feed and parses what the buffer holds then; a line that fills the buffer ends without. False at
  // the end of the file.
  bool read_line(std::FILE* stream, Size& size) {
    for (std::size_t position = 1; position < kBufferBytes; ++position) {
      const int byte = getc_unlocked(stream);
      if (byte == EOF) return false;
      buffer_[position] = static_cast<char>(byte);
      if (byte == '\n') {
        parse(size);
        return true;
      }
    }
    return true;
  }

  void parse(Size& size) const {
    // A quick look spares most lines of binary data the formatted scan.
    std::size_t start = 1;
    while (std::isspace(static_cast<unsigned char>(buffer_[start])) != 0) ++start;
    if (buffer_[start] != 'C') return;
    static_cast<void>(std::sscanf(buffer_.data(), "\nCCP4 packed image, X: %4d, Y: %4d\n", &size.width, &size.height));
  }

  std::array<char, kBufferBytes + 1> buffer_{'\n'};
};

}  // namespace

namespace xrd {

void unpack_pixels(std::FILE* stream, int width, std::span<short> img) {
  BitReader bits(stream);
  const auto columns = static_cast<std::size_t>(width);
  std::size_t index = 0;
  while (index < img.size()) {
    bits.require(2 * kChunkCodeBits);
    const std::size_t chunk = std::size_t{1} << bits.take(kChunkCodeBits);
    const int field_bits = kFieldBits[bits.take(kChunkCodeBits)];
    // A chunk may run past the last pixel; what lies there is not read.
    const std::size_t end = std::min(index + chunk, img.size());
    bits.require((end - index) * static_cast<std::size_t>(field_bits));
    for (; index < end; ++index) {
      restore_pixel(img, index, columns, sign_extended(bits.take(field_bits), field_bits));
    }
  }
}

bool unpack_file(const char* path, std::span<short> img) {
  const FileHandle stream = open_file(path, "r");
  if (!stream) return false;
  HeaderLineSearch search;
  const auto [width, height] = search.find(stream.get());
  const std::size_t pixels = caller_pixels(width, height, sizeof(short));
  unpack_pixels(stream.get(), width, img.first(std::min(pixels, img.size())));
  return true;
}

}  // namespace xrd

extern "C" int readpack_word_c(short* img, const char* filename) {
  if (!xrd::unpack_file(filename, xrd::unbounded(img))) std::printf("# %s does not exist.", filename);
  return 0;
}

extern "C" int unpack_word(FILE* stream, int x, int y, short* img) {
  xrd::unpack_pixels(stream, x, {img, xrd::caller_pixels(x, y, sizeof(short))});
  return 0;
}
