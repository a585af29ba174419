// xrdimage manual and completion: made from the definitions of the options, so that they cannot differ from them.
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "frames/options.h"
#include "program/program.h"

namespace program {

namespace {

using frames::joined;

template <typename Visit>
void for_each_option(const Command& command, Visit visit) {
  for (const std::string& group : command.groups()) {
    for (const Option& option : command.options_of(group)) visit(option);
  }
}

// ------------------------------------------------------------------------------------------------------------------
// The page for man(1)
// ------------------------------------------------------------------------------------------------------------------

// Text with troff's special characters escaped.
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

std::string option_entry(const Option& option) {
  std::string entry = ".TP\n\\fB" + troff(joined(names_of(option))) + "\\fR";
  if (!option.value.empty()) entry += " \\fI" + troff(option.value) + "\\fR";
  entry += "\n" + troff(option.help);
  const std::string choices = joined(option.choices);
  if (option.help.find(choices) == std::string::npos) entry += ": " + troff(choices);
  return entry + "\n";
}

std::string usage(const Command& command) {
  std::string text = ".B xrdimage " + command.name() + "\n[\\fIOPTIONS\\fR]";
  for (const Option& argument : command.arguments()) {
    text += " \\fI" + argument.names + "\\fR" + (argument.may_repeat ? "..." : "");
  }
  return text + "\n";
}

std::string command_section(const Command& command) {
  std::string section = ".SS " + command.name() + "\n" + usage(command) + ".PP\n" + troff(command.summary()) + ".\n";
  for (const std::string& group : command.groups()) {
    const std::vector<Option> options = command.options_of(group);
    if (options.empty()) continue;
    section += ".PP\n\\fI" + group + "\\fR\n";
    for (const Option& option : options) section += option_entry(option);
  }
  return section + ".PP\n.nf\n" + troff(command.footer()) + "\n.fi\n";
}

void print_manual(const CommandLine& line) {
  std::string page =
      ".TH XRDIMAGE 1 \"\" \"xrdimage " XRDIMAGE_VERSION
      "\" \"User Commands\"\n"
      ".SH NAME\nxrdimage \\- shows, converts and compares X\\-ray diffraction frames\n"
      ".SH SYNOPSIS\n.B xrdimage\n\\fISUBCOMMAND\\fR [\\fIOPTIONS\\fR] \\fIFILE\\fR...\n"
      ".SH DESCRIPTION\n" +
      troff(line.program().summary()) +
      ".\nReads mar345, MarCCD, ADSC\\-style, EDF, SAINT, TIFF, CCP4\\-packed and raw frames, also those "
      "compressed with gzip or bzip2. The content of a file decides its format, not its name.\n"
      ".SH OPTIONS\n";
  for_each_option(line.program(), [&](const Option& option) { page += option_entry(option); });
  page += ".SH SUBCOMMANDS\n";
  for (const auto& command : line.subcommands()) page += command_section(*command);
  page +=
      ".SH EXIT STATUS\n0 on success, 1 when a frame could not be read or written (diff: when frames differ), 2 when "
      "the command line is wrong or standard output is closed or full (diff: also when a frame cannot be read).\n"
      ".SH ENVIRONMENT\n.TP\n\\fBDISPLAY\\fR, \\fBWAYLAND_DISPLAY\\fR\nview opens a window when one of them is set.\n"
      ".TP\n\\fBPATH\\fR\nFolders with viewers; only absolute ones are used.\n"
      ".TP\n\\fBCOLORTERM\\fR\ntruecolor or 24bit: the terminal has all colours.\n"
      ".TP\n\\fBNO_COLOR\\fR\nIf set, view draws with letters.\n";
  std::fputs(page.c_str(), stdout);
}

// ------------------------------------------------------------------------------------------------------------------
// Completion
// ------------------------------------------------------------------------------------------------------------------

std::string option_words(const Command& command) {
  std::vector<std::string> words;
  for_each_option(command, [&](const Option& option) {
    for (const std::string& name : names_of(option)) words.push_back(name);
  });
  return joined(words, " ");
}

// A shell case for each option whose value is one of a few words.
std::string choice_cases(const Command& command) {
  std::string cases;
  for_each_option(command, [&](const Option& option) {
    if (option.choices.empty()) return;
    cases += "    " + joined(names_of(option), "|") + ") COMPREPLY=($(compgen -W '" + joined(option.choices, " ") +
             "' -- \"$word\")); return ;;\n";
  });
  return cases;
}

void print_bash_completion(const CommandLine& line) {
  std::vector<std::string> names;
  std::string cases;
  for (const auto& command : line.subcommands()) {
    names.push_back(command->name());
    cases += "  " + command->name() + ")\n    case $before in\n" + choice_cases(*command) + "    esac\n    words='" +
             option_words(*command) + "' ;;\n";
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
      joined(names, " ").c_str(), option_words(line.program()).c_str(), cases.c_str());
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

std::string zsh_arguments(const Command& command) {
  std::string arguments;
  for_each_option(command, [&](const Option& option) {
    const std::string action = option.choices.empty() ? "_files" : "(" + joined(option.choices, " ") + ")";
    for (const std::string& name : names_of(option)) {
      arguments += " \\\n        '*" + name + "[" + zsh_text(option.help) + "]" +
                   (option.value.empty() ? "" : ":" + zsh_text(option.value) + ":" + action) + "'";
    }
  });
  return arguments;
}

void print_zsh_completion(const CommandLine& line) {
  std::string names;
  std::string cases;
  for (const auto& command : line.subcommands()) {
    names += " '" + command->name() + ":" + zsh_text(command->summary()) + "'";
    cases += "    " + command->name() + ")\n      _arguments" + zsh_arguments(*command) +
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

Action define_manual(Command& command, const Settings& /*settings*/) {
  command.set_footer("Example:\n  xrdimage manual | man -l -");
  return [&line = command.whole()] {
    print_manual(line);
    return 0;
  };
}

Action define_completion(Command& command, const Settings& /*settings*/) {
  auto shell = std::make_shared<std::string>();
  command.add_option({.names = "SHELL", .help = "bash or zsh", .choices = {"bash", "zsh"}, .is_required = true},
                     *shell);
  command.set_footer("Example:\n  eval \"$(xrdimage completion bash)\"");
  return [&line = command.whole(), shell] {
    if (*shell == "bash") {
      print_bash_completion(line);
    } else {
      print_zsh_completion(line);
    }
    return 0;
  };
}

}  // namespace program
