#include <dlfcn.h>
#include <malloc.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "tests/environment.h"
#include "tests/processing/naive_gauss.h"
#include "tests/processing/replaced_image.h"
#include "xrdimage.h"

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#include <sanitizer/allocator_interface.h>
#define XRDIMAGE_ADDRESS_SANITIZER
#endif
#endif

namespace {

using naive::Reals;
using test::Image;
using test::Image16;
using test::Image32;

constexpr int kLargest = std::numeric_limits<int>::max();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

// Added to the first number, the sum over the row, of each row that FFTW transforms back: each pixel grows by added_sum
// / pixels.
double added_sum = 0;

class AddedSum {
 public:
  explicit AddedSum(double sum) { added_sum = sum; }
  AddedSum(const AddedSum&) = delete;
  AddedSum& operator=(const AddedSum&) = delete;
  ~AddedSum() { added_sum = 0; }
};

// ------------------------------------------------------------------------------------------------------------------
// Kernels
// ------------------------------------------------------------------------------------------------------------------

// How far transforms may be off, as a part of the largest number: not at all with FFTW 2.
#if defined(XRDIMAGE_FFTW3)
constexpr double kTransformError = 1e-14;
#else
constexpr double kTransformError = 0.0;
#endif

// Compares transformed kernels.
void expect_transforms(const Reals& actual, const Reals& expected) {
  ASSERT_EQ(actual.size(), expected.size());
  const double largest = std::fabs(*std::max_element(expected.begin(), expected.end(),
                                                     [](double a, double b) { return std::fabs(a) < std::fabs(b); }));
  for (std::size_t i = 0; i < expected.size(); ++i) {
    ASSERT_NEAR(actual[i], expected[i], kTransformError * largest) << i;
    if (kTransformError == 0.0) {
      ASSERT_EQ(std::signbit(actual[i]), std::signbit(expected[i])) << i;
    }
  }
}

// Compares smoothed images. Where last bits differ, numbers may be rounded to another one in single precision, whose
// relative distance is 2^-23, or cut to another count.
template <typename Pixel>
void expect_smoothed(const Image<Pixel>& actual, const Image<Pixel>& expected, double largest) {
  if (kTransformError == 0.0) {
    EXPECT_TRUE(actual == expected);
    return;
  }
  ASSERT_EQ(actual.pixels.size(), expected.pixels.size());
  for (std::size_t i = 0; i < expected.pixels.size(); ++i) {
    ASSERT_NEAR(actual.pixels[i], expected.pixels[i], 1 + std::floor(largest * 0x1p-22)) << i;
  }
}

// Where the two differ in any bit; numbers that are none count as equal.
std::string differences(const Reals& actual, const Reals& expected) {
  std::string text;
  for (std::size_t i = 0; i < expected.size() && text.size() < 500; ++i) {
    if (std::isnan(actual[i]) && std::isnan(expected[i])) continue;
    if (std::bit_cast<std::uint64_t>(actual[i]) == std::bit_cast<std::uint64_t>(expected[i])) continue;
    text += std::to_string(i) + ": " + testing::PrintToString(actual[i]) + " instead of " +
            testing::PrintToString(expected[i]) + "\n";
  }
  return text;
}

// What the library does not write stays at this.
constexpr double kUnwritten = -12345.0;

Reals filled(int x, int y, float sigma_x, float sigma_y) {
  Reals kernel(naive::kernel_size(x, y), kUnwritten);
  fill_gauss(kernel.data(), x, y, sigma_x, sigma_y);
  return kernel;
}

void expect_kernel(int x, int y, float sigma_x, float sigma_y) {
  Reals expected(naive::kernel_size(x, y), kUnwritten);
  naive::fill_kernel(expected, x, y, sigma_x, sigma_y);
  EXPECT_EQ(differences(filled(x, y, sigma_x, sigma_y), expected), "")
      << x << " x " << y << ", sigmas " << sigma_x << " and " << sigma_y;
}

Reals initialised(int x, int y, float sigma_x, float sigma_y) {
  fftw_real* kernel = nullptr;
  const auto output = test::capture([&] { init_gauss(&kernel, x, y, sigma_x, sigma_y); });
  EXPECT_EQ(output.out + output.err, "");
  const auto owner = test::own(kernel);
  EXPECT_NE(kernel, nullptr);
  return kernel == nullptr ? Reals() : Reals(kernel, kernel + naive::kernel_size(x, y));
}

// ------------------------------------------------------------------------------------------------------------------
// Images
// ------------------------------------------------------------------------------------------------------------------

void smooth(unsigned int** array, int* x, int* y, int sigma_x, int sigma_y) {
  falte_gauss(array, x, y, sigma_x, sigma_y);
}

void smooth(unsigned short** array, int* x, int* y, int sigma_x, int sigma_y) {
  falte_short_gauss(array, x, y, sigma_x, sigma_y);
}

template <typename Pixel>
struct Smoothed {
  Image<Pixel> image;
  std::string printed;
};

template <typename Pixel>
Smoothed<Pixel> smoothed(const Image<Pixel>& image, int sigma_x, int sigma_y) {
  Smoothed<Pixel> result;
  const auto output = test::capture([&] {
    result.image = test::replace(image, [&](Pixel** array, int* width, int* height) {
                     smooth(array, width, height, sigma_x, sigma_y);
                     return 0;
                   }).image;
  });
  EXPECT_EQ(output.err, "");
  result.printed = output.out;
  return result;
}

template <typename Pixel>
Image<Pixel> constant(int width, int height, Pixel value) {
  return {width, height, std::vector<Pixel>(Image<Pixel>::count(width, height), value)};
}

// Sums that one count of truncation cannot hide.
template <typename Pixel>
void expect_within_one_count(const Image<Pixel>& image, int sigma_x, int sigma_y) {
  const std::vector<long double> expected = naive::convolved_directly(image, sigma_x, sigma_y);
  const auto result = smoothed(image, sigma_x, sigma_y).image;
  ASSERT_EQ(result.pixels.size(), expected.size());
  for (std::size_t i = 0; i < expected.size(); ++i) {
    ASSERT_NEAR(static_cast<double>(result.pixels[i]), static_cast<double>(std::floor(expected[i])), 1.0)
        << image.width << " x " << image.height << ", sigmas " << sigma_x << " and " << sigma_y << ", pixel " << i;
  }
}

// Bytes that the process has allocated.
std::size_t allocated_bytes() {
#ifdef XRDIMAGE_ADDRESS_SANITIZER
  return __sanitizer_get_current_allocated_bytes();
#else
  return mallinfo2().uordblks;
#endif
}

template <typename Pixel>
class Smoothing : public testing::Test {};

using PixelTypes = testing::Types<unsigned int, unsigned short>;
TYPED_TEST_SUITE(Smoothing, PixelTypes, );

}  // namespace

