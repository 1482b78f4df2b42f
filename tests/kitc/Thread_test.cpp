#include "src/kitc/Thread.h"

#include <alloca.h>
#include <gtest/gtest.h>
#include <malloc.h>
#include <pthread.h>

#include <atomic>
#include <csignal>
#include <cstring>
#include <latch>

#include "tests/support/TestSeam.h"

namespace {

TEST(Thread, RunsWaitsAndCanBeUsedAgain) {
  struct Shared {
    std::atomic<int> runs{0};
    std::atomic<DWORD> id{0};
  } shared;
  const kitc_thread_entry entry = [](void* argument) {
    auto* s = static_cast<Shared*>(argument);
    s->id = GetCurrentThreadId();
    ++s->runs;
  };
  Thread thread;
  EXPECT_EQ(thread.Id(), 0u);
  for (int run = 1; run <= 2; ++run) {
    ASSERT_TRUE(thread.Run(entry, &shared));
    EXPECT_FALSE(thread.Run(entry, &shared)) << "it holds a thread already";
    thread.Wait();
    EXPECT_EQ(shared.runs, run);
    EXPECT_EQ(thread.Id(), shared.id);
    thread.Wait();  // a thread that has ended may be waited for again
    thread.Close();
    EXPECT_EQ(thread.Id(), 0u);
  }
}

TEST(Thread, EmptyOneNeitherWaitsNorCloses) {
  Thread thread;
  thread.Wait();
  thread.Close();
  EXPECT_EQ(thread.Id(), 0u);
}

TEST(Thread, DestructorWaitsForTheThread) {
  struct Shared {
    std::latch go{1};
    std::atomic<bool> ended{false};
  } shared;
  {
    Thread thread;
    ASSERT_TRUE(thread.Run(
        [](void* argument) {
          auto* s = static_cast<Shared*>(argument);
          s->go.wait();
          s->ended = true;
        },
        &shared));
    shared.go.count_down();
  }
  EXPECT_TRUE(shared.ended);
}

TEST(Thread, ClosedWithoutWaitingRunsOn) {
  static std::latch go{1};
  static std::latch ended{1};
  kitc_thread* thread = kitc_thread_create(
      [](void*) {
        go.wait();
        ended.count_down();
      },
      nullptr);
  ASSERT_NE(thread, nullptr);
  kitc_thread_close(thread);
  go.count_down();
  ended.wait();
}

TEST(Thread, HasHalfAMebibyteOfStack) {
  size_t stackBytes = 0;
  Thread thread;
  ASSERT_TRUE(thread.Run(
      [](void* result) {
        pthread_attr_t attributes;
        pthread_getattr_np(pthread_self(), &attributes);
        pthread_attr_getstacksize(&attributes, static_cast<size_t*>(result));
        pthread_attr_destroy(&attributes);
        constexpr size_t kMostOfIt = 400 * 1024;
        std::memset(alloca(kMostOfIt), 0x5A, kMostOfIt);  // ends the process if it is not there
      },
      &stackBytes));
  thread.Wait();
  EXPECT_GE(stackBytes, 524288u);
  EXPECT_LT(stackBytes, 2 * 524288u) << "a sanitizer may add a little";
}

TEST(Thread, DoesNotTakeTheHostsSignals) {
  sigset_t before;
  pthread_sigmask(SIG_SETMASK, nullptr, &before);
  sigset_t inThread;
  Thread thread;
  ASSERT_TRUE(thread.Run(
      [](void* set) { pthread_sigmask(SIG_SETMASK, nullptr, static_cast<sigset_t*>(set)); }, &inThread));
  thread.Wait();
  for (const int hosts : {SIGINT, SIGTERM, SIGUSR1, SIGALRM, SIGCHLD, SIGPIPE})
    EXPECT_EQ(sigismember(&inThread, hosts), 1) << strsignal(hosts);
  for (const int faults : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT})
    EXPECT_EQ(sigismember(&inThread, faults), 0) << strsignal(faults);
  sigset_t after;
  pthread_sigmask(SIG_SETMASK, nullptr, &after);
  EXPECT_EQ(sigismember(&after, SIGUSR1), sigismember(&before, SIGUSR1));
}

TEST(Thread, FailedCreationLeavesNothing) {
  TestSeam seam;
  const kitc_thread_entry never = [](void*) { FAIL() << "no thread was promised"; };
  const auto createAndFail = [&] { EXPECT_EQ(kitc_thread_create(never, nullptr), nullptr); };

  const size_t before = mallinfo2().uordblks;
  for (int i = 0; i < 1000; ++i) {
    seam.FailThreads(true);  // the system refuses
    createAndFail();
    seam.FailThreads(false);
    for (const int64_t allocations : {0, 1}) {  // the record, the start record
      seam.FailAllocationsAfter(allocations);
      createAndFail();
    }
    seam.AllowAllocations();
  }
  EXPECT_LT(mallinfo2().uordblks, before + 8192)
      << "a leak of one record a time would be more than 16000 bytes";

  Thread thread;
  seam.FailThreads(true);
  EXPECT_FALSE(thread.Run(never, nullptr));
  EXPECT_EQ(thread.Id(), 0u);
  thread.Wait();
}

}  // namespace
