#include "frames/readers/samples.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <span>
#include <string>
#include <type_traits>
#include <utility>

namespace frames {

namespace {

struct Source {
  Bytes data;
  std::size_t count;
  bool swapped;  // the samples do not have the processor's byte order
};

template <typename Number>
Number byte_swapped(Number number) {
  if constexpr (sizeof(Number) == 2) {
    return std::bit_cast<Number>(__builtin_bswap16(std::bit_cast<std::uint16_t>(number)));
  } else if constexpr (sizeof(Number) == 4) {
    return std::bit_cast<Number>(__builtin_bswap32(std::bit_cast<std::uint32_t>(number)));
  } else if constexpr (sizeof(Number) == 8) {
    return std::bit_cast<Number>(__builtin_bswap64(std::bit_cast<std::uint64_t>(number)));
  } else {
    return number;
  }
}

// Calls take(index of the block's first sample, block) for blocks of samples in the processor's byte order, so that the
// loops over them are plain ones, which compilers vectorise.
template <typename Number, typename Take>
void for_each_block(const Source& source, Take take) {
  std::array<Number, 1024> block;  // NOLINT: filled before it is read
  for (std::size_t first = 0; first < source.count; first += block.size()) {
    const std::span samples(block.data(), std::min(block.size(), source.count - first));
    std::memcpy(samples.data(), source.data.data() + first * sizeof(Number), samples.size_bytes());
    if (source.swapped) {
      for (Number& sample : samples) sample = byte_swapped(sample);
    }
    take(first, samples);
  }
}

template <typename Number>
void read_integers(Frame& frame, const Source& source) {
  // The counts that the frame can hold; every number of up to 32 bits is one.
  using Count = std::conditional_t<std::is_signed_v<Number>, std::int32_t, std::uint32_t>;
  for_each_block<Number>(source, [&frame](std::size_t first, std::span<const Number> samples) {
    std::uint32_t* const counts = frame.counts.data() + first;
    for (std::size_t i = 0; i < samples.size(); ++i) {
      if constexpr (sizeof(Number) > sizeof(Count)) {
        if (!std::in_range<Count>(samples[i])) {
          mask_pixel(frame, first + i, kUnknown);
          continue;
        }
      }
      counts[i] = static_cast<std::uint32_t>(static_cast<Count>(samples[i]));  // negative ones wrap
    }
  });
}

template <typename Real>
void read_reals(Frame& frame, const Source& source) {
  for_each_block<Real>(source, [&frame](std::size_t /*first*/, std::span<const Real> samples) {
    for (const Real sample : samples) frame.is_signed = frame.is_signed || std::round(sample) < Real{0};
  });
  const double lowest = frame.is_signed ? std::numeric_limits<std::int32_t>::min() : 0.0;
  const double highest =
      frame.is_signed ? std::numeric_limits<std::int32_t>::max() : double{std::numeric_limits<std::uint32_t>::max()};
  for_each_block<Real>(source, [&](std::size_t first, std::span<const Real> samples) {
    for (std::size_t i = 0; i < samples.size(); ++i) {
      const double rounded = std::round(static_cast<double>(samples[i]));
      if (rounded >= lowest && rounded <= highest) {
        frame.counts[first + i] = static_cast<std::uint32_t>(static_cast<std::int64_t>(rounded));
      } else {
        mask_pixel(frame, first + i, kUnknown);  // NaN too
      }
    }
  });
}

template <typename Unsigned>
void read_integers(Frame& frame, const Source& source, SampleKind kind) {
  if (kind == SampleKind::kSigned) {
    read_integers<std::make_signed_t<Unsigned>>(frame, source);
  } else {
    read_integers<Unsigned>(frame, source);
  }
}

}  // namespace

Bytes bytes_after(Bytes file, std::size_t offset) {
  return file.subspan(std::min(offset, file.size()));
}

void read_samples(Frame& frame, Bytes data, SampleType type, bool big_endian, const LoadOptions& options) {
  frame.is_signed = type.kind == SampleKind::kSigned;
  if (options.header_only) return;
  const std::size_t pixels = frame.counts.size();
  const Source source{data, std::min(pixels, data.size() / type.bytes),
                      big_endian != (std::endian::native == std::endian::big)};
  if (source.count < pixels) {
    report_damage(frame, options,
                  "is truncated: has " + std::to_string(source.count) + " of " + std::to_string(pixels) + " pixels");
  }
  if (type.kind == SampleKind::kReal)
    return type.bytes == 8 ? read_reals<double>(frame, source) : read_reals<float>(frame, source);
  switch (type.bytes) {
    case 1:
      return read_integers<std::uint8_t>(frame, source, type.kind);
    case 2:
      return read_integers<std::uint16_t>(frame, source, type.kind);
    case 4:
      return read_integers<std::uint32_t>(frame, source, type.kind);
    default:
      return read_integers<std::uint64_t>(frame, source, type.kind);
  }
}

}  // namespace frames
