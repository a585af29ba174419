// NumPy arrays for the arguments and results of the library's functions.
#pragma once

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <new>
#include <utility>
#include <vector>

#include "support/image_size.h"
#include "support/memory.h"

namespace python {

namespace py = pybind11;

// Arrays of exactly this type, row by row without gaps. Arguments of it are never converted (py::arg().noconvert()).
template <typename T>
using Array = py::array_t<T, py::array::c_style>;

using Image = Array<std::uint32_t>;
using ShortImage = Array<std::uint16_t>;
using SignedImage = Array<std::int16_t>;

inline int as_int(py::ssize_t size) {
  if (size > std::numeric_limits<int>::max()) throw py::value_error("the array is too large");
  return static_cast<int>(size);
}

struct ImageSize {
  int width;
  int height;
};

inline ImageSize size_of(const py::array& image) {
  if (image.ndim() != 2) throw py::value_error("an image has two dimensions");
  return {as_int(image.shape(1)), as_int(image.shape(0))};
}

// The number of pixels, for functions that take nothing else.
inline int count_of(const py::array& array) {
  return as_int(array.size());
}

// The number of pixels of an image that is to be made.
inline std::size_t pixels_of(int width, int height) {
  const auto pixels = xrd::allocatable_pixels(width, height);
  if (!pixels) {
    throw py::value_error("there can be no image of " + std::to_string(width) + " x " + std::to_string(height) +
                          " pixels");
  }
  return *pixels;
}

template <typename T>
xrd::MallocArray<T> checked(xrd::MallocArray<T> array) {
  if (!array) throw std::bad_alloc();
  return array;
}

// For values that nobody else sets: they are 0.
template <typename T>
xrd::MallocArray<T> zeros(std::size_t count) {
  return checked(xrd::allocate_zeroed<T>(count));
}

// An array that the library may free.
template <typename T>
xrd::MallocArray<T> copy_of(const Array<T>& array) {
  auto copy = checked(xrd::allocate_unset<T>(static_cast<std::size_t>(array.size())));
  std::copy_n(array.data(), array.size(), copy.get());
  return copy;
}

// An array that owns the memory: nothing is copied.
template <typename T>
py::array_t<T> owning(xrd::MallocArray<T> values, std::vector<py::ssize_t> shape) {
  T* const data = values.get();
  const py::capsule owner(data, [](void* memory) { std::free(memory); });
  static_cast<void>(values.release());
  return py::array_t<T>(std::move(shape), data, owner);
}

template <typename T>
py::array_t<T> owning_image(xrd::MallocArray<T> pixels, int width, int height) {
  return owning(std::move(pixels), {height, width});
}

}  // namespace python
