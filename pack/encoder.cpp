// Encoder of CCP4 packed images.
//
// Fast because:
// - differences, the field widths that they need and whether a chunk that begins at one of them is to be doubled are
//   formed in plain loops over a stretch, which compilers turn into vector instructions;
// - choosing a chunk is then counting the zeros of one byte, and eight narrow fields of any width are pushed together
//   by the same instructions: next to nothing depends on branches, which noise makes unpredictable.
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

constexpr std::size_t kRunLengths = 8;  // 1, 2, 4 ... 128 differences

// What is known about a stretch before its chunks are chosen. There is room to read behind its end; the values there
// do not matter.
struct StretchTables {
  std::array<std::array<std::uint8_t, kStretch + 64>, kRunLengths>
      widths{};                                                            // [n][i]: bits for 2^n differences from i on
  std::array<std::uint8_t, kStretch + sizeof(std::uint64_t)> low_bytes{};  // of the differences
};

XRD_INLINE std::uint32_t magnitude(std::int32_t difference) {
  const auto value = static_cast<std::uint32_t>(difference);
  return difference < 0 ? 0U - value : value;
}

// The bits of the field that a difference needs: 0, 4, 5, 6, 7, 8, 16 or 32. 16 bits serve for magnitudes up to 65535,
// as the decoder keeps 16 bits of a pixel.
int field_width(std::int32_t difference) {
  const std::uint32_t size = magnitude(difference);
  if (size == 0) return 0;
  if (size <= 7) return 4;
  if (size <= 127) return static_cast<int>(std::bit_width(size)) + 1;
  return size <= 65535 ? 16 : 32;
}

// Writes the field_width of each difference of an image: their magnitudes are at most 65535. Those of more than a byte
// count as 255, so that most of the work is done on bytes.
XRD_INLINE void find_widths(const std::int32_t* __restrict differences, std::size_t count,
                            std::uint8_t* __restrict low_bytes, std::uint8_t* __restrict widths) {
  for (std::size_t i = 0; i < count; ++i) {
    low_bytes[i] = static_cast<std::uint8_t>(differences[i]);
    widths[i] = static_cast<std::uint8_t>(std::min(magnitude(differences[i]), 255U));
  }
  for (std::size_t i = 0; i < count; ++i) {
    const std::uint8_t size = widths[i];
    widths[i] = static_cast<std::uint8_t>(4 * (size > 0) + (size > 7) + (size > 15) + (size > 31) + (size > 63) +
                                          8 * (size > 127));
  }
}

// joined[i] becomes the larger one of widths[i] and widths[i + run].
XRD_INLINE void join_runs(const std::uint8_t* __restrict widths, std::size_t run, std::size_t count,
                          std::uint8_t* __restrict joined) {
  for (std::size_t i = 0; i < count; ++i) joined[i] = std::max(widths[i], widths[i + run]);
}

// Fills the tables of a stretch, as far as enough differences follow.
XRD_INLINE void fill_tables(const std::int32_t* differences, std::size_t count, StretchTables& tables) {
  find_widths(differences, count, tables.low_bytes.data(), tables.widths[0].data());
  std::size_t run = 1;
  for (std::size_t n = 1; n < kRunLengths; ++n, run *= 2) {
    join_runs(tables.widths[n - 1].data(), run, count >= 2 * run ? count - 2 * run + 1 : 0, tables.widths[n].data());
  }
}

// The differences of `count` pixels that are predicted from the row above.
XRD_INLINE void subtract_predictions(const short* pixels, std::ptrdiff_t width, std::size_t count,
                                     std::int32_t* __restrict differences) {
  for (std::size_t i = 0; i < count; ++i) differences[i] = pixels[i] - xrd::predict(pixels + i, width);
}

// Bits on their way to bytes, lowest first. Writes whole words, so that bytes behind the last bit are overwritten.
class BitWriter {
 public:
  // From the lowest bit of the byte on.
  explicit BitWriter(unsigned char* byte) : byte_(byte) {}

