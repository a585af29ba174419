#include "program/options/operations.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

#include "frames/failure.h"
#include "frames/grid.h"
#include "frames/statistics.h"
#include "program/classic/library_output.h"
#include "program/options/numbers.h"
#include "xrdimage.h"

namespace program {

namespace {

using frames::Frame;
using Numbers = std::vector<int>;
using Size = frames::LoadOptions::Size;

constexpr std::int64_t kLargestSigned = std::numeric_limits<std::int32_t>::max();

// A divisor behind the other numbers, which need not be there.
int divisor_of(const Numbers& numbers, std::size_t position) {
  return numbers.size() > position ? numbers[position] : 1;
}

int pixel_count(const Frame& frame) {
  return static_cast<int>(frame.counts.size());
}

// Hands the counts to a function of the library that puts another array, of maybe another size, in their place.
template <typename Function>
void replace_counts(frames::Counts& counts, Size& size, Function function) {
  unsigned int* daten = counts.release().release();
  function(&daten, &size.width, &size.height);
  counts = frames::Counts(xrd::MallocArray<std::uint32_t>(daten),
                          static_cast<std::size_t>(size.width) * static_cast<std::size_t>(size.height));
}

// Does to the mask of unknown pixels what `function` does to counts: where any count comes from an unknown pixel, the
// result is not 0.
template <typename Function>
void replace_unknown(Frame& frame, Function function) {
  if (frame.unknown.empty()) return;
  frames::Counts mask(frame.unknown.size());
  for (std::size_t i = 0; i < mask.size(); ++i) mask[i] = frame.unknown[i] ? 1 : 0;
  Size size{frame.width, frame.height};
  replace_counts(mask, size, function);
  frame.unknown.assign(mask.begin(), mask.end());
}

// The library's functions take counts for unsigned numbers.
void zero_negative(Frame& frame) {
  if (!frame.is_signed) return;
  constexpr std::uint32_t kLargest = std::numeric_limits<std::int32_t>::max();
  std::size_t negative = 0;
  for (std::uint32_t& count : frame.counts) {
    if (count <= kLargest) continue;
    count = 0;
    ++negative;
  }
  frame.is_signed = false;
  if (negative > 0) frame.notes.push_back(std::to_string(negative) + " negative counts were taken as 0");
}

// The sum of the block whose first pixel is given; nothing when a count is unknown.
std::optional<std::int64_t> block_sum(const Frame& frame, std::size_t first, std::size_t factor) {
  std::int64_t sum = 0;
  for (std::size_t row = 0; row < factor; ++row, first += static_cast<std::size_t>(frame.width)) {
    for (std::size_t pixel = first; pixel < first + factor; ++pixel) {
      if (frames::is_unknown(frame, pixel)) return std::nullopt;
      sum += frames::count_of(frame, pixel);
    }
  }
  return sum;
}

bool fits(std::int64_t sum, bool is_signed) {
  return is_signed ? std::in_range<std::int32_t>(sum) : std::in_range<std::uint32_t>(sum);
}

// The library's function takes 256001 for a mark, wraps sums, and leaves out pixels at the right and bottom that would
// make whole blocks. Here each whole block has its true sum, or is unknown where 32 bits do not hold it.
Operation bin(int factor) {
  return [=](Frame& frame) {
    if (factor > std::min(frame.width, frame.height)) {
      throw std::runtime_error("--bin " + std::to_string(factor) + " is more than the frame's width or height");
    }
    Frame binned = frames::blank_frame(frame, frame.width / factor, frame.height / factor);
    const auto edge = static_cast<std::size_t>(factor);
    const auto columns = static_cast<std::size_t>(binned.width);
    for (std::size_t pixel = 0; pixel < binned.counts.size(); ++pixel) {
      const std::size_t first = pixel / columns * edge * static_cast<std::size_t>(frame.width) + pixel % columns * edge;
      const std::optional<std::int64_t> sum = block_sum(frame, first, edge);
      if (sum && fits(*sum, frame.is_signed)) {
        binned.counts[pixel] = static_cast<std::uint32_t>(*sum);  // negative ones wrap
      } else {
        binned.unknown.resize(binned.counts.size());
        binned.unknown[pixel] = true;
      }
    }
    frames::scale_geometry(binned.header, factor, factor);
    if (auto& saturation = binned.header.saturation) saturation = *saturation * factor * factor;
    frame = std::move(binned);
  };
}

Operation fit(Size size) {
  return [=](Frame& frame) {
    const auto change = [=](unsigned int** daten, int* width, int* height) {
      fit_to_new_dimension(daten, width, height, size.width, size.height);
    };
    replace_unknown(frame, change);
    Size changed{frame.width, frame.height};
    replace_counts(frame.counts, changed, change);
    frame.width = changed.width;
    frame.height = changed.height;
  };
}

// The part of the frame that the rectangle covers.
Operation crop(const Numbers& numbers) {
  return [x = numbers[0], y = numbers[1], width = numbers[2], height = numbers[3]](Frame& frame) {
    if (x >= frame.width || y >= frame.height) throw std::runtime_error("--crop begins outside of the frame");
    const auto columns = static_cast<std::size_t>(frame.width);
    const std::size_t first = static_cast<std::size_t>(y) * columns + static_cast<std::size_t>(x);
    frame = frames::rearranged(frame, std::min(width, frame.width - x), std::min(height, frame.height - y),
                               [=](std::size_t column, std::size_t row) { return first + row * columns + column; });
    if (auto& beam = frame.header.beam_centre) beam = frames::Point{beam->x - x, beam->y - y};
  };
}

// Pixel x, y goes to height - 1 - y, x.
Operation rotate() {
  return [](Frame& frame) {
    const auto columns = static_cast<std::size_t>(frame.width);
    const auto rows = static_cast<std::size_t>(frame.height);
    Frame rotated = frames::rearranged(frame, frame.height, frame.width,
                                       [=](std::size_t x, std::size_t y) { return (rows - 1 - x) * columns + y; });
    if (auto& beam = rotated.header.beam_centre) beam = frames::Point{frame.height - 1 - beam->y, beam->x};
    if (auto& pixel = rotated.header.pixel_size) std::swap(pixel->x, pixel->y);
    frame = std::move(rotated);
  };
}

Operation smooth(const Numbers& sigmas) {
  return [=](Frame& frame) {
    zero_negative(frame);
    Size size{frame.width, frame.height};
    replace_counts(frame.counts, size, [&](unsigned int** daten, int* width, int* height) {
      falte_gauss(daten, width, height, sigmas.front(), sigmas.back());
    });
    // An odd width or height has grown by one.
    replace_unknown(frame, [=](unsigned int** daten, int* width, int* height) {
      fit_to_new_dimension(daten, width, height, size.width, size.height);
    });
    frame.width = size.width;
    frame.height = size.height;
  };
}

// The library's functions wrap what they cannot count; `option` is refused then.
void require_up_to(std::int64_t largest, std::int64_t maximum, const std::string& option) {
  if (maximum > largest) throw std::runtime_error(option + " takes no counts above " + std::to_string(largest));
}

// The library sums a window in 32 bits.
Operation average(int radius) {
  return [=](Frame& frame) {
    const std::int64_t edge = 2 * std::int64_t{radius};
    const std::int64_t pixels = std::min<std::int64_t>(edge, frame.width) * std::min<std::int64_t>(edge, frame.height);
    const frames::Statistics statistics = frames::statistics_of(frame);
    require_up_to(kLargestSigned / pixels, std::max(statistics.maximum, -statistics.minimum),
                  "--mean over " + std::to_string(pixels) + " pixels");
    mittle_Daten(frame.counts.data(), frame.width, frame.height, radius);
  };
}

// From the smallest to the largest count that is known.
Operation logarithm(int base) {
  return [=](Frame& frame) {
    zero_negative(frame);
    const frames::Statistics statistics = frames::statistics_of(frame);
    require_up_to(kLargestSigned, statistics.maximum, "--log");
    logarith_data(frame.counts.data(), pixel_count(frame), base, static_cast<int>(statistics.minimum),
                  static_cast<int>(statistics.maximum));
  };
}

Operation scale_to(int target) {
  return [=](Frame& frame) {
    zero_negative(frame);
    scale_up_short(frame.counts.data(), frame.width, frame.height, target);
  };
}

Operation box(Numbers numbers) {
  return [=](Frame& frame) mutable {
    zero_negative(frame);
    require_up_to(kLargestSigned, frames::statistics_of(frame).maximum, "--box");
    make_short_box(frame.counts.data(), frame.width, frame.height, numbers.data(), numbers.data() + 2,
                   divisor_of(numbers, 6));
  };
}

// The arms' length goes with the width, or is 20 pixels where there is a divisor.
Operation cross(const Numbers& numbers) {
  return [=](Frame& frame) {
    zero_negative(frame);
    require_up_to(kLargestSigned, frames::statistics_of(frame).maximum, "--cross");
    make_short_cross(frame.counts.data(), frame.width, frame.height, numbers[0], numbers[1], divisor_of(numbers, 2));
  };
}

// As the library's to_short, which warns anew of each halving, and cuts bits off counts above 31 bits.
void shift_to_16_bits(Frame& frame) {
  zero_negative(frame);
  constexpr std::int64_t kLargestWord = 65535;
  const std::int64_t largest = frames::statistics_of(frame).maximum;
  int shift = 0;
  while (largest >> shift > kLargestWord) ++shift;
  if (shift == 0) return;
  for (std::uint32_t& count : frame.counts) count >>= shift;
  if (auto& saturation = frame.header.saturation) saturation = std::ldexp(*saturation, -shift);
  frame.notes.push_back("counts were divided by " + std::to_string(1 << shift) + " to fit 16 bits");
}

Operation parse_smooth(const std::string& option, const std::string& text) {
  const Numbers widths = parse_integers(option, text, 1, 2);
  if (widths.front() < 1 || widths.back() < 1) throw CLI::ValidationError(option, "'" + text + "' is not above 0");
  return smooth(widths);
}

// Unknown counts must not disturb their neighbours more than they have to.
void fill_unknown(Frame& frame) {
  if (frame.unknown.empty()) return;
  const auto largest = static_cast<std::uint32_t>(frames::statistics_of(frame).maximum);
  for (std::size_t i = 0; i < frame.counts.size(); ++i) {
    if (frame.unknown[i]) frame.counts[i] = largest;
  }
}

// Options are heard in the order of the command line, each as often as it is given.
class OperationOptions {
 public:
  OperationOptions(CLI::App& command, std::vector<Operation>& operations)
      : command_(command), operations_(operations) {}

