// Files, time, error texts and threads as the layers above know them from Windows.
#include "platform/Kernel.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <ctime>
#include <future>
#include <thread>
#include <tuple>

#include "platform/posix/SigpipeBlock.h"
#include "tests/support/TempDir.h"

namespace {

TEST(KernelFiles, ReportWhyTheyFail) {
  const TempDir temp;
  std::FILE* file = PlatformOpenFile((temp / "here").c_str(), "w");
  ASSERT_NE(file, nullptr);
  EXPECT_NE(fcntl(fileno(file), F_GETFD) & FD_CLOEXEC, 0);
  std::fclose(file);
  EXPECT_EQ(GetFileAttributesA((temp / "here").c_str()), FILE_ATTRIBUTE_NORMAL);
  EXPECT_EQ(GetFileAttributesA(temp.Path().c_str()), FILE_ATTRIBUTE_DIRECTORY);
  EXPECT_EQ(GetFileAttributesA((temp / "missing").c_str()), INVALID_FILE_ATTRIBUTES);
  EXPECT_FALSE(CreateDirectoryA(temp.Path().c_str(), nullptr));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(EEXIST));
  EXPECT_EQ(PlatformOpenFile((temp / std::string(10'000, 'x')).c_str(), "w"), nullptr);
  EXPECT_EQ(errno, ENAMETOOLONG);
  EXPECT_EQ(PlatformOpenFile(nullptr, "r"), nullptr);
}

TEST(KernelTime, LocalTimeIsTheWallClock) {
  const time_t before = time(nullptr);
  SYSTEMTIME now{};
  GetLocalTime(&now);
  tm local{};
  local.tm_year = now.wYear - 1900;
  local.tm_mon = now.wMonth - 1;
  std::tie(local.tm_mday, local.tm_hour) = std::tuple(now.wDay, now.wHour);
  std::tie(local.tm_min, local.tm_sec, local.tm_isdst) = std::tuple(now.wMinute, now.wSecond, -1);
  const time_t read = mktime(&local);
  EXPECT_TRUE(before <= read && read <= time(nullptr));
  EXPECT_EQ(now.wDayOfWeek, local.tm_wday);
  EXPECT_LT(now.wMilliseconds, 1000);
}

TEST(KernelTime, SleepIsNotCutShortBySignals) {
  const auto earlier = std::signal(SIGUSR1, [](int) {});
  std::atomic<bool> over{false};
  std::thread sleeper([&] {
    LARGE_INTEGER begin{}, end{};
    QueryPerformanceCounter(&begin);
    const DWORD tick = timeGetTime();
    Sleep(50);
    EXPECT_GE(timeGetTime() - tick, 49u);
    QueryPerformanceCounter(&end);
    EXPECT_GE(end.QuadPart - begin.QuadPart, 500'000);
    over = true;
  });
  while (!over) {
    pthread_kill(sleeper.native_handle(), SIGUSR1);
    Sleep(1);
  }
  sleeper.join();
  std::signal(SIGUSR1, earlier);
}

HANDLE StartThread(unsigned (*start)(void*), void* argument, unsigned stackBytes = 524288) {
  return reinterpret_cast<HANDLE>(_beginthreadex(nullptr, stackBytes, start, argument, 0, nullptr));
}

TEST(KernelThreads, ManyMayWaitForOneThreadThatMayNotWaitForItself) {
  struct Shared {
    std::promise<HANDLE> handle;
    DWORD result = WAIT_OBJECT_0;
  } shared;
  HANDLE thread = StartThread(
      [](void* argument) {
        auto* s = static_cast<Shared*>(argument);
        s->result = WaitForSingleObject(s->handle.get_future().get(), INFINITE);
        return 0u;
      },
      &shared);
  ASSERT_NE(thread, nullptr);
  EXPECT_EQ(WaitForSingleObject(thread, 5), WAIT_FAILED) << "time-outs are not offered";
  std::array<std::future<DWORD>, 4> waiters;
  for (auto& waiter : waiters)
    waiter = std::async(std::launch::async, [thread] { return WaitForSingleObject(thread, INFINITE); });
  shared.handle.set_value(thread);
  for (auto& waiter : waiters)
    EXPECT_EQ(waiter.get(), WAIT_OBJECT_0);
  EXPECT_EQ(shared.result, WAIT_FAILED);
  EXPECT_TRUE(CloseHandle(thread));
  EXPECT_EQ(WaitForSingleObject(nullptr, INFINITE), WAIT_FAILED);
  EXPECT_FALSE(CloseHandle(nullptr));
}

TEST(KernelThreads, SurviveTheSystemsRefusal) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "the sanitizer would die of the limit first";
#endif
  rlimit earlier{};
  getrlimit(RLIMIT_AS, &earlier);
  const rlimit twoGib{.rlim_cur = 2ull << 30, .rlim_max = earlier.rlim_max};
  setrlimit(RLIMIT_AS, &twoGib);
  errno = 0;
  const HANDLE thread = StartThread([](void*) { return 0u; }, nullptr, 0xFFFF0000);
  const int error = errno;
  setrlimit(RLIMIT_AS, &earlier);
  EXPECT_EQ(thread, nullptr);
  EXPECT_TRUE(error == EAGAIN || error == ENOMEM) << error;
}

TEST(SigpipeBlock, TurnsTheSignalIntoAFailedWriteAndLeavesTheHostsOwnPending) {
  sigset_t pipeSet, now;
  sigemptyset(&pipeSet);
  sigaddset(&pipeSet, SIGPIPE);
  for (const int hostsOwn : {0, 1}) {
    if (hostsOwn == 1) {
      pthread_sigmask(SIG_BLOCK, &pipeSet, nullptr);
      raise(SIGPIPE);
    }
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    close(ends[0]);
    {
      const platform::SigpipeBlock block;
      EXPECT_EQ(write(ends[1], "x", 1), -1);  // ends the process without the block
      EXPECT_EQ(errno, EPIPE);
    }
    close(ends[1]);
    pthread_sigmask(SIG_SETMASK, nullptr, &now);
    EXPECT_EQ(sigismember(&now, SIGPIPE), hostsOwn);
    sigpending(&now);
    EXPECT_EQ(sigismember(&now, SIGPIPE), hostsOwn);
  }
  const timespec noTime{};
  EXPECT_EQ(sigtimedwait(&pipeSet, nullptr, &noTime), SIGPIPE);
  pthread_sigmask(SIG_UNBLOCK, &pipeSet, nullptr);
}

}  // namespace
