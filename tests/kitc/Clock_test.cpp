#include "src/kitc/Clock.h"

#include <gtest/gtest.h>

#include <thread>

#include "src/kitc/OneTime.h"
#include "tests/support/ManualClock.h"

namespace {

constexpr uint64_t kWrap = 1ull << 32;

class CounterSeam : public TestSeam {
 public:
  CounterSeam() : TestSeam(kByDerived) { Install(); }
  ~CounterSeam() override { Remove(); }
  int64_t PerformanceCounter() override { return m_llCounter; }
  int64_t m_llCounter = 0;
};

TEST(Clock, CountsWrapsPerThread) {
  ManualClock clock(kWrap - 300);
  std::thread([&] {  // a new thread, so that its state is fresh
    EXPECT_EQ(kitc_tick64(), kWrap - 300);
    EXPECT_EQ(kitc_tick64(), kWrap - 300) << "an equal reading is no wrap";
    clock.Advance(500);
    EXPECT_EQ(kitc_tick64(), kWrap + 200);
    clock.Advance(1);
    EXPECT_EQ(kitc_tick64(), kWrap + 201) << "one wrap is counted once";
    clock.Advance(kWrap - 2);
    EXPECT_EQ(kitc_tick64(), 2 * kWrap + 199);
    std::thread([] { EXPECT_EQ(kitc_tick64(), 199u) << "a thread that saw no wrap has none to add"; }).join();
    EXPECT_EQ(kitc_tick64(), 2 * kWrap + 199);
  })
      .join();
}

TEST(Clock, TurnsThePerformanceCounterIntoMilliseconds) {
  CounterSeam seam;
  for (const auto& [counter, ms] : {std::pair<int64_t, double>{0, 0.0},
                                    {1, 0.0001},
                                    {123'456'789, 12345.6789},
                                    {315'360'000'000'000, 31'536'000'000.0}}) {  // a year
    seam.m_llCounter = counter;
    EXPECT_DOUBLE_EQ(kitc_time_ms(), ms);
  }
  seam.m_llCounter = INT64_MAX;  // the product wraps to -1000
  EXPECT_DOUBLE_EQ(kitc_time_ms(), -0.0001);
}

TEST(Clock, RealClocksMoveForwardTogether) {
  const uint64_t tick = kitc_tick64();
  const double ms = kitc_time_ms();
  Sleep(20);
  const auto ticked = static_cast<double>(kitc_tick64() - tick);
  const double passed = kitc_time_ms() - ms;
  EXPECT_GE(passed, 20.0);
  EXPECT_NEAR(ticked, passed, 5.0);
}

TEST(ManualClock, StepsSleepingThreadsPassByPass) {
  ManualClock clock;
  std::atomic<int> fast{0};
  std::atomic<int> slow{0};
  std::atomic<bool> running{true};
  const auto loop = [&running](std::atomic<int>& passes, DWORD ms) {
    while (running) {
      ++passes;
      Sleep(ms);
    }
  };
  std::thread a([&] { loop(fast, 1); });
  std::thread b([&] { loop(slow, 10); });
  ASSERT_TRUE(clock.WaitForSleepers(2));
  ASSERT_TRUE(clock.Step(30, 2));
  EXPECT_EQ(fast, 31);
  EXPECT_EQ(slow, 4);
  clock.Advance(25);  // a jump wakes each thread once
  ASSERT_TRUE(clock.WaitForSleepers(2));
  EXPECT_EQ(fast, 32);
  EXPECT_EQ(slow, 5);
  running = false;
  clock.Release();
  a.join();
  b.join();
  EXPECT_FALSE(clock.WaitForSleepers(1));
}

TEST(OneTime, InitialisesOnceAndOthersWaitForTheEnd) {
  ManualClock clock;
  OneTime once;
  std::atomic<int> initialised{0};
  std::atomic<int> tooEarly{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < 5; ++i) {
    threads.emplace_back([&] {
      once.Run([&] {
        Sleep(10);
        ++initialised;
      });
      if (initialised != 1) ++tooEarly;
    });
  }
  ASSERT_TRUE(clock.WaitForSleepers(5));  // one initialises, four wait for it
  ASSERT_TRUE(clock.Step(9, 5));
  EXPECT_EQ(initialised, 0);
  clock.Release();
  for (std::thread& thread : threads)
    thread.join();
  EXPECT_EQ(initialised, 1);
  EXPECT_EQ(tooEarly, 0);
}

}  // namespace
