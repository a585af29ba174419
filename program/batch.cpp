#include "program/batch.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>
#include <new>
#include <optional>
#include <stdexcept>
#include <thread>

#include "frames/failure.h"
#include "frames/numbers.h"
#include "program/name_list.h"
#include "program/print.h"
#include "program/standard_output.h"
#include "support/files.h"
#include "support/interrupts.h"

namespace program {

namespace {

Shard parse_shard(const std::string& text) {
  const auto shard = frames::parse_pair<std::size_t>(text, '/');
  if (!shard || shard->front() < 1 || shard->front() > shard->back()) {
    throw frames::InvalidValue(text, "is not of the form K/N with K from 1 to N, as in 3/8");
  }
  return {shard->front(), shard->back()};
}

// ------------------------------------------------------------------------------------------------------------------
// Tasks in processes
// ------------------------------------------------------------------------------------------------------------------

struct Worker {
  std::size_t task = 0;
  pid_t process = -1;
  int pipe = -1;  // its result comes here, and end of file when it ends
  std::string text;
};

void write_all(int descriptor, std::string_view text) {
  while (!text.empty()) {
    const ssize_t count = write(descriptor, text.data(), text.size());
    if (count < 0 && errno != EINTR) return;
    if (count > 0) text.remove_prefix(static_cast<std::size_t>(count));
  }
}

// The exit status of a worker shows how its task ended.
int status_of(TaskResult::State state) {
  return static_cast<int>(state);
}

// No exception may leave a worker: the parent's handling of it would end the other workers.
TaskResult attempt(const std::function<std::string(std::size_t)>& work, std::size_t task) {
  try {
    return {TaskResult::State::kSucceeded, work(task)};
  } catch (const frames::Failure& failure) {
    return {TaskResult::State::kFailed, failure.what()};
  } catch (const std::bad_alloc&) {
    return {TaskResult::State::kCrashed, "needs more memory than is available"};
  } catch (const std::exception& failure) {
    return {TaskResult::State::kCrashed, failure.what()};
  }
}

[[noreturn]] void work_and_exit(const std::function<std::string(std::size_t)>& work, std::size_t task, int result) {
  TaskResult outcome = attempt(work, task);
  try {
    finish_standard_output();
  } catch (const OutputError& error) {
    outcome = {TaskResult::State::kUnheard, error.what()};
  }
  write_all(result, outcome.text);
  std::fflush(nullptr);
  _exit(status_of(outcome.state));  // without the exit handlers, which are the parent's
}

volatile std::sig_atomic_t interrupt_signal = 0;

void note_interrupt(int signal) {
  interrupt_signal = signal;
}

// While it lives, signals that end the program are only noted, so that the workers can be ended first. One that was
// ignored, as under nohup, stays ignored.
class InterruptGuard {
 public:
  InterruptGuard() {
    struct sigaction action {};
    action.sa_handler = note_interrupt;
    for (std::size_t i = 0; i < xrd::kInterrupts.size(); ++i) {
      sigaction(xrd::kInterrupts[i], nullptr, &saved_[i]);
      if (saved_[i].sa_handler != SIG_IGN) sigaction(xrd::kInterrupts[i], &action, nullptr);
    }
  }
  InterruptGuard(const InterruptGuard&) = delete;
  InterruptGuard& operator=(const InterruptGuard&) = delete;
  ~InterruptGuard() { restore(); }

  // Forks. Interrupts end the new process again, also one that comes at this moment.
  pid_t start_process() const {
    const xrd::BlockedSignals blocked(xrd::signal_set(xrd::kInterrupts));
    const pid_t process = fork();
    if (process == 0) restore();
    return process;
  }

 private:
  void restore() const {
    for (std::size_t i = 0; i < xrd::kInterrupts.size(); ++i) sigaction(xrd::kInterrupts[i], &saved_[i], nullptr);
  }

