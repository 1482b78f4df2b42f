#include "tests/support/ManualClock.h"

#include <algorithm>
#include <chrono>

namespace {
constexpr std::chrono::seconds kPatience(30);
constexpr int64_t kCountsPerMs = 10'000;  // of the 10 MHz performance counter
}  // namespace

ManualClock::ManualClock(uint64_t startMs) : TestSeam(kByDerived), m_llNowMs(startMs) {
  Install();
}

ManualClock::~ManualClock() {
  Release();
  Remove();
}

uint64_t ManualClock::NowMs() const {
  const std::lock_guard lock(m_Mutex);
  return m_llNowMs;
}

void ManualClock::Advance(uint64_t ms) {
  const std::lock_guard lock(m_Mutex);
  m_llNowMs += ms;
  std::erase_if(m_Sleepers, [this](Sleeper* sleeper) {
    sleeper->bAsleep = m_llNowMs < sleeper->llWakeMs;
    return !sleeper->bAsleep;
  });
  m_Woken.notify_all();
}

bool ManualClock::WaitForSleepers(size_t threads) {
  std::unique_lock lock(m_Mutex);
  m_FellAsleep.wait_for(lock, kPatience, [&] { return m_bReleased || m_Sleepers.size() >= threads; });
  return m_Sleepers.size() >= threads;
}

uint64_t ManualClock::NextWakeMs() const {
  const std::lock_guard lock(m_Mutex);
  uint64_t next = UINT64_MAX;
  for (const Sleeper* sleeper : m_Sleepers)
    next = std::min(next, sleeper->llWakeMs);
  return next;
}

bool ManualClock::Step(uint64_t ms, size_t threads) {
  if (!WaitForSleepers(threads)) return false;
  for (; ms > 0; --ms) {
    Advance(1);
    if (!WaitForSleepers(threads)) return false;
  }
  return true;
}

void ManualClock::Release() {
  const std::lock_guard lock(m_Mutex);
  m_bReleased = true;
  for (Sleeper* sleeper : m_Sleepers)
    sleeper->bAsleep = false;
  m_Sleepers.clear();
  m_Woken.notify_all();
  m_FellAsleep.notify_all();
}

int64_t ManualClock::PerformanceCounter() {
  return static_cast<int64_t>(NowMs()) * kCountsPerMs;
}

void ManualClock::Sleep(uint32_t milliseconds) {
  std::unique_lock lock(m_Mutex);
  if (m_bReleased || milliseconds == 0) {
    lock.unlock();
    KernelSeam::Sleep(0);
    return;
  }
  Sleeper self;
  SleepUntilWoken(lock, self, milliseconds);
}

bool ManualClock::SleepOnCondition(CONDITION_VARIABLE& condition, CRITICAL_SECTION& section,
                                   uint32_t milliseconds) {
  Sleeper self{.pCondition = &condition};
  {
    std::unique_lock lock(m_Mutex);
    LeaveCriticalSection(&section);  // who wakes it from here on must wait for m_Mutex first
    if (m_bReleased) {
      lock.unlock();
      KernelSeam::Sleep(0);
    } else {
      SleepUntilWoken(lock, self, milliseconds);
    }
  }
  EnterCriticalSection(&section);
  return self.bWoken;
}

void ManualClock::WakeCondition(CONDITION_VARIABLE& condition) {
  const std::lock_guard lock(m_Mutex);
  const auto sleeper = std::ranges::find(m_Sleepers, &condition, &Sleeper::pCondition);
  if (sleeper == m_Sleepers.end()) return;
  (*sleeper)->bAsleep = false;
  (*sleeper)->bWoken = true;
  m_Sleepers.erase(sleeper);
  m_Woken.notify_all();
}

void ManualClock::SleepUntilWoken(std::unique_lock<std::mutex>& lock, Sleeper& self, uint32_t milliseconds) {
  self.llWakeMs = milliseconds == INFINITE ? UINT64_MAX : m_llNowMs + milliseconds;
  m_Sleepers.push_back(&self);
  m_FellAsleep.notify_all();
  m_Woken.wait(lock, [&self] { return !self.bAsleep; });
}