// The library calls these through the dynamic linker, which finds them before FFTW's as they are visible.
#if defined(XRDIMAGE_FFTW3)
extern "C" __attribute__((visibility("default"))) void fftw_execute_dft_c2r(fftw_plan_s* plan, double (*in)[2],
                                                                            double* out) {
  in[0][0] += added_sum;
  using Transform = void (*)(fftw_plan_s*, double(*)[2], double*);
  static const auto transform = reinterpret_cast<Transform>(dlsym(RTLD_NEXT, "fftw_execute_dft_c2r"));
  transform(plan, in, out);
}
#else
extern "C" __attribute__((visibility("default"))) void rfftwnd_complex_to_real(rfftwnd_plan plan, int howmany,
                                                                               fftw_complex* in, int istride, int idist,
                                                                               fftw_real* out, int ostride, int odist) {
  for (int row = 0; row < howmany; ++row) in[static_cast<std::ptrdiff_t>(row) * idist].re += added_sum;
  using Transform = void (*)(rfftwnd_plan, int, fftw_complex*, int, int, fftw_real*, int, int);
  static const auto transform = reinterpret_cast<Transform>(dlsym(RTLD_NEXT, "rfftwnd_complex_to_real"));
  transform(plan, howmany, in, istride, idist, out, ostride, odist);
}
#endif