  // Up to 64 bits, of which the value has no more.
  XRD_INLINE void append(std::uint64_t value, unsigned bits) {
    const std::uint64_t word = word_ | value << used_;
    store_word(word);
    const unsigned end = used_ + bits;
    word_ = end < 64 ? word >> (end & ~7U) : value >> 1U >> (63 - used_);
    byte_ += end / 8;
    used_ = end % 8;
  }

  // Writes the rest; used() bits of *byte() are in use then.
  XRD_INLINE void finish() { store_word(word_); }

  // Continues at another byte, with the remaining bits.
  void move_to(unsigned char* byte) { byte_ = byte; }

  unsigned char* byte() const { return byte_; }
  unsigned used() const { return used_; }

  static std::uint64_t load_word(const unsigned char* bytes) {
    std::uint64_t word = 0;
    std::memcpy(&word, bytes, sizeof word);
    return word;
  }

 private:
  void store_word(std::uint64_t word) { std::memcpy(byte_, &word, sizeof word); }

  unsigned char* byte_;
  std::uint64_t word_ = 0;
  unsigned used_ = 0;
};

// `pattern` at every `distance` bits of a word.
constexpr std::uint64_t repeated(std::uint64_t pattern, unsigned distance) {
  std::uint64_t word = 0;
  for (unsigned at = 0; at < 64; at += distance) word |= pattern << at;
  return word;
}

// Pushes the low `bits` bits (up to 8) of eight bytes together: in pairs, fours and then all.
class FieldJoiner {
 public:
  constexpr explicit FieldJoiner(unsigned bits) : pairs_(bits, 8), fours_(2 * bits, 16), eights_(4 * bits, 32) {}

  XRD_INLINE std::uint64_t join(std::uint64_t bytes) const { return eights_.join(fours_.join(pairs_.join(bytes))); }

 private:
  // Every `distance` bits of a word hold a field of `bits` bits; joins them in pairs.
  struct Step {
    std::uint64_t lower;
    std::uint64_t upper;
    std::uint64_t shift;

    constexpr Step(unsigned bits, unsigned distance)
        : lower(repeated((std::uint64_t{1} << bits) - 1, 2 * distance)), upper(lower << bits), shift(distance - bits) {}

    XRD_INLINE std::uint64_t join(std::uint64_t word) const { return (word & lower) | (word >> shift & upper); }
  };

  Step pairs_;
  Step fours_;
  Step eights_;
};

constexpr std::array<FieldJoiner, 9> kFieldJoiners{FieldJoiner(0), FieldJoiner(1), FieldJoiner(2),
                                                   FieldJoiner(3), FieldJoiner(4), FieldJoiner(5),
                                                   FieldJoiner(6), FieldJoiner(7), FieldJoiner(8)};

// Fields of up to 8 bits, from bytes that have eight more behind them. Most chunks have no more than eight differences:
// these take one path, whether they have eight or fewer.
XRD_INLINE void append_narrow(BitWriter& writer, const std::uint8_t* bytes, unsigned count, unsigned bits) {
  const FieldJoiner joiner = kFieldJoiners[bits];
  const unsigned first_bits = std::min(count, 8U) * bits;
  writer.append(joiner.join(BitWriter::load_word(bytes)) & ~std::uint64_t{0} >> (64 - first_bits) % 64, first_bits);
  for (unsigned i = 8; i < count; i += 8) writer.append(joiner.join(BitWriter::load_word(bytes + i)), 8 * bits);
}

XRD_INLINE void append_singly(BitWriter& writer, const std::int32_t* differences, unsigned count, unsigned bits) {
  const std::uint32_t mask = xrd::low_bits(static_cast<int>(bits));
  for (unsigned i = 0; i < count; ++i) writer.append(static_cast<std::uint32_t>(differences[i]) & mask, bits);
}

