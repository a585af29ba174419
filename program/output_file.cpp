#include "program/output_file.h"

#include <unistd.h>

#include <array>
#include <climits>
#include <csignal>
#include <cstring>

#include "support/interrupts.h"

namespace program {

namespace {

// The file that an interrupt removes: in memory that a signal handler may read.
std::array<char, NAME_MAX + 1> interrupted_file{};
volatile std::sig_atomic_t interrupted_folder = -1;  // none

void remove_and_end(int signal) {
  if (interrupted_folder >= 0) unlinkat(interrupted_folder, interrupted_file.data(), 0);
  std::signal(signal, SIG_DFL);
  raise(signal);
}

void remove_on_interrupt(const frames::NewFile& file) {
  interrupted_file.back() = '\0';
  std::strncpy(interrupted_file.data(), file.unfinished_name().c_str(), interrupted_file.size() - 1);
  interrupted_folder = file.folder();
  for (const int signal : xrd::kInterrupts) {
    // An ignored signal, as under nohup, stays ignored.
    if (std::signal(signal, remove_and_end) == SIG_IGN) std::signal(signal, SIG_IGN);
  }
}

}  // namespace

OutputFile::OutputFile(const std::string& path, frames::Existing existing) {
  // Interrupts wait until it is known which file they must remove.
  const xrd::BlockedSignals blocked(xrd::signal_set(xrd::kInterrupts));
  remove_on_interrupt(file_.emplace(path, existing));
}

// Interrupts have nothing to remove any more.
OutputFile::Watch::~Watch() {
  interrupted_folder = -1;
}

}  // namespace program
