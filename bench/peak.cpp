#include "bench/peak.h"

#include <fcntl.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <fstream>
#include <string>

namespace bench {

namespace {

[[noreturn]] void run_traced(char** command) {
  const int nothing = open("/dev/null", O_WRONLY);
  dup2(nothing, STDOUT_FILENO);
  dup2(nothing, STDERR_FILENO);
  ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
  execv(command[0], command);
  _exit(127);
}

// Of a process that stands still.
long peak_of(pid_t process) {
  std::ifstream status("/proc/" + std::to_string(process) + "/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with("VmHWM:")) return std::strtol(line.c_str() + 6, nullptr, 10);
  }
  return -1;
}

}  // namespace

// What the system counts for an ended process includes the memory of the one that started it. So the process is stopped
// when it is about to end, and asked then.
long peak_memory(char** command) {
  const pid_t process = fork();
  if (process == 0) run_traced(command);
  int status = 0;
  long peak = -1;
  waitpid(process, &status, 0);  // behind execv
  ptrace(PTRACE_SETOPTIONS, process, nullptr, PTRACE_O_TRACEEXIT);
  while (WIFSTOPPED(status)) {
    const bool ends = status >> 8 == (SIGTRAP | (PTRACE_EVENT_EXIT << 8));
    if (ends) peak = peak_of(process);
    const int signal = ends || WSTOPSIG(status) == SIGTRAP ? 0 : WSTOPSIG(status);
    ptrace(PTRACE_CONT, process, nullptr, signal);
    if (waitpid(process, &status, 0) != process) return -1;
  }
  return WIFEXITED(status) && WEXITSTATUS(status) == 0 ? peak : -1;
}

}  // namespace bench
