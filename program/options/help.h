// The help texts on the terminal.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

namespace program {

// What an option's value is called, "FORMAT", and the words that it may be, if these are all known.
std::string value_name(const CLI::Option& option);
std::vector<std::string> value_choices(const CLI::Option& option);

// --help fits a screen: groups of options that few need at once are named only. --help-all explains them.
class HelpFormatter : public CLI::Formatter {
 public:
  HelpFormatter();

  std::string make_help(const CLI::App* app, std::string name, CLI::AppFormatMode mode) const override;
  std::string make_usage(const CLI::App* app, std::string name) const override;
  std::string make_option_opts(const CLI::Option* option) const override;

 private:
  std::string make_short_groups(const CLI::App* app) const;
};

}  // namespace program
