// The clocks, and who waits for an initialisation.
#include "src/kitc/Clock.h"

#include <gtest/gtest.h>

#include <thread>

#include "src/kitc/OneTime.h"
#include "tests/support/ManualClock.h"

namespace {

constexpr uint64_t kWrap = 1ull << 32;

TEST(Clock, CountsWrapsPerThread) {
  ManualClock clock(kWrap - 300);
  std::thread([&] {  // a new thread, so that its state is fresh
    EXPECT_EQ(kitc_tick64(), kWrap - 300);
    EXPECT_EQ(kitc_tick64(), kWrap - 300) << "an equal reading is no wrap";
    clock.Advance(500);
    EXPECT_EQ(kitc_tick64(), kWrap + 200);
    clock.Advance(kWrap - 1);
    EXPECT_EQ(kitc_tick64(), 2 * kWrap + 199);
    std::thread([] { EXPECT_EQ(kitc_tick64(), 199u) << "a thread that saw no wrap has none to add"; }).join();
    EXPECT_EQ(kitc_tick64(), 2 * kWrap + 199);
  })
      .join();
}

TEST(OneTime, InitialisesOnceAndOthersWaitForTheEnd) {
  ManualClock clock;
  OneTime once;
  std::atomic<int> initialised{0}, tooEarly{0};
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
  clock.Release();
  for (std::thread& thread : threads)
    thread.join();
  EXPECT_EQ(initialised, 1);
  EXPECT_EQ(tooEarly, 0);
}

}  // namespace
