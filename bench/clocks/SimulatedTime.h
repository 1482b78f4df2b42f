// A clock on which the real play thread runs through a day in seconds: the thread's own rests move the time.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <semaphore>

#include "platform/posix/KernelSeam.h"
#include "src/kitc/WakeUp.h"

// In place while it lives. For one play thread whose player has its sound switched off: nobody else sleeps,
// or rests for a time. Nothing waits in real time, so every run is the same: the time moves while the thread
// rests, and whatever happens meanwhile happens on the thread itself.
class SimulatedTime final : public platform::KernelSeam {
 public:
  // playWakeUp: what the play thread rests on; borrowed, and not used before a thread rests.
  // nextMs: when something happens next, ms of NowMs(), kNever at the end. happen: makes it happen.
  SimulatedTime(const WakeUp& playWakeUp, std::function<int64_t()> nextMs, std::function<void()> happen);
  ~SimulatedTime() override;
  SimulatedTime(const SimulatedTime&) = delete;
  SimulatedTime& operator=(const SimulatedTime&) = delete;

  static constexpr int64_t kNever = INT64_MAX;

  // Since the simulation began.
  int64_t NowMs() const { return m_llNowMs; }
  // The play thread works for this long.
  void Work(int64_t milliseconds) { MoveTo(NowMs() + milliseconds); }
  // Blocks until nothing more happens. From then on rests are real.
  void WaitForEnd() { m_Ended.acquire(); }

  uint32_t TimeMs() override;
  int64_t PerformanceCounter() override;
  void Sleep(uint32_t milliseconds) override;
  bool SleepOnCondition(CONDITION_VARIABLE& condition, CRITICAL_SECTION& section,
                        uint32_t milliseconds) override;
  void WakeCondition(CONDITION_VARIABLE& condition) override;

 private:
  bool IsThePlayThreads(const CONDITION_VARIABLE& condition) const;
  void MoveTo(int64_t ms);
  bool HappensBefore(int64_t ms);

  const WakeUp& m_PlayWakeUp;
  const std::function<int64_t()> m_NextMs;
  const std::function<void()> m_Happen;
  platform::KernelSeam* const m_pEarlier;
  std::atomic<int64_t> m_llNowMs{0};
  std::atomic<bool> m_bEnded{false};
  std::atomic<bool> m_bWoken{false};
  std::binary_semaphore m_Ended{0};
};