// The code of a width, from 0 to 32 bits.
constexpr std::array<unsigned, 33> kFieldCodes = [] {
  std::array<unsigned, 33> codes{};
  for (unsigned bits = 0; bits <= 32; ++bits) codes[bits] = xrd::field_code(static_cast<int>(bits));
  return codes;
}();

// The destination of the bit stream: the stream at once, or in larger pieces.
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

// Collects the bit stream. Callers rely on the byte behind a stream that ends on a byte boundary, so the
// buffer's stale contents matter: its size and the moment it is written are part of the format as it is written.
class ChunkWriter {
 public:
  ChunkWriter() : bits_(buffer_.data()) {}
  ChunkWriter(const ChunkWriter&) = delete;
  ChunkWriter& operator=(const ChunkWriter&) = delete;
  ~ChunkWriter() = default;

  // append_fields(bits) must append `count` fields of `field_bits` bits. `bits` is a copy of the stream's end, which
  // the processor can keep in its registers from chunk to chunk.
  template <typename Output, typename AppendFields>
  XRD_INLINE void append(BitWriter& bits, unsigned count, unsigned field_bits, Output& output,
                         AppendFields append_fields) {
    if (bits.byte() > buffer_.data() + kFlushAt) {
      bits.finish();
      const auto complete = static_cast<std::size_t>(bits.byte() - buffer_.data());
      output.write(buffer_.data(), complete);
      std::copy_n(buffer_.data(), complete + (bits.used() > 0 ? 1 : 0), stale_.data());
      bits.move_to(buffer_.data());
    }
    bits.append(log2_of(count) | kFieldCodes[field_bits] << xrd::kChunkCodeBits, xrd::kChunkHeaderBits);
    append_fields(bits);
  }

  // The stream's end, to be set again after chunks are appended to a copy.
  BitWriter end() const { return bits_; }
  void set_end(const BitWriter& bits) { bits_ = bits; }

  // Writes the last byte too, whether or not it holds any bits yet, and begins anew.
  template <typename Output>
  void flush(Output& output) {
    bits_.finish();
    const auto complete = static_cast<std::size_t>(bits_.byte() - buffer_.data());
    if (bits_.used() == 0) buffer_[complete] = stale_[complete];
    output.write(buffer_.data(), complete + 1);
    bits_ = BitWriter(buffer_.data());
    stale_.fill(0);
  }

 private:
  static constexpr std::size_t kBufferBytes = 8192;
  static constexpr std::size_t kFlushAt = kBufferBytes - 130 * sizeof(std::int32_t);

  static unsigned log2_of(unsigned count) { return static_cast<unsigned>(std::bit_width(count)) - 1; }

  std::array<unsigned char, kBufferBytes + sizeof(std::uint64_t)> buffer_{};  // the writer writes a word ahead
  std::array<unsigned char, kBufferBytes> stale_{};                           // what the bytes held before
  BitWriter bits_;
};

// A stretch of differences, and the tables that decide its chunks.
class Stretch {
 public:
  std::int32_t* differences() { return differences_.data(); }

  void pack(ChunkWriter& writer, std::size_t count, GatheredOutput& output) {
    xrd::ForProcessor<pack_chunks>::call(*this, writer, count, output);
  }

 private:
  static XRD_INLINE void pack_chunks(Stretch& stretch, ChunkWriter& writer, std::size_t count, GatheredOutput& output) {
    fill_tables(stretch.differences_.data(), count, stretch.tables_);
    BitWriter end = writer.end();
    for (std::size_t cursor = 0; cursor < count;) {
      const unsigned doublings = stretch.choose(cursor, count - 1 - cursor);
      const unsigned length = 1U << doublings;
      const unsigned field_bits = stretch.tables_.widths[doublings][cursor];
      writer.append(end, length, field_bits, output, [&](BitWriter& bits) {
        if (field_bits <= 8) {
          append_narrow(bits, stretch.tables_.low_bytes.data() + cursor, length, field_bits);
        } else {
          append_singly(bits, stretch.differences_.data() + cursor, length, field_bits);
        }
      });
      cursor += length;
    }
    writer.set_end(end);
  }

