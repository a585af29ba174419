#include "frames/writers/samples.h"

#include <algorithm>
#include <bit>
#include <limits>
#include <span>
#include <string>
#include <type_traits>
#include <vector>

namespace frames {

static_assert(std::endian::native == std::endian::little, "samples are written in the processor's order");

namespace {

constexpr std::uint32_t kLargest16 = std::numeric_limits<std::uint16_t>::max();
constexpr std::uint32_t kLargestSigned = std::numeric_limits<std::int32_t>::max();
constexpr std::size_t kBlockSamples = 65536;

// Pixels that cause a warning.
struct Tally {
  std::size_t above = 0;     // more than 65535 counts
  std::size_t negative = 0;  // below 0
  std::size_t unknown = 0;   // not counted above
};

Tally tally_of(const Frame& frame) {
  Tally tally;
  const bool all_known = frame.mask.empty();
  const std::span<const std::uint32_t> counts(frame.counts.data(), frame.counts.size());
  for (std::size_t i = 0; i < counts.size(); ++i) {
    const std::uint32_t count = counts[i];
    if (all_known && count <= kLargest16) continue;
    if (!all_known && has_no_count(frame.mask[i])) {
      ++tally.unknown;
    } else if (frame.is_signed && count > kLargestSigned) {
      ++tally.negative;
    } else if (count > kLargest16) {
      ++tally.above;
    }
  }
  return tally;
}

template <typename Sample>
Sample sample_of(std::uint32_t count, bool is_signed) {
  if constexpr (std::is_signed_v<Sample>) {
    return static_cast<Sample>(count);
  } else {
    const std::uint32_t natural = is_signed && count > kLargestSigned ? 0 : count;
    return static_cast<Sample>(std::min<std::uint32_t>(natural, std::numeric_limits<Sample>::max()));
  }
}

template <typename Sample>
void copy_as(const Frame& frame, std::size_t first, std::size_t count, Sample* samples) {
  const std::uint32_t* counts = frame.counts.data() + first;
  const bool is_signed = frame.is_signed;
  for (std::size_t i = 0; i < count; ++i) samples[i] = sample_of<Sample>(counts[i], is_signed);
  if (frame.mask.empty()) return;
  for (std::size_t i = 0; i < count; ++i) {
    if (has_no_count(frame.mask[first + i])) samples[i] = std::numeric_limits<Sample>::max();
  }
}

void warn(std::size_t pixels, const std::string& what, Remarks& remarks) {
  if (pixels > 0) remarks.warnings.push_back(std::to_string(pixels) + " " + what);
}

}  // namespace

std::uint32_t largest_sample(SampleType type) {
  if (type == kUnsigned16) return kLargest16;
  return type == kUnsigned32 ? std::numeric_limits<std::uint32_t>::max() : kLargestSigned;
}

SampleType fitting_type(const Frame& frame, const WriteOptions& options, Remarks& remarks) {
  const Tally tally = tally_of(frame);
  SampleType type = tally.negative > 0 ? kSigned32 : kUnsigned32;
  if (options.bits == 16) {
    if (tally.above == 0 && tally.negative == 0) type = kUnsigned16;
    warn(tally.above, "pixels are above 65535: written with 32 bits per pixel", remarks);
    warn(tally.negative, "counts are negative: written with 32 bits per pixel", remarks);
  }
  warn_of_unknown(tally.unknown, largest_sample(type), remarks);
  return type;
}

SampleType unsigned_type(const Frame& frame, const WriteOptions& options, Remarks& remarks) {
  const SampleType type = options.bits == 32 ? kUnsigned32 : kUnsigned16;
  warn_of_clipping(frame, type, "; --bits 32 keeps them", remarks);
  return type;
}

void warn_of_clipping(const Frame& frame, SampleType type, std::string_view hint, Remarks& remarks) {
  const Tally tally = tally_of(frame);
  if (type == kUnsigned16) {
    warn(tally.above, "pixels above 65535 were written as 65535" + std::string(hint), remarks);
  }
  warn_of_negative(tally.negative, remarks);
  warn_of_unknown(tally.unknown, largest_sample(type), remarks);
}

std::size_t negative_pixels(const Frame& frame) {
  return tally_of(frame).negative;
}

void warn_of_negative(std::size_t pixels, Remarks& remarks) {
  warn(pixels, "negative counts were written as 0", remarks);
}

void warn_of_unknown(std::size_t pixels, std::uint32_t written, Remarks& remarks) {
  warn(pixels, "pixels of unknown count were written as " + std::to_string(written), remarks);
}

void copy_samples(const Frame& frame, SampleType type, std::size_t first, std::size_t count, void* samples) {
  if (type == kUnsigned16) return copy_as(frame, first, count, static_cast<std::uint16_t*>(samples));
  if (type == kUnsigned32) return copy_as(frame, first, count, static_cast<std::uint32_t*>(samples));
  copy_as(frame, first, count, static_cast<std::int32_t*>(samples));
}

void write_samples(const Frame& frame, SampleType type, std::FILE* stream) {
  std::vector<std::uint32_t> block(kBlockSamples);
  const std::size_t pixels = frame.counts.size();
  for (std::size_t first = 0; first < pixels; first += kBlockSamples) {
    const std::size_t count = std::min(kBlockSamples, pixels - first);
    copy_samples(frame, type, first, count, block.data());
    std::fwrite(block.data(), type.bytes, count, stream);
  }
}

}  // namespace frames
