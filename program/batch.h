// Many frames at once: which ones, and in how many processes.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "program/options/command_line.h"

namespace program {

// Part K of N: every N-th file, from the K-th on.
struct Shard {
  std::size_t part = 1;
  std::size_t parts = 1;
};

struct BatchOptions {
  std::vector<std::string> files;
  std::string list;   // a file with names, one per line; "-" is standard input
  unsigned jobs = 0;  // processes at a time; 0 for one per processor
  Shard shard;
};

// Adds FILE..., --files-from, -j and --shard.
void add_batch_options(Command& command, BatchOptions& options);

// The files that the options name, also those of other shards. A Failure if the list cannot be read, a
// UsageError if there are none.
std::vector<std::string> all_files(const BatchOptions& options);

inline bool is_in_shard(std::size_t position, const Shard& shard) {
  return position % shard.parts == shard.part - 1;
}

// How a task ended, and its text: the result, the message of its Failure, what is wrong with standard
// output, or what ended it: a signal to its process, or another exception.
struct TaskResult {
  enum class State { kSucceeded, kFailed, kUnheard, kCrashed };
  State state = State::kSucceeded;
  std::string text;
};

// The line for the user about a file whose task failed.
std::string failure_line(const std::string& path, const TaskResult& result);

// Runs work(0) to work(count - 1), each in a process of its own, so that a task that crashes takes no other with it and
// leaves no memory behind; at most `jobs` at a time (0: one per processor). The result of work is passed to `finished`
// in the order in which tasks end, and so is the message of its Failure. An interrupt ends all of them,
// and then this process. So does a standard output that cannot be written, with an OutputError.
void run_tasks(std::size_t count, unsigned jobs, const std::function<std::string(std::size_t)>& work,
               const std::function<void(std::size_t, const TaskResult&)>& finished);

}  // namespace program
