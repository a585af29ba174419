#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>

#include "tests/trust/calls.h"
#include "tests/trust/memory.h"
#include "xrdimage.h"

namespace trust {

namespace {

std::vector<unsigned int> noise(std::size_t count) {
  return corpus::Random(count).numbers<unsigned int>(count, 16);
}

// A caller's image, which a function may replace.
template <typename Pixel>
struct Grid {
  Pixel* array;
  int width;
  int height;
  Pixel* before;

  Grid(int w, int h) : width(w), height(h), copy_(static_cast<std::size_t>(w) * static_cast<std::size_t>(h)) {
    copy_ = corpus::Random(9).numbers<Pixel>(copy_.size(), 20);
    array = before = static_cast<Pixel*>(std::malloc(copy_.size() * sizeof(Pixel)));
    std::ranges::copy(copy_, array);
    memory::adopt(array);
  }
  Grid(const Grid&) = delete;
  Grid& operator=(const Grid&) = delete;
  ~Grid() { std::free(array); }

  void tell(Scene& scene) const {
    scene.tell("size", std::to_string(width) + "x" + std::to_string(height));
    const auto pixels = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    if (array == before) {
      scene.tell("array", std::equal(copy_.begin(), copy_.end(), array) ? "untouched" : "changed");
    } else {
      scene.tell_all("array", array, pixels);
    }
  }

