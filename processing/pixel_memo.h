// Remembers the results of a costly function of a pixel.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace xrd {

// Detector images hold few different values: most pixels are background counts close to each other. So the function is
// computed once for a value and looked up from then on. A value has one place, at its lowest bits; what stood there
// before is forgotten. Small enough for a processor's first-level cache.
template <typename Function>
class PixelMemo {
 public:
  explicit PixelMemo(Function function) : function_(function) {
    // Each place starts out with the value 0, which only the first place is for; in the others it stands for nothing.
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
