// Options that the frame library defines, as options of a subcommand.
#pragma once

#include <CLI/CLI.hpp>
#include <algorithm>
#include <string>
#include <vector>

#include "frames/options.h"

namespace program {

// For options that take a whole number: CLI11 would take one that begins with 0 for octal.
inline CLI::Validator without_leading_zeros() {
  const auto strip_zeros = [](std::string& text) {
    const std::size_t sign = text.starts_with('-') ? 1 : 0;
    const std::size_t zeros = std::min(text.find_first_not_of('0', sign), text.size() - 1) - sign;
    if (text.size() > sign) text.erase(sign, zeros);
    return std::string();
  };
  return {strip_zeros, ""};
}

// What `take` refuses is an error of the command line that names the option.
template <typename Take>
auto checked(const std::string& name, Take take) {
  return [name, take](const std::string& text) {
    try {
      take(text);
    } catch (const frames::InvalidValue& error) {
      throw CLI::ValidationError("--" + name, error.what());
    }
  };
}

// Names the values that an option has, for completions and the manual page; the option itself refuses others.
inline CLI::Validator listed(const std::vector<std::string>& values) {
  return {[](const std::string& /*text*/) { return std::string(); }, "{" + CLI::detail::join(values, ",") + "}"};
}

// Adds an option whose text `take` receives; one without a value is a flag.
template <typename Take>
CLI::Option* add_option(CLI::App& command, const std::string& name, const std::string& value, const std::string& help,
                        Take take) {
  if (value.empty()) {
    return command.add_flag_callback(
        "--" + name, [take] { take(std::string()); }, help);
  }
  return command.add_option_function<std::string>("--" + name, checked(name, take), help)->type_name(value);
}

template <typename Target>
void add_options(CLI::App& command, const std::vector<frames::Option<Target>>& options, Target& target,
                 const char* group) {
  for (const frames::Option<Target>& option : options) {
    CLI::Option* const added = add_option(command, option.name, option.value, option.help,
                                          [&](const std::string& text) { option.set(target, text); });
    added->group(group);
    if (!option.choices.empty()) added->check(listed(option.choices));
  }
}

}  // namespace program