TEST(FillGauss, SamplesByHand) {
  // Offsets of the samples from the centre: row 0 half a pixel, row 1 one and a half, row 2 the negative of that ...
  const Reals kernel = filled(4, 2, 2.0F, 1.0F);
  const auto sample = [](double dx, double dy) {
    return static_cast<double>(static_cast<float>(std::exp(-dx * dx / 4 - dy * dy) / (2 * 3.14159265358979 * 2)));
  };
  const Reals expected{sample(0.5, 0.5), sample(0.5, 0.5), kUnwritten, kUnwritten,  //
                       sample(1.5, 0.5), sample(1.5, 0.5), kUnwritten, kUnwritten,  //
                       sample(1.5, 0.5), sample(1.5, 0.5), kUnwritten, kUnwritten,  //
                       sample(0.5, 0.5), sample(0.5, 0.5), kUnwritten, kUnwritten};
  for (std::size_t i = 0; i < expected.size(); ++i) EXPECT_NEAR(kernel[i], expected[i], 1e-8) << i;
}

TEST(FillGauss, OddSizesHaveTheirCentreInTheCorner) {
  // Three rows: offsets 0 in row 0; -1, replaced by +1, in row 1; row 2 is never written. The column likewise.
  const Reals kernel = filled(3, 3, 1.0F, 1.0F);
  const double peak = 1 / (2 * 3.14159265358979);
  const Reals expected{peak,
                       peak * std::exp(-1.0),
                       kUnwritten,
                       kUnwritten,
                       kUnwritten,
                       peak * std::exp(-1.0),
                       peak * std::exp(-2.0),
                       kUnwritten,
                       kUnwritten,
                       kUnwritten,
                       kUnwritten,
                       kUnwritten,
                       kUnwritten,
                       kUnwritten,
                       kUnwritten};
  for (std::size_t i = 0; i < expected.size(); ++i) EXPECT_NEAR(kernel[i], expected[i], 1e-7) << i;
}

TEST(FillGauss, ASinglePixelIsTheCentre) {
  const Reals kernel = filled(1, 1, 1.0F, 1.0F);
  EXPECT_NEAR(kernel[0], 1 / (2 * 3.14159265358979), 1e-7);
  EXPECT_EQ(kernel[1], kUnwritten);
  EXPECT_EQ(kernel[2], kUnwritten);
}

TEST(FillGauss, EverySampleInEveryBit) {
  for (const auto& [x, y] :
       {std::pair{1, 1}, {1, 2}, {2, 1}, {2, 2}, {3, 2}, {1, 7}, {8, 1}, {7, 5}, {16, 12}, {31, 30}}) {
    for (const float sigma_x : {1.0F, 2.0F, 3.0F, 7.0F, 0.5F, 0.3F, 1.7F, 123.456F}) {
      for (const float sigma_y : {1.0F, 3.0F, 10.0F, 0.7F, 2.2F, 1e-3F}) expect_kernel(x, y, sigma_x, sigma_y);
    }
  }
}

TEST(FillGauss, RandomSigmas) {
  std::mt19937 random(131);  // the same sigmas in each run
  for (int round = 0; round < 500; ++round) {
    const auto sigma = [&] { return static_cast<float>(1 + random() % 1000000) / 50000.0F; };
    const int x = 1 + static_cast<int>(random() % 40);
    const int y = 1 + static_cast<int>(random() % 40);
    const float sigma_x = sigma();
    expect_kernel(x, y, sigma_x, sigma());
  }
}

