// The CCP4 packed format the slow and obvious way: a register, a byte at a time, a static buffer. The library's decoder
// and encoder must agree with it in every bit.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <numeric>
#include <random>
#include <string>
#include <vector>

namespace naive {

using Pixels = std::vector<short>;
using Differences = std::vector<std::int32_t>;

// Bits of a difference, by the chunk's bit-size code.
inline constexpr std::array<int, 8> kFieldWidths{0, 4, 5, 6, 7, 8, 16, 32};

inline std::uint32_t low_bits(std::uint32_t value, int count) {
  return count == 32 ? value : value & ((std::uint32_t{1} << count) - 1);
}

inline std::uint32_t shifted_down(std::uint32_t value, int count) {
  return count == 32 ? 0 : value >> count;
}

inline std::size_t pixel_count(int width, int height) {
  return static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
}

inline Pixels filled(int width, int height, int value = 0) {
  Pixels image(pixel_count(width, height), static_cast<short>(value));
  return image;
}

// ------------------------------------------------------------------------------------------------------------------
// Decoder
// ------------------------------------------------------------------------------------------------------------------

class Decoder {
 public:
  Decoder(std::FILE* stream, int width, int height, short* image)
      : stream_(stream), width_(width), total_(width * height), image_(image) {}

  void decode() {
    while (pixel_ < total_) {
      if (held_ <= 5) {
        top_up();
        continue;
      }
      const int count = 1 << take(3);
      const int bits = kFieldWidths[take(3)];
      for (int i = 0; i < count && pixel_ < total_; ++i) {
        while (held_ < bits) top_up();
        store(difference(bits));
      }
    }
  }

 private:
  // Moves what fits of the spill register into the accumulator, or fills the spill register. The end of the file is a
  // byte of ones.
  void top_up() {
    if (spilled_ == 0) {
      spill_ = static_cast<std::uint32_t>(std::fgetc(stream_)) & 0xFF;
      spilled_ = 8;
      return;
    }
    const int moved = std::min(32 - held_, spilled_);
    accumulator_ |= low_bits(spill_, moved) << held_;
    held_ += moved;
    spill_ >>= moved;
    spilled_ -= moved;
  }

  std::uint32_t take(int count) {
    const std::uint32_t field = low_bits(accumulator_, count);
    accumulator_ = shifted_down(accumulator_, count);
    held_ -= count;
    return field;
  }

  std::uint32_t difference(int bits) {
    if (bits == 0) return 0;
    const std::uint32_t field = take(bits);
    const bool negative = ((field >> (bits - 1)) & 1) != 0;
    return negative ? field | ~low_bits(0xFFFFFFFF, bits) : field;
  }

  void store(std::uint32_t difference) {
    const short* at = image_ + pixel_;
    const std::ptrdiff_t width = width_;
    int prediction = 0;
    if (pixel_ > width_) {
      prediction = (at[-1] + at[-width + 1] + at[-width] + at[-width - 1] + 2) / 4;
    } else if (pixel_ >= 1) {
      prediction = at[-1];
    }
    image_[pixel_] =
        static_cast<short>(static_cast<std::uint16_t>(static_cast<std::uint32_t>(prediction) + difference));
    ++pixel_;
  }

