// Two threads that wake each other, on the system's own wait queues.
#include "src/kitc/WakeUp.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

TEST(WakeUp, LosesNoWakeUp) {
  constexpr int kRounds = 10000;
  WakeUp here, there;
  std::atomic<int> turn{0};  // even: this thread's
  std::thread other([&] {
    for (int round = 0; round < kRounds; ++round) {
      while (turn != 2 * round + 1)
        there.Wait(INFINITE);
      ++turn;
      here.Set();
    }
  });
  for (int round = 0; round < kRounds; ++round) {
    ++turn;
    there.Set();
    while (turn != 2 * round + 2)
      here.Wait(INFINITE);
  }
  other.join();
  EXPECT_EQ(turn, 2 * kRounds);
}
