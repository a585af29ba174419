// xrdimage diff: whether two frames have the same counts.
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <memory>
#include <new>

#include "program/options/input.h"
#include "program/print.h"

namespace program {

namespace {

// Like diff and cmp: 1 for differences, 2 for errors.
constexpr int kDifferent = 1;
constexpr int kTrouble = 2;

struct DiffOptions {
  std::array<std::string, 2> files;
  InputOptions reading;
};

struct Difference {
  std::size_t pixels = 0;         // whose counts differ, or are known in only one frame
  std::size_t one_known = 0;      // those of them known in only one frame
  std::int64_t largest = 0;       // of the differences of known counts, without its sign
  std::size_t largest_pixel = 0;  // the first that has it
};

// Two frames of one size.
Difference compare(const frames::Frame& a, const frames::Frame& b) {
  Difference result;
  for (std::size_t i = 0; i < a.counts.size(); ++i) {
    const bool a_unknown = frames::is_unknown(a, i);
    const bool b_unknown = frames::is_unknown(b, i);
    if (a_unknown && b_unknown) continue;
    if (a_unknown || b_unknown) {
      ++result.pixels;
      ++result.one_known;
      continue;
    }
    const std::int64_t difference = std::abs(frames::count_of(a, i) - frames::count_of(b, i));
    if (difference == 0) continue;
    ++result.pixels;
    if (difference > result.largest) {
      result.largest = difference;
      result.largest_pixel = i;
    }
  }
  return result;
}

std::string size_text(const frames::Frame& frame) {
  return std::to_string(frame.width) + " x " + std::to_string(frame.height);
}

std::string share_text(std::size_t part, std::size_t whole) {
  std::array<char, 64> text{};
  std::snprintf(text.data(), text.size(), "%zu of %zu (%.3g %%)", part, whole,
                100.0 * static_cast<double>(part) / static_cast<double>(whole));
  return text.data();
}

void print_difference(const Difference& difference, const frames::Frame& a, const frames::Frame& b) {
  print_value("pixels differing", share_text(difference.pixels, a.counts.size()));
  if (difference.one_known > 0) print_value("unknown in one", std::to_string(difference.one_known));
  if (difference.largest == 0) return;
  const auto width = static_cast<std::size_t>(a.width);
  const std::size_t pixel = difference.largest_pixel;
  print_value("largest", std::to_string(difference.largest) + " counts: " + std::to_string(frames::count_of(a, pixel)) +
                             " and " + std::to_string(frames::count_of(b, pixel)));
  print_value("at", "column " + std::to_string(pixel % width) + ", row " + std::to_string(pixel / width));
}

frames::Frame load(const std::string& path, const DiffOptions& options, const Settings& settings) {
  frames::Remarks remarks;
  frames::Frame frame = load_input(path, options.reading, settings, remarks);
  print_warnings(path, remarks);
  return frame;
}

// An option that helps to read one of the frames is not a mistake.
void refuse_useless_options(const frames::Frame& a, const frames::Frame& b, const DiffOptions& options) {
  const std::vector<std::string> of_b = useless_options(b, options.reading);
  for (const std::string& option : useless_options(a, options.reading)) {
    if (std::ranges::find(of_b, option) != of_b.end()) throw UselessOption(options.files[0], option);
  }
}

void check_options(const Command& command, const DiffOptions& options) {
  check_input_options(options.reading);
  const std::vector<std::string> geometry = given_geometry(command);
  if (!geometry.empty()) throw UsageError(geometry.front(), "has no effect: only counts are compared");
}

int run(const DiffOptions& options, const Settings& settings) {
  const frames::Frame a = load(options.files[0], options, settings);
  const frames::Frame b = load(options.files[1], options, settings);
  refuse_useless_options(a, b, options);
  if (a.width != b.width || a.height != b.height) {
    print_value("sizes differ", size_text(a) + " and " + size_text(b) + " pixels");
    return kDifferent;
  }
  const Difference difference = compare(a, b);
  if (difference.pixels == 0) {
    std::printf("the counts are the same: %s pixels\n", size_text(a).c_str());
    return 0;
  }
  print_difference(difference, a, b);
  return kDifferent;
}

}  // namespace

Action define_diff(Command& command, const Settings& settings) {
  auto options = std::make_shared<DiffOptions>();
  command.add_option({.names = "A", .help = "A frame", .is_required = true}, options->files[0]);
  command.add_option({.names = "B", .help = "The frame to compare it with, of any format", .is_required = true},
                     options->files[1]);
  add_input_options(command, options->reading);
  command.set_footer(
      "Exit status: 0 when all counts are the same, 1 when they differ, 2 when a frame\n"
      "cannot be read.\n"
      "\nExamples:\n"
      "  xrdimage diff frame.mar2300 frame.edf\n"
      "  xrdimage diff old/frame.img new/frame.img && echo same");
  return [options, &command, &settings] {
    check_options(command, *options);
    try {
      return run(*options, settings);
    } catch (const std::bad_alloc&) {
      std::fputs(failure_line("not enough memory").c_str(), stderr);
    } catch (const std::exception& failure) {
      std::fflush(stdout);
      std::fputs(failure_line(failure.what()).c_str(), stderr);
    }
    return kTrouble;
  };
}

}  // namespace program