  std::FILE* stream_;
  int width_;
  int total_;
  short* image_;
  int pixel_ = 0;
  std::uint32_t accumulator_ = 0;
  int held_ = 0;  // unused bits at the accumulator's low end
  std::uint32_t spill_ = 0;
  int spilled_ = 0;  // bits of the spill register that are not yet in the accumulator
};

struct ImageSize {
  int width = 0;
  int height = 0;
};

// Reads up to the end of the header line. Both 0 when there is none.
inline ImageSize find_header_line(std::FILE* stream) {
  std::array<char, 8193> buffer{};  // the last character is never written: the text ends there
  buffer[0] = '\n';
  for (;;) {
    ImageSize size;
    int byte = 0;
    for (std::size_t position = 1; position <= 8191; ++position) {
      byte = std::fgetc(stream);
      if (byte == EOF) return size;
      buffer[position] = static_cast<char>(byte);
      if (byte != '\n') continue;
      std::sscanf(buffer.data(), "\nCCP4 packed image, X: %4d, Y: %4d\n", &size.width, &size.height);
      break;
    }
    if (size.width != 0 && size.height != 0) return size;
  }
}

// ------------------------------------------------------------------------------------------------------------------
// Encoder
// ------------------------------------------------------------------------------------------------------------------

inline int bits(const std::int32_t* chunk, int n) {
  std::int64_t largest = 0;
  for (int i = 0; i < n; ++i) largest = std::max(largest, std::abs(std::int64_t{chunk[i]}));
  int width = 32;
  if (largest == 0) {
    width = 0;
  } else if (largest <= 7) {
    width = 4;
  } else if (largest <= 15) {
    width = 5;
  } else if (largest <= 31) {
    width = 6;
  } else if (largest <= 63) {
    width = 7;
  } else if (largest <= 127) {
    width = 8;
  } else if (largest <= 65535) {
    width = 16;
  }
  return n * width;
}

// Where the next bit goes.
struct BitPosition {
  unsigned char* byte;
  int bit;
};

inline BitPosition append(BitPosition at, std::uint32_t value, int size) {
  std::uint32_t field = low_bits(value, size);
  int left = size;
  if (at.bit == 0) {
    *at.byte = static_cast<unsigned char>(field);
  } else {
    *at.byte = static_cast<unsigned char>(*at.byte | (field << at.bit));
  }
  const int room = 8 - at.bit;
  if (left < room) return {at.byte, at.bit + left};
  for (left -= room, field = shifted_down(field, room); left > 0; left -= 8, field >>= 8) {
    *++at.byte = static_cast<unsigned char>(field);
    if (left < 8) return {at.byte, left};
  }
  return {at.byte + 1, 0};
}

// The buffer behind pack_chunk, zero-filled when it is new.
class ChunkBuffer {
 public:
  // What has been written to the stream so far.
  const std::string& written() const { return written_; }
  bool ends_on_byte_boundary() const { return at_.bit == 0; }

  void chunk(const std::int32_t* differences, int count, int width) {
    if (filled() > 8192 - 130 * 4) {
      written_.append(bytes_.begin(), bytes_.begin() + static_cast<std::ptrdiff_t>(filled()));
      bytes_[0] = *at_.byte;
      at_.byte = bytes_.data();
    }
    std::uint32_t count_code = 0;
    for (int rest = count; rest > 1; rest /= 2) ++count_code;
    const auto width_code = std::find(kFieldWidths.begin(), kFieldWidths.end(), width) - kFieldWidths.begin();
    at_ = append(at_, count_code, 3);
    at_ = append(at_, static_cast<std::uint32_t>(width_code), 3);
    for (int i = 0; width > 0 && i < count; ++i) at_ = append(at_, static_cast<std::uint32_t>(differences[i]), width);
  }

  void flush() { written_.append(bytes_.begin(), bytes_.begin() + static_cast<std::ptrdiff_t>(filled() + 1)); }

 private:
  std::size_t filled() const { return static_cast<std::size_t>(at_.byte - bytes_.data()); }

