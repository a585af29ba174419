// Smoothing by a cyclic convolution with a two-dimensional Gaussian, as a product of Fourier transforms.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <optional>
#include <utility>

#include "processing/fft.h"
#include "processing/gauss.h"
#include "processing/grid.h"
#include "support/arithmetic.h"
#include "support/assertion.h"
#include "support/conversation.h"
#include "support/image_size.h"
#include "support/memory.h"
#include "support/message.h"
#include "support/two_threads.h"
#include "xrdimage.h"

namespace {

using xrd::Direction;
using xrd::MallocArray;

// A value rounded to single precision for good. The empty instruction keeps compilers from computing on with more
// digits, as GCC 12 does where it turns a product of complex numbers into vector arithmetic in double precision.
double rounded_to_single(double value) {
  auto rounded = static_cast<float>(value);
#if defined(__SSE2__)
  asm("" : "+x"(rounded));
#endif
  return rounded;
}

// One axis of the kernel. Samples are numbered from 1 and centred half-way between two of them for an even size.
struct Axis {
  int size;
  double centre;

  explicit Axis(int axis_size) : size(axis_size), centre(rounded_to_single((axis_size + 1.0) * 0.5)) {}

  // Wrapped around: the upper half comes first. Of an odd size the last position stays free, as the first and the last
  // sample share one and the last one is kept.
  int positions() const { return size % 2 == 0 || size == 1 ? size : size - 1; }
  int sample_at(int position) const {
    const int half = size / 2;
    return position < size - half ? position + half + 1 : position - half + 1;
  }
  double distance_at(int position) const { return sample_at(position) - centre; }
};

// The exponent below which a sample times `scale` is rounded to zero in single precision: it is less than half of the
// smallest number there, 2^-150. Not a number, and so below nothing, when the scale is.
double vanishing_exponent(double scale) {
  constexpr double kMargin = 1.0;
  return -150.0 * std::log(2.0) - std::log(std::fabs(scale)) - kMargin;
}

// Zeros, which are negative for a negative scale.
void set_zeros(fftw_real* values, int count, double zero) {
  if (std::signbit(zero)) {
    std::fill_n(values, count, zero);
  } else {
    std::memset(values, 0, static_cast<std::size_t>(count) * sizeof *values);  // which goes past the caches
  }
}

// Rows of the in-place transform: one real value per pixel of an image column, and two values of padding.
std::ptrdiff_t row_stride(int y) {
  return std::ptrdiff_t{y} + 2;
}

// x * (y + 2) values; nothing for an invalid size.
std::optional<std::size_t> transform_values(int x, int y) {
  if (!xrd::allocatable_pixels(x, y)) return std::nullopt;
  return static_cast<std::size_t>(x) * (static_cast<std::size_t>(y) + 2);
}

// Calls action(0) and action(1), at the same time if so many values are worth a thread.
template <typename Action>
void in_two_parts(std::size_t values, Action action) {
  constexpr std::size_t kWorthThread = std::size_t{1} << 16;
  if (values >= kWorthThread) return xrd::in_two_threads(action);
  action(0);
  action(1);
}

// A few columns of an array whose rows (columns of the image, that is) are transformed, laid out column by column, so
// that the cache holds them; the operations on each column stay the same.
class ColumnGroup {
 public:
  static constexpr std::size_t kColumns = 8;

  explicit ColumnGroup(int rows)
      : rows_(static_cast<std::size_t>(rows)),
        memory_(xrd::allocate_unset<fftw_real>(4 * kColumns * rows_)),
        from_(memory_.get()),
        to_(memory_ == nullptr ? nullptr : memory_.get() + 2 * kColumns * rows_) {}

  // Whether there is memory for it.
  bool ready() const { return memory_ != nullptr; }

  // Takes `columns` complex numbers of each row, from the given value on; row(i) is where a row begins.
  template <typename Row>
  void load(Row row, std::size_t first, std::size_t columns) {
    columns_ = columns;
    for (std::size_t i = 0; i < rows_; ++i) {
      const fftw_real* const source = row(i) + first;
      for (std::size_t column = 0; column < columns; ++column)
        std::copy_n(source + 2 * column, 2, at(from_, column, i));
    }
  }

  // Puts them back.
  template <typename Row>
  void store(Row row, std::size_t first) const {
    for (std::size_t i = 0; i < rows_; ++i) {
      fftw_real* const target = row(i) + first;
      for (std::size_t column = 0; column < columns_; ++column)
        std::copy_n(at(from_, column, i), 2, target + 2 * column);
    }
  }

