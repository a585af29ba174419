#include "program/output_file.h"

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>

#include "tests/program/program.h"

namespace {

using program::OutputFile;
using Names = std::vector<std::string>;

TEST(OutputFile, AnInterruptLeavesNothing) {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGPIPE, SIGALRM, SIGXCPU, SIGUSR1, SIGUSR2}) {
    const test::Workplace place;
    const pid_t process = fork();
    if (process == 0) {
      constexpr rlimit kNoCore{};
      setrlimit(RLIMIT_CORE, &kNoCore);
      OutputFile file("out");
      std::fputs("half", file.stream());
      std::fflush(file.stream());
      raise(signal);
      _exit(0);
    }
    int status = 0;
    ASSERT_EQ(waitpid(process, &status, 0), process);
    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(WTERMSIG(status), signal);
    EXPECT_EQ(place.files(), Names{});
  }
}

// In a batch, one after the other.
TEST(OutputFile, AnInterruptTakesTheFileThatIsUnfinishedAndNoOther) {
  const test::Workplace place;
  const pid_t process = fork();
  if (process == 0) {
    OutputFile("first").commit();
    { const OutputFile dropped("second"); }
    OutputFile file("third");
    std::fputs("half", file.stream());
    raise(SIGTERM);
    _exit(0);
  }
  int status = 0;
  ASSERT_EQ(waitpid(process, &status, 0), process);
  EXPECT_TRUE(WIFSIGNALED(status));
  EXPECT_EQ(place.files(), Names{"first"});
}

TEST(OutputFile, SignalsThatAreIgnoredStayIgnored) {
  const test::Workplace place;
  auto* const before = std::signal(SIGHUP, SIG_IGN);
  {
    OutputFile file("out");
    EXPECT_EQ(raise(SIGHUP), 0);
    file.commit();
  }
  EXPECT_EQ(std::signal(SIGHUP, before), SIG_IGN);
  EXPECT_EQ(place.files(), Names{"out"});
}

}  // namespace
