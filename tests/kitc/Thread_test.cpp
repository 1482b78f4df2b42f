// Threads and locks, also when the system gives none.
#include "src/kitc/Thread.h"

#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <csignal>
#include <cstring>
#include <optional>
#include <stdexcept>
#include <thread>
#include <vector>

#include "src/kitc/Lock.h"
#include "tests/support/ExhaustedMemory.h"
#include "tests/support/TestSeam.h"

namespace {

TEST(Thread, RunsWaitsAndCanBeUsedAgain) {
  std::atomic<DWORD> id{0};
  const kitc_thread_entry entry = [](void* argument) {
    for (int i = 0; i < 1000; ++i)
      std::this_thread::yield();  // a chance to whoever does not wait
    *static_cast<std::atomic<DWORD>*>(argument) = GetCurrentThreadId();
  };
  {
    Thread thread;
    thread.Wait();  // empty
    thread.Close();
    ASSERT_TRUE(thread.Run(entry, &id));
    EXPECT_FALSE(thread.Run(entry, &id)) << "it holds a thread already";
    thread.Wait();
    EXPECT_NE(id, 0u);
    EXPECT_EQ(thread.Id(), id);
    thread.Wait();  // a thread that has ended may be waited for again
    thread.Close();
    EXPECT_EQ(thread.Id(), 0u);
    id = 0;
    ASSERT_TRUE(thread.Run(entry, &id));  // and now the destructor waits
  }
  EXPECT_NE(id, 0u);
}

TEST(Thread, HasHalfAMebibyteOfStackAndTakesNoSignalsOfTheHost) {
  static size_t stackBytes;
  static sigset_t blocked;
  Thread thread;
  ASSERT_TRUE(thread.Run(
      [](void*) {
        pthread_attr_t attributes;
        pthread_getattr_np(pthread_self(), &attributes);
        pthread_attr_getstacksize(&attributes, &stackBytes);
        pthread_attr_destroy(&attributes);
        pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
      },
      nullptr));
  thread.Wait();
  EXPECT_GE(stackBytes, 524288u);
  EXPECT_LT(stackBytes, 2 * 524288u) << "a sanitizer may add a little";
  for (const int hosts : {SIGINT, SIGTERM, SIGUSR1, SIGPIPE})
    EXPECT_EQ(sigismember(&blocked, hosts), 1) << strsignal(hosts);
  for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT})
    EXPECT_EQ(sigismember(&blocked, fault), 0) << strsignal(fault);
}

TEST(Thread, FailedCreationLeavesNothing) {
  TestSeam seam;
  const kitc_thread_entry never = [](void*) { FAIL() << "no thread was promised"; };
  mck_free(mck_malloc(1));  // the allocator itself takes memory, once
  mck_statistics before, after;
  mck_get_statistics(&before);
  {
    void* const keepsThePage = mck_malloc(sizeof(kitc_thread));
    ExhaustedMemory memory(seam, sizeof(kitc_thread));
    EXPECT_EQ(kitc_thread_create(never, nullptr), nullptr) << "no record";
    ASSERT_TRUE(memory.FreeOne());
    EXPECT_EQ(kitc_thread_create(never, nullptr), nullptr) << "no start record";
    mck_free(keepsThePage);
  }
  seam.FailThreads(true);
  EXPECT_EQ(kitc_thread_create(never, nullptr), nullptr) << "no thread";
  mck_get_statistics(&after);
  EXPECT_EQ(after.library.ullBlocks, before.library.ullBlocks);
  Thread thread;
  EXPECT_FALSE(thread.Run(never, nullptr));
  EXPECT_EQ(thread.Id(), 0u);
}

struct Counter {
  Lock lock;
  int value GUARDED_BY(lock) = 0;

  // The lock is entered twice, and left once by an exception. Its analysis knows no re-entry.
  void Increment() NO_THREAD_SAFETY_ANALYSIS {
    const ScopedLock held(lock);
    try {
      const ScopedLock again(lock);
      throw std::runtime_error("passes the lock");
    } catch (const std::runtime_error&) {
      ++value;
    }
  }
};

TEST(Lock, ExcludesOtherThreadsAlsoWithoutMemory) {
  TestSeam seam;
  for (const bool withoutMemory : {false, true}) {
    std::optional<ExhaustedMemory> memory;
    if (withoutMemory) {
      memory.emplace(seam, sizeof(CRITICAL_SECTION));
      EXPECT_EQ(kitc_lock_create(), nullptr);
    }
    Counter counter;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
      threads.emplace_back([&counter] {
        for (int turn = 0; turn < 2000; ++turn)
          counter.Increment();
      });
    }
    for (std::thread& thread : threads)
      thread.join();
    const ScopedLock held(counter.lock);
    EXPECT_EQ(counter.value, 4 * 2000);
  }
}

}  // namespace