 private:
  std::vector<Pixel> copy_;
};

// The function given changes, or replaces, an image of this size.
template <typename Pixel, typename Function>
void grid_call(Scene& scene, int width, int height, Function function) {
  Grid<Pixel> grid(width, height);
  int returned = -9;
  scene.call([&] { returned = function(&grid.array, &grid.width, &grid.height); });
  scene.tell("returned", returned);
  grid.tell(scene);
}

// The function given changes the pixels of an image of 60 x 50.
template <typename Function>
void pixels_call(Scene& scene, Function function) {
  std::vector<unsigned int> pixels = noise(3000);
  const std::vector<unsigned int> before = pixels;
  scene.call([&] { function(pixels.data()); });
  if (pixels == before) {
    scene.tell("array", "untouched");
  } else {
    scene.tell_all("array", pixels.data(), pixels.size());
  }
}

void differences(Scene& scene) {
  auto pixels = corpus::Random(2).numbers<short>(3000, 20);
  std::vector<std::int32_t> found(16384);
  std::ptrdiff_t count = -1;
  scene.call([&] { count = diff_words(pixels.data(), 60, 50, found.data(), 0) - found.data() + 1; });
  scene.tell("count", count);
  scene.tell_all("differences", found.data(), found.size());
}

void price(Scene& scene) {
  auto chunk = corpus::Random(3).numbers<std::int32_t>(128, 20);
  int returned = -9;
  scene.call([&] { returned = bits(chunk.data(), 128); });
  scene.tell("returned", returned);
}

void packed_bits(Scene& scene) {
  auto values = corpus::Random(4).numbers<std::int32_t>(128);
  std::array<unsigned char, 1024> bytes{};
  unsigned char* target = bytes.data();
  int bit = 3;
  scene.call([&] { pack_longs(values.data(), 128, &target, &bit, 17); });
  scene.tell("bit", bit);
  scene.tell_all("bytes", bytes.data(), bytes.size());
}

void words(Scene& scene) {
  auto values = noise(100);
  scene.call([&] { swapword(values.data(), 400); });
  scene.tell_all("words", values.data(), values.size());
}

void bytes(Scene& scene) {
  auto values = corpus::Random(5).numbers<short>(100);
  scene.call([&] { swapbytes(values.data(), 200); });
  scene.tell_all("words", values.data(), values.size());
}

void code(Scene& scene) {
  short returned = 0;
  scene.call([&] { returned = packi32(70000); });
  scene.tell("returned", returned);
}

void value(Scene& scene) {
  int returned = 0;
  scene.call([&] { returned = unpack_i32(-5); });
  scene.tell("returned", returned);
}

void characters(Scene& scene) {
  const std::array<int, 4> source{'a', 0x162, 'c', 0};
  std::array<char, 4> target{};
  scene.call([&] { long_to_char(source.data(), target.data()); });
  scene.tell("text", target.data());
}

void turned(Scene& scene) {
  auto image = corpus::Random(6).numbers<unsigned short>(900);
  scene.call([&] { rotate_clock1(image.data(), 30); });
  scene.tell_all("image", image.data(), image.size());
}

void binned(Scene& scene) {
  grid_call<unsigned int>(scene, 60, 50, [](auto** array, int* w, int* h) { return binning(array, 2, w, h); });
}

void short_binned(Scene& scene) {
  grid_call<unsigned short>(scene, 60, 50, [](auto** array, int* w, int* h) { return short_binning(array, 2, w, h); });
}

void fitted(Scene& scene) {
  grid_call<unsigned int>(scene, 60, 50,
                          [](auto** array, int* w, int* h) { return fit_to_new_dimension(array, w, h, 40, 70); });
}

void short_fitted(Scene& scene) {
  grid_call<unsigned short>(
      scene, 60, 50, [](auto** array, int* w, int* h) { return fit_to_new_dimension_short(array, w, h, 40, 70); });
}

template <void (*find)(unsigned int*, int, int, unsigned int*, unsigned int*)>
void extremes(Scene& scene) {
  auto pixels = noise(3000);
  unsigned int largest = 0;
  unsigned int smallest = 0;
  scene.call([&] { find(pixels.data(), 60, 50, &largest, &smallest); });
  scene.tell("largest", largest);
  scene.tell("smallest", smallest);
}

void background(Scene& scene) {
  auto pixels = noise(3000);
  unsigned int level = 0;
  scene.call([&] { level = find_background(pixels.data()); });
  scene.tell("level", level);
}

void averaged(Scene& scene) {
  pixels_call(scene, [](unsigned int* pixels) { mittle_Daten(pixels, 60, 50, 3); });
}

void inverted(Scene& scene) {
  pixels_call(scene, [](unsigned int* pixels) { invert_data(pixels, 3000); });
}

void logarithms(Scene& scene) {
  pixels_call(scene, [](unsigned int* pixels) { logarith_data(pixels, 3000, 10, 0, 65535); });
}

void scaled(Scene& scene) {
  pixels_call(scene, [](unsigned int* pixels) { scale_up(pixels, 60, 50); });
}

void short_scaled(Scene& scene) {
  pixels_call(scene, [](unsigned int* pixels) { scale_up_short(pixels, 60, 50, 30000); });
}

void narrowed(Scene& scene) {
  auto pixels = noise(3000);
  unsigned short before = 0;
  unsigned short* array = &before;
  int returned = -9;
  scene.call([&] { returned = to_short(pixels.data(), &array, 3000, 256001); });
  scene.tell("returned", returned);
  if (array == &before) {
    scene.tell("array", "untouched");
    return;
  }
  scene.tell_all("array", array, pixels.size());
  std::free(array);
}

void boxed(Scene& scene) {
  pixels_call(scene, [](unsigned int* pixels) {
    std::array<int, 2> centre{30, 20};
    std::array<int, 4> box{5, 6, 7, 8};
    make_short_box(pixels, 60, 50, centre.data(), box.data(), 2);
  });
}

void crossed(Scene& scene) {
  pixels_call(scene, [](unsigned int* pixels) { make_cross(pixels, 200, 15, 30, 7); });
}

void short_crossed(Scene& scene) {
  pixels_call(scene, [](unsigned int* pixels) { make_short_cross(pixels, 60, 50, 30, 20, 2); });
}

void kernel(Scene& scene) {
  std::vector<fftw_real> values(std::size_t{16} * 22, 7.0);
  scene.call([&] { fill_gauss(values.data(), 16, 20, 2.0F, 3.0F); });
  scene.tell_all("kernel", values.data(), values.size());
}

void transformed_kernel(Scene& scene) {
  fftw_real before = 0;
  fftw_real* gauss = &before;
  scene.call([&] { init_gauss(&gauss, kSmoothWidth + 1, kSmoothHeight, 2.0F, 3.0F); });
  if (gauss == &before) {
    scene.tell("kernel", "untouched");
    return;
  }
  scene.tell_all("kernel", gauss, std::size_t{kSmoothWidth + 1} * (kSmoothHeight + 2));
  std::free(gauss);
}

void smoothed(Scene& scene) {
  grid_call<unsigned int>(scene, kSmoothWidth, kSmoothHeight, [](auto** array, int* w, int* h) {
    falte_gauss(array, w, h, 2, 3);
    return 0;
  });
}

void short_smoothed(Scene& scene) {
  grid_call<unsigned short>(scene, kSmoothWidth, kSmoothHeight, [](auto** array, int* w, int* h) {
    falte_short_gauss(array, w, h, 2, 3);
    return 0;
  });
}

}  // namespace

std::vector<Call> pixel_calls() {
  return {{"diff_words", differences},
          {"bits", price},
          {"pack_longs", packed_bits},
          {"swapword", words},
          {"swapbytes", bytes},
          {"packi32", code},
          {"unpack_i32", value},
          {"long_to_char", characters},
          {"rotate_clock1", turned},
          {"binning", binned},
          {"short_binning", short_binned},
          {"fit_to_new_dimension", fitted},
          {"fit_to_new_dimension_short", short_fitted},
          {"find_maximum", extremes<find_maximum>},
          {"find_short_maximum", extremes<find_short_maximum>},
          {"find_background", background},
          {"mittle_Daten", averaged},
          {"invert_data", inverted},
          {"logarith_data", logarithms},
          {"scale_up", scaled},
          {"scale_up_short", short_scaled},
          {"to_short", narrowed},
          {"make_short_box", boxed},
          {"make_cross", crossed},
          {"make_short_cross", short_crossed},
          {"fill_gauss", kernel},
          {"init_gauss", transformed_kernel},
          {"falte_gauss", smoothed},
          {"falte_short_gauss", short_smoothed}};
}

}  // namespace trust
