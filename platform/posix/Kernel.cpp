// Clocks, memory, error texts and the debugger's channel for POSIX systems, and the seam through which tests
// replace them.
#include "platform/Kernel.h"

#include <linux/futex.h>
#include <sched.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "platform/posix/KernelSeam.h"
#include "platform/posix/MemoryReserve.h"

namespace {

constexpr int64_t kNsPerSecond = 1'000'000'000;
constexpr int64_t kNsPerMs = 1'000'000;
constexpr int64_t kNsPerCount = 100;  // 10 MHz, the rate that Windows has used since version 10

int64_t MonotonicNs() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return now.tv_sec * kNsPerSecond + now.tv_nsec;
}

timespec MonotonicTimeIn(uint32_t milliseconds) {
  const int64_t ns = MonotonicNs() + milliseconds * kNsPerMs;
  return {.tv_sec = static_cast<time_t>(ns / kNsPerSecond), .tv_nsec = static_cast<long>(ns % kNsPerSecond)};
}

// The kernel's wait queues: one system call for a sleep and one for a wake-up. A pthread condition leaves its
// mutex as if others waited for it, and wakes nobody with one call more each time: three times the cost of a
// rest that only its time ends. In the system's table, not the process's own
// (FUTEX_PRIVATE_FLAG): since Linux 6.16 that has 16 queues on two processors, and a wake-up looks for its
// sleeper among the others of its queue, which are 64 with 512 players and take 8 us. `end` is on
// CLOCK_MONOTONIC, null for never.
long Futex(std::atomic<uint32_t>& word, int operation, uint32_t value, const timespec* end) {
  static_assert(sizeof(timespec) == 2 * sizeof(long));  // which this call takes
  return syscall(SYS_futex, &word, operation, value, end, nullptr, FUTEX_BITSET_MATCH_ANY);
}

// Never destroyed: static destructors still read the clock and log while the process ends.
union RealSystem {
  constexpr RealSystem() : seam() {}
  ~RealSystem() {}
  platform::KernelSeam seam;
};
constinit RealSystem g_RealSystem;
constinit std::atomic<platform::KernelSeam*> g_pSeam{nullptr};

// The failure codes of this layer that are not errno values, with the words that Windows has for them.
const char* CommonFailureText(DWORD code) {
  switch (code) {
    case 0x80004005u:
      return "Unspecified error";
    case 0x8007000Eu:
      return "Not enough memory resources are available to complete this operation.";
    case 0x80070057u:
      return "The parameter is incorrect.";
    default:
      return nullptr;
  }
}

}  // namespace

namespace platform {

uint32_t KernelSeam::TimeMs() {
  return static_cast<uint32_t>(MonotonicNs() / kNsPerMs);
}

int64_t KernelSeam::PerformanceCounter() {
  return MonotonicNs() / kNsPerCount;
}

void KernelSeam::LocalTime(SYSTEMTIME* now) {
  timespec time{};
  clock_gettime(CLOCK_REALTIME, &time);
  tm local{};
  localtime_r(&time.tv_sec, &local);
  *now = SYSTEMTIME{
      .wYear = static_cast<WORD>(local.tm_year + 1900),
      .wMonth = static_cast<WORD>(local.tm_mon + 1),
      .wDayOfWeek = static_cast<WORD>(local.tm_wday),
      .wDay = static_cast<WORD>(local.tm_mday),
      .wHour = static_cast<WORD>(local.tm_hour),
      .wMinute = static_cast<WORD>(local.tm_min),
      .wSecond = static_cast<WORD>(local.tm_sec),
      .wMilliseconds = static_cast<WORD>(time.tv_nsec / kNsPerMs),
  };
}

void KernelSeam::Sleep(uint32_t milliseconds) {
  if (milliseconds == 0) {
    sched_yield();
    return;
  }
  do {
    const timespec wake = MonotonicTimeIn(milliseconds);
    // An absolute time, so that a signal does not lengthen the sleep.
    while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &wake, nullptr) == EINTR) {
    }
  } while (milliseconds == INFINITE);
}

