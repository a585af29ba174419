// Which signals interrupt the program, and sets of signals.
#pragma once

#include <array>
#include <csignal>
#include <span>

#include "support/blocked_signals.h"

namespace host {

inline constexpr std::array kInterrupts{SIGINT, SIGTERM, SIGHUP};

inline sigset_t signal_set(std::span<const int> signals) {
  sigset_t set;
  sigemptyset(&set);
  for (const int signal : signals) sigaddset(&set, signal);
  return set;
}

}  // namespace host
