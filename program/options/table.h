// Options that the frame library defines, as options of a subcommand.
#pragma once

#include <string>
#include <vector>

#include "frames/options.h"
#include "program/options/command_line.h"

namespace program {

// One without a value is a flag, for which `take` receives an empty text.
inline void add_option_or_flag(Command& command, const Option& option, const Command::Take& take) {
  if (option.value.empty()) {
    command.add_flag(option, [take] { take(""); });
  } else {
    command.add_option(option, take);
  }
}

template <typename Target>
void add_options(Command& command, const std::vector<frames::Option<Target>>& options, Target& target,
                 const char* group) {
  for (const frames::Option<Target>& option : options) {
    add_option_or_flag(command,
                       {.names = "--" + option.name,
                        .value = option.value,
                        .help = option.help,
                        .group = group,
                        .choices = option.choices},
                       [&](const std::string& text) { option.set(target, text); });
  }
}

}  // namespace program