  void transform(const xrd::ComplexTransform& transform) {
    for (std::size_t i = 0; i < columns_; ++i) transform.run(at(from_, i, 0), at(to_, i, 0));
    std::swap(from_, to_);
  }

  // Multiplies by a group of the transformed kernel; the image's values take part in single precision.
  void multiply(const ColumnGroup& kernel) {
    const fftw_real* factor = kernel.from_;
    fftw_real* value = from_;
    for (std::size_t i = 0; i < columns_ * rows_; ++i, factor += 2, value += 2) {
      const double re = rounded_to_single(value[0]);
      const double im = rounded_to_single(value[1]);
      value[0] = factor[0] * re - factor[1] * im;
      value[1] = im * factor[0] + re * factor[1];
    }
  }

 private:
  fftw_real* at(fftw_real* columns, std::size_t column, std::size_t row) const {
    return columns + 2 * (column * rows_ + row);
  }

  std::size_t rows_;
  std::size_t columns_ = 0;
  MallocArray<fftw_real> memory_;
  fftw_real* from_;
  fftw_real* to_;
};

// Calls action(part, first value, columns) for every group of columns of rows of y values, half of them in another
// thread.
template <typename Action>
void for_each_group(std::size_t values, int y, Action action) {
  const std::size_t stride = xrd::RealTransform::stride(y);
  constexpr std::size_t kGroup = 2 * ColumnGroup::kColumns;
  in_two_parts(values, [&](std::size_t part) {
    for (std::size_t first = part * kGroup; first < stride; first += 2 * kGroup) {
      action(part, first, std::min(ColumnGroup::kColumns, (stride - first) / 2));
    }
  });
}

// Calls action(first row, end) for both halves of the rows.
template <typename Action>
void for_each_half(std::size_t values, int rows, Action action) {
  const auto half = static_cast<std::size_t>(rows) / 2;
  in_two_parts(values, [&](std::size_t part) {
    if (part == 0) {
      action(std::size_t{0}, half);
    } else {
      action(half, static_cast<std::size_t>(rows));
    }
  });
}

bool is_zero(const fftw_real* values, std::size_t count) {
  return std::all_of(values, values + count, [](double value) { return value == 0.0 && !std::signbit(value); });
}

// The kernel's samples, whose rows are transformed. Most rows hold only zeros: one of these is
// transformed for all.
class KernelRows {
 public:
  // Fills the kernel, which has x * (y + 2) values.
  KernelRows(fftw_real* kernel, int x, int y, float sigma_x, float sigma_y)
      : rows_(xrd::allocate_unset<fftw_real*>(static_cast<std::size_t>(x))) {
    fill_gauss(kernel, x, y, sigma_x, sigma_y);
    if (!ready()) return;
    const xrd::RealTransform transform(y, Direction::kForward);
    const std::size_t stride = xrd::RealTransform::stride(y);
    for_each_half(*transform_values(x, y), x, [&](std::size_t first, std::size_t end) {
      fftw_real* of_zeros = nullptr;
      for (std::size_t i = first; i < end; ++i) {
        rows_[i] = kernel + i * stride;
        const bool zero = is_zero(rows_[i], static_cast<std::size_t>(y));
        if (zero && of_zeros != nullptr) {
          rows_[i] = of_zeros;
        } else {
          transform.run(rows_[i], 1);
        }
        if (zero) of_zeros = rows_[i];
      }
    });
  }

  // Whether there is memory for it.
  bool ready() const { return rows_ != nullptr; }

  const fftw_real* operator[](std::size_t row) const { return rows_[row]; }

