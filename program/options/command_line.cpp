// The only source that knows CLI11, whose templates take longer to compile than the rest of the program.
#include "program/options/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <charconv>
#include <map>
#include <optional>
#include <string_view>
#include <utility>

#include "frames/numbers.h"
#include "frames/options.h"
#include "program/options/suggestion.h"

namespace program {

// A subcommand's parser belongs to the program's.
struct Command::Parser {
  CLI::App* app = nullptr;
  std::unique_ptr<CLI::App> own;
  std::map<const CLI::Option*, std::vector<std::string>> choices;

  void describe(CLI::Option& added, const Option& option);
  Option described(const CLI::Option& option) const;
};

namespace {

// ------------------------------------------------------------------------------------------------------------------
// The help texts
// ------------------------------------------------------------------------------------------------------------------

// Groups whose options --help names without explaining them.
constexpr std::array<std::string_view, 3> kNamedOnly{"Operations", "Pictures", "Reading"};
constexpr std::size_t kScreenColumns = 80;

// "Pictures:     --scale --range ...", over as many lines as needed.
std::string lines_of_names(const std::string& group, const std::vector<const CLI::Option*>& options) {
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

// --help fits on a screen: groups of rarely used options are only named. --help-all explains them.
class HelpFormatter : public CLI::Formatter {
 public:
  HelpFormatter() {
    constexpr std::size_t kDescriptionColumn = 24;
    column_width(kDescriptionColumn);
  }

  std::string make_help(const CLI::App* app, std::string name, CLI::AppFormatMode mode) const override {
    if (mode != CLI::AppFormatMode::Normal) return CLI::Formatter::make_help(app, std::move(name), mode);
    return make_description(app) + make_usage(app, std::move(name)) + make_short_groups(app) +
           make_subcommands(app, mode) + (app->get_footer().empty() ? "" : "\n" + app->get_footer() + "\n");
  }

  // Required options come behind CLI11's own text.
  std::string make_usage(const CLI::App* app, std::string name) const override {
    std::string usage = CLI::Formatter::make_usage(app, std::move(name));
    usage.erase(usage.find_last_not_of('\n') + 1);
    for (const CLI::Option* option :
         app->get_options([](const CLI::Option* o) { return o->nonpositional() && o->get_required(); })) {
      usage.append(" ").append(option->get_name()).append(make_option_opts(option));
    }
    return usage.append("\n");
  }

  std::string make_option_opts(const CLI::Option* option) const override {
    const std::string name = option->get_type_name();
    return (name.empty() ? "" : " " + name) + (option->get_expected_max() > 1 ? " ..." : "");
  }

 private:
  std::string make_short_groups(const CLI::App* app) const {
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
        named += lines_of_names(group, options);
      } else {
        explained += make_group(group, false, options);
      }
    }
    if (named.empty()) return explained;
    return explained.append("\n").append(named).append("(--help-all explains these)\n");
  }
};

// ------------------------------------------------------------------------------------------------------------------
// Values
// ------------------------------------------------------------------------------------------------------------------

// Messages name an option by its longest name, which stands last.
std::string long_name(const Option& option) {
  return names_of(option).back();
}

// Adds the option's name to the message about a value.
Command::Take checked(const Option& option, const Command::Take& take) {
  return [option, take](const std::string& text) {
    try {
      take(text);
    } catch (const frames::InvalidValue& error) {
      throw UsageError(long_name(option), error.what() + suggestion(text, option.choices));
    }
  };
}

// Nothing if the text is not a number from 0 to 2^64 - 1. Leading zeros do not make it octal.
std::optional<std::uint64_t> whole_number(std::string_view text) {
  if (text.starts_with('+')) text.remove_prefix(1);
  std::uint64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

}  // namespace

std::vector<std::string> names_of(const Option& option) {
  return CLI::detail::split(option.names, ',');
}

// ------------------------------------------------------------------------------------------------------------------
// Definitions
// ------------------------------------------------------------------------------------------------------------------

void Command::Parser::describe(CLI::Option& added, const Option& option) {
  added.required(option.is_required);
  if (!option.group.empty()) added.group(option.group);
  if (option.may_repeat) added.trigger_on_parse();
  if (!option.choices.empty()) choices[&added] = option.choices;
}

Option Command::Parser::described(const CLI::Option& option) const {
  Option text;
  const auto add_name = [&](const std::string& name) { text.names += (text.names.empty() ? "" : ",") + name; };
  for (const std::string& name : option.get_snames()) add_name("-" + name);
  for (const std::string& name : option.get_lnames()) add_name("--" + name);
  if (option.get_positional()) add_name(option.get_name());
  text.value = option.get_type_name();
  text.help = option.get_description();
  text.group = option.get_group();
  if (const auto found = choices.find(&option); found != choices.end()) text.choices = found->second;
  text.is_required = option.get_required();
  text.may_repeat = option.get_expected_max() > 1;
  return text;
}

Command::Command(const CommandLine& whole, std::unique_ptr<Parser> parser)
    : whole_(whole), parser_(std::move(parser)) {}

Command::~Command() = default;

void Command::add_flag(const Option& option, const std::function<void()>& take) {
  parser_->describe(*parser_->app->add_flag_callback(option.names, take, option.help), option);
}

void Command::add_flag(const Option& option, bool& is_given) {
  add_flag(option, [&is_given] { is_given = true; });
}

void Command::add_option(const Option& option, const Take& take) {
  CLI::Option* const added =
      parser_->app->add_option_function<std::string>(option.names, checked(option, take), option.help);
  parser_->describe(*added->type_name(option.value), option);
}

void Command::add_option(const Option& option, std::string& value) {
  add_option(option, [&value, choices = option.choices](const std::string& text) {
    value = text;
    if (choices.empty() || std::ranges::find(choices, text) != choices.end()) return;
    throw frames::InvalidValue(text, "must be one of " + frames::joined(choices));
  });
}

void Command::add_number(const Option& option, std::uint64_t least, std::uint64_t most,
                         const std::function<void(std::uint64_t)>& take) {
  add_option(option, [option, least, most, take](const std::string& text) {
    const auto number = whole_number(text);
    if (!number || *number < least || *number > most) {
      throw UsageError(long_name(option),
                       "Value " + text + " not in range " + std::to_string(least) + " to " + std::to_string(most));
    }
    take(*number);
  });
}

void Command::add_arguments(const Option& option, std::vector<std::string>& values) {
  parser_->describe(*parser_->app->add_option(option.names, values, option.help)->type_name(option.value), option);
}

void Command::exclude(const std::string& option, const std::string& other) {
  parser_->app->get_option(option)->excludes(parser_->app->get_option(other));
}

void Command::set_footer(const std::string& text) {
  parser_->app->footer(text);
}

std::string Command::name() const {
  return parser_->app->get_name();
}

std::string Command::summary() const {
  return parser_->app->get_description();
}

std::string Command::footer() const {
  return parser_->app->get_footer();
}

std::vector<std::string> Command::groups() const {
  return parser_->app->get_groups();
}

std::vector<Option> Command::options_of(const std::string& group) const {
  std::vector<Option> options;
  for (const CLI::Option* option : std::as_const(*parser_->app).get_options([&](const CLI::Option* candidate) {
         return candidate->nonpositional() && candidate->get_group() == group;
       })) {
    options.push_back(parser_->described(*option));
  }
  return options;
}

std::vector<Option> Command::arguments() const {
  std::vector<Option> arguments;
  for (const CLI::Option* option : std::as_const(*parser_->app).get_options([](const CLI::Option* candidate) {
         return candidate->get_positional();
       })) {
    arguments.push_back(parser_->described(*option));
  }
  return arguments;
}

std::vector<std::string> Command::given_of(const std::string& group) const {
  std::vector<std::string> given;
  for (const CLI::Option* option : std::as_const(*parser_->app).get_options([&](const CLI::Option* candidate) {
         return candidate->get_group() == group && candidate->count() > 0;
       })) {
    given.push_back(option->get_name());
  }
  return given;
}

// ------------------------------------------------------------------------------------------------------------------
// The whole
// ------------------------------------------------------------------------------------------------------------------

namespace {

std::unique_ptr<Command::Parser> program_parser(const std::string& name, const std::string& summary) {
  auto parser = std::make_unique<Command::Parser>();
  parser->own = std::make_unique<CLI::App>(summary, name);
  parser->app = parser->own.get();
  return parser;
}

// Options by all their names, without their values.
std::vector<std::string> option_names(const Command& command) {
  std::vector<std::string> words;
  for (const std::string& group : command.groups()) {
    for (const Option& option : command.options_of(group)) {
      const std::vector<std::string> names = names_of(option);
      words.insert(words.end(), names.begin(), names.end());
    }
  }
  return words;
}

}  // namespace

CommandLine::CommandLine(const std::string& name, const std::string& summary, const std::string& version)
    : program_(*this, program_parser(name, summary)) {
  CLI::App& app = *program_.parser_->app;
  app.formatter(std::make_shared<HelpFormatter>());
  app.set_help_flag("-h,--help", "Show this help");
  app.set_help_all_flag("--help-all", "Show all options");
  app.set_version_flag("--version", version)->description("Show the version");
  app.require_subcommand(0, 1);
}

Command& CommandLine::add_subcommand(const std::string& name, const std::string& summary) {
  auto parser = std::make_unique<Command::Parser>();
  parser->app = program_.parser_->app->add_subcommand(name, summary);
  parser->app->fallthrough();
  return *subcommands_.emplace_back(std::make_unique<Command>(*this, std::move(parser)));
}

const Command* CommandLine::chosen() const {
  const auto found =
      std::ranges::find_if(subcommands_, [](const auto& command) { return command->parser_->app->parsed(); });
  return found == subcommands_.end() ? nullptr : found->get();
}

// For the first word that is close to a known one.
std::string CommandLine::suggestion_for(const std::vector<std::string>& unexpected) const {
  const Command* const command = chosen();
  std::vector<std::string> options = option_names(program_);
  std::vector<std::string> names;
  if (command != nullptr) std::ranges::copy(option_names(*command), std::back_inserter(options));
  for (const auto& subcommand : subcommands_) names.push_back(subcommand->name());
  for (const std::string& word : unexpected) {
    std::string found;
    if (word.starts_with('-')) {
      found = suggestion(word.substr(0, word.find('=')), options);
    } else if (command == nullptr) {
      found = suggestion(word, names);
    }
    if (!found.empty()) return found;
  }
  return "";
}

const Command* CommandLine::parse(int argc, const char* const* argv) {
  CLI::App& app = *program_.parser_->app;
  try {
    app.parse(argc, argv);
  } catch (const CLI::Success& help) {
    app.exit(help);
    return nullptr;
  } catch (const CLI::ExtrasError& error) {
    std::vector<std::string> unexpected = app.remaining(true);
    std::ranges::reverse(unexpected);
    throw UsageError(error.what() + suggestion_for(unexpected));
  } catch (const CLI::ParseError& error) {
    throw UsageError(error.what());
  }
  const Command* const command = chosen();
  if (command == nullptr) std::fputs(app.help().c_str(), stdout);
  return command;
}

}  // namespace program
