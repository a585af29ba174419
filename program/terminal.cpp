#include "program/terminal.h"

#include <fcntl.h>
#include <langinfo.h>
#include <locale.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/signalfd.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>

#include "support/descriptor.h"
#include "support/interrupts.h"

namespace program {

namespace {

using Clock = std::chrono::steady_clock;

// After this time the picture is drawn for what is known of the terminal.
constexpr std::chrono::seconds kPatience{1};
// How long to wait for the answer of a slow connection before it is left to the shell.
constexpr std::chrono::seconds kLongestWait{8};

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

// Signals that would end or stop the process.
sigset_t interrupts() {
  sigset_t set = xrd::signal_set(xrd::kInterrupts);
  for (const int signal : {SIGTSTP, SIGTTIN, SIGTTOU}) sigaddset(&set, signal);
  return set;
}

// Those that are neither ignored nor blocked already.
sigset_t heeded_interrupts() {
  sigset_t set = interrupts();
  sigset_t blocked;
  pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
  for (int signal = 1; signal < SIGRTMIN; ++signal) {
    struct sigaction action {};
    const bool is_ignored = sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
    if (is_ignored || sigismember(&blocked, signal) == 1) sigdelset(&set, signal);
  }
  return set;
}

// The terminal passes on each byte at once and echoes none. Signals that would end or stop the process wait until the
// terminal is as it was before. Unread input is then lost: the rest of an answer, and what somebody has
// typed, which the answer may have split, should not be run by a shell.
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
    if (!is_raw_) return;
    tcflush(terminal_, TCIFLUSH);
    tcsetattr(terminal_, TCSANOW, &before_);
  }
  bool is_raw() const { return is_raw_; }

 private:
  xrd::BlockedSignals blocked_{
      interrupts()};  // the first member: they are blocked before the terminal changes, and until it is restored
  int terminal_;
  termios before_{};
  bool is_raw_ = false;
};

std::chrono::milliseconds time_until(Clock::time_point end) {
  return std::max(std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()), std::chrono::milliseconds(0));
}

// Writes to a descriptor that does not block: a terminal that is stopped (Ctrl-S), or that nobody reads, accepts
// nothing, and interrupts wait. False at the time limit.
bool write_all(int descriptor, std::string_view bytes, Clock::time_point end) {
  while (!bytes.empty()) {
    pollfd waiting{descriptor, POLLOUT, 0};
    const int ready = poll(&waiting, 1, static_cast<int>(time_until(end).count()));
    if (ready < 0 && errno == EINTR) continue;  // stopped, and continued
    if (ready <= 0) return false;
    const ssize_t written = write(descriptor, bytes.data(), bytes.size());
    if (written < 0 && errno != EAGAIN) return false;
    if (written > 0) bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

// Reads the terminal's answers until they are complete, the time is over, or a signal waits at the descriptor
// `signals`, which is optional. False if the terminal is gone.
bool read_answers(int terminal, int signals, Clock::time_point end, std::string& answers) {
  while (!answers_are_complete(answers)) {
    const auto left = time_until(end);
    std::array<pollfd, 2> waiting{{{terminal, POLLIN, 0}, {signals, POLLIN, 0}}};
    if (left.count() == 0) return true;
    const int ready = poll(waiting.data(), waiting.size(), static_cast<int>(left.count()));
    if (ready < 0 && errno == EINTR) continue;  // stopped, and continued
    if (ready <= 0 || waiting[0].revents == 0) return true;
    std::array<char, 256> bytes{};
    const ssize_t found = read(terminal, bytes.data(), bytes.size());
    if (found <= 0) return false;
    answers.append(bytes.data(), static_cast<std::size_t>(found));
  }
  return true;
}

// Below 0 if there is no terminal to ask.
int open_terminal() {
  const int terminal = open("/dev/tty", O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
  // A process in the background would take the answers from the one in front.
  if (terminal < 0 || tcgetpgrp(terminal) == getpgrp()) return terminal;
  close(terminal);
  return -1;
}

// The answer to "what are you": "\033[?62;4;22c". Empty if there is no complete one.
std::string_view attributes_in(std::string_view answers) {
  constexpr std::string_view kBegin = "\033[?";
  std::size_t begin = answers.find(kBegin);
  while (begin != std::string_view::npos) {
    const std::string_view rest = answers.substr(begin + kBegin.size());
    const std::size_t length = rest.find_first_not_of("0123456789;");
    if (length != std::string_view::npos && rest[length] == 'c') return rest.substr(0, length);
    begin = answers.find(kBegin, begin + kBegin.size());  // somebody has typed something similar
  }
  return "";
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
  // Asks about a picture of one pixel without showing it. tmux and screen would take it for a window title.
  const bool is_multiplexer = term.starts_with("tmux") || term.starts_with("screen");
  return (is_multiplexer ? "" : "\033_Gi=31,s=1,v=1,a=q,t=d,f=24;AAAA\033\\") + std::string("\033[c");
}

bool answers_are_complete(std::string_view answers) {
  return !attributes_in(answers).empty();
}

std::optional<TerminalGraphics> graphics_in(std::string_view answers) {
  if (answers.find("\033_Gi=31;OK\033\\") != std::string_view::npos) return TerminalGraphics::kKitty;
  // The first attribute is the class of the terminal: only those behind a semicolon state abilities.
  constexpr std::string_view kSixelGraphics = ";4;";
  const std::string attributes = std::string(attributes_in(answers)) + ";";
  if (attributes.find(kSixelGraphics) != std::string::npos) return TerminalGraphics::kSixel;
  return std::nullopt;
}

AskedTerminal::AskedTerminal() {
  winsize size{};
  if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 && size.ws_row > 0) {
    terminal_.columns = size.ws_col;
    terminal_.rows = size.ws_row;
    terminal_.pixel_width = size.ws_xpixel;
    terminal_.pixel_height = size.ws_ypixel;
  }
  const std::string depth = variable("COLORTERM");
  terminal_.true_color = depth == "truecolor" || depth == "24bit";
  const Surroundings surroundings = surroundings_of_process();
  std::optional<TerminalGraphics> graphics = graphics_of(surroundings);
  if (!graphics) {
    ask(terminal_questions(surroundings.term));
    graphics = graphics_in(answers_);
  }
  terminal_.graphics = graphics.value_or(best_characters(surroundings));
}

AskedTerminal::~AskedTerminal() {
  if (!asked_) return;
  std::fflush(stdout);
  // All is drawn, so signals end the wait. If one has stopped the process, the wait goes on
  // when the process is in the foreground again.
  const sigset_t ending = heeded_interrupts();
  const Clock::time_point end = *asked_ + kLongestWait;
  while (!answers_are_complete(answers_) && Clock::now() < end) {
    const xrd::Descriptor terminal(open_terminal());
    const RawTerminal raw(terminal.number());
    const xrd::Descriptor signals(signalfd(-1, &ending, SFD_CLOEXEC));
    if (!raw.is_raw() || !read_answers(terminal.number(), signals.number(), end, answers_)) return;
  }
}

// Signals wait for the answer, which would otherwise reach the shell.
void AskedTerminal::ask(const std::string& questions) {
  const xrd::Descriptor terminal(open_terminal());
  const RawTerminal raw(terminal.number());
  if (!raw.is_raw()) return;
  const Clock::time_point begin = Clock::now();
  const Clock::time_point end = begin + kPatience;
  if (!write_all(terminal.number(), questions, end)) return;
  asked_ = begin;
  constexpr int kNoSignals = -1;
  read_answers(terminal.number(), kNoSignals, end, answers_);
}

}  // namespace program