bool KernelSeam::SleepOnCondition(CONDITION_VARIABLE& condition, CRITICAL_SECTION& section,
                                  uint32_t milliseconds) {
  const timespec end = MonotonicTimeIn(milliseconds);
  const timespec* const timeout = milliseconds == INFINITE ? nullptr : &end;
  const uint32_t seen = condition.nWakes;
  ++condition.nSleepers;
  LeaveCriticalSection(&section);
  const bool timedOut = Futex(condition.nWakes, FUTEX_WAIT_BITSET, seen, timeout) != 0 && errno == ETIMEDOUT;
  --condition.nSleepers;
  EnterCriticalSection(&section);
  return !timedOut;
}

void KernelSeam::WakeCondition(CONDITION_VARIABLE& condition) {
  ++condition.nWakes;
  if (condition.nSleepers != 0) Futex(condition.nWakes, FUTEX_WAKE_BITSET, 1, nullptr);
}

void* KernelSeam::Allocate(size_t bytes) {
  return AllocateMemory(bytes);
}

void KernelSeam::Free(void* memory) {
  FreeMemory(memory);
}

bool KernelSeam::StartThreads() {
  return true;
}

intptr_t KernelSeam::ReadFile(int descriptor, void* buffer, size_t bytes) {
  return read(descriptor, buffer, bytes);
}

void KernelSeam::DebugText(const char*) {}

KernelSeam* SetKernelSeam(KernelSeam* seam) {
  return g_pSeam.exchange(seam, std::memory_order_acq_rel);
}

KernelSeam& CurrentKernelSeam() {
  KernelSeam* seam = g_pSeam.load(std::memory_order_acquire);
  return seam != nullptr ? *seam : g_RealSystem.seam;
}

}  // namespace platform

void Sleep(DWORD milliseconds) {
  platform::CurrentKernelSeam().Sleep(milliseconds);
}

BOOL QueryPerformanceCounter(LARGE_INTEGER* count) {
  count->QuadPart = platform::CurrentKernelSeam().PerformanceCounter();
  return TRUE;
}

BOOL QueryPerformanceFrequency(LARGE_INTEGER* frequency) {
  frequency->QuadPart = kNsPerSecond / kNsPerCount;
  return TRUE;
}

DWORD timeGetTime() {
  return platform::CurrentKernelSeam().TimeMs();
}

DWORD GetTickCount() {
  return timeGetTime();
}

void GetLocalTime(SYSTEMTIME* now) {
  platform::CurrentKernelSeam().LocalTime(now);
}

void OutputDebugStringA(const char* text) {
  platform::CurrentKernelSeam().DebugText(text);
}

HANDLE GlobalAlloc(UINT, size_t bytes) {
  return platform::CurrentKernelSeam().Allocate(bytes);
}

HANDLE GlobalFree(HANDLE memory) {
  platform::CurrentKernelSeam().Free(memory);
  return nullptr;
}

HLOCAL LocalFree(HLOCAL memory) {
  std::free(memory);
  return nullptr;
}

DWORD GetLastError() {
  return static_cast<DWORD>(errno);
}

void SetLastError(DWORD code) {
  errno = static_cast<int>(code);
}

DWORD FormatMessageA(DWORD flags, const void*, DWORD messageId, DWORD, char* buffer, DWORD, void*) {
  if (buffer == nullptr || (flags & FORMAT_MESSAGE_ALLOCATE_BUFFER) == 0) return 0;
  char** text = reinterpret_cast<char**>(buffer);
  *text = nullptr;
  const char* words = CommonFailureText(messageId);
  // Unlike strerror(), this one neither allocates nor translates, and answers null for a code that is no
  // errno value.
  if (words == nullptr) words = strerrordesc_np(static_cast<int>(messageId));
  if (words == nullptr) return 0;
  *text = strdup(words);
  return *text != nullptr ? static_cast<DWORD>(std::strlen(words)) : 0;
}
