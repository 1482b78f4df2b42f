// A clock that stands still until the test moves it, so that threads which sleep between their passes can be
// stepped one pass at a time.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <vector>

#include "tests/support/TestSeam.h"

// Stands behind timeGetTime, QueryPerformanceCounter, Sleep and condition variables (and so behind
// kitc_tick64, kitc_time_ms, WakeUp) while it lives. Also collects the debugger's text and fails on demand,
// see TestSeam. Local time stays the real one.
//
// A thread that calls Sleep(ms) sleeps until the test has moved the time by at least ms; Sleep(0) just
// yields. The test's own thread must not sleep: nobody would wake it.
//
//   ManualClock clock;
//   Thread loop; loop.Run(...);                 // while (running) { pass(); Sleep(1); }
//   ASSERT_TRUE(clock.WaitForSleepers(1));      // the first pass is over
//   ASSERT_TRUE(clock.Step(40, 1));             // forty more passes, one per millisecond
//   running = false;
//   clock.Release();                            // the loop sees the flag
//   loop.Wait(); loop.Close();
class ManualClock : public TestSeam {
 public:
  // Times are milliseconds; 32-bit readings are the low half, so a start below 2^32 makes them wrap.
  explicit ManualClock(uint64_t startMs = 1'000'000);
  ~ManualClock() override;  // releases the sleepers

  uint64_t NowMs() const;

  // Moves the time. Threads whose sleep is over are awake from here on: WaitForSleepers does not count them
  // until they sleep again.
  void Advance(uint64_t ms);

  // Blocks until at least `threads` threads are asleep. False when that has not happened within 30 s of real
  // time, or after Release().
  [[nodiscard]] bool WaitForSleepers(size_t threads);

  // When the first of the sleepers wakes by itself, UINT64_MAX when none does.
  uint64_t NextWakeMs() const;

  // Waits until `threads` threads are asleep; then, `ms` times, moves the time by one millisecond and waits
  // until they are asleep again.
  [[nodiscard]] bool Step(uint64_t ms, size_t threads);

  // Wakes all sleepers and makes every further Sleep a yield, for good. Call it before joining threads that
  // sleep.
  void Release();

  uint32_t TimeMs() override { return static_cast<uint32_t>(NowMs()); }
  int64_t PerformanceCounter() override;
  void Sleep(uint32_t milliseconds) override;
  bool SleepOnCondition(CONDITION_VARIABLE& condition, CRITICAL_SECTION& section,
                        uint32_t milliseconds) override;
  void WakeCondition(CONDITION_VARIABLE& condition) override;

 private:
  struct Sleeper {
    uint64_t llWakeMs = 0;
    const CONDITION_VARIABLE* pCondition = nullptr;  // what else may wake it
    bool bAsleep = true;
    bool bWoken = false;  // by the condition
  };
  void SleepUntilWoken(std::unique_lock<std::mutex>& lock, Sleeper& self, uint32_t milliseconds);

  mutable std::mutex m_Mutex;  // guards all of the following
  std::condition_variable m_Woken;
  std::condition_variable m_FellAsleep;
  std::vector<Sleeper*> m_Sleepers;  // who is asleep; each lies on its thread's stack
  uint64_t m_llNowMs;
  bool m_bReleased = false;
};
