#include "host/pictures/terminal.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>
#include <utmp.h>

#include <array>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>

namespace {

using host::graphics_in;
using host::graphics_of;
using host::Terminal;
using host::TerminalGraphics;

TEST(TerminalAnswers, TellOfKittysGraphics) {
  EXPECT_EQ(graphics_in("\033_Gi=31;OK\033\\\033[?62;c"), TerminalGraphics::kKitty);
  EXPECT_EQ(graphics_in("\033_Gi=31;OK\033\\\033[?62;4c"), TerminalGraphics::kKitty);
  EXPECT_EQ(graphics_in("\033_Gi=31;ENOTSUPPORTED\033\\\033[?62;c"), std::nullopt);
}

TEST(TerminalAnswers, TellOfSixelGraphics) {
  EXPECT_EQ(graphics_in("\033[?62;4c"), TerminalGraphics::kSixel);
  EXPECT_EQ(graphics_in("\033[?62;4;22c"), TerminalGraphics::kSixel);
  EXPECT_EQ(graphics_in("x\033[?63;1;2;4c"), TerminalGraphics::kSixel);
  EXPECT_EQ(graphics_in("\033[?4c"), std::nullopt);  // a class of terminals
  EXPECT_EQ(graphics_in("\033[?62;14;44c"), std::nullopt);
  EXPECT_EQ(graphics_in("\033[?62;4"), std::nullopt);
  EXPECT_EQ(graphics_in(""), std::nullopt);
}

TEST(TerminalAnswers, AreCompleteWithTheAttributes) {
  EXPECT_FALSE(host::answers_are_complete(""));
  EXPECT_FALSE(host::answers_are_complete("\033_Gi=31;OK\033\\"));
  EXPECT_FALSE(host::answers_are_complete("\033[?62;4"));
  EXPECT_TRUE(host::answers_are_complete("\033_Gi=31;OK\033\\\033[?62;4c"));
}

TEST(TerminalQuestions, LeaveTheTitlesOfMultiplexersAlone) {
  EXPECT_EQ(host::terminal_questions("xterm"), "\033_Gi=31,s=1,v=1,a=q,t=d,f=24;AAAA\033\\\033[c");
  EXPECT_EQ(host::terminal_questions("tmux-256color"), "\033[c");
  EXPECT_EQ(host::terminal_questions("screen"), "\033[c");
}

TEST(Surroundings, MayTellTheGraphics) {
  EXPECT_EQ(graphics_of({false, true, false, "xterm"}), TerminalGraphics::kBlocks);
  EXPECT_EQ(graphics_of({false, false, false, "xterm"}), TerminalGraphics::kAscii);
  EXPECT_EQ(graphics_of({true, true, true, "xterm"}), TerminalGraphics::kAscii);
  EXPECT_EQ(graphics_of({true, true, false, "dumb"}), TerminalGraphics::kAscii);
  EXPECT_EQ(graphics_of({true, true, false, ""}), TerminalGraphics::kAscii);
  EXPECT_EQ(graphics_of({true, true, false, "linux"}), TerminalGraphics::kBlocks);
  EXPECT_EQ(graphics_of({true, false, false, "linux"}), TerminalGraphics::kAscii);
  EXPECT_EQ(graphics_of({true, true, false, "xterm"}), std::nullopt);
}

struct Detection {
  int status = 0;           // of the process that looked for its terminal
  Terminal terminal;        // what it found
  std::string questions;    // what it wrote
  bool is_restored = true;  // whether the terminal is as it was
  std::chrono::milliseconds time{};
};

bool same_settings(const termios& first, const termios& second) {
  return first.c_iflag == second.c_iflag && first.c_oflag == second.c_oflag && first.c_lflag == second.c_lflag &&
         first.c_cflag == second.c_cflag && std::memcmp(first.c_cc, second.c_cc, sizeof first.c_cc) == 0;
}

[[noreturn]] void detect_and_report(int report) {
  setenv("TERM", "xterm", 1);
  setenv("LC_ALL", "C.UTF-8", 1);
  setenv("COLORTERM", "truecolor", 1);
  unsetenv("NO_COLOR");
  const Terminal terminal = host::detect_terminal();
  const bool is_written = write(report, &terminal, sizeof terminal) == sizeof terminal;
  _exit(is_written ? 0 : 9);
}

// Runs detect_terminal() in a terminal that gives this answer, or sends this signal, when it is asked.
Detection detect(const std::string& answer, int signal_number = 0) {
  const winsize size{45, 120, 1200, 900};
  std::array<int, 2> report{};
  EXPECT_EQ(pipe(report.data()), 0);
  // Opened before the process begins, so that the settings are known.
  int master = -1;
  int slave = -1;
  EXPECT_EQ(openpty(&master, &slave, nullptr, nullptr, &size), 0);
  termios before{};
  tcgetattr(slave, &before);
  const auto begin = std::chrono::steady_clock::now();
  const pid_t child = fork();
  if (child == 0) {
    login_tty(slave);
    detect_and_report(report[1]);
  }
  close(report[1]);
  Detection detection;
  pollfd waiting{master, POLLIN, 0};
  bool is_answered = false;
  while (!is_answered && poll(&waiting, 1, 5000) > 0) {
    std::array<char, 256> bytes{};
    const ssize_t found = read(master, bytes.data(), bytes.size());
    if (found <= 0) break;
    detection.questions.append(bytes.data(), static_cast<std::size_t>(found));
    if (!detection.questions.ends_with("\033[c")) continue;
    termios during{};
    tcgetattr(slave, &during);
    EXPECT_EQ(during.c_lflag & (ICANON | ECHO), 0U);
    if (signal_number != 0) kill(child, signal_number);
    EXPECT_EQ(write(master, answer.data(), answer.size()), static_cast<ssize_t>(answer.size()));
    is_answered = true;
  }
  EXPECT_TRUE(is_answered);
  const ssize_t reported = read(report[0], &detection.terminal, sizeof detection.terminal);
  EXPECT_EQ(reported, signal_number == 0 ? static_cast<ssize_t>(sizeof detection.terminal) : 0);
  EXPECT_EQ(waitpid(child, &detection.status, 0), child);
  detection.time = std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - begin);
  termios after{};
  tcgetattr(slave, &after);
  detection.is_restored = same_settings(before, after);
  close(report[0]);
  close(slave);
  close(master);
  return detection;
}