  std::array<struct sigaction, xrd::kInterrupts.size()> saved_{};
};

// Nothing, with an error, if no pipe or process can be made.
std::optional<Worker> start(const std::function<std::string(std::size_t)>& work, std::size_t task,
                            const InterruptGuard& guard) {
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) return std::nullopt;
  std::fflush(nullptr);  // or else the worker would write it too
  const pid_t process = guard.start_process();
  if (process == 0) {
    close(ends[0]);
    work_and_exit(work, task, ends[1]);
  }
  const int error = errno;
  close(ends[1]);
  if (process < 0) {
    close(ends[0]);
    errno = error;
    return std::nullopt;
  }
  return Worker{task, process, ends[0], {}};
}

TaskResult finish(Worker& worker) {
  close(worker.pipe);
  int status = 0;
  pid_t ended = 0;
  do {
    ended = waitpid(worker.process, &status, 0);
  } while (ended < 0 && errno == EINTR);
  if (ended < 0) {
    return {TaskResult::State::kCrashed, std::string("its process ended in an unknown way: ") + std::strerror(errno)};
  }
  if (WIFSIGNALED(status)) {
    return {TaskResult::State::kCrashed,
            std::string("its process was ended by a signal: ") + strsignal(WTERMSIG(status))};
  }
  using State = TaskResult::State;
  for (const State state : {State::kSucceeded, State::kFailed, State::kUnheard}) {
    if (WEXITSTATUS(status) == status_of(state)) return {state, worker.text};
  }
  return {TaskResult::State::kCrashed, worker.text};
}

// Reads what has come. False at the end.
bool receive(Worker& worker) {
  std::array<char, 4096> buffer{};
  const ssize_t count = read(worker.pipe, buffer.data(), buffer.size());
  if (count < 0) return errno == EINTR;
  worker.text.append(buffer.data(), static_cast<std::size_t>(count));
  return count > 0;
}

void end_all(std::vector<Worker>& workers) {
  for (const Worker& worker : workers) {
    kill(worker.process, SIGTERM);
    kill(worker.process, SIGCONT);  // a stopped process would not end now
  }
  for (Worker& worker : workers) finish(worker);
  workers.clear();
}

void wait_for_some(std::vector<Worker>& workers, const std::function<void(std::size_t, const TaskResult&)>& finished) {
  std::vector<pollfd> polled;
  polled.reserve(workers.size());
  for (const Worker& worker : workers) polled.push_back({worker.pipe, POLLIN, 0});
  constexpr int kMilliseconds = 200;  // an interrupt just before is noticed after that time
  if (poll(polled.data(), polled.size(), kMilliseconds) < 0) return;
  for (std::size_t i = polled.size(); i-- > 0;) {
    if (polled[i].revents == 0 || receive(workers[i])) continue;
    const std::size_t task = workers[i].task;
    const TaskResult result = finish(workers[i]);
    workers.erase(workers.begin() + static_cast<std::ptrdiff_t>(i));
    if (result.state == TaskResult::State::kUnheard) throw OutputError(result.text);
    finished(task, result);
  }
}

}  // namespace

void add_batch_options(Command& command, BatchOptions& options) {
  constexpr const char* kGroup = "Many frames";
  constexpr unsigned kMostJobs = 1024;
  command.add_arguments({.names = "FILE", .help = "Frames"}, options.files);
  command.add_option({.names = "--files-from",
                      .value = "LIST",
                      .help = "More frames, one name per line; - is standard input",
                      .group = kGroup},
                     options.list);
  command.add_number(
      {.names = "-j,--jobs", .value = "N", .help = "Processes at a time (default: one per processor)", .group = kGroup},
      1, kMostJobs, [&](std::uint64_t jobs) { options.jobs = static_cast<unsigned>(jobs); });
  command.add_option(
      {.names = "--shard", .value = "K/N", .help = "Only every N-th frame, from the K-th on", .group = kGroup},
      [&](const std::string& text) { options.shard = parse_shard(text); });
}

std::vector<std::string> all_files(const BatchOptions& options) {
  std::vector<std::string> files = options.files;
  if (options.list == "-") {
    read_names(stdin, "standard input", files);
  } else if (!options.list.empty()) {
    const xrd::FileHandle stream = xrd::open_file(options.list.c_str(), "r");
    if (!stream) throw frames::Failure(options.list, std::strerror(errno));
    read_names(stream.get(), options.list, files);
  }
  if (files.empty()) throw UsageError("FILE", "no frames are given");
  return files;
}

std::string failure_line(const std::string& path, const TaskResult& result) {
  const bool names_the_file = result.state == TaskResult::State::kFailed;
  return failure_line(names_the_file ? result.text : path + ": " + result.text);
}

void run_tasks(std::size_t count, unsigned jobs, const std::function<std::string(std::size_t)>& work,
               const std::function<void(std::size_t, const TaskResult&)>& finished) {
  std::size_t most = jobs > 0 ? jobs : std::max(1U, std::thread::hardware_concurrency());
  std::vector<Worker> workers;
  {
    const InterruptGuard guard;
    std::size_t next = 0;
    try {
      while (interrupt_signal == 0 && (next < count || !workers.empty())) {
        if (next < count && workers.size() < most) {
          if (auto worker = start(work, next, guard)) {
            workers.push_back(std::move(*worker));
            ++next;
          } else if (workers.empty()) {
            throw std::runtime_error(std::string("cannot start a process: ") + std::strerror(errno));
          } else {
            most = workers.size();  // the system does not allow more
          }
        } else {
          wait_for_some(workers, finished);
        }
      }
    } catch (...) {
      end_all(workers);
      throw;
    }
    end_all(workers);
  }
  if (interrupt_signal != 0) raise(interrupt_signal);
}

}  // namespace program