TEST(FillGauss, LargeSizesEndInZeros) {
  // From some 10 sigmas on samples are too small for single precision; just before that they are subnormal.
  for (const auto& [sigma_x, sigma_y] : {std::pair{1.0F, 1.0F}, {2.0F, 3.0F}, {3.3F, 1.1F}, {40.0F, 2.5F}}) {
    expect_kernel(200, 131, sigma_x, sigma_y);
    expect_kernel(131, 200, sigma_x, sigma_y);
  }
  const Reals kernel = filled(200, 2, 1.0F, 1.0F);
  EXPECT_EQ(kernel[naive::place(100, 0, 2)], 0.0);
  EXPECT_GT(kernel[naive::place(9, 0, 2)], 0.0);
}

TEST(FillGauss, ALargeSigmaIsFlat) {
  expect_kernel(20, 20, 1e6F, 1e6F);
  expect_kernel(20, 20, 1e18F, 1e18F);  // the factor is subnormal
  expect_kernel(20, 20, 1e30F, 1e30F);  // the product is infinite
  expect_kernel(7, 6, kInfinity, 1.0F);
  EXPECT_EQ(filled(2, 2, 1e30F, 1e30F)[0], 0.0);
}

TEST(FillGauss, NegativeSigmasGiveNegativeSamples) {
  for (const int x : {20, 21, 90}) {
    expect_kernel(x, 14, -2.0F, 3.0F);
    expect_kernel(x, 14, 2.0F, -3.0F);
    expect_kernel(x, 14, -2.0F, -3.0F);
  }
  EXPECT_LT(filled(4, 4, -2.0F, 3.0F)[0], 0.0);
  EXPECT_TRUE(std::signbit(filled(200, 2, -1.0F, 1.0F)[naive::place(100, 0, 2)]));  // too small: a zero with a sign
}

TEST(FillGauss, ASigmaOfZeroIsNoNumber) {
  for (const auto& [x, y] : {std::pair{4, 4}, {5, 5}, {4, 5}, {1, 1}}) {
    expect_kernel(x, y, 0.0F, 0.0F);
    expect_kernel(x, y, 0.0F, 1.0F);
    expect_kernel(x, y, 1.0F, 0.0F);
    expect_kernel(x, y, -0.0F, 1.0F);
    expect_kernel(x, y, std::nanf(""), 1.0F);
    expect_kernel(x, y, 1.0F, std::nanf(""));
  }
  EXPECT_TRUE(std::isnan(filled(4, 4, 0.0F, 1.0F)[0]));
}

TEST(FillGauss, TinySigmasGiveAnInfiniteCentre) {
  // The product of the sigmas is 0 in single precision: infinity in the centre, 0 times infinity elsewhere.
  for (const auto& [x, y] : {std::pair{5, 5}, {4, 4}, {1, 1}, {3, 4}}) {
    expect_kernel(x, y, 1e-30F, 1e-30F);
    expect_kernel(x, y, -1e-30F, 1e-30F);
    expect_kernel(x, y, 1e-30F, 1.0F);
    expect_kernel(x, y, 1e-20F, 1e-20F);
  }
  const Reals kernel = filled(3, 3, 1e-30F, 1e-30F);
  EXPECT_EQ(kernel[0], std::numeric_limits<double>::infinity());
  EXPECT_TRUE(std::isnan(kernel[1]));
}

TEST(FillGauss, WithoutRowsOrColumnsNothingIsWritten) {
  for (const auto& [x, y] : {std::pair{0, 0}, {0, 4}, {4, 0}, {-1, 4}, {4, -1}, {-3, -3}}) {
    Reals kernel(40, kUnwritten);
    fill_gauss(kernel.data(), x, y, 1.0F, 1.0F);
    EXPECT_EQ(kernel, Reals(40, kUnwritten)) << x << " x " << y;
  }
}

