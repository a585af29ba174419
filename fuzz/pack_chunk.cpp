// pack_chunk, pack_longs and bits: what naive functions write and count. An input is a sequence of chunks: a byte of
// count and width codes, as in the format, then the first difference and the step from each to the next.
#include <array>
#include <vector>

#include "fuzz/harness.h"
#include "pack/packed_format.h"
#include "tests/pack/naive_pack.h"
#include "xrdimage.h"

namespace {

struct Chunk {
  naive::Differences differences;
  int width;
};

Chunk chunk_of(fuzz::Input& input) {
  const unsigned codes = input.byte();
  Chunk chunk{naive::Differences(std::size_t{1} << (codes & 7)), xrd::kFieldBits[codes >> 3 & 7]};
  std::uint32_t value = input.number(4);
  const std::uint32_t step = input.number(4);
  for (std::int32_t& difference : chunk.differences) {
    difference = static_cast<std::int32_t>(value);
    value += step;
  }
  return chunk;
}

void check_bits(Chunk& chunk) {
  const int count = static_cast<int>(chunk.differences.size());
  fuzz::require(bits(chunk.differences.data(), count) == naive::bits(chunk.differences.data(), count));
}

// The numbers alone, of any width and from any bit on, over bytes that are not clear.
void check_longs(Chunk& chunk, int width, int first_bit) {
  std::array<unsigned char, 128 * 4 + 5> packed;
  packed.fill(0xA5);
  std::array<unsigned char, 128 * 4 + 5> expected = packed;
  unsigned char* byte = packed.data();
  int bit = first_bit;
  naive::BitPosition at{expected.data(), first_bit};
  pack_longs(chunk.differences.data(), static_cast<int>(chunk.differences.size()), &byte, &bit, width);
  for (const std::int32_t value : chunk.differences) at = naive::append(at, static_cast<std::uint32_t>(value), width);
  fuzz::require(byte - packed.data() == at.byte - expected.data() && bit == at.bit);
  const std::size_t used = static_cast<std::size_t>(byte - packed.data()) + (bit > 0 ? 1 : 0);
  fuzz::require(std::equal(packed.begin(), packed.begin() + static_cast<std::ptrdiff_t>(used), expected.begin()));
}

}  // namespace

void fuzz::run(Bytes bytes) {
  static File file;
  naive::ChunkBuffer expected;
  const xrd::FileHandle stream = xrd::open_file(file.path(), "w");
  for (Input input(bytes); !input.empty();) {
    const unsigned codes = input.rest()[0];
    Chunk chunk = chunk_of(input);
    check_bits(chunk);
    check_longs(chunk, static_cast<int>(codes % 32) + 1, static_cast<int>(codes / 32));
    pack_chunk(chunk.differences.data(), static_cast<int>(chunk.differences.size()), chunk.width, stream.get());
    expected.chunk(chunk.differences.data(), static_cast<int>(chunk.differences.size()), chunk.width);
  }
  pack_chunk(nullptr, 0, 0, stream.get());
  expected.flush();
  std::fflush(stream.get());
  require(file.contents() == expected.written());
}
