// Remembers the results of a costly function of a pixel.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace xrd {

// Detector images hold few different values: most pixels are background counts close to each other. So the function is
// computed once for a value and looked up from then on. A value has one place, given by its lowest bits; the value
// there before is forgotten. Small enough for a processor's first-level cache.
template <typename Function>
class PixelMemo {
 public:
  explicit PixelMemo(Function function) : function_(function) {
    // Each place starts with the value 0, which only the first place can hold; in the others it means empty.
    results_[0] = function_(0);
  }

  std::uint32_t operator()(std::uint32_t pixel) {
    const std::size_t place = pixel % kPlaces;
    if (pixels_[place] != pixel) {
      pixels_[place] = pixel;
      results_[place] = function_(pixel);
    }
    return results_[place];
  }

 private:
  static constexpr std::size_t kPlaces = 2048;

  Function function_;
  std::array<std::uint32_t, kPlaces> pixels_{};
  std::array<std::uint32_t, kPlaces> results_{};
};

}  // namespace xrd
