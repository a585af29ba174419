// The abilities of the terminal.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace program {

enum class TerminalGraphics { kKitty, kSixel, kBlocks, kAscii };

struct Terminal {
  int columns = 80;
  int rows = 24;
  int pixel_width = 0;  // of the whole terminal; 0 if unknown
  int pixel_height = 0;
  TerminalGraphics graphics = TerminalGraphics::kAscii;
  bool true_color = false;  // or else 256 colours
};

// The terminal that the program runs in. If the environment does not show its abilities, it is asked once, and
// the program waits up to a second for the answer. What is typed meanwhile is lost.
class AskedTerminal {
 public:
  AskedTerminal();
  AskedTerminal(const AskedTerminal&) = delete;
  AskedTerminal& operator=(const AskedTerminal&) = delete;
  // A shell would take a late answer for a command: waits for it, up to eight seconds from the question or until an
  // interrupt. Standard output is flushed before.
  ~AskedTerminal();

  const Terminal& terminal() const { return terminal_; }

 private:
  void ask(const std::string& questions);

  Terminal terminal_;
  std::optional<std::chrono::steady_clock::time_point> asked_;
  std::string answers_;
};

// The knowledge before the terminal is asked.
struct Surroundings {
  bool is_interactive = false;  // standard input and output are a terminal
  bool is_utf8 = false;
  bool no_color = false;
  std::string term;
};

// Nothing if the terminal has to be asked.
std::optional<TerminalGraphics> graphics_of(const Surroundings& surroundings);

// The questions for a terminal of this name: whether it knows kitty's graphics, and what it is at all. Every terminal
// answers the latter, so that there is no need to wait for an answer to the former.
std::string terminal_questions(std::string_view term);

// Whether the last of the answers is complete.
bool answers_are_complete(std::string_view answers);

// Nothing if they show no graphics.
std::optional<TerminalGraphics> graphics_in(std::string_view answers);

}  // namespace program
