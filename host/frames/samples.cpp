#include "host/frames/samples.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <type_traits>

#include "host/frames/bytes.h"

namespace frames {

namespace {

struct Source {
  Bytes data;
  std::size_t count;
  bool big_endian;

  template <typename Number>
  Number sample(std::size_t i) const {
    return number_at<Number>(data, i * sizeof(Number), big_endian);
  }
};

template <typename Number>
void read_integers(Frame& frame, const Source& source) {
  // The counts that the frame can hold; every number of up to 32 bits is one.
  using Count = std::conditional_t<std::is_signed_v<Number>, std::int32_t, std::uint32_t>;
  frame.is_signed = std::is_signed_v<Number>;
  for (std::size_t i = 0; i < source.count; ++i) {
    auto number = source.sample<Number>(i);
    if constexpr (sizeof(Number) > sizeof(Count)) {
      number = std::clamp(number, Number{std::numeric_limits<Count>::min()}, Number{std::numeric_limits<Count>::max()});
    }
    frame.counts[i] = static_cast<std::uint32_t>(number + Count{0});  // negative ones wrap
  }
}

template <typename Real>
void read_reals(Frame& frame, const Source& source) {
  for (std::size_t i = 0; i < source.count && !frame.is_signed; ++i) {
    frame.is_signed = std::round(source.sample<Real>(i)) < Real{0};
  }
  const double lowest = frame.is_signed ? std::numeric_limits<std::int32_t>::min() : 0.0;
  const double highest =
      frame.is_signed ? std::numeric_limits<std::int32_t>::max() : double{std::numeric_limits<std::uint32_t>::max()};
  for (std::size_t i = 0; i < source.count; ++i) {
    const auto number = static_cast<double>(source.sample<Real>(i));
    if (std::isnan(number)) {
      mark_unknown(frame, i);
    } else {
      frame.counts[i] = static_cast<std::uint32_t>(std::llround(std::clamp(number, lowest, highest)));
    }
  }
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
  const std::size_t pixels = frame.counts.size();
  const Source source{data, std::min(pixels, data.size() / type.bytes), big_endian};
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
