// The innermost lock of all: the platform's memory functions take it themselves, and so does the allocator
// that stands on them, which then pays for it once.
#pragma once

#include <atomic>
#include <cstdint>

#ifdef _WIN32
#include "platform/Kernel.h"
#endif

#include "src/kitc/ThreadAnnotations.h"

namespace platform {

// One atomic exchange to enter, plain stores to leave. What runs under it takes some ten nanoseconds, a third
// of what a critical section costs, let alone the system call when two threads meet. Who finds it taken looks
// again: at once for a microsecond, then giving up the processor, at last sleeping, so that a
// holder of lower priority gets to run. Re-entrant for the thread that holds it. Usable before any
// constructor has run.
class CAPABILITY("mutex") MemoryLock {
 public:
  constexpr MemoryLock() = default;
  MemoryLock(const MemoryLock&) = delete;
  MemoryLock& operator=(const MemoryLock&) = delete;

  void Enter() ACQUIRE() {
    const uintptr_t self = Self();
    if (m_Holder.load(std::memory_order_relaxed) == self) {
      ++m_nEntered;
      return;
    }
    if (m_bHeld.exchange(true, std::memory_order_acquire)) EnterContended();
    m_Holder.store(self, std::memory_order_relaxed);
  }
  void Leave() RELEASE() {
    if (m_nEntered != 0) {
      --m_nEntered;
      return;
    }
    m_Holder.store(0, std::memory_order_relaxed);
    m_bHeld.store(false, std::memory_order_release);
  }

 private:
  // Not 0, and of no other thread that lives.
  static uintptr_t Self() {
#ifdef _WIN32
    return GetCurrentThreadId();
#else
    return reinterpret_cast<uintptr_t>(__builtin_thread_pointer());
#endif
  }
  void EnterContended();

  std::atomic<bool> m_bHeld{false};
  uint32_t m_nEntered = 0;  // of the thread that holds it: how often it has entered again
  std::atomic<uintptr_t> m_Holder{0};
};

extern constinit MemoryLock g_MemoryLock;

class SCOPED_CAPABILITY MemoryLockGuard {
 public:
  MemoryLockGuard() ACQUIRE(g_MemoryLock) { g_MemoryLock.Enter(); }
  ~MemoryLockGuard() RELEASE() { g_MemoryLock.Leave(); }
  MemoryLockGuard(const MemoryLockGuard&) = delete;
  MemoryLockGuard& operator=(const MemoryLockGuard&) = delete;
};

}  // namespace platform
