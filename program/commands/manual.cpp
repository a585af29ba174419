// xrdimage manual and completion: made from the definitions of the options, so that they cannot differ from them.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "program/options/help.h"
#include "program/program.h"

namespace program {

namespace {

using CLI::detail::join;

// The subcommands that users call by hand.
std::vector<const CLI::App*> subcommands(const CLI::App& app) {
  return app.get_subcommands([](const CLI::App* command) { return !command->get_group().empty(); });
}

std::vector<const CLI::Option*> options_of(const CLI::App& app, const std::string& group) {
  return app.get_options(
      [&](const CLI::Option* option) { return option->nonpositional() && option->get_group() == group; });
}

// "-j", "--jobs".
std::vector<std::string> names_of(const CLI::Option& option) {
  std::vector<std::string> names;
  for (const std::string& name : option.get_snames()) names.push_back("-" + name);
  for (const std::string& name : option.get_lnames()) names.push_back("--" + name);
  return names;
}

template <typename Visit>
void for_each_option(const CLI::App& app, Visit visit) {
  for (const std::string& group : app.get_groups()) {
    for (const CLI::Option* option : options_of(app, group)) visit(*option);
  }
}

// ------------------------------------------------------------------------------------------------------------------
// The page for man(1)
// ------------------------------------------------------------------------------------------------------------------

// Text as troff takes it for what it is.
std::string troff(std::string_view text) {
  std::string escaped;
  bool at_line_start = true;
  for (const char c : text) {
    if (at_line_start && (c == '.' || c == '\'')) escaped += "\\&";
    if (c == '\\') {
      escaped += "\\e";
    } else if (c == '-') {
      escaped += "\\-";
    } else {
      escaped += c;
    }
    at_line_start = c == '\n';
  }
  return escaped;
}

std::string option_entry(const CLI::Option& option) {
  std::string entry = ".TP\n\\fB" + troff(join(names_of(option), ", ")) + "\\fR";
  if (const std::string value = value_name(option); !value.empty()) entry += " \\fI" + troff(value) + "\\fR";
  const std::string& description = option.get_description();
  entry += "\n" + troff(description);
  const std::string choices = join(value_choices(option), ", ");
  if (description.find(choices) == std::string::npos) entry += ": " + troff(choices);
  return entry + "\n";
}

std::string usage(const CLI::App& command) {
  std::string text = ".B xrdimage " + command.get_name() + "\n[\\fIOPTIONS\\fR]";
  for (const CLI::Option* option : command.get_options([](const CLI::Option* o) { return o->get_positional(); })) {
    text += " \\fI" + option->get_name() + "\\fR" + (option->get_expected_max() > 1 ? "..." : "");
  }
  return text + "\n";
}

std::string command_section(const CLI::App& command) {
  std::string section =
      ".SS " + command.get_name() + "\n" + usage(command) + ".PP\n" + troff(command.get_description()) + ".\n";
  for (const std::string& group : command.get_groups()) {
    const auto options = options_of(command, group);
    if (options.empty() || group.empty()) continue;
    section += ".PP\n\\fI" + group + "\\fR\n";
    for (const CLI::Option* option : options) section += option_entry(*option);
  }
  return section + ".PP\n.nf\n" + troff(command.get_footer()) + "\n.fi\n";
}

void print_manual(const CLI::App& app) {
  std::string page =
      ".TH XRDIMAGE 1 \"\" \"xrdimage " XRDIMAGE_VERSION
      "\" \"User Commands\"\n"
      ".SH NAME\nxrdimage \\- shows, converts and compares X\\-ray diffraction frames\n"
      ".SH SYNOPSIS\n.B xrdimage\n\\fISUBCOMMAND\\fR [\\fIOPTIONS\\fR] \\fIFILE\\fR...\n"
      ".SH DESCRIPTION\n" +
      troff(app.get_description()) +
      ".\nReads mar345, MarCCD, ADSC\\-style, EDF, SAINT, TIFF, CCP4\\-packed and raw frames, also those "
      "compressed by gzip or bzip2, whatever their names. The content tells the format.\n"
      ".SH OPTIONS\n";
  for_each_option(app, [&](const CLI::Option& option) { page += option_entry(option); });
  page += ".SH SUBCOMMANDS\n";
  for (const CLI::App* command : subcommands(app)) page += command_section(*command);
  page +=
      ".SH EXIT STATUS\n0 on success, 1 when a frame could not be read or written (diff: when frames differ), 2 when "
      "the command line is wrong or standard output is closed or full (diff: also when a frame cannot be read).\n"
      ".SH ENVIRONMENT\n.TP\n\\fBDISPLAY\\fR, \\fBWAYLAND_DISPLAY\\fR\nview opens a window when one of them is set.\n"
      ".TP\n\\fBPATH\\fR\nFolders with viewers; those that are not absolute are passed over.\n"
      ".TP\n\\fBCOLORTERM\\fR\ntruecolor or 24bit: the terminal has all colours.\n"
      ".TP\n\\fBNO_COLOR\\fR\nIf set, view draws with letters.\n";
  std::fputs(page.c_str(), stdout);
}

// ------------------------------------------------------------------------------------------------------------------
// Completion
// ------------------------------------------------------------------------------------------------------------------

std::string option_words(const CLI::App& app) {
  std::vector<std::string> words;
  for_each_option(app, [&](const CLI::Option& option) {
    for (const std::string& name : names_of(option)) words.push_back(name);
  });
  return join(words, " ");
}

// A case of the shell for each option whose value is one of some words.
std::string choice_cases(const CLI::App& app) {
  std::string cases;
  for_each_option(app, [&](const CLI::Option& option) {
    const auto choices = value_choices(option);
    if (choices.empty()) return;
    cases += "    " + join(names_of(option), "|") + ") COMPREPLY=($(compgen -W '" + join(choices, " ") +
             "' -- \"$word\")); return ;;\n";
  });
  return cases;
}

void print_bash_completion(const CLI::App& app) {
  std::vector<std::string> names;
  std::string cases;
  for (const CLI::App* command : subcommands(app)) {
    names.push_back(command->get_name());
    cases += "  " + command->get_name() + ")\n    case $before in\n" + choice_cases(*command) +
             "    esac\n    words='" + option_words(*command) + "' ;;\n";
  }
  std::printf(
      "# bash completion for xrdimage: source it, or put it into ~/.local/share/bash-completion/completions/xrdimage\n"
      "_xrdimage() {\n"
      "  local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD-1]} words=\n"
      "  if [ \"$COMP_CWORD\" -eq 1 ]; then\n"
      "    COMPREPLY=($(compgen -W '%s %s' -- \"$word\"))\n"
      "    return\n"
      "  fi\n"
      "  case ${COMP_WORDS[1]} in\n%s  esac\n"
      "  if [[ $word == -* ]]; then\n"
      "    COMPREPLY=($(compgen -W \"$words\" -- \"$word\"))\n"
      "  else\n"
      "    COMPREPLY=()  # files, by the shell's own completion\n"
      "  fi\n"
      "}\n"
      "complete -o default -F _xrdimage xrdimage\n",
      join(names, " ").c_str(), option_words(app).c_str(), cases.c_str());
}

// Text within the brackets and quotes of _arguments.
std::string zsh_text(std::string_view text) {
  std::string escaped;
  for (const char c : text) {
    if (c == '[' || c == ']' || c == ':' || c == '\\') escaped += '\\';
    escaped += c == '\'' ? std::string("'\\''") : std::string(1, c);
  }
  return escaped;
}

std::string zsh_arguments(const CLI::App& app) {
  std::string arguments;
  for_each_option(app, [&](const CLI::Option& option) {
    const std::string value = value_name(option);
    const auto choices = value_choices(option);
    const std::string action = choices.empty() ? "_files" : "(" + join(choices, " ") + ")";
    for (const std::string& name : names_of(option)) {
      arguments += " \\\n        '*" + name + "[" + zsh_text(option.get_description()) + "]" +
                   (value.empty() ? "" : ":" + zsh_text(value) + ":" + action) + "'";
    }
  });
  return arguments;
}

void print_zsh_completion(const CLI::App& app) {
  std::string names;
  std::string cases;
  for (const CLI::App* command : subcommands(app)) {
    names += " '" + command->get_name() + ":" + zsh_text(command->get_description()) + "'";
    cases += "    " + command->get_name() + ")\n      _arguments" + zsh_arguments(*command) +
             " \\\n        '*:frame:_files' ;;\n";
  }
  std::printf(
      "#compdef xrdimage\n"
      "# zsh completion for xrdimage: put it into a folder of $fpath as _xrdimage\n"
      "_xrdimage() {\n"
      "  local -a commands=(%s)\n"
      "  if (( CURRENT == 2 )); then\n"
      "    _describe subcommand commands\n"
      "    return\n"
      "  fi\n"
      "  local command=$words[2]\n"
      "  shift words\n"
      "  (( CURRENT-- ))\n"
      "  case $command in\n%s  esac\n"
      "}\n"
      "_xrdimage \"$@\"\n",
      names.c_str(), cases.c_str());
}

}  // namespace

Action define_manual(CLI::App& command, const Settings& /*settings*/) {
  command.footer("Example:\n  xrdimage manual | man -l -");
  return [&command] {
    print_manual(*command.get_parent());
    return 0;
  };
}

Action define_completion(CLI::App& command, const Settings& /*settings*/) {
  auto shell = std::make_shared<std::string>();
  command.add_option("SHELL", *shell, "bash or zsh")
      ->type_name("")
      ->required()
      ->check(CLI::IsMember({"bash", "zsh"}).description(""));
  command.footer("Example:\n  eval \"$(xrdimage completion bash)\"");
  return [&command, shell] {
    if (*shell == "bash") {
      print_bash_completion(*command.get_parent());
    } else {
      print_zsh_completion(*command.get_parent());
    }
    return 0;
  };
}

}  // namespace program
