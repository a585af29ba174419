// Reads the chunks of a CCP4-packed bit stream.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <span>

#include "pack/packed_format.h"

namespace xrd {

// Turns a bit stream, of a file or in memory, into differences. Past its end the stream goes on with one bits. A file's
// stream is locked while the reader lives; afterwards it is positioned behind the byte with the last bit used.
//
// Fast because:
// - regular files and memory are read ahead in blocks, and a stream is set back at the end; for pipes, where that
//   is impossible, a chunk's header shows how many bytes to fetch at once, so that only the needed bytes are read;
// - eight fields of up to seven bits are cut out of one unaligned 64-bit load, by constant shifts: there is one loop
//   for each field width;
// - the buffer is padded, so that no load has to look where the buffer ends.
class ChunkReader {
 public:
  explicit ChunkReader(std::FILE* stream);
  explicit ChunkReader(std::span<const unsigned char> memory) : memory_(memory), reads_ahead_(true) {}
  ChunkReader(const ChunkReader&) = delete;
  ChunkReader& operator=(const ChunkReader&) = delete;
  ~ChunkReader();

  // Writes the next chunk's differences to `differences`, which has room for kLargestChunk, and returns how many are
  // valid: at most `wanted` (at least 1). The rest of a chunk is not read.
  std::size_t read(std::int32_t* differences, std::size_t wanted);

  // Whether bits past the end of memory were needed. Files go on for ever.
  bool past_memory() const { return past_end_ && stream_ == nullptr; }

 private:
  static constexpr std::size_t kBlockBytes = 16384;
  // A block, the rest of the one before, and padding for 64-bit loads.
  static constexpr std::size_t kLeftOverBytes = kLargestChunk * sizeof(std::uint32_t) + 1;
  static constexpr std::size_t kBufferBytes = kLeftOverBytes + kBlockBytes + sizeof(std::uint64_t);

  // Makes the next bits available, at most a chunk's worth.
  void require(std::size_t bits) {
    if (end_ - position_ < bits) fetch(bits);
  }
  void fetch(std::size_t bits);
  // Reads up to `count` bytes, fewer at the end only.
  std::size_t read_bytes(unsigned char* target, std::size_t count);

  std::FILE* stream_ = nullptr;            // null: the bits are in memory
  std::span<const unsigned char> memory_;  // what is left of it
  bool reads_ahead_;
  bool past_end_ = false;
  std::size_t position_ = 0;  // next bit of the buffer
  std::size_t end_ = 0;       // bits fetched into the buffer
  std::array<unsigned char, kBufferBytes> buffer_;
};

}  // namespace xrd