  // How often the chunk that begins at `cursor` is doubled: as long as wider fields cost less than the header that is
  // saved. `behind` is the number of differences behind the first; with 2s + 1 or fewer left, a chunk of s is not
  // doubled.
  XRD_INLINE unsigned choose(std::size_t cursor, std::size_t behind) const {
    const auto stops_at = [&](unsigned n) {
      const std::uint8_t* const widths = tables_.widths[n].data() + cursor;
      const int cost = std::abs(widths[0] - widths[std::size_t{1} << n]) << n;
      return static_cast<unsigned>(cost >= xrd::kChunkHeaderBits) << n;
    };
    // Bit n: not more than n times. In brackets, so that the processor waits for three and not for seven additions.
    unsigned stops = ((stops_at(0) + stops_at(1)) + (stops_at(2) + stops_at(3))) +
                     ((stops_at(4) + stops_at(5)) + (stops_at(6) + (1U << (kRunLengths - 1))));
    if (behind <= xrd::kLargestChunk) stops |= ~0U << (behind > 2 ? std::bit_width(behind - 1) - 1 : 0);
    return static_cast<unsigned>(std::countr_zero(stops));
  }

  std::array<std::int32_t, kStretch> differences_;  // NOLINT: filled before they are read
  StretchTables tables_;
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
    xrd::ForProcessor<subtract_predictions>::call(img + index, static_cast<std::ptrdiff_t>(width), end - index, next);
    next += end - index;
  }
  // A single row takes its last step past the image, where files have one difference more, which decoders ignore. The
  // pixel there counts as equal to the last one. A lone pixel has no row to run along, and nothing behind it.
  const bool room_left = static_cast<std::size_t>(next - diffs) < kStretch;
  if (y == 1 && x > 1 && index == width && room_left) *next++ = 0;
  return next - 1;
}

extern "C" int bits(int32_t* chunk, int n) {
  int widest = 0;
  for (int i = 0; i < n; ++i) widest = std::max(widest, field_width(chunk[i]));
  return static_cast<int>(static_cast<unsigned>(n) * static_cast<unsigned>(widest));  // wraps
}

// Of the bytes, only those are written that get bits.
extern "C" void pack_longs(int32_t* lng, int n, unsigned char** target, int* bit, int size) {
  if (size < 1 || size > 32 || *bit < 0 || *bit > 7) return;
  const std::uint32_t mask = xrd::low_bits(size);
  std::uint64_t word = *bit > 0 ? **target : 0;
  int used = *bit;
  for (int i = 0; i < n; ++i) {
    word |= std::uint64_t{static_cast<std::uint32_t>(lng[i]) & mask} << used;
    for (used += size; used >= 8; used -= 8) {
      *(*target)++ = static_cast<unsigned char>(word);
      word >>= 8;
    }
  }
  if (used > 0) **target = static_cast<unsigned char>(word);
  *bit = used;
}

extern "C" void pack_chunk(int32_t* lng, int nmbr, int bitsize, FILE* stream) {
  static thread_local ChunkWriter writer;
  DirectOutput output{stream};
  if (lng == nullptr) {
    writer.flush(output);
  } else if (nmbr >= 1 && nmbr <= kLargestChunk && bitsize >= 0 && bitsize <= 32) {
    const auto count = static_cast<unsigned>(nmbr);
    const auto field_bits = static_cast<unsigned>(bitsize);
    BitWriter end = writer.end();
    writer.append(end, count, field_bits, output,
                  [&](BitWriter& bits) { append_singly(bits, lng, count, field_bits); });
    writer.set_end(end);
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
