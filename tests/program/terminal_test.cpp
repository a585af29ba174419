#include "program/terminal.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>
#include <utmp.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <thread>
#include <vector>

namespace {

using program::graphics_in;
using program::graphics_of;
using program::Terminal;
using program::TerminalGraphics;

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
  EXPECT_FALSE(program::answers_are_complete(""));
  EXPECT_FALSE(program::answers_are_complete("\033_Gi=31;OK\033\\"));
  EXPECT_FALSE(program::answers_are_complete("\033[?62;4"));
  EXPECT_TRUE(program::answers_are_complete("\033_Gi=31;OK\033\\\033[?62;4c"));
}

TEST(TerminalQuestions, LeaveTheTitlesOfMultiplexersAlone) {
  EXPECT_EQ(program::terminal_questions("xterm"), "\033_Gi=31,s=1,v=1,a=q,t=d,f=24;AAAA\033\\\033[c");
  EXPECT_EQ(program::terminal_questions("tmux-256color"), "\033[c");
  EXPECT_EQ(program::terminal_questions("screen"), "\033[c");
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

using std::chrono::milliseconds;

// What comes to the terminal, so long after the question: bytes, or a signal to the process that has asked.
struct Event {
  milliseconds after{};
  std::string bytes;
  int signal = 0;
};

struct Visit {
  int status = 0;                    // of the process that asked
  std::optional<Terminal> terminal;  // what it found
  std::string questions;             // what it wrote
  bool was_stopped = false;
  bool is_restored =
      false;         // whether the terminal was as before when the process stopped, and is now that it has ended
  std::string left;  // what the shell would read
  milliseconds until_found{};
  milliseconds until_end{};
};

bool same_settings(const termios& first, const termios& second) {
  return first.c_iflag == second.c_iflag && first.c_oflag == second.c_oflag && first.c_lflag == second.c_lflag &&
         first.c_cflag == second.c_cflag && std::memcmp(first.c_cc, second.c_cc, sizeof first.c_cc) == 0;
}

[[noreturn]] void ask_and_report(int report) {
  setenv("TERM", "xterm", 1);
  setenv("LC_ALL", "C.UTF-8", 1);
  setenv("COLORTERM", "truecolor", 1);
  unsetenv("NO_COLOR");
  setpgid(0, 0);
  tcsetpgrp(STDIN_FILENO, getpid());
  std::signal(SIGTTOU, SIG_DFL);
  {
    const program::AskedTerminal asked;
    if (write(report, &asked.terminal(), sizeof(Terminal)) != sizeof(Terminal)) _exit(9);
    close(report);
  }
  _exit(0);
}

struct JobEnd {
  int status;
  bool was_stopped;
  bool is_restored;
};

// What a shell does, which sees to it that the terminal stays when the process has ended: runs the job in front, and on
// again when it has been stopped. Tells the job's number, and its end.
[[noreturn]] void play_shell(int report_of_job, int report, const termios& before) {
  std::signal(SIGTTOU, SIG_IGN);
  const pid_t job = fork();
  if (job == 0) ask_and_report(report_of_job);
  close(report_of_job);
  bool is_told = write(report, &job, sizeof job) == sizeof job;
  JobEnd end{0, false, true};
  while (waitpid(job, &end.status, WUNTRACED) == job && WIFSTOPPED(end.status)) {
    termios now{};
    tcgetattr(STDIN_FILENO, &now);
    end.was_stopped = true;
    end.is_restored = end.is_restored && same_settings(before, now);
    kill(job, SIGCONT);
  }
  is_told = write(report, &end, sizeof end) == sizeof end && is_told;
  while (is_told) pause();  // until it is killed
  _exit(9);
}

// What is there to be read, line or not.
std::string left_in(int slave) {
  termios raw{};
  tcgetattr(slave, &raw);
  raw.c_lflag &= ~static_cast<tcflag_t>(ICANON);
  raw.c_cc[VMIN] = 0;
  raw.c_cc[VTIME] = 0;
  tcsetattr(slave, TCSANOW, &raw);
  std::array<char, 256> bytes{};
  const ssize_t found = read(slave, bytes.data(), bytes.size());
  return {bytes.data(), static_cast<std::size_t>(std::max<ssize_t>(found, 0))};
}

std::string read_questions(int master) {
  std::string questions;
  pollfd waiting{master, POLLIN, 0};
  while (!questions.ends_with("\033[c") && poll(&waiting, 1, 5000) > 0) {
    std::array<char, 256> bytes{};
    const ssize_t found = read(master, bytes.data(), bytes.size());
    if (found <= 0) break;
    questions.append(bytes.data(), static_cast<std::size_t>(found));
  }
  return questions;
}

// A program asks the terminal that it runs in, to which these things happen.
Visit visit(const std::vector<Event>& events) {
  using Clock = std::chrono::steady_clock;
  const winsize size{45, 120, 1200, 900};
  std::array<int, 2> from_job{};
  std::array<int, 2> from_shell{};
  EXPECT_EQ(pipe(from_job.data()), 0);
  EXPECT_EQ(pipe(from_shell.data()), 0);
  int master = -1;
  int slave = -1;
  EXPECT_EQ(openpty(&master, &slave, nullptr, nullptr, &size), 0);
  termios before{};
  tcgetattr(slave, &before);
  const pid_t shell = fork();
  if (shell == 0) {
    login_tty(dup(slave));
    play_shell(from_job[1], from_shell[1], before);
  }
  close(from_job[1]);
  close(from_shell[1]);
  pid_t job = -1;
  EXPECT_EQ(read(from_shell[0], &job, sizeof job), static_cast<ssize_t>(sizeof job));

  Visit result;
  result.questions = read_questions(master);
  const Clock::time_point asked = Clock::now();
  const auto since = [&] { return std::chrono::duration_cast<milliseconds>(Clock::now() - asked); };
  termios during{};
  tcgetattr(slave, &during);
  EXPECT_EQ(during.c_lflag & (ICANON | ECHO), 0U);
  std::thread terminal([&] {
    for (const Event& event : events) {
      std::this_thread::sleep_until(asked + event.after);
      if (event.signal != 0) kill(job, event.signal);
      EXPECT_EQ(write(master, event.bytes.data(), event.bytes.size()), static_cast<ssize_t>(event.bytes.size()));
    }
  });
  Terminal found;
  if (read(from_job[0], &found, sizeof found) == static_cast<ssize_t>(sizeof found)) result.terminal = found;
  result.until_found = since();
  JobEnd end{};
  EXPECT_EQ(read(from_shell[0], &end, sizeof end), static_cast<ssize_t>(sizeof end));
  result.until_end = since();
  terminal.join();
  termios after{};
  tcgetattr(slave, &after);
  result.status = end.status;
  result.was_stopped = end.was_stopped;
  result.is_restored = end.is_restored && same_settings(before, after);
  result.left = left_in(slave);
  kill(shell, SIGKILL);
  EXPECT_EQ(waitpid(shell, nullptr, 0), shell);
  for (const int descriptor : {from_job[0], from_shell[0], slave, master}) close(descriptor);
  return result;
}

void expect_left_as_it_was(const Visit& result) {
  EXPECT_TRUE(result.is_restored);
  EXPECT_EQ(result.left, "");
}

void expect_found(const Visit& result, TerminalGraphics graphics) {
  ASSERT_TRUE(result.terminal.has_value());
  EXPECT_EQ(result.terminal->graphics, graphics);
  EXPECT_EQ(result.status, 0);
  expect_left_as_it_was(result);
}

constexpr const char* kKitty = "\033_Gi=31;OK\033\\\033[?62;c";
constexpr const char* kSixel = "\033[?62;4c";

TEST(AskedTerminal, FindsKitty) {
  const Visit result = visit({{milliseconds{0}, kKitty}});
  expect_found(result, TerminalGraphics::kKitty);
  EXPECT_EQ(result.questions, program::terminal_questions("xterm"));
  EXPECT_EQ(result.terminal->columns, 120);
  EXPECT_EQ(result.terminal->rows, 45);
  EXPECT_EQ(result.terminal->pixel_width, 1200);
  EXPECT_EQ(result.terminal->pixel_height, 900);
  EXPECT_TRUE(result.terminal->true_color);
  EXPECT_LT(result.until_end, milliseconds{5000});
}

TEST(AskedTerminal, FindsSixel) {
  expect_found(visit({{milliseconds{0}, kSixel}}), TerminalGraphics::kSixel);
}

TEST(AskedTerminal, TakesATerminalWithoutGraphicsForBlocks) {
  expect_found(visit({{milliseconds{0}, "\033[?1;2c"}}), TerminalGraphics::kBlocks);
}

TEST(AskedTerminal, AnAnswerMayTakeATenthOfASecond) {
  const Visit result = visit({{milliseconds{100}, kSixel}});
  expect_found(result, TerminalGraphics::kSixel);
  EXPECT_LT(result.until_end, milliseconds{5000});
}

TEST(AskedTerminal, AnAnswerMayComeInPieces) {
  std::vector<Event> events;
  for (const char* letter = kKitty; *letter != '\0'; ++letter) {
    events.push_back({milliseconds{20} * static_cast<int>(events.size()), std::string(1, *letter)});
  }
  expect_found(visit(events), TerminalGraphics::kKitty);
}

TEST(AskedTerminal, AnAnswerMayBeginInTimeAndEndLate) {
  const Visit result =
      visit({{milliseconds{500}, "\033_Gi=31;OK"}, {milliseconds{1500}, "\033\\\033[?6"}, {milliseconds{1800}, "2;c"}});
  expect_found(result, TerminalGraphics::kBlocks);
  EXPECT_GE(result.until_end, milliseconds{1800});
  EXPECT_LT(result.until_end, milliseconds{5000});
}

TEST(AskedTerminal, ALateAnswerIsNotLeftForTheShell) {
  for (const milliseconds after : {milliseconds{1500}, milliseconds{5000}}) {
    const Visit result = visit({{after, kKitty}});
    expect_found(result, TerminalGraphics::kBlocks);
    EXPECT_GE(result.until_found, milliseconds{950});
    EXPECT_LT(result.until_found, milliseconds{4000});  // the picture does not wait for it
    EXPECT_GE(result.until_end, after);
    EXPECT_LT(result.until_end, milliseconds{7500});
  }
}

TEST(AskedTerminal, WaitsEightSecondsForAnAnswerThatNeverComes) {
  const Visit result = visit({});
  expect_found(result, TerminalGraphics::kBlocks);
  EXPECT_LT(result.until_found, milliseconds{4000});
  EXPECT_GE(result.until_end, milliseconds{7950});
  EXPECT_LT(result.until_end, milliseconds{12000});
  EXPECT_EQ(result.questions, program::terminal_questions("xterm"));  // and nothing more
}

// Before, within and behind the answer, or what looks like one.
TEST(AskedTerminal, WhatIsTypedMeanwhileIsLost) {
  const std::string much = std::string(1000, 'x') + "\n";  // more than is read at once
  expect_found(visit({{milliseconds{0}, "rm -r *\n\033[?6" + std::string(kSixel) + much}}), TerminalGraphics::kSixel);
  expect_found(visit({{milliseconds{0}, "rm -r *\n"}, {milliseconds{1500}, "l\n" + std::string(kSixel) + much}}),
               TerminalGraphics::kBlocks);
}

TEST(AskedTerminal, ASignalEndsTheProcessWhenTheTerminalIsAsItWas) {
  for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGUSR1}) {
    const Visit result = visit({{milliseconds{0}, "", number}});
    EXPECT_TRUE(WIFSIGNALED(result.status));
    EXPECT_EQ(WTERMSIG(result.status), number);
    EXPECT_FALSE(result.terminal.has_value());
    EXPECT_LT(result.until_end, milliseconds{4000});
    expect_left_as_it_was(result);
  }
}

