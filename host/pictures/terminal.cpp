#include "host/pictures/terminal.h"

#include <fcntl.h>
#include <langinfo.h>
#include <locale.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <cstdlib>

#include "host/signals.h"

namespace host {

namespace {

constexpr std::chrono::milliseconds kPatience{300};

std::string variable(const char* name) {
  const char* value = std::getenv(name);
  return value == nullptr ? "" : value;
}

// Asked without a change of the program's own locale, in which numbers have a point.
bool locale_is_utf8() {
  const locale_t locale = newlocale(LC_CTYPE_MASK, "", nullptr);
  if (locale == nullptr) return false;
  const bool is_utf8 = std::string_view(nl_langinfo_l(CODESET, locale)) == "UTF-8";
  freelocale(locale);
  return is_utf8;
}

class Descriptor {
 public:
  explicit Descriptor(int number) : number_(number) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() {
    if (number_ >= 0) close(number_);
  }
  int number() const { return number_; }

 private:
  int number_;
};

// The terminal hands over each byte at once and shows none. Signals that would end or stop the process wait until the
// terminal is as it was before.
class RawTerminal {
 public:
  explicit RawTerminal(int terminal) : terminal_(terminal) {
    if (tcgetattr(terminal, &before_) != 0) return;
    termios raw = before_;
    raw.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
    raw.c_cc[VMIN] = 0;
    raw.c_cc[VTIME] = 0;
    is_raw_ = tcsetattr(terminal, TCSANOW, &raw) == 0;
  }
  RawTerminal(const RawTerminal&) = delete;
  RawTerminal& operator=(const RawTerminal&) = delete;
  ~RawTerminal() {
    if (is_raw_) tcsetattr(terminal_, TCSANOW, &before_);
  }
  bool is_raw() const { return is_raw_; }

 private:
  static constexpr std::array kWaiting{SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGTSTP, SIGTTIN, SIGTTOU};

  xrd::BlockedSignals blocked_{
      signal_set(kWaiting)};  // the first member: they wait before the terminal changes, and until it is back
  int terminal_;
  termios before_{};
  bool is_raw_ = false;
};

bool write_all(int descriptor, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = write(descriptor, bytes.data(), bytes.size());
    if (written <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

// What the terminal says until its answers are complete or the patience is over.
std::string read_answers(int terminal) {
  using Clock = std::chrono::steady_clock;
  const Clock::time_point end = Clock::now() + kPatience;
  std::string answers;
  while (!answers_are_complete(answers)) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now());
    pollfd waiting{terminal, POLLIN, 0};
    if (left.count() <= 0 || poll(&waiting, 1, static_cast<int>(left.count())) <= 0) break;
    std::array<char, 256> bytes{};
    const ssize_t found = read(terminal, bytes.data(), bytes.size());
    if (found <= 0) break;
    answers.append(bytes.data(), static_cast<std::size_t>(found));
  }
  return answers;
}

// Nothing when there is no terminal to ask.
std::string ask_terminal(const std::string& questions) {
  const Descriptor terminal(open("/dev/tty", O_RDWR | O_NOCTTY | O_CLOEXEC));
  // A process in the background would take the answers from the one in front.
  if (terminal.number() < 0 || tcgetpgrp(terminal.number()) != getpgrp()) return "";
  const RawTerminal raw(terminal.number());
  if (!raw.is_raw() || !write_all(terminal.number(), questions)) return "";
  return read_answers(terminal.number());
}

// The answer to "what are you": "\033[?62;4;22c". Empty if there is none that is complete.
std::string_view attributes_in(std::string_view answers) {
  constexpr std::string_view kBegin = "\033[?";
  const std::size_t begin = answers.find(kBegin);
  if (begin == std::string_view::npos) return "";
  const std::string_view rest = answers.substr(begin + kBegin.size());
  const std::size_t length = rest.find_first_not_of("0123456789;");
  if (length == std::string_view::npos || rest[length] != 'c') return "";
  return rest.substr(0, length);
}

TerminalGraphics best_characters(const Surroundings& surroundings) {
  return surroundings.is_utf8 ? TerminalGraphics::kBlocks : TerminalGraphics::kAscii;
}

Surroundings surroundings_of_process() {
  Surroundings surroundings;
  surroundings.is_interactive = isatty(STDIN_FILENO) == 1 && isatty(STDOUT_FILENO) == 1;
  surroundings.is_utf8 = locale_is_utf8();
  surroundings.no_color = !variable("NO_COLOR").empty();
  surroundings.term = variable("TERM");
  return surroundings;
}

}  // namespace

std::optional<TerminalGraphics> graphics_of(const Surroundings& surroundings) {
  if (surroundings.no_color) return TerminalGraphics::kAscii;
  if (!surroundings.is_interactive) return best_characters(surroundings);
  if (surroundings.term.empty() || surroundings.term == "dumb") return TerminalGraphics::kAscii;
  if (surroundings.term == "linux") return best_characters(surroundings);
  return std::nullopt;
}

std::string terminal_questions(std::string_view term) {
  // A picture of one pixel that is not to be shown. tmux and screen take it for a window's title.
  const bool is_multiplexer = term.starts_with("tmux") || term.starts_with("screen");
  return (is_multiplexer ? "" : "\033_Gi=31,s=1,v=1,a=q,t=d,f=24;AAAA\033\\") + std::string("\033[c");
}

bool answers_are_complete(std::string_view answers) {
  return !attributes_in(answers).empty();
}

std::optional<TerminalGraphics> graphics_in(std::string_view answers) {
  if (answers.find("\033_Gi=31;OK\033\\") != std::string_view::npos) return TerminalGraphics::kKitty;
  // The first attribute is the class of the terminal: only those behind a semicolon tell what it can do.
  constexpr std::string_view kSixelGraphics = ";4;";
  const std::string attributes = std::string(attributes_in(answers)) + ";";
  if (attributes.find(kSixelGraphics) != std::string::npos) return TerminalGraphics::kSixel;
  return std::nullopt;
}

Terminal detect_terminal() {
  Terminal terminal;
  winsize size{};
  if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 && size.ws_row > 0) {
    terminal.columns = size.ws_col;
    terminal.rows = size.ws_row;
    terminal.pixel_width = size.ws_xpixel;
    terminal.pixel_height = size.ws_ypixel;
  }
  const std::string depth = variable("COLORTERM");
  terminal.true_color = depth == "truecolor" || depth == "24bit";
  const Surroundings surroundings = surroundings_of_process();
  std::optional<TerminalGraphics> graphics = graphics_of(surroundings);
  if (!graphics) graphics = graphics_in(ask_terminal(terminal_questions(surroundings.term)));
  terminal.graphics = graphics.value_or(best_characters(surroundings));
  return terminal;
}

}  // namespace host
