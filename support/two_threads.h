// Work that two processors share.
#pragma once

#include <csignal>
#include <exception>
#include <thread>

#include "support/blocked_signals.h"

namespace xrd {

// A thread that gets no signals: callers expect theirs in threads of their own.
template <typename Action>
std::thread start_thread(Action action) {
  sigset_t all;
  sigfillset(&all);
  const BlockedSignals blocked(all);
  return std::thread(action);
}

// Calls action(0) and action(1), at the same time if a thread can be started. They must not throw.
template <typename Action>
void in_two_threads(Action action) {
  std::thread second;
  try {
    second = start_thread([=] { action(1); });
  } catch (const std::exception&) {
    action(1);
  }
  action(0);
  if (second.joinable()) second.join();
}

}  // namespace xrd
