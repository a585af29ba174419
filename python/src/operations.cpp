// Functions that work on arrays alone.
#include <pybind11/stl.h>

#include <array>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "arrays.h"
#include "bindings.h"
#include "library_call.h"
#include "processing/gauss.h"
#include "xrdimage.h"

namespace python {

namespace {

// ------------------------------------------------------------------------------------------------------------------
// Packing and words
// ------------------------------------------------------------------------------------------------------------------

py::array differences_of(const SignedImage& image, std::int32_t done) {
  constexpr std::size_t kMost = 16384;
  const auto [width, height] = size_of(image);
  auto differences = zeros<std::int32_t>(kMost);
  auto* const pixels = const_cast<short*>(image.data());  // which are only read
  std::ptrdiff_t count = 0;
  call_library({}, [&, width = width, height = height] {
    count = diff_words(pixels, width, height, differences.get(), done) + 1 - differences.get();
  });
  return owning(std::move(differences), {count});
}

int chunk_bits(const Array<std::int32_t>& chunk) {
  constexpr int kWidest = 32;
  const int count = count_of(chunk);
  if (count > std::numeric_limits<int>::max() / kWidest) throw py::value_error("the array is too large");
  return bits(const_cast<std::int32_t*>(chunk.data()), count);
}

py::tuple append_bits(const Array<std::int32_t>& values, Array<std::uint8_t>& target, py::ssize_t position, int bit,
                      int size) {
  if (size < 1 || size > 32) throw py::value_error("size must be from 1 to 32");
  if (bit < 0 || bit > 7) throw py::value_error("bit must be from 0 to 7");
  if (position < 0 || position > target.size()) throw py::value_error("position is outside of the target");
  const int count = count_of(values);
  const std::int64_t bytes = (bit + std::int64_t{count} * size + 7) / 8;
  if (bytes > target.size() - position) throw py::value_error("the target is too small");
  unsigned char* const first = target.mutable_data();
  unsigned char* next = first + position;
  auto* const lng = const_cast<std::int32_t*>(values.data());  // which are only read
  call_library({}, [&] { pack_longs(lng, count, &next, &bit, size); });
  return py::make_tuple(next - first, bit);
}

// Arrays of any type, row by row.
void swap_words(const py::array& data) {
  if ((data.flags() & py::array::c_style) == 0) throw py::value_error("the array is not contiguous");
  auto checked_data = data;
  void* const bytes = checked_data.mutable_data();
  const int count = as_int(data.nbytes());
  call_library({}, [&] { swapword(bytes, count); });
}

void swap_bytes(SignedImage& data) {
  const int bytes = as_int(data.nbytes());
  short* const words = data.mutable_data();
  call_library({}, [&] { swapbytes(words, bytes); });
}

int unpacked_code(std::int16_t code) {
  int value = 0;
  call_library({}, [&] { value = unpack_i32(code); });
  return value;
}

py::bytes characters(const Array<std::int32_t>& source) {
  const std::int32_t* const end = source.data() + source.size();
  if (std::find(source.data(), end, 0) == end) throw py::value_error("the array lacks the 0 that ends it");
  std::vector<char> target(static_cast<std::size_t>(source.size()));
  return {long_to_char(source.data(), target.data())};
}

void turn(ShortImage& image) {
  const auto [width, height] = size_of(image);
  if (width != height) throw py::value_error("the image is not square");
  unsigned short* const pixels = image.mutable_data();
  call_library({}, [&, width = width] { rotate_clock1(pixels, width); });
}

// ------------------------------------------------------------------------------------------------------------------
// Another pixel grid: of a copy, which the library frees
// ------------------------------------------------------------------------------------------------------------------

// Calls change(Daten, width, height) and returns the array that it left there.
template <typename Pixel, typename Change>
py::array regridded(const Array<Pixel>& image, Change change) {
  auto [width, height] = size_of(image);
  ImageSize size{width, height};
  xrd::MallocArray<Pixel> pixels = copy_of(image);
  call_library({}, [&] {
    Pixel* daten = pixels.release();
    try {
      change(&daten, &size.width, &size.height);
    } catch (...) {
      pixels.reset(daten);
      throw;
    }
    pixels.reset(daten);
  });
  return owning_image(std::move(pixels), size.width, size.height);
}

py::tuple binned(const Image& image, int factor) {
  int largest = 0;
  py::array bins = regridded(image, [&](auto** daten, int* x, int* y) { largest = binning(daten, factor, x, y); });
  return py::make_tuple(bins, static_cast<unsigned>(largest));
}

py::array short_binned(const ShortImage& image, int factor) {
  return regridded(image, [&](auto** daten, int* x, int* y) { short_binning(daten, factor, x, y); });
}

py::array fitted(const Image& image, int width, int height) {
  return regridded(image, [&](auto** daten, int* x, int* y) { fit_to_new_dimension(daten, x, y, width, height); });
}

py::array short_fitted(const ShortImage& image, int width, int height) {
  return regridded(image,
                   [&](auto** daten, int* x, int* y) { fit_to_new_dimension_short(daten, x, y, width, height); });
}

// falte_gauss itself leaves its kernel allocated for the life of the process.
py::array smoothed(const Image& image, int sigma_x, int sigma_y) {
  return regridded(image, [&](auto** daten, int* x, int* y) { xrd::smooth_grid({daten, x, y}, sigma_x, sigma_y); });
}

py::array short_smoothed(const ShortImage& image, int sigma_x, int sigma_y) {
  return regridded(image, [&](auto** daten, int* x, int* y) { falte_short_gauss(daten, x, y, sigma_x, sigma_y); });
}

// ------------------------------------------------------------------------------------------------------------------
// Intensities and markers, in place
// ------------------------------------------------------------------------------------------------------------------

// Calls action(Daten, width, height).
template <typename Action>
void with_image(Image& image, Action action) {
  const auto [width, height] = size_of(image);
  unsigned int* const pixels = image.mutable_data();
  call_library({}, [&, width = width, height = height] { action(pixels, width, height); });
}

template <void (*find)(unsigned int*, int, int, unsigned int*, unsigned int*)>
py::tuple extremes(const Image& image) {
  const auto [width, height] = size_of(image);
  unsigned int largest = 0;
  unsigned int smallest = 0;
  auto* const pixels = const_cast<unsigned int*>(image.data());  // which are only read
  call_library({}, [&, width = width, height = height] { find(pixels, width, height, &largest, &smallest); });
  return py::make_tuple(largest, smallest);
}

unsigned int background(const Image& image) {
  constexpr py::ssize_t kNeeded = 522;
  if (image.size() < kNeeded) throw py::value_error("the image has fewer than 522 pixels");
  return find_background(const_cast<unsigned int*>(image.data()));
}

void averaged(Image& image, int radius) {
  with_image(image, [&](auto* daten, int width, int height) { mittle_Daten(daten, width, height, radius); });
}

void inverted(Image& image) {
  const int count = count_of(image);
  with_image(image, [&](auto* daten, int /*width*/, int /*height*/) { invert_data(daten, count); });
}

void logarithmic(Image& image, int logscale, int smallest, int largest) {
  const int count = count_of(image);
  with_image(image, [&](auto* daten, int /*width*/, int /*height*/) {
    logarith_data(daten, count, logscale, smallest, largest);
  });
}

void scaled(Image& image) {
  with_image(image, scale_up);
}

void scaled_to(Image& image, int target) {
  with_image(image, [&](auto* daten, int width, int height) { scale_up_short(daten, width, height, target); });
}

py::array narrowed(const Image& image, int maximum) {
  const int count = count_of(image);
  auto* const pixels = const_cast<unsigned int*>(image.data());  // which are only read
  xrd::MallocArray<unsigned short> narrow;
  call_library({}, [&] {
    unsigned short* words = nullptr;
    to_short(pixels, &words, count, maximum);
    narrow.reset(words);
  });
  if (!narrow) raise_frame_error("to_short returned no pixels");
  return owning(std::move(narrow), std::vector<py::ssize_t>(image.shape(), image.shape() + image.ndim()));
}

void box_drawn(Image& image, std::array<int, 2> centre, std::array<int, 4> box, int divisor) {
  with_image(image, [&](auto* daten, int width, int height) {
    make_short_box(daten, width, height, centre.data(), box.data(), divisor);
  });
}

void cross_drawn(Image& image, int x, int y) {
  with_image(image, [&](auto* daten, int width, int height) { make_cross(daten, width, height, x, y); });
}

void short_cross_drawn(Image& image, int x, int y, int divisor) {
  with_image(image, [&](auto* daten, int width, int height) { make_short_cross(daten, width, height, x, y, divisor); });
}

// ------------------------------------------------------------------------------------------------------------------
// Gaussian kernels
// ------------------------------------------------------------------------------------------------------------------

// The padding of a row of the kernel.
constexpr int kPadding = 2;

std::size_t kernel_values(int x, int y) {
  if (x < 0 || y < 0 || y > std::numeric_limits<int>::max() - kPadding) return pixels_of(x, y);
  return pixels_of(x, y + kPadding);
}

py::array kernel(int x, int y, float sigma_x, float sigma_y) {
  auto gauss = zeros<fftw_real>(kernel_values(x, y));
  call_library({}, [&] { fill_gauss(gauss.get(), x, y, sigma_x, sigma_y); });
  return owning_image(std::move(gauss), y + kPadding, x);
}

py::array transformed_kernel(int x, int y, float sigma_x, float sigma_y) {
  kernel_values(x, y);
  xrd::MallocArray<fftw_real> gauss;
  call_library({}, [&] {
    fftw_real* values = nullptr;
    init_gauss(&values, x, y, sigma_x, sigma_y);
    gauss.reset(values);
  });
  if (!gauss) raise_frame_error("init_gauss returned no kernel");
  return owning_image(std::move(gauss), y + kPadding, x);
}

}  // namespace

void define_operations(py::module_& module) {
  const auto array = py::arg().noconvert();
  module.def("diff_words", differences_of, array, py::arg());
  module.def("bits", chunk_bits, array);
  module.def("pack_longs", append_bits, array, array, py::arg(), py::arg(), py::arg());
  module.def("swapword", swap_words);
  module.def("swapbytes", swap_bytes, array);
  module.def("packi32", packi32);
  module.def("unpack_i32", unpacked_code);
  module.def("long_to_char", characters, array);
  module.def("rotate_clock1", turn, array);
  module.def("binning", binned, array, py::arg());
  module.def("short_binning", short_binned, array, py::arg());
  module.def("fit_to_new_dimension", fitted, array, py::arg(), py::arg());
  module.def("fit_to_new_dimension_short", short_fitted, array, py::arg(), py::arg());
  module.def("falte_gauss", smoothed, array, py::arg(), py::arg());
  module.def("falte_short_gauss", short_smoothed, array, py::arg(), py::arg());
  module.def("find_maximum", extremes<find_maximum>, array);
  module.def("find_short_maximum", extremes<find_short_maximum>, array);
  module.def("find_background", background, array);
  module.def("mittle_Daten", averaged, array, py::arg());
  module.def("invert_data", inverted, array);
  module.def("logarith_data", logarithmic, array, py::arg(), py::arg(), py::arg());
  module.def("scale_up", scaled, array);
  module.def("scale_up_short", scaled_to, array, py::arg());
  module.def("to_short", narrowed, array, py::arg());
  module.def("make_short_box", box_drawn, array, py::arg(), py::arg(), py::arg());
  module.def("make_cross", cross_drawn, array, py::arg(), py::arg());
  module.def("make_short_cross", short_cross_drawn, array, py::arg(), py::arg(), py::arg());
  module.def("fill_gauss", kernel);
  module.def("init_gauss", transformed_kernel);
}

}  // namespace python
