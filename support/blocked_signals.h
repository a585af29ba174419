// Signals that are held back.
#pragma once

#include <csignal>

namespace xrd {

// While it lives, these signals are blocked in this thread, and for good in threads that it starts.
class BlockedSignals {
 public:
  explicit BlockedSignals(const sigset_t& signals) { pthread_sigmask(SIG_BLOCK, &signals, &before_); }
  BlockedSignals(const BlockedSignals&) = delete;
  BlockedSignals& operator=(const BlockedSignals&) = delete;
  ~BlockedSignals() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

 private:
  sigset_t before_{};
};

}  // namespace xrd
