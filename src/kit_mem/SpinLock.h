// The allocator's lock: one atomic exchange to take it, a plain store to leave it.
#pragma once

#include <atomic>

#include "src/kitc/ThreadAnnotations.h"

namespace page_list {

// What runs under it takes some ten nanoseconds, less than a critical section's own cost (two atomic
// operations, and a system call whenever two threads meet). Whoever finds it taken looks again: at once for a
// few hundred nanoseconds, then giving up the processor, at last sleeping, so that a holder of lower priority
// gets to run. Not re-entrant: nothing under it calls back. Usable before any constructor has run.
class CAPABILITY("mutex") SpinLock {
 public:
  constexpr SpinLock() = default;
  SpinLock(const SpinLock&) = delete;
  SpinLock& operator=(const SpinLock&) = delete;

  void Enter() ACQUIRE() {
    if (m_bHeld.exchange(true, std::memory_order_acquire)) EnterContended();
  }
  void Leave() RELEASE() { m_bHeld.store(false, std::memory_order_release); }

 private:
  void EnterContended();

  std::atomic<bool> m_bHeld{false};
};

class SCOPED_CAPABILITY SpinGuard {
 public:
  explicit SpinGuard(SpinLock& lock) ACQUIRE(lock) : m_Lock(lock) { m_Lock.Enter(); }
  ~SpinGuard() RELEASE() { m_Lock.Leave(); }
  SpinGuard(const SpinGuard&) = delete;
  SpinGuard& operator=(const SpinGuard&) = delete;

 private:
  SpinLock& m_Lock;
};

}  // namespace page_list
