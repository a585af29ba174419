#include "host/operations.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <string>
#include <string_view>

#include "host/failure.h"
#include "host/library_output.h"
#include "host/read_options.h"
#include "host/statistics.h"
#include "xrdimage.h"

namespace host {

namespace {

using Numbers = std::vector<int>;

// "1,2,3" as numbers, at least and at most so many.
Numbers parse_numbers(const std::string& option, const std::string& text, std::size_t least, std::size_t most) {
  Numbers numbers;
  const char* position = text.data();
  const char* const end = position + text.size();
  for (bool more = true; more;) {
    int number = 0;
    const auto [next, error] = std::from_chars(position, end, number);
    more = error == std::errc() && next != end && *next == ',';
    if (error != std::errc() || (next != end && !more)) {
      throw CLI::ValidationError(option, "'" + text + "' is not a list of whole numbers, as in 1,2");
    }
    numbers.push_back(number);
    position = next + 1;
  }
  if (numbers.size() < least || numbers.size() > most) {
    throw CLI::ValidationError(option, "'" + text + "' has too few or too many numbers");
  }
  return numbers;
}

// A divisor behind the other numbers, which need not be there.
int divisor_of(const Numbers& numbers, std::size_t position) {
  return numbers.size() > position ? numbers[position] : 1;
}

// For functions of the library that replace the array.
template <typename Function>
void replace_daten(Frame& frame, Function function) {
  unsigned int* daten = frame.daten.release();
  function(&daten, &frame.size.width, &frame.size.height);
  frame.daten.reset(daten);
}

Operation bin(int factor) {
  return [=](Frame& frame) {
    replace_daten(frame, [=](unsigned int** daten, int* width, int* height) { binning(daten, factor, width, height); });
  };
}

Operation fit(FrameSize size) {
  return [=](Frame& frame) {
    replace_daten(frame, [=](unsigned int** daten, int* width, int* height) {
      fit_to_new_dimension(daten, width, height, size.width, size.height);
    });
  };
}

Operation smooth(const Numbers& sigmas) {
  return [=](Frame& frame) {
    replace_daten(frame, [&](unsigned int** daten, int* width, int* height) {
      falte_gauss(daten, width, height, sigmas.front(), sigmas.back());
    });
  };
}

Operation average(int radius) {
  return [=](Frame& frame) { mittle_Daten(frame.daten.get(), frame.size.width, frame.size.height, radius); };
}

// From the smallest to the largest count that is known.
Operation logarithm(int logscale) {
  return [=](Frame& frame) {
    const Statistics statistics = statistics_of(frame.pixels());
    logarith_data(frame.daten.get(), frame.count(), logscale, static_cast<int>(statistics.minimum),
                  static_cast<int>(statistics.maximum));
  };
}

Operation scale_to(int target) {
  return [=](Frame& frame) { scale_up_short(frame.daten.get(), frame.size.width, frame.size.height, target); };
}

Operation box(Numbers numbers) {
  return [=](Frame& frame) mutable {
    make_short_box(frame.daten.get(), frame.size.width, frame.size.height, numbers.data(), numbers.data() + 2,
                   divisor_of(numbers, 6));
  };
}

Operation cross(const Numbers& numbers) {
  return [=](Frame& frame) {
    make_short_cross(frame.daten.get(), frame.size.width, frame.size.height, numbers[0], numbers[1],
                     divisor_of(numbers, 2));
  };
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
        ->trigger_on_parse();
  }

  template <typename Make>
  void add_text(const char* name, const char* type, const char* help, Make make) {
    command_
        .add_option_function<std::string>(
            name, [list = &operations_, make](const std::string& text) { list->push_back(make(text)); }, help)
        ->type_name(type)
        ->trigger_on_parse();
  }

  void add_flag(const char* name, const char* help, const Operation& operation) {
    command_
        .add_flag_callback(
            name, [list = &operations_, operation] { list->push_back(operation); }, help)
        ->trigger_on_parse();
  }

 private:
  CLI::App& command_;
  std::vector<Operation>& operations_;
};

}  // namespace

void add_operation_options(CLI::App& command, std::vector<Operation>& operations) {
  OperationOptions options(command, operations);
  options.add_number("--bin", "Sum blocks of N x N pixels", 1, bin);
  options.add_text("--fit", "WxH", "Crop, or pad with 0, at the right and bottom",
                   [](const std::string& text) { return fit(parse_size("--fit", text)); });
  options.add_text("--smooth", "SX[,SY]", "Smooth by a Gaussian of these widths; halves the counts",
                   [](const std::string& text) { return smooth(parse_numbers("--smooth", text, 1, 2)); });
  options.add_number("--mean", "Average over windows of 2N x 2N pixels", 1, average);
  options.add_number("--log", "Logarithmic scale of this base", 2, logarithm);
  options.add_flag("--invert", "Take the counts from 16777215",
                   [](Frame& frame) { invert_data(frame.daten.get(), frame.count()); });
  options.add_flag("--scale-up", "Multiply by the whole number that brings the largest near 10000",
                   [](Frame& frame) { scale_up(frame.daten.get(), frame.size.width, frame.size.height); });
  options.add_number("--scale-to", "Multiply so that the largest becomes N", 0, scale_to);
  options.add_text("--box", "X,Y,L,T,R,B[,DIV]", "Draw a box around X,Y in the largest count / DIV",
                   [](const std::string& text) { return box(parse_numbers("--box", text, 6, 7)); });
  options.add_text("--cross", "X,Y[,DIV]", "Draw a cross at X,Y in the largest count / DIV",
                   [](const std::string& text) { return cross(parse_numbers("--cross", text, 2, 3)); });
}

void apply_operations(Frame& frame, const std::vector<Operation>& operations, const std::string& path,
                      const Settings& settings) {
  for (const Operation& operation : operations) {
    const LibraryReport report = run_library(settings, {}, [&] { operation(frame); });
    if (!report.errors.empty()) throw Failure(path, joined_errors(report, path));
    for (const std::string& warning : report.warnings) warn(path, warning);
    if (frame.count() == 0) throw Failure(path, "has no pixels left");
  }
}

}  // namespace host
