#include "src/kitc/Clock.h"

#include <atomic>

#include "platform/Kernel.h"

namespace {

struct TickState {
  uint32_t dwLast = 0;   // the thread's last 32-bit reading
  uint64_t llCarry = 0;  // 2^32 for every wrap it saw
};
constinit thread_local TickState t_Tick;

constexpr uint64_t kWrap = 1ull << 32;

// Counts per second, the same for the life of the process; 0 until somebody has asked.
constinit std::atomic<int64_t> g_llFrequency{0};

int64_t PerformanceFrequency() {
  int64_t frequency = g_llFrequency.load(std::memory_order_relaxed);
  if (frequency == 0) {
    LARGE_INTEGER read{};
    QueryPerformanceFrequency(&read);
    frequency = read.QuadPart;
    g_llFrequency.store(frequency, std::memory_order_relaxed);
  }
  return frequency;
}

}  // namespace

uint64_t kitc_tick64() {
  const uint32_t now = timeGetTime();
  TickState& tick = t_Tick;
  if (now < tick.dwLast) tick.llCarry += kWrap;
  tick.dwLast = now;
  return tick.llCarry + now;
}

double kitc_time_ms() {
  LARGE_INTEGER count{};
  QueryPerformanceCounter(&count);
  // Multiplied without a sign: a counter too large wraps, as it does in the processor, and is not undefined.
  const auto scaled = static_cast<int64_t>(static_cast<uint64_t>(count.QuadPart) * 1000);
  return static_cast<double>(scaled) / static_cast<double>(PerformanceFrequency());
}
