#include "frames/synthetic_frame.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

namespace frames {

namespace {

constexpr double kPlateMillimetres = 345;
constexpr double kWavelength = 1.54179;  // copper K alpha
constexpr double kDistance = 120;
// The scanner counts to 18 bits. Frames mark pixels from 256000 on as saturated.
constexpr double kLargestCount = 262143;

struct Ring {
  double spacing;   // ångström
  double strength;  // peak counts
};
// Reflections 100 to 211 of lanthanum hexaboride.
constexpr std::array<Ring, 6> kRings{
    {{4.1569, 700}, {2.9394, 1200}, {2.4000, 480}, {2.0785, 250}, {1.8590, 500}, {1.6971, 270}}};

constexpr double kBeamStopRadius = 5;  // millimetres, as the others
constexpr double kBeamStopArm = 1.2;
constexpr double kBeamStopLeak = 0.03;

// Random numbers fixed by the seed alone; the distributions of standard libraries differ.
class Random {
 public:
  explicit Random(std::uint64_t seed) : state_(seed) {}

  std::uint64_t bits() {
    state_ += 0x9E3779B97F4A7C15U;
    std::uint64_t mixed = state_;
    mixed = (mixed ^ (mixed >> 30)) * 0xBF58476D1CE4E5B9U;
    mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EBU;
    return mixed ^ (mixed >> 31);
  }

  // From 0 to 1.
  double uniform() { return static_cast<double>(bits() >> 11) / 9007199254740992.0; }

  // Mean 0 and deviation 1: the sum of eight small uniform numbers, close enough to a normal one.
  double normal() {
    std::uint64_t sum = 0;
    for (int word = 0; word < 2; ++word) {
      for (std::uint64_t rest = bits(); rest != 0; rest >>= 16) sum += rest & 0xFFFF;
    }
    const double mean = 8 * 65535 / 2.0;
    const double deviation = 65536 * std::sqrt(8 / 12.0);
    return (static_cast<double>(sum) - mean) / deviation;
  }

 private:
  std::uint64_t state_;
};

struct Plate {
  int size;
  double millimetres;  // of a pixel

  double from_center(double pixel) const { return (pixel + 0.5 - size / 2.0) * millimetres; }
  bool contains(double x, double y) const { return std::hypot(x, y) < size / 2.0 * millimetres; }
};

bool behind_beam_stop(double x, double y) {
  return std::hypot(x, y) < kBeamStopRadius || (std::abs(x) < kBeamStopArm && y > 0);
}

double gaussian(double distance, double width) {
  const double relative = distance / width;
  return std::exp(-relative * relative / 2);
}

// Counts that depend on the distance from the centre only, in steps of a fraction of a pixel.
class RadialProfile {
 public:
  explicit RadialProfile(const Plate& plate) : step_(plate.millimetres / 16) {
    const double width = std::max(0.3, 0.8 * plate.millimetres);
    const auto steps = static_cast<std::size_t>(plate.size) * 16;
    counts_.reserve(steps);
    for (std::size_t i = 0; i < steps; ++i) {
      const double radius = static_cast<double>(i) * step_;
      double counts = 25 + 90 * std::exp(-radius / 45);  // air
      for (const Ring& ring : kRings) {
        const double twotheta = 2 * std::asin(kWavelength / (2 * ring.spacing));
        counts += ring.strength * gaussian(radius - kDistance * std::tan(twotheta), width);
      }
      counts_.push_back(counts);
    }
  }

  double at(double radius) const { return counts_[static_cast<std::size_t>(radius / step_)]; }

 private:
  double step_;
  std::vector<double> counts_;
};

// Adds crystal spots, from faint ones to some that saturate the scanner.
void add_spots(std::vector<double>& means, const Plate& plate, Random& random) {
  constexpr double kFaintest = 2000;
  constexpr double kRatio = 200;  // of the brightest to the faintest
  constexpr double kWidth = 1.2;  // pixels
  constexpr int kReach = 7;
  const int spots = std::clamp(plate.size / 25, 8, 92);
  for (int spot = 0; spot < spots; ++spot) {
    const double peak = kFaintest * std::pow(kRatio, std::min(1.0, (spot + random.uniform()) / (spots - 1)));
    double x = 0;
    double y = 0;
    do {
      x = random.uniform() * plate.size;
      y = random.uniform() * plate.size;
    } while (!plate.contains(plate.from_center(x) * 1.05, plate.from_center(y) * 1.05) ||
             behind_beam_stop(plate.from_center(x), plate.from_center(y)));
    const auto near_x = static_cast<int>(x);
    const auto near_y = static_cast<int>(y);
    for (int row = std::max(0, near_y - kReach); row < std::min(plate.size, near_y + kReach); ++row) {
      for (int column = std::max(0, near_x - kReach); column < std::min(plate.size, near_x + kReach); ++column) {
        means[static_cast<std::size_t>(row) * static_cast<std::size_t>(plate.size) +
              static_cast<std::size_t>(column)] += peak * gaussian(std::hypot(column - x, row - y), kWidth);
      }
    }
  }
}

std::vector<std::uint32_t> measured_counts(const Plate& plate, Random& random) {
  const auto edge = static_cast<std::size_t>(plate.size);
  std::vector<double> means(edge * edge);
  add_spots(means, plate, random);
  const RadialProfile profile(plate);
  std::vector<std::uint32_t> counts(edge * edge);
  for (std::size_t row = 0; row < edge; ++row) {
    const double y = plate.from_center(static_cast<double>(row));
    for (std::size_t column = 0; column < edge; ++column) {
      const double x = plate.from_center(static_cast<double>(column));
      if (!plate.contains(x, y)) continue;  // the corners of the image are not on the plate
      const std::size_t pixel = row * edge + column;
      double mean = means[pixel] + profile.at(std::hypot(x, y));
      if (behind_beam_stop(x, y)) mean *= kBeamStopLeak;
      const double count = mean + std::sqrt(mean) * random.normal();
      counts[pixel] = static_cast<std::uint32_t>(std::clamp(std::round(count), 1.0, kLargestCount));
    }
  }
  return counts;
}

}  // namespace

Mar345Frame make_synthetic_frame(int size, std::uint64_t seed) {
  Mar345Frame frame;
  frame.size = size;
  const auto micrometres = static_cast<double>(std::lround(kPlateMillimetres * 1000 / size));
  frame.pixel_length = frame.pixel_height = micrometres;
  Random random(seed);
  frame.counts = measured_counts({size, micrometres / 1000}, random);
  frame.wavelength = kWavelength;
  frame.distance = kDistance;
  frame.centre = Point{size / 2.0, size / 2.0};
  frame.phi_start = 0;
  frame.phi_end = 1;
  frame.exposure_seconds = 60;
  frame.kilovolt = 40;
  frame.milliampere = 30;
  frame.program = "xrdimage sample";
  frame.date = "Mon Jan  1 12:00:00 2024";  // fixed: the same seed gives the same bytes on any day
  frame.remark = "synthetic frame, seed " + std::to_string(seed);
  return frame;
}

}  // namespace frames
