#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdlib>
#include <vector>

#include "tests/corpus/run.h"
#include "tests/environment.h"
#include "xrdimage.h"

namespace corpus {

namespace {

using Pixels = std::vector<unsigned int>;

std::size_t count(int width, int height) {
  return static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
}

// From pixels of one bit to pixels of all bits; in the brighter ones sums wrap.
constexpr std::array<unsigned, 6> kShifts{0, 4, 10, 16, 22, 31};

constexpr std::array<std::array<int, 2>, 5> kSizes{{{64, 48}, {63, 47}, {1, 1}, {7, 90}, {250, 4}}};

// An operation that replaces the array that it gets, on random images.
template <typename Pixel, typename Operation>
void replace_images(Run& run, const Operation& operation) {
  for (const auto& [width, height] : kSizes) {
    for (const unsigned shift : kShifts) {
      const auto pixels = run.random.numbers<Pixel>(count(width, height), shift);
      auto* array = static_cast<Pixel*>(std::malloc(pixels.size() * sizeof(Pixel)));
      std::copy(pixels.begin(), pixels.end(), array);
      if (sizeof(Pixel) == 4 && shift == 10) array[0] = static_cast<Pixel>(OVERFLOW_MARK);
      int new_width = width;
      int new_height = height;
      run.record([&] { return operation(&array, &new_width, &new_height); });
      run.record_image(array, new_width, new_height);
    }
  }
}

// An operation on the pixels of random images, in place.
template <typename Operation>
void change_images(Run& run, const Operation& operation) {
  for (const auto& [width, height] : kSizes) {
    for (const unsigned shift : kShifts) {
      auto pixels = run.random.numbers<unsigned int>(count(width, height), shift);
      run.record([&, w = width, h = height] { return operation(pixels.data(), w, h); });
      run.digest.add(pixels);
    }
  }
}

void binned_images(Run& run) {
  for (int factor = 0; factor <= 9; ++factor) {
    replace_images<unsigned int>(
        run, [&](unsigned int** array, int* width, int* height) { return binning(array, factor, width, height); });
  }
}

void short_binned_images(Run& run) {
  for (int factor = 0; factor <= 9; ++factor) {
    replace_images<unsigned short>(run, [&](unsigned short** array, int* width, int* height) {
      return short_binning(array, factor, width, height);
    });
  }
}

void fitted_images(Run& run) {
  for (const auto& size : kSizes) {
    replace_images<unsigned int>(run, [&](unsigned int** array, int* width, int* height) {
      return fit_to_new_dimension(array, width, height, size[0] + 3, size[1] - 1);
    });
  }
}

void short_fitted_images(Run& run) {
  for (const auto& size : kSizes) {
    replace_images<unsigned short>(run, [&](unsigned short** array, int* width, int* height) {
      return fit_to_new_dimension_short(array, width, height, size[0] + 3, size[1] - 1);
    });
  }
}

template <void (*find)(unsigned int*, int, int, unsigned int*, unsigned int*)>
void extremes(Run& run) {
  change_images(run, [&](unsigned int* pixels, int width, int height) {
    unsigned int max = 1;
    unsigned int min = 2;
    find(pixels, width, height, &max, &min);
    run.digest.add_all(max, min);
  });
}

void backgrounds(Run& run) {
  for (const unsigned shift : kShifts) {
    auto pixels = run.random.numbers<unsigned int>(522, shift);
    run.digest.add(find_background(pixels.data()));
  }
}

void averaged_images(Run& run) {
  for (int radius = -1; radius <= 9; ++radius) {
    change_images(run,
                  [&](unsigned int* pixels, int width, int height) { mittle_Daten(pixels, width, height, radius); });
  }
}

void inverted_images(Run& run) {
  change_images(run, [](unsigned int* pixels, int width, int height) { invert_data(pixels, width * height); });
}

void logarithmic_images(Run& run) {
  for (const int logscale : {2, 10, 1000, 1, -10}) {
    for (const int max : {65535, 1000, 0x7FFFFFFF, 10}) {
      change_images(run, [&](unsigned int* pixels, int width, int height) {
        return logarith_data(pixels, width * height, logscale, 10, max);
      });
    }
  }
}

void scaled_images(Run& run) {
  change_images(run, [](unsigned int* pixels, int width, int height) { scale_up(pixels, width, height); });
}

void short_scaled_images(Run& run) {
  for (const int target : {65535, 255, 1, 1000000, 0x7FFFFFFF}) {
    change_images(run,
                  [&](unsigned int* pixels, int width, int height) { scale_up_short(pixels, width, height, target); });
  }
}

void short_images(Run& run) {
  for (const int maximum : {65535, 65536, 256001, 0x7FFFFFFF}) {
    change_images(run, [&](unsigned int* pixels, int width, int height) {
      unsigned short* words = nullptr;
      run.digest.add(to_short(pixels, &words, width * height, maximum));
      run.record_image(words, width, height);
    });
  }
}

// Points in and around the image.
template <typename Operation>
void mark_images(Run& run, const Operation& operation) {
  for (const int divisor : {1, 3, 0, -1, -7}) {
    change_images(run, [&](unsigned int* pixels, int width, int height) {
      const int x = run.random.between(-25, width + 25);
      const int y = run.random.between(-25, height + 25);
      operation(pixels, width, height, x, y, divisor);
    });
  }
}

void boxes(Run& run) {
  mark_images(run, [&](unsigned int* pixels, int width, int height, int x, int y, int divisor) {
    std::array<int, 2> centre{x, y};
    std::array<int, 4> box{};
    for (int& extent : box) extent = run.random.between(-10, 90);
    make_short_box(pixels, width, height, centre.data(), box.data(), divisor);
  });
}

void crosses(Run& run) {
  mark_images(run, [](unsigned int* pixels, int width, int height, int x, int y, int) {
    make_cross(pixels, width, height, x, y);
  });
}

void short_crosses(Run& run) {
  mark_images(run, make_short_cross);
}

constexpr std::array<std::array<float, 2>, 6> kSigmas{
    {{1.0F, 1.0F}, {2.0F, 3.5F}, {0.3F, 40.0F}, {-2.0F, 1.1F}, {1e-3F, 5.0F}, {0.0F, 1.0F}}};

void gauss_kernels(Run& run) {
  for (const auto& [x, y] : kSizes) {
    for (const auto& [sigma_x, sigma_y] : kSigmas) {
      std::vector<fftw_real> kernel(count(x, y + 2));
      fill_gauss(kernel.data(), x, y, sigma_x, sigma_y);
      run.digest.add(kernel);
    }
  }
}

// FFTW computes with the processor's extended precision on 32-bit x86, so that transforms agree to some 1e-16 only.
// They are compared in steps of 2^-30; NaN and infinite values count as the same.
void round_transform(fftw_real* transform, int x, int y) {
  constexpr double kSteps = 1073741824.0;
  for (std::ptrdiff_t i = 0; i < std::ptrdiff_t{x} * (y + 2); ++i) {
    const double value = transform[i];
    transform[i] = std::isfinite(value) ? std::round(value * kSteps) + 0.0 : std::nan("");
  }
}

void transformed_kernels(Run& run) {
  for (const auto& [x, y] : kSizes) {
    for (const auto& [sigma_x, sigma_y] : kSigmas) {
      fftw_real* kernel = nullptr;
      run.record([&, w = x, h = y, sx = sigma_x, sy = sigma_y] { init_gauss(&kernel, w, h, sx, sy); });
      round_transform(kernel, x, y);
      run.record_image(kernel, x, y + 2);
    }
  }
}

constexpr std::array<std::array<int, 2>, 5> kWholeSigmas{{{1, 1}, {2, 3}, {-4, 1}, {30, 30}, {0, 1}}};

void smoothed_images(Run& run) {
  for (const auto& sigma : kWholeSigmas) {
    replace_images<unsigned int>(run, [&](unsigned int** array, int* width, int* height) {
      falte_gauss(array, width, height, sigma[0], sigma[1]);
      return 0;
    });
  }
}

void short_smoothed_images(Run& run) {
  for (const auto& sigma : kWholeSigmas) {
    replace_images<unsigned short>(run, [&](unsigned short** array, int* width, int* height) {
      falte_short_gauss(array, width, height, sigma[0], sigma[1]);
      return 0;
    });
  }
}

}  // namespace

Functions operations() {
  return {
      {"binning", binned_images},
      {"short_binning", short_binned_images},
      {"fit_to_new_dimension", fitted_images},
      {"fit_to_new_dimension_short", short_fitted_images},
      {"find_maximum", extremes<find_maximum>},
      {"find_short_maximum", extremes<find_short_maximum>},
      {"find_background", backgrounds},
      {"mittle_Daten", averaged_images},
      {"invert_data", inverted_images},
      {"logarith_data", logarithmic_images},
      {"scale_up", scaled_images},
      {"scale_up_short", short_scaled_images},
      {"to_short", short_images},
      {"make_short_box", boxes},
      {"make_cross", crosses},
      {"make_short_cross", short_crosses},
      {"fill_gauss", gauss_kernels},
      {"init_gauss", transformed_kernels},
      {"falte_gauss", smoothed_images},
      {"falte_short_gauss", short_smoothed_images},
  };
}

}  // namespace corpus