  void add_number(const char* name, const char* help, int least, Operation (*make)(int)) {
    command_
        .add_option_function<int>(
            name, [list = &operations_, make](int number) { list->push_back(make(number)); }, help)
        ->type_name("N")
        ->transform(without_leading_zeros())
        ->check(CLI::Range(least, std::numeric_limits<int>::max()).description(""))
        ->group(kGroup)
        ->trigger_on_parse();
  }

  // `make` is given the option's name and text.
  template <typename Make>
  void add_text(const char* name, const char* type, const char* help, Make make) {
    command_
        .add_option_function<std::string>(
            name, [list = &operations_, make, name](const std::string& text) { list->push_back(make(name, text)); },
            help)
        ->type_name(type)
        ->group(kGroup)
        ->trigger_on_parse();
  }

  void add_flag(const char* name, const char* help, const Operation& operation) {
    command_
        .add_flag_callback(
            name, [list = &operations_, operation] { list->push_back(operation); }, help)
        ->group(kGroup)
        ->trigger_on_parse();
  }

 private:
  static constexpr const char* kGroup = "Operations";

  CLI::App& command_;
  std::vector<Operation>& operations_;
};

Operation parse_crop(const std::string& option, const std::string& text) {
  const Numbers numbers = parse_integers(option, text, 4, 4);
  if (numbers[0] < 0 || numbers[1] < 0 || numbers[2] < 1 || numbers[3] < 1) {
    throw CLI::ValidationError(option, "'" + text + "' is not a rectangle X,Y,W,H of pixels");
  }
  return crop(numbers);
}

}  // namespace

void add_operation_options(CLI::App& command, std::vector<Operation>& operations) {
  OperationOptions options(command, operations);
  options.add_number("--bin", "Sum blocks of N x N pixels", 1, bin);
  options.add_text("--crop", "X,Y,W,H", "Cut out W x H pixels from column X, row Y on", parse_crop);
  options.add_text("--fit", "WxH", "Crop, or pad with 0, at the right and bottom",
                   [](const std::string& option, const std::string& text) { return fit(parse_size(option, text)); });
  options.add_flag("--rotate", "Turn clockwise by a quarter", rotate());
  options.add_text("--smooth", "SX[,SY]", "Smooth by a Gaussian of these widths; halves the counts", parse_smooth);
  options.add_number("--mean", "Average over windows of 2N x 2N pixels", 1, average);
  options.add_number("--log", "Logarithm of this base, stretched to the old maximum", 2, logarithm);
  options.add_flag("--invert", "Take the counts from 16777215", [](Frame& frame) {
    require_up_to(16777215, frames::statistics_of(frame).maximum, "--invert");
    invert_data(frame.counts.data(), pixel_count(frame));
  });
  options.add_flag("--scale-up", "Multiply by the whole number that brings the largest near 10000", [](Frame& frame) {
    zero_negative(frame);
    require_up_to(10000, frames::statistics_of(frame).maximum, "--scale-up");  // or all would be multiplied by 0
    scale_up(frame.counts.data(), frame.width, frame.height);
  });
  options.add_number("--scale-to", "Multiply so that the largest becomes N", 0, scale_to);
  options.add_flag("--to-16-bits", "Halve the counts until the largest is below 65536", shift_to_16_bits);
  options.add_flag("--swap-words", "Reverse the four bytes of each count", [](Frame& frame) {
    swapword(frame.counts.data(), static_cast<int>(frame.counts.size() * sizeof(std::uint32_t)));
  });
  options.add_text(
      "--box", "X,Y,L,T,R,B[,DIV]", "Draw a box around X,Y in the largest count / DIV",
      [](const std::string& option, const std::string& text) { return box(parse_integers(option, text, 6, 7)); });
  options.add_text(
      "--cross", "X,Y[,DIV]", "Draw a cross at X,Y in the largest count / DIV",
      [](const std::string& option, const std::string& text) { return cross(parse_integers(option, text, 2, 3)); });
}

void apply_operations(Frame& frame, const std::vector<Operation>& operations, const std::string& path,
                      const Settings& settings, frames::Remarks& remarks) {
  const std::size_t notes_before = frame.notes.size();
  for (const Operation& operation : operations) {
    fill_unknown(frame);
    xrd::LibraryReport report;
    try {
      report = run_library(settings, {}, [&] { operation(frame); });
    } catch (const std::runtime_error& refusal) {
      throw frames::Failure(path, refusal.what());
    }
    // The library warns of what the user asks --fit to cut off, and of nothing else.
    if (!report.errors.empty()) throw frames::Failure(path, xrd::joined_errors(report, path));
  }
  for (std::size_t i = notes_before; i < frame.notes.size(); ++i) remarks.warnings.push_back(frame.notes[i]);
}

}  // namespace program
