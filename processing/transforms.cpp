// Pixel by pixel transforms, in place, and the conversion to 16 bits.
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <span>

#include "processing/extremes.h"
#include "processing/pixel_memo.h"
#include "support/arithmetic.h"
#include "support/image_size.h"
#include "support/memory.h"
#include "support/message.h"
#include "xrdimage.h"

namespace {

// Hosts rely on results that were computed with the processor's extended precision, which long double has on x86.
using Extended = long double;

// Replaces each pixel by a function of it that costs more than a look into a table.
template <typename Function>
void replace_pixels(std::span<unsigned int> pixels, Function function) {
  xrd::PixelMemo<Function> memo(function);
  for (unsigned int& pixel : pixels) pixel = memo(pixel);
}

}  // namespace

extern "C" void invert_data(unsigned int* Daten, int n) {
  std::puts("# Inverting Data...");
  const std::size_t pixels = xrd::caller_pixels(n);
  for (std::size_t i = 0; i < pixels; ++i) Daten[i] = 0xFFFFFFU - Daten[i];
}

extern "C" int logarith_data(unsigned int* Daten, int n, int logscale, int min, int max) {
  const auto range = static_cast<std::int32_t>(static_cast<std::uint32_t>(max) - static_cast<std::uint32_t>(min));
  const Extended slope = static_cast<Extended>(logscale) / static_cast<Extended>(range);
  std::printf("# logscaling Data with logscale %d...\n", logscale);
  const Extended log_of_scale = std::log(static_cast<Extended>(logscale));
  replace_pixels({Daten, xrd::caller_pixels(n)}, [=](unsigned int pixel) {
    const unsigned int above_min = pixel - static_cast<unsigned int>(min);
    const Extended scaled = static_cast<Extended>(max) * std::log(static_cast<Extended>(above_min) * slope + 1);
    return xrd::truncate_to_low_word(scaled / log_of_scale);
  });
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
  const Extended factor = static_cast<Extended>(target) / static_cast<Extended>(largest);
  replace_pixels({Daten, xrd::caller_pixels(width, height, sizeof *Daten)},
                 [=](unsigned int pixel) { return xrd::truncate_to_low_word(static_cast<Extended>(pixel) * factor); });
}

extern "C" int to_short(unsigned int* Daten, unsigned short** Daten_ushort, int n, int maximum) {
  int shift = 0;
  while (maximum >> shift > 65535) {
    ++shift;
    std::puts("# " XRD_RED_WARNING " Die Intensit\xE4ten werden halbiert, damit sie in 16bit passen");
  }
  std::fprintf(stderr, "(to_short) shift = %d\n", shift);

  const auto pixels = xrd::allocatable_pixels(n, 1);
  auto words = pixels ? xrd::allocate_unset<unsigned short>(*pixels) : nullptr;
  if (!words) {
    std::printf("# " XRD_RED_ERROR " cannot allocate %d pixels\n", n);
    return 0;
  }
  xrd::print_allocated(*pixels * sizeof(unsigned short), "Daten_ushort");
  for (std::size_t i = 0; i < *pixels; ++i) words[i] = static_cast<unsigned short>(Daten[i] >> shift);
  *Daten_ushort = words.release();
  return 0;
}
