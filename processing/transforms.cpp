// Pixel by pixel transforms, in place, and the conversion to 16 bits.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <span>
#include <utility>

#include "processing/extremes.h"
#include "processing/pixel_memo.h"
#include "processing/short_array.h"
#include "processing/transforms.h"
#include "support/arithmetic.h"
#include "support/conversation.h"
#include "support/image_size.h"
#include "support/memory.h"
#include "support/message.h"
#include "support/processor.h"
#include "xrdimage.h"

namespace {

// Callers rely on results that were computed with the processor's extended precision, which long double has on x86.
using Extended = long double;

// Replaces each pixel by a function of it that costs more than a table look-up.
template <typename Function>
void replace_pixels(std::span<unsigned int> pixels, Function function) {
  xrd::PixelMemo<Function> memo(function);
  for (unsigned int& pixel : pixels) pixel = memo(pixel);
}

// Products of pixels and a factor, cut to whole numbers, in double precision. False when extended precision may give
// another one for one of the pixels.
//
// The factor in double precision, the smaller and the larger factor made of it, and each product are off by at most
// 2^-52 of themselves, the product in extended precision by at most 2^-63. Three of the former are less than 2^-49, so
// that the exact path's product lies between these two, and its whole part too, as cutting keeps the order: where both
// have the same one, that is the result.
constexpr std::size_t kProducts = 128;

XRD_INLINE bool cut_products(const unsigned int* __restrict pixels, double factor, std::int32_t* __restrict products) {
  const double smaller = factor * (1.0 - 0x1p-49);
  const double larger = factor * (1.0 + 0x1p-49);
  std::int32_t doubts = 0;
  for (std::size_t i = 0; i < kProducts; ++i) {
    const auto pixel = static_cast<double>(static_cast<std::int32_t>(pixels[i]));
    const auto lower = static_cast<std::int32_t>(pixel * smaller);
    const auto upper = static_cast<std::int32_t>(pixel * larger);
    products[i] = upper;
    doubts |= lower ^ upper;
  }
  return doubts == 0;
}

// Multiplies pixels of at most `largest` by target / largest.
void scale_pixels(std::span<unsigned int> pixels, int target, unsigned int largest) {
  constexpr int kTargetLimit = 1 << 30;  // products fit 32 bits, whatever their rounding
  const Extended factor = static_cast<Extended>(target) / static_cast<Extended>(largest);
  xrd::PixelMemo exact(
      [=](unsigned int pixel) { return xrd::truncate_to_low_word(static_cast<Extended>(pixel) * factor); });
  const bool fits = largest <= static_cast<unsigned int>(std::numeric_limits<std::int32_t>::max()) &&
                    target >= -kTargetLimit && target <= kTargetLimit;
  std::array<std::int32_t, kProducts> products;  // NOLINT: filled before it is read
  for (std::size_t first = 0; first < pixels.size(); first += kProducts) {
    const auto block = pixels.subspan(first, std::min(kProducts, pixels.size() - first));
    if (fits && block.size() == kProducts &&
        xrd::ForProcessor<cut_products>::call(block.data(), static_cast<double>(factor), products.data())) {
      std::memcpy(block.data(), products.data(), sizeof products);
    } else {
      for (unsigned int& pixel : block) pixel = exact(pixel);
    }
  }
}

}  // namespace

namespace xrd {

void invert(std::span<unsigned int> pixels) {
  for (unsigned int& pixel : pixels) pixel = 0xFFFFFFU - pixel;
}

void take_logarithm(std::span<unsigned int> pixels, int scale, int min, int max) {
  const auto range = static_cast<std::int32_t>(static_cast<std::uint32_t>(max) - static_cast<std::uint32_t>(min));
  const Extended slope = static_cast<Extended>(scale) / static_cast<Extended>(range);
  const Extended log_of_scale = std::log(static_cast<Extended>(scale));
  replace_pixels(pixels, [=](unsigned int pixel) {
    const unsigned int above_min = pixel - static_cast<unsigned int>(min);
    const Extended scaled = static_cast<Extended>(max) * std::log(static_cast<Extended>(above_min) * slope + 1);
    return truncate_to_low_word(scaled / log_of_scale);
  });
}

}  // namespace xrd

extern "C" void invert_data(unsigned int* Daten, int n) {
  xrd::print_line("# Inverting Data...");
  xrd::invert({Daten, xrd::caller_pixels(n)});
}

extern "C" int logarith_data(unsigned int* Daten, int n, int logscale, int min, int max) {
  xrd::print("# logscaling Data with logscale %d...\n", logscale);
  xrd::take_logarithm({Daten, xrd::caller_pixels(n)}, logscale, min, max);
  return 0;
}

extern "C" void scale_up(unsigned int* Daten, int width, int height) {
  const auto largest = static_cast<std::int32_t>(xrd::find_largest(Daten, width, height));
  if (largest == 0) return;  // all pixels are zero and stay so
  const unsigned int gain = xrd::truncate_to_low_word(10000.0 / largest);
  const std::size_t pixels = xrd::caller_pixels(width, height, sizeof *Daten);
  for (std::size_t i = 0; i < pixels; ++i) Daten[i] *= gain;
}

extern "C" void scale_up_short(unsigned int* Daten, int width, int height, int target) {
  const unsigned int largest = xrd::find_largest(Daten, width, height);
  if (largest == 0) return;  // all pixels are zero and stay so
  scale_pixels({Daten, xrd::caller_pixels(width, height, sizeof *Daten)}, target, largest);
}

namespace xrd {

ShortArray make_short_array(int n, int maximum) {
  int shift = 0;
  while (maximum >> shift > 65535) {
    ++shift;
    xrd::print_line("# " XRD_RED_WARNING " Die Intensit\xE4ten werden halbiert, damit sie in 16bit passen");
  }
  xrd::print_error("(to_short) shift = %d\n", shift);

  const auto pixels = xrd::allocatable_pixels(n, 1);
  auto words = pixels ? xrd::allocate_unset<unsigned short>(*pixels) : nullptr;
  if (!words) {
    xrd::print("# " XRD_RED_ERROR " cannot allocate %d pixels\n", n);
    return {};
  }
  xrd::print_allocated(*pixels * sizeof(unsigned short), "Daten_ushort");
  return {std::move(words), *pixels, shift};
}

namespace {

XRD_INLINE void narrow(const unsigned int* __restrict pixels, std::size_t count, int shift,
                       unsigned short* __restrict words) {
  for (std::size_t i = 0; i < count; ++i) words[i] = static_cast<unsigned short>(pixels[i] >> shift);
}

}  // namespace

void narrow_pixels(std::span<const unsigned int> pixels, int shift, unsigned short* words) {
  ForProcessor<narrow>::call(pixels.data(), pixels.size(), shift, words);
}

}  // namespace xrd

extern "C" int to_short(unsigned int* Daten, unsigned short** Daten_ushort, int n, int maximum) {
  xrd::ShortArray array = xrd::make_short_array(n, maximum);
  if (!array.words) return 0;
  xrd::narrow_pixels({Daten, array.pixels}, array.shift, array.words.get());
  *Daten_ushort = array.words.release();
  return 0;
}
