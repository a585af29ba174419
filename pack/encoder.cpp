// Encoder of CCP4 packed images.
//
// Fast because:
// - differences and the field widths that they need are formed in plain loops over a stretch, which compilers turn into
//   vector instructions;
// - a chunk is chosen by looking up the widest field of 1, 2, 4 ... 64 differences in tables, filled once for a
// stretch,
//   each from the one before;
// - narrow fields are pushed together eight at a time, within one 64-bit word.
#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>

#include "pack/packed_format.h"
#include "support/image_size.h"
#include "support/processor.h"
#include "xrdimage.h"

namespace {

using xrd::kLargestChunk;

// Differences of one stretch of the image; chunks never cross its end.
constexpr std::size_t kStretch = 16384;

constexpr std::size_t kRunLengths = 7;  // 1, 2, 4 ... 64 differences
using WidthTables = std::array<std::array<std::uint8_t, kStretch>, kRunLengths>;

XRD_INLINE std::uint32_t magnitude(std::int32_t difference) {
  const auto value = static_cast<std::uint32_t>(difference);
  return difference < 0 ? 0U - value : value;
}

// The code of the field width that a difference needs: 0, 4, 5, 6, 7, 8, 16 or 32 bits. 16 bits serve for magnitudes up
// to 65535, as the decoder keeps 16 bits of a pixel. Codes rise with the width.
std::uint8_t width_code(std::int32_t difference) {
  const std::uint32_t size = magnitude(difference);
  return static_cast<std::uint8_t>((size > 0) + (size > 7) + (size > 15) + (size > 31) + (size > 63) + (size > 127) +
                                   (size > 65535));
}

// Writes the width_code of each difference of an image: their magnitudes are at most 65535. Those of more than a byte
// count as 255, so that most of the work is done on bytes.
XRD_INLINE void find_width_codes(const std::int32_t* __restrict differences, std::size_t count,
                                 std::uint8_t* __restrict codes) {
  for (std::size_t i = 0; i < count; ++i) {
    codes[i] = static_cast<std::uint8_t>(std::min(magnitude(differences[i]), 255U));
  }
  for (std::size_t i = 0; i < count; ++i) {
    const std::uint8_t size = codes[i];
    codes[i] =
        static_cast<std::uint8_t>((size > 0) + (size > 7) + (size > 15) + (size > 31) + (size > 63) + (size > 127));
  }
}

// codes[i] becomes the larger one of widths[i] and widths[i + run].
XRD_INLINE void join_runs(const std::uint8_t* __restrict widths, std::size_t run, std::size_t count,
                          std::uint8_t* __restrict codes) {
  for (std::size_t i = 0; i < count; ++i) codes[i] = std::max(widths[i], widths[i + run]);
}

// Fills the tables of a stretch: widest[n][i] is the code of the widest field of 2^n differences from i on, where there
// are so many.
XRD_INLINE void fill_tables(const std::int32_t* differences, std::size_t count, WidthTables& widest) {
  find_width_codes(differences, count, widest[0].data());
  std::size_t run = 1;
  for (std::size_t n = 1; n < widest.size(); ++n, run *= 2) {
    join_runs(widest[n - 1].data(), run, count >= 2 * run ? count - 2 * run + 1 : 0, widest[n].data());
  }
}

// The differences of `count` pixels that are predicted from the row above.
XRD_INLINE void subtract_predictions(const short* pixels, std::ptrdiff_t width, std::size_t count,
                                     std::int32_t* __restrict differences) {
  for (std::size_t i = 0; i < count; ++i) differences[i] = pixels[i] - xrd::predict(pixels + i, width);
}

#if defined(XRD_AVX2)
XRD_AVX2 void fill_tables_avx2(const std::int32_t* differences, std::size_t count, WidthTables& widest) {
  fill_tables(differences, count, widest);
}
XRD_AVX2 void subtract_predictions_avx2(const short* pixels, std::ptrdiff_t width, std::size_t count,
                                        std::int32_t* differences) {
  subtract_predictions(pixels, width, count, differences);
}
#endif

void look_up_widths(const std::int32_t* differences, std::size_t count, WidthTables& widest) {
#if defined(XRD_AVX2)
  if (xrd::has_avx2()) return fill_tables_avx2(differences, count, widest);
#endif
  fill_tables(differences, count, widest);
}

void form_differences(const short* pixels, std::ptrdiff_t width, std::size_t count, std::int32_t* differences) {
#if defined(XRD_AVX2)
  if (xrd::has_avx2()) return subtract_predictions_avx2(pixels, width, count, differences);
#endif
  subtract_predictions(pixels, width, count, differences);
}

// Bits on their way to bytes, lowest first. Of the bytes, only those are written that get bits.
class BitWriter {
 public:
  // Goes on at bit `used` (0 to 7) of `*byte`.
  BitWriter(unsigned char* byte, int used) : byte_(byte), word_(used > 0 ? *byte : 0), used_(used) {}

