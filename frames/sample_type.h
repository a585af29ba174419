// How files store the number of a pixel.
#pragma once

#include <cstddef>

namespace frames {

enum class SampleKind { kUnsigned, kSigned, kReal };

// Integers of 1, 2, 4 or 8 bytes, reals of 4 or 8.
struct SampleType {
  SampleKind kind = SampleKind::kUnsigned;
  std::size_t bytes = 2;

  bool operator==(const SampleType&) const = default;
};

inline constexpr SampleType kUnsigned16{SampleKind::kUnsigned, 2};
inline constexpr SampleType kUnsigned32{SampleKind::kUnsigned, 4};
inline constexpr SampleType kSigned32{SampleKind::kSigned, 4};

}  // namespace frames