TEST(InitGauss, IsTheTransformOfFillGauss) {
  for (const auto& [x, y] : {std::pair{2, 2}, {16, 12}, {12, 16}, {6, 50}, {1, 8}, {64, 64}, {301, 228}, {1, 70000}}) {
    for (const auto& [sigma_x, sigma_y] : {std::pair{1.0F, 1.0F}, {2.0F, 3.0F}, {0.7F, 5.5F}, {-2.0F, 1.0F}}) {
      Reals expected(naive::kernel_size(x, y));
      fill_gauss(expected.data(), x, y, sigma_x, sigma_y);
      naive::transform(expected, x, y);
      SCOPED_TRACE(std::to_string(x) + " x " + std::to_string(y));
      expect_transforms(initialised(x, y, sigma_x, sigma_y), expected);
    }
  }
}

TEST(InitGauss, PositionsWithoutASampleCountAsZero) {
  for (const auto& [x, y] : {std::pair{7, 6}, {6, 7}, {5, 5}, {8, 1}, {1, 1}}) {
    Reals expected = naive::kernel(x, y, 2.0F, 3.0F);
    naive::transform(expected, x, y);
    SCOPED_TRACE(std::to_string(x) + " x " + std::to_string(y));
    expect_transforms(initialised(x, y, 2.0F, 3.0F), expected);
  }
}

TEST(InitGauss, TheFirstNumberIsTheSumOfTheSamples) {
  EXPECT_NEAR(initialised(64, 64, 2.0F, 3.0F)[0], 0.5, 1e-6);
  EXPECT_NEAR(initialised(64, 64, 2.0F, 3.0F)[1], 0.0, 1e-12);
}

TEST(InitGauss, SizesThatCannotBeAreRefused) {
  for (const auto& [x, y] : {std::pair{-1, 4}, {4, -1}, {-4, -4}, {20000, 20000}, {kLargest, kLargest}}) {
    fftw_real mark = 0;
    fftw_real* kernel = &mark;
    const auto output = test::capture([&, width = x, height = y] { init_gauss(&kernel, width, height, 1.0F, 1.0F); });
    EXPECT_EQ(output.out,
              "# \033[31;1mERROR\033[0m: cannot smooth " + std::to_string(x) + "x" + std::to_string(y) + " pixels\n");
    EXPECT_EQ(kernel, &mark);
  }
}

TYPED_TEST(Smoothing, AConstantImageIsHalved) {
  for (const auto& [width, height] : {std::pair{16, 16}, {20, 38}, {64, 24}}) {
    // The kernel's sum is one half to within a few parts in ten million.
    EXPECT_EQ(smoothed(constant<TypeParam>(width, height, 1001), 2, 2).image, constant<TypeParam>(width, height, 500));
    // With a sigma of 1 it is 0.49995.
    EXPECT_EQ(smoothed(constant<TypeParam>(width, height, 60001), 1, 2).image,
              constant<TypeParam>(width, height, 29997));
    EXPECT_EQ(smoothed(constant<TypeParam>(width, height, 1), 2, 2).image, constant<TypeParam>(width, height, 0));
    EXPECT_EQ(smoothed(constant<TypeParam>(width, height, 0), 2, 2).image, constant<TypeParam>(width, height, 0));
  }
}

TYPED_TEST(Smoothing, ASinglePixelBecomesASpotHalfAPixelBeforeIt) {
  auto image = constant<TypeParam>(20, 16, 0);
  image.at(7, 5) = 60000;
  const auto result = smoothed(image, 2, 3).image;
  // 60000 / (2 pi 2 3) = 1591.549, at half a pixel from the centre exp(-1/16 - 1/36) of it: 1454.18
  for (const int column : {6, 7}) {
    for (const int row : {4, 5}) EXPECT_EQ(result.at(column, row), 1454) << column << ", " << row;
  }
  // At one and a half pixels: exp(-9/16 - 1/36) = 881.99, exp(-1/16 - 9/36) = 1164.41
  EXPECT_EQ(result.at(5, 5), 881);
  EXPECT_EQ(result.at(8, 5), 881);
  EXPECT_EQ(result.at(7, 3), 1164);
  EXPECT_EQ(result.at(7, 6), 1164);
}

