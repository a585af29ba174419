// Which signals interrupt the program, and sets of signals.
#pragma once

#include <array>
#include <csignal>
#include <span>

#include "support/blocked_signals.h"

namespace xrd {

// Signals that people send, and those with which systems and schedulers announce the end of a job's time.
inline constexpr std::array kInterrupts{SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGPIPE, SIGALRM, SIGXCPU, SIGUSR1, SIGUSR2};

inline sigset_t signal_set(std::span<const int> signals) {
  sigset_t set;
  sigemptyset(&set);
  for (const int signal : signals) sigaddset(&set, signal);
  return set;
}

}  // namespace xrd
