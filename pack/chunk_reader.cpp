#include "pack/chunk_reader.h"

#include <sys/stat.h>
#include <sys/types.h>

#include <algorithm>
#include <cstring>

#include "support/reading.h"

namespace xrd {

namespace {

std::uint64_t load(const unsigned char* bytes) {
  std::uint64_t word = 0;
  std::memcpy(&word, bytes, sizeof word);
  return word;
}

// The two's complement number in bits `first` to `first` + bits - 1.
template <int bits>
std::int32_t field(std::uint64_t word, int first) {
  return static_cast<std::int32_t>(static_cast<std::int64_t>(word << (64 - bits - first)) >> (64 - bits));
}

// Cuts `count` fields of `bits` bits out of the bytes, from bit `shift` (0 to 7) of the first byte on. May write up to
// seven differences more than asked for.
template <int bits>
void cut_fields(const unsigned char* bytes, unsigned shift, std::size_t count, std::int32_t* differences) {
  // Eight fields are `bits` whole bytes, so that the shift is the same for each group. A load that is shifted by up to
  // 7 holds 57 bits: eight fields, four of eight bits, two of sixteen, one of thirty-two.
  constexpr int kPerLoad = bits <= 7 ? 8 : 32 / bits;
  for (std::size_t i = 0; i < count; i += kPerLoad, bytes += kPerLoad * bits / 8) {
    const std::uint64_t word = load(bytes) >> shift;
    for (int j = 0; j < kPerLoad; ++j) differences[i + static_cast<std::size_t>(j)] = field<bits>(word, j * bits);
  }
}

void cut_fields(const unsigned char* bytes, unsigned shift, int bits, std::size_t count, std::int32_t* differences) {
  switch (bits) {
    case 4:
      return cut_fields<4>(bytes, shift, count, differences);
    case 5:
      return cut_fields<5>(bytes, shift, count, differences);
    case 6:
      return cut_fields<6>(bytes, shift, count, differences);
    case 7:
      return cut_fields<7>(bytes, shift, count, differences);
    case 8:
      return cut_fields<8>(bytes, shift, count, differences);
    case 16:
      return cut_fields<16>(bytes, shift, count, differences);
    case 32:
      return cut_fields<32>(bytes, shift, count, differences);
    default:
      std::fill_n(differences, count, 0);
  }
}

// Whether surplus bytes can be given back.
bool is_regular_file(std::FILE* stream) {
  struct stat status {};
  return fstat(fileno(stream), &status) == 0 && S_ISREG(status.st_mode);
}

}  // namespace

ChunkReader::ChunkReader(std::FILE* stream) : stream_(stream), reads_ahead_(is_regular_file(stream)) {
  flockfile(stream_);
}

ChunkReader::~ChunkReader() {
  if (stream_ == nullptr) return;
  if (reads_ahead_ && !past_end_) {
    // Also without bytes to give back: reading ahead may have met the end of the file before the caller does.
    const std::size_t unused = end_ / 8 - (position_ + 7) / 8;
    fseeko(stream_, -static_cast<off_t>(unused), SEEK_CUR);
  }
  funlockfile(stream_);
}

std::size_t ChunkReader::read_bytes(unsigned char* target, std::size_t count) {
  if (stream_ != nullptr) return xrd::read_bytes(target, count, stream_);
  const auto bytes = memory_.first(std::min(count, memory_.size()));
  std::ranges::copy(bytes, target);
  memory_ = memory_.subspan(bytes.size());
  return bytes.size();
}

void ChunkReader::fetch(std::size_t bits) {
  const std::size_t first_byte = position_ / 8;
  const std::size_t kept = end_ / 8 - first_byte;
  std::memmove(buffer_.data(), buffer_.data() + first_byte, kept);
  position_ %= 8;
  const std::size_t needed = (position_ + bits + 7) / 8;
  const std::size_t asked = reads_ahead_ ? kBlockBytes : needed - kept;
  std::size_t available = kept + read_bytes(buffer_.data() + kept, asked);
  if (available < needed) {
    past_end_ = true;
    std::memset(buffer_.data() + available, 0xFF, needed - available);
    available = needed;
  }
  end_ = available * 8;
}

std::size_t ChunkReader::read(std::int32_t* differences, std::size_t wanted) {
  constexpr unsigned kCodeMask = (1U << kChunkCodeBits) - 1;
  require(kChunkHeaderBits);
  const auto header = static_cast<unsigned>(load(buffer_.data() + position_ / 8) >> (position_ % 8));
  position_ += kChunkHeaderBits;
  const std::size_t count = std::min(std::size_t{1} << (header & kCodeMask), wanted);
  const int bits = kFieldBits[header >> kChunkCodeBits & kCodeMask];
  const std::size_t chunk_bits = count * static_cast<std::size_t>(bits);
  require(chunk_bits);
  cut_fields(buffer_.data() + position_ / 8, static_cast<unsigned>(position_ % 8), bits, count, differences);
  position_ += chunk_bits;
  return count;
}

}  // namespace xrd