TYPED_TEST(Smoothing, WhatLeavesTheImageComesBackOnTheOtherSide) {
  auto image = constant<TypeParam>(20, 16, 0);
  image.at(0, 0) = 60000;
  const auto result = smoothed(image, 2, 3).image;
  for (const int column : {19, 0}) {
    for (const int row : {15, 0}) EXPECT_EQ(result.at(column, row), 1454) << column << ", " << row;
  }
  EXPECT_EQ(result.at(1, 0), 881);
  EXPECT_EQ(result.at(18, 15), 881);
}

TYPED_TEST(Smoothing, OddSizesGrowByOne) {
  for (const auto& [width, height, new_width, new_height] :
       {std::array{5, 7, 6, 8}, {6, 7, 6, 8}, {5, 8, 6, 8}, {6, 8, 6, 8}, {1, 1, 2, 2}, {33, 17, 34, 18}}) {
    const auto image = constant<TypeParam>(width, height, 1000);
    const auto result = smoothed(image, 1, 2);
    auto enlarged = constant<TypeParam>(new_width, new_height, 0);
    for (int x = 0; x < width; ++x) {
      for (int y = 0; y < height; ++y) enlarged.at(x, y) = 1000;
    }
    EXPECT_EQ(result.image, naive::smoothed(enlarged, 1, 2)) << width << " x " << height;
    const std::string new_width_twice = std::to_string(new_width) + "x" + std::to_string(new_width);
    EXPECT_EQ(result.printed, sizeof(TypeParam) == 2 ? ""
                                                     : "# fitting dimension from " + std::to_string(width) + "x" +
                                                           std::to_string(height) + " to " + new_width_twice + "\n# " +
                                                           std::to_string(new_width * new_height * 4 / 1024) +
                                                           " kB f\xFCr Daten bereitgestellt\n");
  }
}

TYPED_TEST(Smoothing, RandomImagesAgreeWithTheDirectConvolution) {
  std::mt19937 random(137);  // the same images in each run
  for (const auto& [width, height] : {std::pair{2, 2}, {2, 10}, {6, 8}, {16, 10}, {30, 22}, {44, 4}}) {
    for (const auto& [sigma_x, sigma_y] : {std::pair{1, 1}, {2, 3}, {5, 1}, {9, 30}}) {
      expect_within_one_count(test::random_image<TypeParam>(random, width, height, 16), sigma_x, sigma_y);
      expect_within_one_count(test::random_image<TypeParam>(random, width, height, 24), sigma_x, sigma_y);
    }
  }
}

TYPED_TEST(Smoothing, EveryPixelInEveryBit) {
  std::mt19937 random(139);  // the same images in each run
  for (const auto& [width, height] : {std::pair{2, 2}, {4, 66}, {16, 10}, {60, 44}, {72, 90}, {150, 62}, {300, 230}}) {
    for (const auto& [sigma_x, sigma_y] : {std::pair{1, 1}, {2, 3}, {5, 1}, {20, 20}, {-2, 3}, {1000, 1000}}) {
      const auto image = test::random_image<TypeParam>(random, width, height, 0);
      SCOPED_TRACE(std::to_string(width) + " x " + std::to_string(height));
      expect_smoothed(smoothed(image, sigma_x, sigma_y).image, naive::smoothed(image, sigma_x, sigma_y),
                      std::numeric_limits<TypeParam>::max());
    }
  }
}

