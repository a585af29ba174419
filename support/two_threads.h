// Work that two processors share.
#pragma once

#include <csignal>
#include <exception>
#include <thread>

namespace xrd {

// While it lives, new threads of this one get no signals: hosts expect theirs in threads of their own.
class SignalsBlocked {
 public:
  SignalsBlocked() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before_);
  }
  SignalsBlocked(const SignalsBlocked&) = delete;
  SignalsBlocked& operator=(const SignalsBlocked&) = delete;
  ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

 private:
  sigset_t before_{};
};

// Calls action(0) and action(1), at the same time where a thread can be had. They must not throw.
template <typename Action>
void in_two_threads(Action action) {
  std::thread second;
  try {
    const SignalsBlocked blocked;
    second = std::thread(action, 1);
  } catch (const std::exception&) {
    action(1);
  }
  action(0);
  if (second.joinable()) second.join();
}

}  // namespace xrd