TEST(AskedTerminal, ASignalWaitsForTheAnswer) {
  const Visit result = visit({{milliseconds{0}, "", SIGINT}, {milliseconds{600}, kKitty}});
  EXPECT_TRUE(WIFSIGNALED(result.status));
  EXPECT_GE(result.until_end, milliseconds{600});
  expect_left_as_it_was(result);
}

TEST(AskedTerminal, ASignalEndsTheWaitForALateAnswer) {
  constexpr const char* kControlC = "\003";
  for (const Event& event : {Event{milliseconds{2000}, kControlC}, Event{milliseconds{2000}, "", SIGTERM}}) {
    const Visit result = visit({event});
    EXPECT_TRUE(WIFSIGNALED(result.status));
    EXPECT_TRUE(result.terminal.has_value());
    EXPECT_LT(result.until_end, milliseconds{5000});
    expect_left_as_it_was(result);
  }
}

// As after Ctrl-S. The signals of the process wait meanwhile.
TEST(AskedTerminal, ATerminalThatTakesNothingIsNotWaitedFor) {
  int master = -1;
  int slave = -1;
  ASSERT_EQ(openpty(&master, &slave, nullptr, nullptr, nullptr), 0);
  std::array<int, 2> found{};
  ASSERT_EQ(pipe(found.data()), 0);
  const pid_t process = fork();
  if (process == 0) {
    login_tty(slave);
    tcflow(STDOUT_FILENO, TCOOFF);
    ask_and_report(found[1]);
  }
  pollfd waiting{found[0], POLLIN, 0};
  if (poll(&waiting, 1, 4000) != 1) kill(process, SIGKILL);
  int status = -1;
  EXPECT_EQ(waitpid(process, &status, 0), process);
  EXPECT_EQ(status, 0);
  for (const int descriptor : {found[0], found[1], slave, master}) close(descriptor);
}

TEST(AskedTerminal, StopsWithTheTerminalAsItWasAndGoesOn) {
  constexpr const char* kControlZ = "\032";
  for (const milliseconds after : {milliseconds{0}, milliseconds{1500}}) {
    const Visit result = visit({{after, kControlZ}, {milliseconds{2500}, kKitty}});
    EXPECT_TRUE(result.was_stopped);
    EXPECT_GE(result.until_end, milliseconds{2500});
    expect_found(result, TerminalGraphics::kBlocks);
  }
}

}  // namespace
