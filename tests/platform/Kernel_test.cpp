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
#include <fstream>
#include <future>
#include <thread>

#include "platform/posix/SigpipeBlock.h"
#include "tests/support/TempDir.h"
#include "tests/support/TestSeam.h"

namespace {

namespace fs = std::filesystem;

TEST(KernelFiles, TakeEitherSeparatorEverywhere) {
  const TempDir temp;
  EXPECT_TRUE(CreateDirectoryA((temp / "a").c_str(), nullptr));
  EXPECT_TRUE(CreateDirectoryA((temp / "a\\b").c_str(), nullptr));
  EXPECT_EQ(GetFileAttributesA((temp / "a\\b").c_str()), FILE_ATTRIBUTE_DIRECTORY);
  std::FILE* file = PlatformOpenFile((temp / "a\\b\\c.txt").c_str(), "w");
  ASSERT_NE(file, nullptr);
  EXPECT_NE(fcntl(fileno(file), F_GETFD) & FD_CLOEXEC, 0);
  std::fputs("text", file);
  std::fclose(file);
  EXPECT_EQ(fs::file_size(temp / "a/b/c.txt"), 4u);
  EXPECT_EQ(GetFileAttributesA((temp / "a/b/c.txt").c_str()), FILE_ATTRIBUTE_NORMAL);
}

TEST(KernelFiles, ReportWhyTheyFail) {
  const TempDir temp;
  EXPECT_FALSE(CreateDirectoryA(temp.Path().c_str(), nullptr));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(EEXIST));
  EXPECT_EQ(PlatformOpenFile((temp / "missing").c_str(), "r"), nullptr);
  EXPECT_EQ(errno, ENOENT);
  EXPECT_EQ(GetFileAttributesA((temp / "missing").c_str()), INVALID_FILE_ATTRIBUTES);

