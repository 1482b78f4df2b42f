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
#include <filesystem>
#include <future>
#include <thread>

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
  EXPECT_FALSE(CreateDirectoryA(temp.Path().c_str(), nullptr));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(EEXIST));
  EXPECT_EQ(GetFileAttributesA((temp / "missing").c_str()), INVALID_FILE_ATTRIBUTES);
  const std::string missing = temp / "missing", tooLong = temp / std::string(10'000, 'x');
  const struct {
    const char *path, *mode;
    int error;
  } rows[] = {{missing.c_str(), "r", ENOENT},
              {tooLong.c_str(), "w", ENAMETOOLONG},
              {nullptr, "r", EINVAL},
              {missing.c_str(), "w012345678901234567890", EINVAL}};
  for (const auto& row : rows) {
    EXPECT_EQ(PlatformOpenFile(row.path, row.mode), nullptr);
    EXPECT_EQ(errno, row.error);
  }
}

TEST(KernelFiles, ModuleFileNameIsCutToItsBuffer) {
  const std::string self = std::filesystem::read_symlink("/proc/self/exe").string();
  const auto size = static_cast<DWORD>(self.size());
  for (const DWORD capacity : {DWORD{4096}, size + 1, size, DWORD{5}, DWORD{0}}) {
    std::string path(4096, '#');
    EXPECT_EQ(GetModuleFileNameA(nullptr, path.data(), capacity), std::min(capacity, size));
    const size_t kept = std::min(capacity, size + 1);
    EXPECT_EQ(path.substr(0, kept), (self.substr(0, std::max<size_t>(kept, 1) - 1) + '\0').substr(0, kept));
    EXPECT_TRUE(kept == 4096 || path[kept] == '#');
  }
  EXPECT_EQ(GetModuleFileNameA(nullptr, nullptr, 10), 0u);
}

TEST(KernelTime, LocalTimeIsTheWallClock) {
  const time_t before = time(nullptr);
  SYSTEMTIME now{};
  GetLocalTime(&now);
  tm local{};
  local.tm_year = now.wYear - 1900;
  local.tm_mon = now.wMonth - 1;
  local.tm_mday = now.wDay;
  local.tm_hour = now.wHour;
  local.tm_min = now.wMinute;
  local.tm_sec = now.wSecond;
  local.tm_isdst = -1;
  const time_t read = mktime(&local);
  EXPECT_GE(read, before);
  EXPECT_LE(read, time(nullptr));
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

TEST(KernelErrors, HaveWords) {
  const auto text = [](DWORD code) {
    char* words = nullptr;
    const DWORD length = FormatMessageA(
        FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_FROM_SYSTEM, nullptr,
        code, 0, reinterpret_cast<char*>(&words), 0, nullptr);
    const std::string result = words != nullptr ? words : "";
    EXPECT_EQ(length, result.size());
    LocalFree(words);
    return result;
  };
  EXPECT_EQ(text(ENOENT), "No such file or directory");
  EXPECT_NE(text(0x8007000E), "");
  for (const DWORD unknown : {0x887601C2u, 99'999u, 0xFFFFFFFFu})
    EXPECT_EQ(text(unknown), "");
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
