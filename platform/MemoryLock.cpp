// See MemoryLock.h.
#include "platform/MemoryLock.h"

#include <chrono>
#include <thread>

namespace platform {

constinit MemoryLock g_MemoryLock;

void MemoryLock::EnterContended() {
  constexpr int kLooks = 30;   // about a microsecond: longer than anything but a page that is made
  constexpr int kYields = 20;  // then the holder has lost its processor
  constexpr auto kPause = std::chrono::microseconds(50);
  for (int round = 0;; ++round) {
    for (int look = 0; look < kLooks; ++look) {
      if (!m_bHeld.load(std::memory_order_relaxed) && !m_bHeld.exchange(true, std::memory_order_acquire))
        return;
#if defined(__i386__) || defined(__x86_64__)
      __builtin_ia32_pause();
#endif
    }
    if (round < kYields) {
      std::this_thread::yield();
    } else {
      std::this_thread::sleep_for(kPause);
    }
  }
}

}  // namespace platform
