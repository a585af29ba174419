// The program xrdimage: shows and converts detector images from a terminal.
#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <exception>
#include <new>
#include <string>

#include "program/companions.h"
#include "program/options/command_line.h"
#include "program/options/input.h"
#include "program/print.h"
#include "program/program.h"
#include "program/standard_output.h"

namespace {

using program::Action;
using program::Command;
using program::Settings;

struct Subcommand {
  const char* name;
  const char* summary;
  Action (*define)(Command& command, const Settings& settings);
};

constexpr std::array<Subcommand, 8> kSubcommands{{
    {"info", "Print formats, sizes, header values, statistics", program::define_info},
    {"convert", "Write frames as pictures or in another format", program::define_convert},
    {"view", "Show a frame on the screen, or in the terminal", program::define_view},
    {"diff", "Compare the counts of two frames", program::define_diff},
    {"sample", "Make a synthetic mar345 frame to try things on", program::define_sample},
    {"completion", "Print the completion for bash or zsh", program::define_completion},
    {"manual", "Print the manual page", program::define_manual},
    {"licenses", "Print the licences of this program and its parts", program::define_licenses},
}};

void prepare_process() {
  // The next file to be opened would get a standard descriptor that is closed.
  int descriptor = 0;
  while ((descriptor = open("/dev/null", O_RDWR)) >= 0 && descriptor <= STDERR_FILENO) {
  }
  close(descriptor);
  // A parent may have set this to be ignored; then nobody learns how a process ended.
  std::signal(SIGCHLD, SIG_DFL);
  // Too large a file is a write error, not the end of the process.
  std::signal(SIGXFSZ, SIG_IGN);
  // The library keeps a stream open for some frames; there may be thousands.
  rlimit files{};
  getrlimit(RLIMIT_NOFILE, &files);
  files.rlim_cur = files.rlim_max;
  setrlimit(RLIMIT_NOFILE, &files);
  program::clean_path();
}

int run(int argc, char** argv) {
  Settings settings;
  program::CommandLine line("xrdimage", "Two-dimensional X-ray diffraction detector images",
                            "xrdimage " XRDIMAGE_VERSION);
  line.program().add_flag({.names = "-v,--verbose", .help = "Also show what the library prints"}, settings.verbose);
  line.program().set_footer(
      "Examples:\n"
      "  xrdimage info frame.mar2300\n"
      "  xrdimage view frame.mar2300\n"
      "  xrdimage convert data/*.mccd -o pictures/ --to png\n"
      "'xrdimage SUBCOMMAND --help' tells more.");
  std::array<Action, kSubcommands.size()> actions;
  std::ranges::transform(kSubcommands, actions.begin(), [&](const Subcommand& subcommand) {
    return subcommand.define(line.add_subcommand(subcommand.name, subcommand.summary), settings);
  });
  const Command* const chosen = line.parse(argc, argv);
  if (chosen == nullptr) return 0;
  const auto* const found = std::ranges::find(kSubcommands, chosen->name(), &Subcommand::name);
  return actions.at(static_cast<std::size_t>(found - kSubcommands.begin()))();
}

int report(const std::string& message, int status) {
  std::fflush(stdout);
  std::fputs(program::failure_line(message).c_str(), stderr);
  return status;
}

// Standard output may have failed besides.
int run_and_report(int argc, char** argv) {
  constexpr int kFailed = 1;
  try {
    return run(argc, argv);
  } catch (const program::OutputError&) {
    throw;
  } catch (const program::UsageError& error) {
    return report(error.what() + std::string(" ('xrdimage --help' tells more)"), program::kUsageError);
  } catch (const program::UselessOption& error) {
    return report(error.what(), program::kUsageError);
  } catch (const std::bad_alloc&) {
    return report("not enough memory", kFailed);
  } catch (const std::exception& failure) {
    return report(failure.what(), kFailed);
  }
}

}  // namespace

int main(int argc, char** argv) {
  try {
    program::require_standard_output();
    prepare_process();
    const int status = run_and_report(argc, argv);
    program::finish_standard_output();
    return status;
  } catch (const std::exception& failure) {
    return report(failure.what(), program::kOutputTrouble);
  }
}