 private:
  MallocArray<fftw_real*> rows_;
};

// Transforms the kernel's columns too, and stores them in the kernel; false without memory for it.
bool transform_columns(fftw_real* kernel, const KernelRows& rows, int x, int y) {
  ColumnGroup first_group(x);
  ColumnGroup second_group(x);
  if (!first_group.ready() || !second_group.ready()) return false;
  const std::size_t stride = xrd::RealTransform::stride(y);
  const xrd::ComplexTransform transform(x, Direction::kForward);
  for_each_group(*transform_values(x, y), y, [&](std::size_t part, std::size_t first, std::size_t columns) {
    ColumnGroup& group = part == 0 ? first_group : second_group;
    group.load([&](std::size_t row) { return rows[row]; }, first, columns);
    group.transform(transform);
    group.store([&](std::size_t row) { return kernel + row * stride; }, first);
  });
  return true;
}

[[noreturn]] void fail_without_memory() {
  xrd::fail_assertion("gauss=(fftw_real*)malloc(sizeof(fftw_real)*(x)*(y+2))", "gauss", 32, "init_gauss");
}

// Zeros for the kernel of x * (y + 2) values; null, with a message, for an invalid size.
MallocArray<fftw_real> allocate_kernel(int x, int y) {
  const auto values = transform_values(x, y);
  if (!values) {
    xrd::print("# " XRD_RED_ERROR ": cannot smooth %dx%d pixels\n", x, y);
    return nullptr;
  }
  auto kernel = xrd::allocate_zeroed<fftw_real>(*values);
  if (!kernel) fail_without_memory();
  return kernel;
}

// Edge of the squares in which images are turned over between rows and columns, so that both fit the cache.
constexpr int kTile = 32;

// Calls action(column, row) for every pixel, square by square; every other row of squares in another thread.
template <typename Action>
void for_each_tiled(int width, int height, Action action) {
  in_two_parts(*transform_values(width, height), [=](int part) {
    for (int first_row = part * kTile; first_row < height; first_row += 2 * kTile) {
      const int end_row = std::min(first_row + kTile, height);
      for (int first_column = 0; first_column < width; first_column += kTile) {
        const int end_column = std::min(first_column + kTile, width);
        for (int column = first_column; column < end_column; ++column) {
          for (int row = first_row; row < end_row; ++row) action(std::ptrdiff_t{column}, std::ptrdiff_t{row});
        }
      }
    }
  });
}

// The work space of a thread.
struct Groups {
  ColumnGroup image;
  ColumnGroup kernel;

  explicit Groups(int rows) : image(rows), kernel(rows) {}
  bool ready() const { return image.ready() && kernel.ready(); }
};

// Transforms the image, multiplies it by the transformed kernel and transforms it back; false without memory for it.
// Between the rows' transforms, all is done for a group of columns at once.
bool convolve_values(fftw_real* image, const KernelRows& kernel, int x, int y) {
  Groups of_first(x);
  Groups of_second(x);
  if (!of_first.ready() || !of_second.ready()) return false;

  const std::size_t values = *transform_values(x, y);
  const std::size_t stride = xrd::RealTransform::stride(y);
  const auto transform_rows = [&](Direction direction) {
    const xrd::RealTransform transform(y, direction);
    for_each_half(values, x, [&](std::size_t first, std::size_t end) {
      transform.run(image + first * stride, static_cast<int>(end - first));
    });
  };
  transform_rows(Direction::kForward);
  const xrd::ComplexTransform forward(x, Direction::kForward);
  const xrd::ComplexTransform backward(x, Direction::kBackward);
  const auto image_row = [&](std::size_t row) { return image + row * stride; };
  for_each_group(values, y, [&](std::size_t part, std::size_t first, std::size_t columns) {
    Groups& groups = part == 0 ? of_first : of_second;
    groups.kernel.load([&](std::size_t row) { return kernel[row]; }, first, columns);
    groups.kernel.transform(forward);
    groups.image.load(image_row, first, columns);
    groups.image.transform(forward);
    groups.image.multiply(groups.kernel);
    groups.image.transform(backward);
    groups.image.store(image_row, first);
  });
  transform_rows(Direction::kBackward);
  return true;
}

// Smooths the image, whose size is even. Without memory for it the image stays unchanged, with a message.
template <typename Pixel>
void convolve(Pixel* image, int x, int y, const KernelRows& kernel) {
  const auto array = xrd::allocate_zeroed<fftw_real>(*transform_values(x, y));
  const std::ptrdiff_t stride = row_stride(y);
  fftw_real* const work = array.get();
  const auto fill_work = [&] {
    for_each_tiled(x, y, [&](std::ptrdiff_t i, std::ptrdiff_t j) { work[i * stride + j] = image[j * x + i]; });
    return true;
  };
  if (work == nullptr || !kernel.ready() || !fill_work() || !convolve_values(work, kernel, x, y)) {
    xrd::print("# " XRD_RED_ERROR ": cannot smooth %dx%d pixels\n", x, y);
    return;
  }
  const double scale = 1.0 / (x * y);
  for_each_tiled(x, y, [&](std::ptrdiff_t i, std::ptrdiff_t j) {
    const double value = work[i * stride + j];
    // The magnitude: negative ringing comes out positive. Sixteen-bit results wrap.
    image[j * x + i] = static_cast<Pixel>(xrd::truncate_to_low_word(std::sqrt(value * scale * value * scale)));
  });
}

// Smooths the image after making its size even. Returns the kernel's memory, if it got that far.
template <typename Pixel>
MallocArray<fftw_real> smooth(const xrd::GridRef<Pixel>& image, int sigma_x, int sigma_y) {
  const auto even = [](int size) { return static_cast<int>(static_cast<unsigned>(size) + (size % 2 != 0 ? 1U : 0U)); };
  if (!xrd::fit_grid(image, even(*image.width), even(*image.height))) return nullptr;
  const int x = *image.width;
  const int y = *image.height;
  auto kernel = allocate_kernel(x, y);
  if (!kernel || x == 0 || y == 0) return kernel;
  const KernelRows rows(kernel.get(), x, y, static_cast<float>(sigma_x), static_cast<float>(sigma_y));
  convolve(*image.pixels, x, y, rows);
  return kernel;
}

}  // namespace

