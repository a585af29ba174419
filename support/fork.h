// Locks in processes that are forked.
#pragma once

#include <pthread.h>

#include <mutex>

namespace xrd {

// A fork waits for the lock. A lock of another thread would never be freed in the new process, which lacks that thread.
template <std::mutex& lock>
int keep_free_in_forks() noexcept {
  return pthread_atfork([] { lock.lock(); }, [] { lock.unlock(); }, [] { lock.unlock(); });
}

}  // namespace xrd
