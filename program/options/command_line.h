// The command line: subcommands, their options, and errors in the user's words.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace program {

inline constexpr int kUsageError = 2;  // the exit status

// The command line is wrong; the message is one line for the user.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
  UsageError(const std::string& option, const std::string& what_is_wrong)
      : std::runtime_error(option + ": " + what_is_wrong) {}
};

// An option, or an argument without an option. All members have initializers, so that any may be left out.
struct Option {
  std::string names = {};  // "-j,--jobs"; "FILE" for an argument
  std::string value = {};  // "N", for people; empty for flags and arguments
  std::string help = {};
  std::string group = {};                 // its heading in the help; empty for the first group, "Options"
  std::vector<std::string> choices = {};  // the possible values, if they can be listed
  bool is_required = false;
  bool may_repeat = false;  // all values count, in the order of the command line; for arguments: there may be many
};

// "-j", "--jobs".
std::vector<std::string> names_of(const Option& option);

class CommandLine;

// The program, or a subcommand.
class Command {
 public:
  struct Parser;  // private
  // Throws an InvalidValue or a UsageError.
  using Take = std::function<void(const std::string& text)>;

  Command(const CommandLine& whole, std::unique_ptr<Parser> parser);
  Command(const Command&) = delete;
  Command& operator=(const Command&) = delete;
  ~Command();

  void add_flag(const Option& option, const std::function<void()>& take);
  void add_flag(const Option& option, bool& is_given);
  void add_option(const Option& option, const Take& take);
  // Refuses a value that is not among the choices, if there are any.
  void add_option(const Option& option, std::string& value);
  // A whole number from `least` to `most`.
  void add_number(const Option& option, std::uint64_t least, std::uint64_t most,
                  const std::function<void(std::uint64_t)>& take);
  // Any number of arguments.
  void add_arguments(const Option& option, std::vector<std::string>& values);
  // The two options exclude each other.
  void exclude(const std::string& option, const std::string& other);
  // The text below the options in the help.
  void set_footer(const std::string& text);

  const CommandLine& whole() const { return whole_; }
  std::string name() const;
  std::string summary() const;
  std::string footer() const;

  // Options by their groups, and arguments, as in the help.
  std::vector<std::string> groups() const;
  std::vector<Option> options_of(const std::string& group) const;
  std::vector<Option> arguments() const;

  // The options of the group that the command line gives, by their long names.
  std::vector<std::string> given_of(const std::string& group) const;

 private:
  friend class CommandLine;

  const CommandLine& whole_;
  std::unique_ptr<Parser> parser_;
};

// The program with its subcommands.
class CommandLine {
 public:
  CommandLine(const std::string& name, const std::string& summary, const std::string& version);

  Command& program() { return program_; }
  const Command& program() const { return program_; }
  Command& add_subcommand(const std::string& name, const std::string& summary);
  const std::vector<std::unique_ptr<Command>>& subcommands() const { return subcommands_; }

  // The given subcommand. Null if nothing is left to do because help was printed. Throws a UsageError.
  const Command* parse(int argc, const char* const* argv);

 private:
  const Command* chosen() const;
  std::string suggestion_for(const std::vector<std::string>& unexpected) const;

  Command program_;
  std::vector<std::unique_ptr<Command>> subcommands_;
};

}  // namespace program