  // Up to 32 bits, of which the value has no more.
  void append(std::uint64_t value, int bits) {
    word_ |= value << used_;
    used_ += bits;
    if (used_ < 32) return;
    const auto low = static_cast<std::uint32_t>(word_);
    std::memcpy(byte_, &low, sizeof low);
    byte_ += sizeof low;
    word_ >>= 32;
    used_ -= 32;
  }

  // Writes what is left; used() bits of *byte() are in use then.
  void finish() {
    for (; used_ >= 8; used_ -= 8) {
      *byte_++ = static_cast<unsigned char>(word_);
      word_ >>= 8;
    }
    if (used_ > 0) *byte_ = static_cast<unsigned char>(word_);
  }

  unsigned char* byte() const { return byte_; }
  int used() const { return used_; }

 private:
  unsigned char* byte_;
  std::uint64_t word_;
  int used_;
};

// `pattern` at every `distance` bits of a word.
constexpr std::uint64_t repeated(std::uint64_t pattern, int distance) {
  std::uint64_t word = 0;
  for (int at = 0; at < 64; at += distance) word |= pattern << at;
  return word;
}

// Every `distance` bits of the word hold a field of `bits` bits; joins them in pairs.
template <int bits, int distance>
std::uint64_t join_pairs(std::uint64_t word) {
  constexpr std::uint64_t kLower = repeated((std::uint64_t{1} << bits) - 1, 2 * distance);
  return (word & kLower) | (word >> (distance - bits) & kLower << bits);
}

// The low `bits` bits (4 to 7) of eight bytes, side by side.
template <int bits>
std::uint64_t join_eight(std::uint64_t bytes) {
  return join_pairs<4 * bits, 32>(join_pairs<2 * bits, 16>(join_pairs<bits, 8>(bytes)));
}

std::uint64_t eight_low_bytes(const std::int32_t* differences) {
  std::array<std::uint8_t, 8> bytes{};
  for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<std::uint8_t>(differences[i]);
  std::uint64_t word = 0;
  std::memcpy(&word, bytes.data(), sizeof word);
  return word;
}

template <int bits>
void append_eights(BitWriter& writer, const std::int32_t* differences, int count) {
  for (int i = 0; i < count; i += 8) {
    const std::uint64_t fields = join_eight<bits>(eight_low_bytes(differences + i));
    writer.append(fields & 0xFFFFFFFFU, std::min(8 * bits, 32));
    if constexpr (bits > 4) writer.append(fields >> 32, 8 * bits - 32);
  }
}

void append_singly(BitWriter& writer, const std::int32_t* differences, int count, int bits) {
  const std::uint32_t mask = xrd::low_bits(bits);
  for (int i = 0; i < count; ++i) writer.append(static_cast<std::uint32_t>(differences[i]) & mask, bits);
}

void append_fields(BitWriter& writer, const std::int32_t* differences, int count, int bits) {
  if (bits == 0) return;
  if (count % 8 != 0) return append_singly(writer, differences, count, bits);
  switch (bits) {
    case 4:
      return append_eights<4>(writer, differences, count);
    case 5:
      return append_eights<5>(writer, differences, count);
    case 6:
      return append_eights<6>(writer, differences, count);
    case 7:
      return append_eights<7>(writer, differences, count);
    default:
      return append_singly(writer, differences, count, bits);
  }
}

// The code of a width, from 0 to 32 bits.
constexpr std::array<std::int32_t, 33> kFieldCodes = [] {
  std::array<std::int32_t, 33> codes{};
  for (int bits = 0; bits <= 32; ++bits) codes[static_cast<std::size_t>(bits)] = xrd::field_code(bits);
  return codes;
}();

// Where the bit stream goes: to the stream at once, or in larger pieces.
struct DirectOutput {
  std::FILE* stream;