TEST(SmoothingOfBrightImages, TheProductTakesBothPartsInSinglePrecision) {
  std::mt19937 random(149);  // the same image in each run
  const auto image = test::random_image<unsigned int>(random, 128, 96, 0);
  const Image32 expected = naive::smoothed(image, 2, 2);
  // Without either of the two roundings other counts come out.
  ASSERT_FALSE(naive::smoothed(image, 2, 2, naive::untouched, naive::untouched) == expected);
  ASSERT_FALSE(naive::smoothed(image, 2, 2, naive::untouched, naive::to_single) == expected);
  ASSERT_FALSE(naive::smoothed(image, 2, 2, naive::to_single, naive::untouched) == expected);
  expect_smoothed(smoothed(image, 2, 2).image, expected, std::numeric_limits<unsigned int>::max());
}

TEST(SmoothingOfBrightImages, NegativeRingingComesOutAsItsMagnitude) {
  // The rounding of the product leaves traces of several counts, of either sign, on the dark side of a bright image.
  std::mt19937 random(149);  // the same image in each run
  auto image = test::random_image<unsigned int>(random, 64, 64, 0);
  for (int x = 32; x < 64; ++x) {
    for (int y = 0; y < 64; ++y) image.at(x, y) = 0;
  }
  const Reals signed_counts = naive::convolved(image, 2, 2);
  const Image32 result = smoothed(image, 2, 2).image;
  int negative = 0;
  for (int x = 0; x < 64; ++x) {
    for (int y = 0; y < 64; ++y) {
      const double count = signed_counts[naive::place(x, y, 64)] / 4096;
      if (count > -1.001) continue;
      ++negative;
      EXPECT_EQ(result.at(x, y), static_cast<unsigned int>(-count)) << x << ", " << y;
    }
  }
  EXPECT_GT(negative, 0);
}

TYPED_TEST(Smoothing, ANegativeImageComesOutAsItsMagnitude) {
  const AddedSum sum(16 * 12 * -7.5);
  EXPECT_EQ(smoothed(constant<TypeParam>(16, 12, 0), 2, 2).image, constant<TypeParam>(16, 12, 7));
}

TYPED_TEST(Smoothing, ANegativeSigmaChangesNothing) {
  std::mt19937 random(151);  // the same image in each run
  const auto image = test::random_image<TypeParam>(random, 24, 20, 16);
  const auto expected = smoothed(image, 2, 3).image;
  EXPECT_EQ(smoothed(image, -2, 3).image, expected);
  EXPECT_EQ(smoothed(image, 2, -3).image, expected);
  EXPECT_EQ(smoothed(image, -2, -3).image, expected);
}

TEST(Smoothing16, ResultsAbove65535Wrap) {
  const auto image = constant<unsigned short>(16, 12, 0);
  for (const auto& [counts, pixel] :
       {std::pair{65535.5, 65535}, {65536.5, 0}, {65541.5, 5}, {131071.5, 65535}, {-65541.5, 5}, {4294967303.5, 7}}) {
    const AddedSum sum(16 * 12 * counts);
    EXPECT_EQ(smoothed(image, 2, 2).image, constant(16, 12, static_cast<unsigned short>(pixel))) << counts;
  }
}

TEST(Smoothing32, TheLow32BitsOfResultsAreKept) {
  const auto image = constant<unsigned int>(16, 12, 0);
  for (const auto& [counts, pixel] : {std::pair{65541.5, 65541U},
                                      {2147483648.5, 2147483648U},
                                      {4294967295.5, 4294967295U},
                                      {4294967303.5, 7U},
                                      {1099511627776.5 + 9, 9U}}) {
    const AddedSum sum(16 * 12 * counts);
    EXPECT_EQ(smoothed(image, 2, 2).image, constant(16, 12, pixel)) << counts;
  }
}

TYPED_TEST(Smoothing, ASigmaOfZeroGivesABlackImage) {
  // No pixel is a number then.
  EXPECT_EQ(smoothed(constant<TypeParam>(8, 6, 1000), 0, 1).image, constant<TypeParam>(8, 6, 0));
  EXPECT_EQ(smoothed(constant<TypeParam>(8, 6, 1000), 0, 0).image, constant<TypeParam>(8, 6, 0));
}

