// unpack_word, of files, of what cannot be set back, and of memory, beside a naive decoder. The first two bytes of an
// input are width and height, the rest is the bit stream.
#include <vector>

#include "fuzz/harness.h"
#include "pack/decoder.h"
#include "tests/pack/naive_pack.h"
#include "xrdimage.h"

namespace {

using Pixels = std::vector<short>;

struct Decoded {
  Pixels image;
  long position;  // of the stream

  bool operator==(const Decoded&) const = default;
};

// Images one pixel wide show what was there before.
constexpr short kBefore = 1234;

template <typename Decode>
Decoded decoded(std::FILE* stream, int width, int height, Decode decode) {
  Decoded result{Pixels(naive::pixel_count(width, height), kBefore), 0};
  decode(stream, width, height, result.image.data());
  result.position = std::ftell(stream);
  return result;
}

void decode_naively(std::FILE* stream, int width, int height, short* image) {
  naive::Decoder(stream, width, height, image).decode();
}

}  // namespace

void fuzz::run(Bytes bytes) {
  Input input(bytes);
  const int width = static_cast<int>(input.byte());
  const int height = static_cast<int>(input.byte() % 16);
  const Bytes packed = input.rest();
  const Decoded expected = decoded(stream_of(packed).get(), width, height, decode_naively);
  require(decoded(stream_of(packed).get(), width, height, unpack_word) == expected);

  std::string copy(packed.begin(), packed.end());
  const xrd::FileHandle no_file(fmemopen(copy.data(), copy.size(), "r"));
  require(decoded(no_file.get(), width, height, unpack_word) == expected);

  Pixels image(expected.image.size(), kBefore);
  if (xrd::unpack_pixels(packed, width, image)) require(image == expected.image);
}