  void write(const unsigned char* bytes, std::size_t count) const { std::fwrite(bytes, 1, count, stream); }
};

class GatheredOutput {
 public:
  explicit GatheredOutput(std::FILE* stream) : stream_(stream) {}
  GatheredOutput(const GatheredOutput&) = delete;
  GatheredOutput& operator=(const GatheredOutput&) = delete;
  ~GatheredOutput() { std::fwrite(bytes_.data(), 1, gathered_, stream_); }

  // At most as many as fit the array.
  void write(const unsigned char* bytes, std::size_t count) {
    if (count > bytes_.size() - gathered_) {
      std::fwrite(bytes_.data(), 1, gathered_, stream_);
      gathered_ = 0;
    }
    std::memcpy(bytes_.data() + gathered_, bytes, count);
    gathered_ += count;
  }

 private:
  std::FILE* stream_;
  std::array<unsigned char, 131072> bytes_;  // NOLINT: filled before it is written
  std::size_t gathered_ = 0;
};

// Collects the bit stream. Readers of old files know the byte behind a stream that ends on a byte boundary, so the
// buffer's stale contents matter: its size and the moment it is written are part of the format as it is written.
class ChunkWriter {
 public:
  template <typename Output>
  void append(const std::int32_t* differences, int count, int field_bits, Output& output) {
    begin();
    if (write_position_ > kFlushAt) {
      output.write(buffer_.data(), write_position_);
      buffer_[0] = buffer_[write_position_];
      write_position_ = 0;
    }
    BitWriter writer(buffer_.data() + write_position_, bit_);
    const auto codes = static_cast<std::uint64_t>(log2_of(count) | kFieldCodes[static_cast<std::size_t>(field_bits)]
                                                                       << xrd::kChunkCodeBits);
    writer.append(codes, xrd::kChunkHeaderBits);
    append_fields(writer, differences, count, field_bits);
    writer.finish();
    write_position_ = static_cast<std::size_t>(writer.byte() - buffer_.data());
    bit_ = writer.used();
  }

  // Writes the byte at the write position too, whether or not it holds any bits yet.
  template <typename Output>
  void flush(Output& output) {
    begin();
    output.write(buffer_.data(), write_position_ + 1);
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

  static int log2_of(int count) { return static_cast<int>(std::bit_width(static_cast<unsigned>(count))) - 1; }

  std::array<unsigned char, kBufferBytes> buffer_{};
  std::size_t write_position_ = 0;
  int bit_ = 0;
  bool in_use_ = false;
};

// A stretch of differences, and how wide their fields must be.
class Stretch {
 public:
  std::int32_t* differences() { return differences_.data(); }

  void pack(ChunkWriter& writer, std::size_t count, GatheredOutput& output) {
    look_up_widths(differences_.data(), count, widest_);
    for (std::size_t cursor = 0; cursor < count;) {
      const Chunk chunk = choose(cursor, count - 1 - cursor);
      writer.append(differences_.data() + cursor, chunk.count, chunk.field_bits, output);
      cursor += static_cast<std::size_t>(chunk.count);
    }
  }

 private:
  struct Chunk {
    int count;
    int field_bits;
  };

