// Locks in processes that are forked.
#pragma once

#include <pthread.h>

#include <mutex>

namespace xrd {

// A fork waits for the lock. Another thread's would never be free in the new process, which has that thread no more.
template <std::mutex& lock>
int keep_free_in_forks() noexcept {
  return pthread_atfork([] { lock.lock(); }, [] { lock.unlock(); }, [] { lock.unlock(); });
}

}  // namespace xrd
