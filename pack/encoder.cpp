// Encoder of CCP4 packed images.
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <limits>

#include "pack/packed_format.h"
#include "support/image_size.h"
#include "xrdimage.h"

namespace {

using xrd::kLargestChunk;

// Differences of one stretch of the image; chunks never cross its end.
constexpr std::ptrdiff_t kStretch = 16384;

// Collects the bit stream. Readers of old files know the byte behind a stream that ends on a byte boundary, so the
// buffer's stale contents matter: its size and the moment it is written are part of the format as it is written.
class ChunkWriter {
 public:
  void append(std::int32_t* differences, int count, int field_bits, std::FILE* stream) {
    begin();
    if (write_position_ > kFlushAt) {
      std::fwrite(buffer_.data(), 1, write_position_, stream);
      buffer_[0] = buffer_[write_position_];
      write_position_ = 0;
    }
    std::array<std::int32_t, 2> codes{log2_of(count), xrd::field_code(field_bits)};
    pack(codes.data(), static_cast<int>(codes.size()), xrd::kChunkCodeBits);
    pack(differences, count, field_bits);
  }

  // Writes the byte at the write position too, whether or not it holds any bits yet.
  void flush(std::FILE* stream) {
    begin();
    std::fwrite(buffer_.data(), 1, write_position_ + 1, stream);
    in_use_ = false;
  }

 private:
  static constexpr std::size_t kBufferBytes = 8192;
  static constexpr std::size_t kFlushAt = kBufferBytes - 130 * sizeof(std::int32_t);

  void begin() {
    if (in_use_) return;
    buffer_.fill(0);
    write_position_ = 0;
    bit_ = 0;
    in_use_ = true;
  }

  void pack(std::int32_t* values, int count, int field_bits) {
    unsigned char* target = buffer_.data() + write_position_;
    pack_longs(values, count, &target, &bit_, field_bits);
    write_position_ = static_cast<std::size_t>(target - buffer_.data());
  }

  static std::int32_t log2_of(int count) {
    std::int32_t exponent = 0;
    for (; count > 1; count /= 2) ++exponent;
    return exponent;
  }

  std::array<unsigned char, kBufferBytes> buffer_{};
  std::size_t write_position_ = 0;
  int bit_ = 0;
  bool in_use_ = false;
};

std::uint32_t magnitude(std::int32_t difference) {
  const auto value = static_cast<std::uint32_t>(difference);
  return difference < 0 ? 0U - value : value;
}

// 16 bits serve for magnitudes up to 65535, as the decoder keeps 16 bits of a pixel.
int field_bits_for(std::uint32_t largest) {
  if (largest == 0) return 0;
  if (largest <= 7) return 4;
  if (largest <= 15) return 5;
  if (largest <= 31) return 6;
  if (largest <= 63) return 7;
  if (largest <= 127) return 8;
  return largest <= 65535 ? 16 : 32;
}

// Pixels of an image whose differences can be counted in 32 bits; none of a larger one.
std::ptrdiff_t packable_pixels(int width, int height) {
  const std::size_t pixels = xrd::caller_pixels(width, height, sizeof(short));
  return pixels < std::numeric_limits<std::int32_t>::max() ? static_cast<std::ptrdiff_t>(pixels) : 0;
}

struct Chunk {
  int count;
  int field_bits;
};

// The chunk that begins at `cursor`: doubled as long as one header less pays for wider fields. Near the stretch's end,
// with 2s + 1 or fewer differences left, a chunk of s is not doubled.
Chunk choose_chunk(std::int32_t* cursor, const std::int32_t* last) {
  constexpr int kHeaderBits = 2 * xrd::kChunkCodeBits;
  int count = 1;
  int total = bits(cursor, count);
  while (count < kLargestChunk && last - cursor > 2 * count) {
    const int next = bits(cursor + count, count);
    const int merged = 2 * std::max(total, next);
    if (merged >= total + next + kHeaderBits) break;
    total = merged;
    count *= 2;
  }
  return {count, total / count};
}

void pack_stretch(ChunkWriter& writer, std::int32_t* cursor, const std::int32_t* last, std::FILE* stream) {
  while (cursor <= last) {
    const Chunk chunk = choose_chunk(cursor, last);
    writer.append(cursor, chunk.count, chunk.field_bits, stream);
    cursor += chunk.count;
  }
}

}  // namespace

extern "C" int32_t* diff_words(short* img, int x, int y, int32_t* diffs, int32_t done) {
  const auto width = static_cast<std::ptrdiff_t>(x);
  const std::ptrdiff_t pixels = packable_pixels(x, y);
  std::ptrdiff_t index = done;
  std::int32_t* next = diffs;
  std::int32_t* const end = diffs + kStretch;
  if (index < 0 || pixels == 0) return diffs - 1;
  if (index == 0) {
    *next++ = img[0];
    ++index;
  }
  for (const std::ptrdiff_t left_predicted = std::min(width + 1, pixels); index < left_predicted && next < end;
       ++index) {
    *next++ = img[index] - img[index - 1];
  }
  for (; index < pixels && next < end; ++index) {
    *next++ = img[index] - xrd::predict(img + index, width);
  }
  // A single row takes its last step past the image, where files have one difference more, which decoders ignore. The
  // pixel there counts as equal to the last one. A lone pixel has no row to run along, and nothing behind it.
  if (y == 1 && x > 1 && index == width && next < end) *next++ = 0;
  return next - 1;
}

extern "C" int bits(int32_t* chunk, int n) {
  std::uint32_t largest = 0;
  for (int i = 0; i < n; ++i) largest = std::max(largest, magnitude(chunk[i]));
  return n * field_bits_for(largest);
}

extern "C" void pack_longs(int32_t* lng, int n, unsigned char** target, int* bit, int size) {
  if (size < 1 || size > 32 || *bit < 0 || *bit > 7) return;
  unsigned char* byte = *target;
  int used = *bit;
  for (int i = 0; i < n; ++i) {
    const auto value = static_cast<std::uint32_t>(lng[i]) & xrd::low_bits(size);
    // The bits of the current byte that are in use already, and the field above them. Bytes are begun by assignment, so
    // that earlier contents vanish.
    std::uint64_t field = std::uint64_t{value} << used;
    if (used > 0) field |= *byte;
    used += size;
    for (; used >= 8; used -= 8) {
      *byte++ = static_cast<unsigned char>(field);
      field >>= 8;
    }
    if (used > 0) *byte = static_cast<unsigned char>(field);
  }
  *target = byte;
  *bit = used;
}

extern "C" void pack_chunk(int32_t* lng, int nmbr, int bitsize, FILE* stream) {
  static thread_local ChunkWriter writer;
  if (lng == nullptr) {
    writer.flush(stream);
  } else if (nmbr >= 1 && nmbr <= kLargestChunk && bitsize >= 0 && bitsize <= 32) {
    writer.append(lng, nmbr, bitsize, stream);
  }
}

extern "C" void pack_wordimage_c(short* img, int x, int y, FILE* stream) {
  std::fprintf(stream, XRD_PACKED_HEADER_LINE, x, y);
  std::array<std::int32_t, kStretch> differences;  // NOLINT: filled before it is read
  ChunkWriter writer;
  const std::ptrdiff_t pixels = packable_pixels(x, y);
  for (std::ptrdiff_t done = 0; done < pixels;) {
    const std::int32_t* last = diff_words(img, x, y, differences.data(), static_cast<std::int32_t>(done));
    pack_stretch(writer, differences.data(), last, stream);
    done += last - differences.data() + 1;
  }
  writer.flush(stream);
}