  const std::string tooLong = temp / std::string(10'000, 'x');
  EXPECT_EQ(PlatformOpenFile(tooLong.c_str(), "w"), nullptr);
  EXPECT_EQ(errno, ENAMETOOLONG);
  EXPECT_FALSE(CreateDirectoryA(tooLong.c_str(), nullptr));
  EXPECT_EQ(PlatformOpenFile(nullptr, "r"), nullptr);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_FALSE(CreateDirectoryA("", nullptr));
  EXPECT_EQ(PlatformOpenFile((temp / "x").c_str(), "w012345678901234567890"), nullptr);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_TRUE(fs::is_empty(temp.Path()));
}

TEST(KernelFiles, ModuleFileNameIsCutToItsBuffer) {
  const std::string self = fs::read_symlink("/proc/self/exe").string();
  const auto size = static_cast<DWORD>(self.size());
  std::string path(4096, '#');
  EXPECT_EQ(GetModuleFileNameA(nullptr, path.data(), 4096), size);
  EXPECT_STREQ(path.c_str(), self.c_str());
  EXPECT_EQ(GetModuleFileNameA(nullptr, path.data(), size + 1), size) << "just fits";
  EXPECT_EQ(GetModuleFileNameA(nullptr, path.data(), size), size) << "one short: the answer is the capacity";
  EXPECT_EQ(path.c_str(), self.substr(0, size - 1));
  path.assign(4096, '#');
  EXPECT_EQ(GetModuleFileNameA(nullptr, path.data(), 5), 5u);
  EXPECT_EQ(path.substr(0, 6), self.substr(0, 4) + std::string("\0#", 2));
  EXPECT_EQ(GetModuleFileNameA(nullptr, path.data(), 0), 0u);
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
  struct sigaction action {};
  struct sigaction earlier {};
  action.sa_handler = [](int) {};
  sigaction(SIGUSR1, &action, &earlier);
  std::atomic<bool> over{false};
  std::promise<void> started;
  std::thread sleeper([&] {
    LARGE_INTEGER begin{};
    LARGE_INTEGER end{};
    QueryPerformanceCounter(&begin);
    started.set_value();
    Sleep(50);
    QueryPerformanceCounter(&end);
    EXPECT_GE(end.QuadPart - begin.QuadPart, 500'000);
    over = true;
  });
  started.get_future().wait();
  while (!over) {
    pthread_kill(sleeper.native_handle(), SIGUSR1);
    Sleep(1);
  }
  sleeper.join();
  sigaction(SIGUSR1, &earlier, nullptr);
}

TEST(KernelErrors, HaveWords) {
  char* text = nullptr;
  constexpr DWORD kFlags =
      FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_FROM_SYSTEM;
  EXPECT_EQ(FormatMessageA(kFlags, nullptr, ENOENT, 0, reinterpret_cast<char*>(&text), 0, nullptr), 25u);
  EXPECT_STREQ(text, "No such file or directory");
  LocalFree(text);
  EXPECT_GT(FormatMessageA(kFlags, nullptr, 0x8007000E, 0, reinterpret_cast<char*>(&text), 0, nullptr), 0u);
  EXPECT_NE(text, nullptr);
  LocalFree(text);
  for (const DWORD unknown : {0x887601C2u, 99'999u, 0xFFFFFFFFu}) {
    EXPECT_EQ(FormatMessageA(kFlags, nullptr, unknown, 0, reinterpret_cast<char*>(&text), 0, nullptr), 0u);
    EXPECT_EQ(text, nullptr);
  }
  SetLastError(7);
  EXPECT_EQ(GetLastError(), 7u);
}

HANDLE StartThread(unsigned (*start)(void*), void* argument) {
  return reinterpret_cast<HANDLE>(_beginthreadex(nullptr, 524288, start, argument, 0, nullptr));
}

TEST(KernelThreads, ManyMayWaitForOneThread) {
  std::promise<void> go;
  HANDLE thread = StartThread(
      [](void* argument) {
        static_cast<std::promise<void>*>(argument)->get_future().wait();
        return 0u;
      },
      &go);
  ASSERT_NE(thread, nullptr);
  std::array<std::future<DWORD>, 4> waiters;
  for (auto& waiter : waiters)
    waiter = std::async(std::launch::async, [thread] { return WaitForSingleObject(thread, INFINITE); });
  go.set_value();
  for (auto& waiter : waiters)
    EXPECT_EQ(waiter.get(), WAIT_OBJECT_0);
  EXPECT_EQ(WaitForSingleObject(thread, INFINITE), WAIT_OBJECT_0);
  EXPECT_TRUE(CloseHandle(thread));
}

TEST(KernelThreads, RefuseWaitsThatCannotEnd) {
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
  shared.handle.set_value(thread);
  EXPECT_EQ(WaitForSingleObject(thread, INFINITE), WAIT_OBJECT_0);
  EXPECT_EQ(shared.result, WAIT_FAILED) << "it waited for itself";
  EXPECT_TRUE(CloseHandle(thread));
  EXPECT_EQ(WaitForSingleObject(nullptr, INFINITE), WAIT_FAILED);
  EXPECT_FALSE(CloseHandle(nullptr));
}

TEST(KernelThreads, ReportWhyNoneCouldBeStarted) {
  TestSeam seam;
  seam.FailThreads(true);
  errno = 0;
  EXPECT_EQ(StartThread([](void*) { return 0u; }, nullptr), nullptr);
  EXPECT_EQ(errno, EAGAIN);
}

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kSanitizerNeedsAddressSpace = true;
#else
constexpr bool kSanitizerNeedsAddressSpace = false;
#endif

TEST(KernelThreads, SurviveTheSystemsRefusal) {
  if (kSanitizerNeedsAddressSpace) GTEST_SKIP() << "the sanitizer would die of the limit first";
  rlimit earlier{};
  getrlimit(RLIMIT_AS, &earlier);
  const rlimit twoGib{.rlim_cur = 2ull << 30, .rlim_max = earlier.rlim_max};
  constexpr unsigned kAlmostFourGib = 0xFFFF0000;
  setrlimit(RLIMIT_AS, &twoGib);
  errno = 0;
  const uintptr_t thread = _beginthreadex(
      nullptr, kAlmostFourGib, [](void*) { return 0u; }, nullptr, 0, nullptr);
  const int error = errno;
  setrlimit(RLIMIT_AS, &earlier);
  EXPECT_EQ(thread, 0u);
  EXPECT_TRUE(error == EAGAIN || error == ENOMEM) << error;
}

TEST(SigpipeBlock, TurnsTheSignalIntoAFailedWrite) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  close(ends[0]);
  {
    const platform::SigpipeBlock block;
    EXPECT_EQ(write(ends[1], "x", 1), -1);  // ends the process without the block
    EXPECT_EQ(errno, EPIPE);
  }
  sigset_t set;
  pthread_sigmask(SIG_SETMASK, nullptr, &set);
  EXPECT_EQ(sigismember(&set, SIGPIPE), 0);
  sigpending(&set);
  EXPECT_EQ(sigismember(&set, SIGPIPE), 0);
  close(ends[1]);
}

TEST(SigpipeBlock, LeavesTheHostsOwnPendingSignalPending) {
  sigset_t pipeSet;
  sigemptyset(&pipeSet);
  sigaddset(&pipeSet, SIGPIPE);
  pthread_sigmask(SIG_BLOCK, &pipeSet, nullptr);
  raise(SIGPIPE);
  { const platform::SigpipeBlock block; }
  sigset_t pending;
  sigpending(&pending);
  EXPECT_EQ(sigismember(&pending, SIGPIPE), 1);
  const timespec noTime{};
  EXPECT_EQ(sigtimedwait(&pipeSet, nullptr, &noTime), SIGPIPE);
  pthread_sigmask(SIG_UNBLOCK, &pipeSet, nullptr);
}

}  // namespace