  // The chunk that begins at `cursor`: doubled as long as one header less pays for wider fields. `behind` is the number
  // of differences behind the first; with 2s + 1 or fewer left, a chunk of s is not doubled.
  Chunk choose(std::size_t cursor, std::size_t behind) const {
    std::size_t count = 1;
    int field_bits = xrd::kFieldBits[widest_[0][cursor]];
    for (std::size_t n = 0; n < kRunLengths && behind > 2 * count; ++n, count *= 2) {
      const int next_bits = xrd::kFieldBits[widest_[n][cursor + count]];
      const int merged_bits = std::max(field_bits, next_bits);
      // Twice the wider fields must cost less than both runs and a header.
      const int saved = (2 * merged_bits - field_bits - next_bits) * static_cast<int>(count);
      if (saved >= xrd::kChunkHeaderBits) break;
      field_bits = merged_bits;
    }
    return {static_cast<int>(count), field_bits};
  }

  std::array<std::int32_t, kStretch> differences_;  // NOLINT: filled before they are read
  WidthTables widest_;                              // NOLINT: likewise
};

// Pixels of an image whose differences can be counted in 32 bits; none of a larger one.
std::size_t packable_pixels(int width, int height) {
  const std::size_t pixels = xrd::caller_pixels(width, height, sizeof(short));
  return pixels < std::numeric_limits<std::int32_t>::max() ? pixels : 0;
}

}  // namespace

extern "C" int32_t* diff_words(short* img, int x, int y, int32_t* diffs, int32_t done) {
  const std::size_t pixels = packable_pixels(x, y);
  if (done < 0 || pixels == 0) return diffs - 1;
  const auto width = static_cast<std::size_t>(x);
  auto index = static_cast<std::size_t>(done);
  std::int32_t* next = diffs;
  const auto last_of = [&](std::size_t end) {
    return std::min(end, index + kStretch - static_cast<std::size_t>(next - diffs));
  };
  if (index == 0) {
    *next++ = img[0];
    ++index;
  }
  for (const std::size_t end = last_of(std::min(width + 1, pixels)); index < end; ++index) {
    *next++ = img[index] - img[index - 1];
  }
  if (const std::size_t end = last_of(pixels); index < end) {
    form_differences(img + index, static_cast<std::ptrdiff_t>(width), end - index, next);
    next += end - index;
  }
  // A single row takes its last step past the image, where files have one difference more, which decoders ignore. The
  // pixel there counts as equal to the last one. A lone pixel has no row to run along, and nothing behind it.
  const bool room_left = static_cast<std::size_t>(next - diffs) < kStretch;
  if (y == 1 && x > 1 && index == width && room_left) *next++ = 0;
  return next - 1;
}

extern "C" int bits(int32_t* chunk, int n) {
  std::uint8_t widest = 0;
  for (int i = 0; i < n; ++i) widest = std::max(widest, width_code(chunk[i]));
  return n * xrd::kFieldBits[widest];
}

extern "C" void pack_longs(int32_t* lng, int n, unsigned char** target, int* bit, int size) {
  if (size < 1 || size > 32 || *bit < 0 || *bit > 7) return;
  BitWriter writer(*target, *bit);
  append_singly(writer, lng, n, size);
  writer.finish();
  *target = writer.byte();
  *bit = writer.used();
}

extern "C" void pack_chunk(int32_t* lng, int nmbr, int bitsize, FILE* stream) {
  static thread_local ChunkWriter writer;
  DirectOutput output{stream};
  if (lng == nullptr) {
    writer.flush(output);
  } else if (nmbr >= 1 && nmbr <= kLargestChunk && bitsize >= 0 && bitsize <= 32) {
    writer.append(lng, nmbr, bitsize, output);
  }
}

extern "C" void pack_wordimage_c(short* img, int x, int y, FILE* stream) {
  std::fprintf(stream, "\n" XRD_PACKED_LINE("%04d") "\n", x, y);
  Stretch stretch;
  ChunkWriter writer;
  GatheredOutput output(stream);
  const std::size_t pixels = packable_pixels(x, y);
  for (std::size_t done = 0; done < pixels;) {
    const std::int32_t* last = diff_words(img, x, y, stretch.differences(), static_cast<std::int32_t>(done));
    const auto count = static_cast<std::size_t>(last - stretch.differences() + 1);
    stretch.pack(writer, count, output);
    done += count;
  }
  writer.flush(output);
}
