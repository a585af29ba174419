// xrdimage sample: a synthetic frame, for those who have none at hand.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdint>
#include <memory>

#include "frames/new_file.h"
#include "frames/numbers.h"
#include "frames/synthetic_frame.h"
#include "frames/writers/mar345_file.h"
#include "program/options/table.h"
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
  frames::NewFile file(options.output, frames::Interrupts::kRemoveFile,
                       options.overwrite ? frames::Existing::kIsReplaced : frames::Existing::kIsRefused);
  frames::write_mar345(frame, file.stream());
  file.commit();
  const auto overflows = std::ranges::count_if(frame.counts, [](std::uint32_t count) { return count > 65535; });
  print_value("size", std::to_string(frame.size) + " x " + std::to_string(frame.size) + " pixels");
  print_value("overflow records", std::to_string(overflows));
  print_value("written", options.output);
  return 0;
}

}  // namespace

Action define_sample(CLI::App& command, const Settings& /*settings*/) {
  auto options = std::make_shared<SampleOptions>();
  command.add_option("OUT", options->output, "New file; a name in .mar2300 is recognised as a frame")->required();
  command.add_option("--seed", options->seed, "Number that decides noise and spots")
      ->type_name("N")
      ->transform(without_leading_zeros())
      ->capture_default_str();
  command.add_option("--size", options->size, "Pixels per row, and rows, from 64 to 4096")
      ->type_name("N")
      ->transform(without_leading_zeros())
      ->check(CLI::Range(64, 4096).description(""))
      ->capture_default_str();
  command.add_flag("--overwrite", options->overwrite, "Replace an existing file");
  command.footer(
      "Examples:\n"
      "  xrdimage sample demo.mar2300\n"
      "  xrdimage sample --seed 7 --size 600 small.mar2300");
  return [options] { return run(*options); };
}

}  // namespace program
