// Decoder of CCP4 packed images.
#include "pack/decoder.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

#include "pack/chunk_reader.h"
#include "pack/packed_format.h"
#include "pack/prediction.h"
#include "support/c_locale.h"
#include "support/conversation.h"
#include "support/files.h"
#include "support/image_size.h"
#include "support/reading.h"
#include "xrdimage.h"

namespace {

// Enough for a band of rows of any detector.
constexpr std::size_t kBufferedDifferences = 16384;

// The line by line search for the header line. Its buffer begins with a line feed, and keeps behind a line what earlier
// and longer lines left there: the pattern may match into it.
class HeaderLineSearch {
 public:
  using Size = xrd::PackedSize;

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
      const int byte = xrd::next_byte(stream);
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
    // A quick check avoids the formatted scan for most lines of binary data.
    std::size_t start = 1;
    while (xrd::is_space(buffer_[start])) ++start;
    if (buffer_[start] != 'C') return;
    const xrd::CLocale locale;
    static_cast<void>(std::sscanf(buffer_.data(), "\n" XRD_PACKED_LINE("%4d") "\n", &size.width, &size.height));
  }

  std::array<char, kBufferBytes + 1> buffer_{'\n'};
};

// Differences are gathered for some rows at a time, as far as they fit a buffer.
void unpack_chunks(xrd::ChunkReader& chunks, int width, std::span<short> img) {
  const auto columns = static_cast<std::size_t>(width);
  std::array<std::int32_t, kBufferedDifferences + xrd::kLargestChunk> differences;  // NOLINT: filled before it is read
  const bool in_bands = columns >= xrd::kNarrowestBand && columns <= kBufferedDifferences / xrd::kBandRows;
  std::size_t index = 0;
  std::size_t buffered = 0;
  while (index < img.size() && !chunks.past_memory()) {
    // Up to the second row's second pixel predictions are simple; from there on rows go in bands.
    const std::size_t goal = index <= columns ? columns + 1 - index
                             : in_bands       ? xrd::kBandRows * columns
                                              : kBufferedDifferences;
    const std::size_t count = std::min({goal, img.size() - index, kBufferedDifferences});
    while (buffered < count) {
      buffered += chunks.read(differences.data() + buffered, img.size() - index - buffered);
    }
    if (in_bands && index > columns && count == goal) {
      xrd::restore_band(img.data(), columns, index, differences.data());
    } else {
      xrd::restore_pixels(img.data(), columns, index, index + count, differences.data());
    }
    index += count;
    buffered -= count;
    std::copy_n(differences.data() + count, buffered, differences.data());
  }
}

}  // namespace

namespace xrd {

void unpack_pixels(std::FILE* stream, int width, std::span<short> img) {
  if (img.empty()) return;
  ChunkReader chunks(stream);
  unpack_chunks(chunks, width, img);
}

bool unpack_pixels(std::span<const unsigned char> stream, int width, std::span<short> img) {
  ChunkReader chunks(stream);
  unpack_chunks(chunks, width, img);
  return !chunks.past_memory();
}

std::optional<PackedSize> packed_file_size(const char* path) {
  const FileHandle stream = open_file(path, "r");
  if (!stream) return std::nullopt;
  return HeaderLineSearch().find(stream.get());
}

std::optional<std::size_t> unpack_file(const char* path, std::span<short> img, Held held) {
  const FileHandle stream = open_file(path, "r");
  if (!stream) return std::nullopt;
  HeaderLineSearch search;
  const auto [width, height] = search.find(stream.get());
  const std::size_t pixels = std::min(caller_pixels(width, height, sizeof(short)), img.size());
  if (held == Held::kNothing && width == 1) std::ranges::fill(img.first(pixels), short{0});
  unpack_pixels(stream.get(), width, img.first(pixels));
  return pixels;
}

}  // namespace xrd

extern "C" int readpack_word_c(short* img, const char* filename) {
  if (!xrd::unpack_file(filename, xrd::unbounded(img))) xrd::print("# %s does not exist.", filename);
  return 0;
}

extern "C" int unpack_word(FILE* stream, int x, int y, short* img) {
  xrd::unpack_pixels(stream, x, {img, xrd::caller_pixels(x, y, sizeof(short))});
  return 0;
}