TEST(FalteGauss, LeavesItsKernelAllocated) {
  const auto kernel = static_cast<std::ptrdiff_t>(naive::kernel_size(32, 24) * sizeof(fftw_real));
  constexpr std::ptrdiff_t kSomewhat = 1000;  // what allocators need for themselves
  const auto growth = [](auto pixel) {
    using Pixel = decltype(pixel);
    auto* array = static_cast<Pixel*>(std::calloc(Image<Pixel>::count(32, 24), sizeof(Pixel)));
    int width = 32;
    int height = 24;
    smooth(&array, &width, &height, 2, 2);  // what is allocated once and for all
    const std::size_t before = allocated_bytes();
    smooth(&array, &width, &height, 2, 2);
    const std::size_t after = allocated_bytes();
    std::free(array);
    return static_cast<std::ptrdiff_t>(after) - static_cast<std::ptrdiff_t>(before);
  };
  std::ptrdiff_t growth32 = 0;
  std::ptrdiff_t growth16 = 0;
  test::capture([&] {
    growth32 = growth(0U);
    growth16 = growth(static_cast<unsigned short>(0));
  });
  EXPECT_GE(growth32, kernel);
  EXPECT_LT(growth32, kernel + kSomewhat);
  EXPECT_LT(growth16, kSomewhat);
}

TYPED_TEST(Smoothing, SizesThatCannotBeAreRefused) {
  for (const auto& [width, height] : {std::pair{-3, 4}, {4, -4}, {-5, -6}, {20000, 20001}, {kLargest, kLargest}}) {
    TypeParam pixels[2]{1, 2};
    TypeParam* array = pixels;
    int x = width;
    int y = height;
    const auto output = test::capture([&] { smooth(&array, &x, &y, 1, 1); });
    EXPECT_NE(output.out.find("# " RED_ERROR ": cannot "), std::string::npos) << output.out;
    EXPECT_EQ(array, pixels);
    EXPECT_EQ(x, width);
    EXPECT_EQ(y, height);
    EXPECT_EQ(pixels[0] + pixels[1], 3U);
  }
}

TYPED_TEST(Smoothing, EmptyImagesStayEmpty) {
  for (const auto& [width, height] : {std::pair{0, 0}, {0, 6}, {6, 0}}) {
    EXPECT_EQ(smoothed(Image<TypeParam>::blank(width, height), 1, 1).image, Image<TypeParam>::blank(width, height));
  }
}

namespace {

constexpr const char* kKernelAssertion =
    "gauss:32: init_gauss: Assertion "
    "`gauss=\\(fftw_real\\*\\)malloc\\(sizeof\\(fftw_real\\)\\*\\(x\\)\\*\\(y\\+2\\)\\)' "
    "failed";

// Two rows: the kernel is four times as large as an image of 32-bit pixels.
template <typename Pixel>
void smooth_without_memory_for_the_kernel() {
  constexpr int kWidth = 8400000;
  int width = kWidth;
  int height = 2;
  auto* array = static_cast<Pixel*>(std::calloc(std::size_t{kWidth} * 2, sizeof(Pixel)));
  test::limit_memory();
  smooth(&array, &width, &height, 1, 1);
  std::free(array);
}

}  // namespace

TEST(GaussDeathTest, TheKernelNeedsMemory) {
  EXPECT_DEATH(
      {
        test::limit_memory();
        fftw_real* kernel = nullptr;
        init_gauss(&kernel, 6000, 6000, 1.0F, 1.0F);
      },
      kKernelAssertion);
}

TEST(GaussDeathTest, SmoothingNeedsMemoryForTheKernel) {
  EXPECT_DEATH(smooth_without_memory_for_the_kernel<unsigned int>(), kKernelAssertion);
  EXPECT_DEATH(smooth_without_memory_for_the_kernel<unsigned short>(), kKernelAssertion);
}
