#include "src/kitc/Lock.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <thread>
#include <vector>

#include "tests/support/TestSeam.h"

namespace {

struct Counter {
  Lock lock;
  int value GUARDED_BY(lock) = 0;
};

void CountFromManyThreads(Counter& counter) {
  constexpr int kThreads = 4;
  constexpr int kTurns = 5000;
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&counter] {
      for (int turn = 0; turn < kTurns; ++turn) {
        const ScopedLock held(counter.lock);
        ++counter.value;
      }
    });
  }
  for (std::thread& thread : threads)
    thread.join();
  const ScopedLock held(counter.lock);
  EXPECT_EQ(counter.value, kThreads * kTurns);
}

TEST(Lock, ExcludesOtherThreads) {
  Counter counter;
  CountFromManyThreads(counter);
}

TEST(Lock, CanBeTakenWhenMemoryIsExhausted) {
  TestSeam seam;
  seam.FailAllocationsAfter(0);
  EXPECT_EQ(kitc_lock_create(), nullptr);
  Counter counter;
  CountFromManyThreads(counter);
}

TEST(Lock, IsReentrantForItsThread) {
  CRITICAL_SECTION* section = kitc_lock_create();
  ASSERT_NE(section, nullptr);
  kitc_lock_enter(section);
  kitc_lock_enter(section);
  kitc_lock_leave(section);
  bool entered = false;
  std::thread other([&] {
    kitc_lock_enter(section);
    entered = true;
    kitc_lock_leave(section);
  });
  EXPECT_FALSE(entered) << "still held once";
  kitc_lock_leave(section);
  other.join();
  EXPECT_TRUE(entered);
  kitc_lock_destroy(section);
}

TEST(Lock, IsLeftWhenAnExceptionPasses) {
  Lock lock;
  try {
    const ScopedLock held(lock);
    throw std::runtime_error("passes the lock");
  } catch (const std::runtime_error&) {
  }
  std::thread([&] { const ScopedLock held(lock); }).join();  // would never end if the lock were still held
}

}  // namespace
