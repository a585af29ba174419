// Signals that have to wait, and which of them interrupt the program.
#pragma once

#include <array>
#include <csignal>
#include <span>

namespace host {

inline constexpr std::array kInterrupts{SIGINT, SIGTERM, SIGHUP};

// While it lives, these signals wait.
class BlockedSignals {
 public:
  explicit BlockedSignals(std::span<const int> signals) {
    sigset_t blocked;
    sigemptyset(&blocked);
    for (const int signal : signals) sigaddset(&blocked, signal);
    sigprocmask(SIG_BLOCK, &blocked, &before_);
  }
  BlockedSignals(const BlockedSignals&) = delete;
  BlockedSignals& operator=(const BlockedSignals&) = delete;
  ~BlockedSignals() { sigprocmask(SIG_SETMASK, &before_, nullptr); }

 private:
  sigset_t before_{};
};

}  // namespace host
