#include "tests/trust/child.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <exception>

#include "tests/environment.h"
#include "tests/trust/memory.h"

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#include <sanitizer/lsan_interface.h>
#define XRDIMAGE_LOOKS_FOR_LEAKS
#endif
#endif

namespace trust {

namespace {

constexpr unsigned kSeconds = 60;  // after which a process hangs

bool has_leaks() {
#ifdef XRDIMAGE_LOOKS_FOR_LEAKS
  return __lsan_do_recoverable_leak_check() != 0;
#else
  return false;
#endif
}

[[noreturn]] void run(const std::function<std::string()>& action, std::FILE* out, std::FILE* err, std::FILE* told) {
  alarm(kSeconds);
  dup2(fileno(out), STDOUT_FILENO);
  dup2(fileno(err), STDERR_FILENO);
  const int nothing = open("/dev/null", O_RDONLY);
  dup2(nothing, STDIN_FILENO);
  close(nothing);
  int status = 0;
  try {
    const std::string text = action();
    memory::unwatch();
    std::fwrite(text.data(), 1, text.size(), told);
    std::fflush(told);
  } catch (const std::exception& exception) {
    memory::unwatch();
    std::fprintf(stderr, "exception: %s\n", exception.what());
    status = kExceptionStatus;
  }
  if (status == 0 && testing::Test::HasFailure()) status = kFailureStatus;
  if (status == 0 && has_leaks()) status = kLeakStatus;
  std::fflush(nullptr);
  _exit(status);
}

std::string bytes_of(std::FILE* stream) {
  return test::read_file("/proc/self/fd/" + std::to_string(fileno(stream)));
}

}  // namespace

Ending in_child(const std::function<std::string()>& action) {
  const test::Stream out(std::tmpfile());
  const test::Stream err(std::tmpfile());
  const test::Stream told(std::tmpfile());
  std::fflush(nullptr);
  const pid_t child = fork();
  if (child == 0) run(action, out.get(), err.get(), told.get());
  Ending ending;
  int status = 0;
  waitpid(child, &status, 0);
  ending.signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
  ending.status = WIFEXITED(status) ? WEXITSTATUS(status) : 0;
  ending.out = bytes_of(out.get());
  ending.err = bytes_of(err.get());
  ending.told = bytes_of(told.get());
  return ending;
}

}  // namespace trust
