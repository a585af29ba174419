#include "program/options/help.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace program {

namespace {

// Groups whose options --help names without explaining them.
constexpr std::array<std::string_view, 3> kNamedOnly{"Operations", "Pictures", "Reading"};
constexpr std::size_t kScreenColumns = 80;

// "Pictures:     --scale --range ...", over as many lines as it takes.
std::string names_of(const std::string& group, const std::vector<const CLI::Option*>& options) {
  constexpr std::size_t kIndent = 13;  // without the blank in front of each name
  std::string lines = group + ":";
  lines.resize(std::max(lines.size(), kIndent), ' ');
  std::size_t column = lines.size();
  for (const CLI::Option* option : options) {
    const std::string name = " " + option->get_name();
    if (column + name.size() > kScreenColumns) {
      lines += "\n" + std::string(kIndent, ' ');
      column = kIndent;
    }
    lines += name;
    column += name.size();
  }
  return lines + "\n";
}

}  // namespace

std::string value_name(const CLI::Option& option) {
  const std::string type = option.get_type_name();
  return type.substr(0, type.find(':'));
}

// CLI11 has the words behind the type's name: "FORMAT:{png,edf}".
std::vector<std::string> value_choices(const CLI::Option& option) {
  const std::string type = option.get_type_name();
  const std::size_t begin = type.find(":{");
  const std::size_t end = type.find('}');
  if (begin == std::string::npos || end == std::string::npos) return {};
  return CLI::detail::split(type.substr(begin + 2, end - begin - 2), ',');
}

HelpFormatter::HelpFormatter() {
  constexpr std::size_t kDescriptionColumn = 24;
  column_width(kDescriptionColumn);
}

std::string HelpFormatter::make_help(const CLI::App* app, std::string name, CLI::AppFormatMode mode) const {
  if (mode != CLI::AppFormatMode::Normal) return CLI::Formatter::make_help(app, std::move(name), mode);
  return make_description(app) + make_usage(app, std::move(name)) + make_short_groups(app) +
         make_subcommands(app, mode) + (app->get_footer().empty() ? "" : "\n" + app->get_footer() + "\n");
}

std::string HelpFormatter::make_short_groups(const CLI::App* app) const {
  std::string explained;
  std::string named;
  const bool is_subcommand = app->get_parent() != nullptr;
  for (const std::string& group : app->get_groups()) {
    const auto options = app->get_options([&](const CLI::Option* option) {
      const bool is_help = option == app->get_help_ptr() || option == app->get_help_all_ptr();
      return option->get_group() == group && option->nonpositional() && !(is_subcommand && is_help);
    });
    if (group.empty() || options.empty()) continue;
    if (std::ranges::find(kNamedOnly, group) != kNamedOnly.end()) {
      named += names_of(group, options);
    } else {
      explained += make_group(group, false, options);
    }
  }
  if (named.empty()) return explained;
  return explained.append("\n").append(named).append("(--help-all explains these)\n");
}

// Options that must be given stand behind what CLI11 has to say.
std::string HelpFormatter::make_usage(const CLI::App* app, std::string name) const {
  std::string usage = CLI::Formatter::make_usage(app, std::move(name));
  usage.erase(usage.find_last_not_of('\n') + 1);
  for (const CLI::Option* option :
       app->get_options([](const CLI::Option* o) { return o->nonpositional() && o->get_required(); })) {
    usage.append(" ").append(option->get_name()).append(make_option_opts(option));
  }
  return usage.append("\n");
}

std::string HelpFormatter::make_option_opts(const CLI::Option* option) const {
  const std::string name = value_name(*option);
  return (name.empty() ? "" : " " + name) + (option->get_expected_max() > 1 ? " ..." : "");
}

}  // namespace program