TEST(DetectTerminal, FindsKitty) {
  const Detection detection = detect("\033_Gi=31;OK\033\\\033[?62;c");
  EXPECT_EQ(detection.status, 0);
  EXPECT_EQ(detection.questions, host::terminal_questions("xterm"));
  EXPECT_EQ(detection.terminal.graphics, TerminalGraphics::kKitty);
  EXPECT_EQ(detection.terminal.columns, 120);
  EXPECT_EQ(detection.terminal.rows, 45);
  EXPECT_EQ(detection.terminal.pixel_width, 1200);
  EXPECT_EQ(detection.terminal.pixel_height, 900);
  EXPECT_TRUE(detection.terminal.true_color);
  EXPECT_TRUE(detection.is_restored);
}

TEST(DetectTerminal, FindsSixel) {
  const Detection detection = detect("\033[?62;4c");
  EXPECT_EQ(detection.terminal.graphics, TerminalGraphics::kSixel);
  EXPECT_TRUE(detection.is_restored);
}

TEST(DetectTerminal, TakesATerminalWithoutGraphicsForBlocks) {
  const Detection detection = detect("\033[?1;2c");
  EXPECT_EQ(detection.terminal.graphics, TerminalGraphics::kBlocks);
  EXPECT_TRUE(detection.is_restored);
}

TEST(DetectTerminal, DoesNotWaitLongForAnAnswer) {
  const Detection detection = detect("");
  EXPECT_EQ(detection.terminal.graphics, TerminalGraphics::kBlocks);
  EXPECT_TRUE(detection.is_restored);
  EXPECT_GE(detection.time.count(), 250);
  EXPECT_LT(detection.time.count(), 2000);
}

TEST(DetectTerminal, RestoresTheTerminalBeforeASignalEndsTheProcess) {
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
    const Detection detection = detect("", number);
    EXPECT_TRUE(WIFSIGNALED(detection.status));
    EXPECT_EQ(WTERMSIG(detection.status), number);
    EXPECT_TRUE(detection.is_restored);
  }
}

}  // namespace