namespace xrd {

MallocArray<double> smooth_grid(const GridRef<unsigned int>& image, int sigma_x, int sigma_y) {
  return smooth(image, sigma_x, sigma_y);
}

}  // namespace xrd

extern "C" void fill_gauss(fftw_real* gauss, int x, int y, float sigma_x, float sigma_y) {
  if (x < 1 || y < 1) return;
  constexpr float kTwoPi = 6.2831855F;
  // The product of three is rounded once, and its reciprocal once.
  const auto product = static_cast<float>(static_cast<long double>(kTwoPi) * sigma_x * sigma_y);
  const double norm = rounded_to_single(1.0 / product);
  const double vanishing = vanishing_exponent(norm);
  const double zero = std::copysign(0.0, norm);
  const double inverse_x = 1.0 / sigma_x;
  const double inverse_y = 1.0 / sigma_y;
  const Axis columns(x);  // the transform's rows are the image's columns
  const Axis rows(y);
  const auto square_y = [&](int position) { return std::pow(rows.distance_at(position) * inverse_y, 2.0); };
  // Where a sample need not vanish: at both ends of a row, as the centre is wrapped around. No square is negative, so
  // that what vanishes for a square of 0 in x vanishes in all rows. A sigma of 0, for which distances may be no
  // numbers, has an infinite scale, for which nothing vanishes.
  const int positions = rows.positions();
  int front = 0;
  while (front < positions && !(-square_y(front) < vanishing)) ++front;
  int back = positions;
  while (back > front && !(-square_y(back - 1) < vanishing)) --back;
  for (int i = 0; i < columns.positions(); ++i) {
    const double a = rounded_to_single(columns.distance_at(i) * inverse_x);
    const double square_x = std::pow(a, 2.0);
    fftw_real* row = gauss + i * row_stride(y);
    const auto fill = [&](int first, int end) {
      for (int j = first; j < end; ++j) {
        const double exponent = -square_x - square_y(j);
        row[j] = exponent < vanishing ? zero : rounded_to_single(std::exp(exponent) * norm);
      }
    };
    if (-square_x < vanishing) {
      set_zeros(row, positions, zero);
    } else {
      fill(0, front);
      set_zeros(row + front, back - front, zero);
      fill(back, positions);
    }
  }
}

extern "C" void init_gauss(fftw_real** gauss, int x, int y, float sigma_x, float sigma_y) {
  auto kernel = allocate_kernel(x, y);
  if (!kernel) return;
  if (x > 0 && y > 0) {
    const KernelRows rows(kernel.get(), x, y, sigma_x, sigma_y);
    if (!rows.ready() || !transform_columns(kernel.get(), rows, x, y)) fail_without_memory();
  }
  *gauss = kernel.release();
}

extern "C" void falte_gauss(unsigned int** Daten, int* x, int* y, int sigma_x, int sigma_y) {
  // Callers rely on the kernel staying allocated after this function, unlike after its 16-bit twin.
  static_cast<void>(xrd::smooth_grid({Daten, x, y}, sigma_x, sigma_y).release());
}  // NOLINT(clang-analyzer-unix.Malloc): the kernel, see above

extern "C" void falte_short_gauss(unsigned short** Daten_ushort, int* x, int* y, int sigma_x, int sigma_y) {
  smooth(xrd::GridRef<unsigned short>{Daten_ushort, x, y}, sigma_x, sigma_y);
}
