// One-time initialisation of process-wide state, usable before any constructor has run.
#pragma once

#include <atomic>
#include <cstdint>

#include "platform/Kernel.h"

// Place it in static storage with constinit. It is never torn down, so it also serves while the process ends.
class OneTime {
 public:
  constexpr OneTime() = default;
  OneTime(const OneTime&) = delete;
  OneTime& operator=(const OneTime&) = delete;

  // The first caller runs initialise(), which must not throw; who comes meanwhile looks again every
  // millisecond until it is done.
  template <typename Initialise>
  void Run(Initialise&& initialise) {
    if (m_bReady.load(std::memory_order_acquire)) return;
    if (m_nCallers.fetch_add(1, std::memory_order_relaxed) == 0) {
      initialise();
      m_bReady.store(true, std::memory_order_release);
      return;
    }
    while (!m_bReady.load(std::memory_order_acquire))
      Sleep(1);
  }

 private:
  std::atomic<bool> m_bReady{false};
  std::atomic<uint32_t> m_nCallers{0};
};
