#include "host/operations.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <stdexcept>
#include <string>

#include "host/failure.h"
#include "host/library_output.h"
#include "host/numbers.h"
#include "host/statistics.h"
#include "xrdimage.h"

namespace host {

namespace {

using frames::Frame;
using Numbers = std::vector<int>;
using Size = frames::LoadOptions::Size;

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

// For functions of the library that replace the array.
template <typename Function>
void change_grid(Frame& frame, Function function) {
  replace_unknown(frame, function);
  Size size{frame.width, frame.height};
  replace_counts(frame.counts, size, function);
  frame.width = size.width;
  frame.height = size.height;
}

Operation bin(int factor) {
  return [=](Frame& frame) {
    change_grid(frame, [=](unsigned int** daten, int* width, int* height) { binning(daten, factor, width, height); });
    if (auto& pixel = frame.header.pixel_size) pixel = frames::Point{pixel->x * factor, pixel->y * factor};
    if (auto& beam = frame.header.beam_centre) beam = frames::Point{beam->x / factor, beam->y / factor};
    if (auto& saturation = frame.header.saturation) saturation = *saturation * factor * factor;
  };
}

Operation fit(Size size) {
  return [=](Frame& frame) {
    change_grid(frame, [=](unsigned int** daten, int* width, int* height) {
      fit_to_new_dimension(daten, width, height, size.width, size.height);
    });
  };
}

// The part of the frame that the rectangle covers.
Operation crop(const Numbers& numbers) {
  return [x = numbers[0], y = numbers[1], width = numbers[2], height = numbers[3]](Frame& frame) {
    if (x >= frame.width || y >= frame.height) throw std::runtime_error("--crop begins outside of the frame");
    const int columns = std::min(width, frame.width - x);
    const int rows = std::min(height, frame.height - y);
    const auto kept = static_cast<std::size_t>(columns);
    frames::Counts counts(kept * static_cast<std::size_t>(rows));
    std::vector<bool> unknown(frame.unknown.empty() ? 0 : counts.size());
    for (std::size_t row = 0; row < static_cast<std::size_t>(rows); ++row) {
      const std::size_t first =
          (static_cast<std::size_t>(y) + row) * static_cast<std::size_t>(frame.width) + static_cast<std::size_t>(x);
      std::copy_n(frame.counts.begin() + first, kept, counts.begin() + row * kept);
      for (std::size_t i = 0; i < kept && !unknown.empty(); ++i) unknown[row * kept + i] = frame.unknown[first + i];
    }
    frame.counts = std::move(counts);
    frame.unknown = std::move(unknown);
    frame.width = columns;
    frame.height = rows;
    if (auto& beam = frame.header.beam_centre) beam = frames::Point{beam->x - x, beam->y - y};
  };
}

// Pixel x, y goes to height - 1 - y, x.
Operation rotate() {
  return [](Frame& frame) {
    const auto columns = static_cast<std::size_t>(frame.width);
    const auto rows = static_cast<std::size_t>(frame.height);
    frames::Counts counts(frame.counts.size());
    std::vector<bool> unknown(frame.unknown.size());
    for (std::size_t y = 0; y < rows; ++y) {
      for (std::size_t x = 0; x < columns; ++x) {
        const std::size_t target = x * rows + rows - 1 - y;
        counts[target] = frame.counts[y * columns + x];
        if (!unknown.empty()) unknown[target] = frame.unknown[y * columns + x];
      }
    }
    frame.counts = std::move(counts);
    frame.unknown = std::move(unknown);
    if (auto& beam = frame.header.beam_centre) beam = frames::Point{frame.height - 1 - beam->y, beam->x};
    if (auto& pixel = frame.header.pixel_size) std::swap(pixel->x, pixel->y);
    std::swap(frame.width, frame.height);
  };
}

Operation smooth(const Numbers& sigmas) {
  return [=](Frame& frame) {
    const Size before{frame.width, frame.height};
    Size size = before;
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

Operation average(int radius) {
  return [=](Frame& frame) { mittle_Daten(frame.counts.data(), frame.width, frame.height, radius); };
}

// From the smallest to the largest count that is known.
Operation logarithm(int base) {
  return [=](Frame& frame) {
    const Statistics statistics = statistics_of(frame);
    logarith_data(frame.counts.data(), pixel_count(frame), base, static_cast<int>(statistics.minimum),
                  static_cast<int>(statistics.maximum));
  };
}

Operation scale_to(int target) {
  return [=](Frame& frame) { scale_up_short(frame.counts.data(), frame.width, frame.height, target); };
}

Operation box(Numbers numbers) {
  return [=](Frame& frame) mutable {
    make_short_box(frame.counts.data(), frame.width, frame.height, numbers.data(), numbers.data() + 2,
                   divisor_of(numbers, 6));
  };
}

// The arms' length goes with the width, or is 20 pixels where there is a divisor.
Operation cross(const Numbers& numbers) {
  return [=](Frame& frame) {
    make_short_cross(frame.counts.data(), frame.width, frame.height, numbers[0], numbers[1], divisor_of(numbers, 2));
  };
}

void shift_to_16_bits(Frame& frame) {
  unsigned short* narrow = nullptr;
  const auto maximum = static_cast<int>(std::min<std::int64_t>(statistics_of(frame).maximum, INT32_MAX));
  to_short(frame.counts.data(), &narrow, pixel_count(frame), maximum);
  const xrd::MallocArray<unsigned short> owner(narrow);
  if (owner) std::copy_n(narrow, frame.counts.size(), frame.counts.begin());
}

// Unknown counts must not disturb their neighbours more than they have to.
void fill_unknown(Frame& frame) {
  if (frame.unknown.empty()) return;
  const auto largest = static_cast<std::uint32_t>(statistics_of(frame).maximum);
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
  options.add_text(
      "--smooth", "SX[,SY]", "Smooth by a Gaussian of these widths; halves the counts",
      [](const std::string& option, const std::string& text) { return smooth(parse_integers(option, text, 1, 2)); });
  options.add_number("--mean", "Average over windows of 2N x 2N pixels", 1, average);
  options.add_number("--log", "Logarithm of this base, stretched to the old maximum", 2, logarithm);
  options.add_flag("--invert", "Take the counts from 16777215",
                   [](Frame& frame) { invert_data(frame.counts.data(), pixel_count(frame)); });
  options.add_flag("--scale-up", "Multiply by the whole number that brings the largest near 10000",
                   [](Frame& frame) { scale_up(frame.counts.data(), frame.width, frame.height); });
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
                      const Settings& settings, Remarks& remarks) {
  for (const Operation& operation : operations) {
    fill_unknown(frame);
    LibraryReport report;
    try {
      report = run_library(settings, {}, [&] { operation(frame); });
    } catch (const std::runtime_error& refusal) {
      throw Failure(path, refusal.what());
    }
    if (!report.errors.empty()) throw Failure(path, joined_errors(report, path));
    for (const std::string& warning : report.warnings) remarks.warnings.push_back(warning);
    if (frame.counts.empty()) throw Failure(path, "has no pixels left");
  }
}

}  // namespace host
