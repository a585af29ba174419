// xrdimage sample: a synthetic frame to try things on.
#include <algorithm>
#include <cstdint>
#include <limits>
#include <memory>

#include "frames/synthetic_frame.h"
#include "frames/writers/mar345_file.h"
#include "program/output_file.h"
#include "program/print.h"
#include "program/program.h"

namespace program {

namespace {

struct SampleOptions {
  std::string output;
  std::uint64_t seed = 1;
  int size = 2300;
  bool overwrite = false;
};

int run(const SampleOptions& options) {
  const frames::Mar345Frame frame = frames::make_synthetic_frame(options.size, options.seed);
  OutputFile file(options.output, options.overwrite ? frames::Existing::kIsReplaced : frames::Existing::kIsRefused);
  frames::write_mar345(frame, file.stream());
  file.commit();
  const auto overflows = std::ranges::count_if(frame.counts, [](std::uint32_t count) { return count > 65535; });
  print_value("size", std::to_string(frame.size) + " x " + std::to_string(frame.size) + " pixels");
  print_value("overflow records", std::to_string(overflows));
  print_value("written", options.output);
  return 0;
}

}  // namespace

Action define_sample(Command& command, const Settings& /*settings*/) {
  constexpr std::uint64_t kSmallest = 64;
  constexpr std::uint64_t kLargest = 4096;
  auto options = std::make_shared<SampleOptions>();
  command.add_option(
      {.names = "OUT", .value = "TEXT", .help = "New file; use the ending .mar2300", .is_required = true},
      options->output);
  command.add_number({.names = "--seed", .value = "N", .help = "Seed for noise and spots"}, 0,
                     std::numeric_limits<std::uint64_t>::max(), [=](std::uint64_t seed) { options->seed = seed; });
  command.add_number({.names = "--size", .value = "N", .help = "Width and height in pixels, from 64 to 4096"},
                     kSmallest, kLargest, [=](std::uint64_t size) { options->size = static_cast<int>(size); });
  command.add_flag({.names = "--overwrite", .help = "Replace an existing file"}, options->overwrite);
  command.set_footer(
      "Examples:\n"
      "  xrdimage sample demo.mar2300\n"
      "  xrdimage sample --seed 7 --size 600 small.mar2300");
  return [options] { return run(*options); };
}

}  // namespace program