  std::string written_;
  std::array<unsigned char, 8192> bytes_{};
  BitPosition at_{bytes_.data(), 0};
};

// A stretch of at most 16384 differences from pixel `done` on. The image of one row has one more, of value 0, unless it
// has but one pixel.
inline Differences differences(const Pixels& image, int x, int y, int done) {
  constexpr std::size_t kMost = 16384;
  const short* pixel = image.data();
  Differences found;
  if (done == 0) found.push_back(pixel[done++]);
  for (; done <= x && x * y > 1 && found.size() < kMost; ++done) {
    found.push_back(done < x * y ? pixel[done] - pixel[done - 1] : 0);
  }
  for (; done < x * y && found.size() < kMost; ++done) {
    const int around = pixel[done - 1] + pixel[done - x + 1] + pixel[done - x] + pixel[done - x - 1];
    found.push_back(pixel[done] - (around + 2) / 4);
  }
  return found;
}

inline void pack_stretch(ChunkBuffer& buffer, const Differences& stretch) {
  const std::int32_t* cursor = stretch.data();
  const std::int32_t* end = cursor + stretch.size() - 1;
  while (cursor <= end) {
    int count = 1;
    int total = bits(cursor, 1);
    while (end - cursor > std::ptrdiff_t{2} * count) {
      const int next = bits(cursor + count, count);
      const int merged = 2 * std::max(total, next);
      if (merged >= total + next + 6) break;
      total = merged;
      count *= 2;
      if (count == 128) break;
    }
    buffer.chunk(cursor, count, total / count);
    cursor += count;
  }
}

inline std::string header_line(int x, int y) {
  std::array<char, 80> line{};
  std::snprintf(line.data(), line.size(), "\nCCP4 packed image, X: %04d, Y: %04d\n", x, y);
  return line.data();
}

// The bit stream alone, with the extra byte where there is one.
inline std::string pack_stream(const Pixels& image, int x, int y) {
  ChunkBuffer buffer;
  for (int done = 0; done < x * y;) {
    const Differences stretch = differences(image, x, y, done);
    done += static_cast<int>(stretch.size());
    pack_stretch(buffer, stretch);
  }
  buffer.flush();
  return buffer.written();
}

inline std::string pack(const Pixels& image, int x, int y) {
  return header_line(x, y) + pack_stream(image, x, y);
}

// ------------------------------------------------------------------------------------------------------------------
// Material
// ------------------------------------------------------------------------------------------------------------------

// A bit stream put together by hand.
class BitStream {
 public:
  BitStream& put(std::uint32_t value, int count) {
    for (int i = 0; i < count; ++i, ++bits_) {
      if (bits_ % 8 == 0) bytes_.push_back('\0');
      const std::uint32_t bit = (value >> i) & 1;
      bytes_.back() = static_cast<char>(static_cast<unsigned char>(bytes_.back()) | (bit << (bits_ % 8)));
    }
    return *this;
  }
  // A chunk of 2^count_code differences, of which the first ones are given and the others 0.
  BitStream& chunk(unsigned count_code, unsigned width_code, const Differences& differences = {}) {
    put(count_code, 3).put(width_code, 3);
    for (std::size_t i = 0; i < std::size_t{1} << count_code; ++i) {
      const std::int32_t value = i < differences.size() ? differences[i] : 0;
      put(static_cast<std::uint32_t>(value), kFieldWidths[width_code]);
    }
    return *this;
  }
  std::size_t bit_count() const { return bits_; }
  const std::string& bytes() const { return bytes_; }

 private:
  std::string bytes_;
  std::size_t bits_ = 0;
};

using Random = std::mt19937;

inline int random_number(Random& random, int lowest, int highest) {
  return std::uniform_int_distribution<int>(lowest, highest)(random);
}

inline std::string random_bytes(Random& random, std::size_t count) {
  std::string bytes(count, '\0');
  for (char& byte : bytes) byte = static_cast<char>(random_number(random, 0, 255));
  return bytes;
}

// Images of every kind: constant, noise of any amplitude around any level, extreme values, and mixtures.
inline Pixels random_image(Random& random, int width, int height) {
  Pixels image = filled(width, height);
  const int kind = random_number(random, 0, 5);
  const int level = random_number(random, -32768, 32767);
  const int amplitude = (1 << random_number(random, 0, 16)) - 1;
  for (int i = 0; i < width * height; ++i) {
    int value = level;
    if (kind == 1) value = random_number(random, 0, 1) != 0 ? 32767 : -32768;
    if (kind == 2) value = (i / width + i % width) % 2 != 0 ? 32767 : -32768;
    if (kind == 3) value = random_number(random, 0, 40) == 0 ? random_number(random, -32768, 32767) : level / 256;
    if (kind >= 4) value = level + random_number(random, -amplitude, amplitude);
    image[static_cast<std::size_t>(i)] = static_cast<short>(static_cast<std::uint16_t>(value));
  }
  return image;
}

}  // namespace naive
