#include "bench/clocks/SimulatedTime.h"

#include <functional>
#include <utility>

namespace {

constexpr int64_t kStartMs = 1'000'000;  // of the clocks: a time of 0 means "not set" to some

}  // namespace

SimulatedTime::SimulatedTime(const WakeUp& playWakeUp, std::function<int64_t()> nextMs,
                             std::function<void()> happen)
    : m_PlayWakeUp(playWakeUp),
      m_NextMs(std::move(nextMs)),
      m_Happen(std::move(happen)),
      m_pEarlier(platform::SetKernelSeam(this)) {}

SimulatedTime::~SimulatedTime() {
  platform::SetKernelSeam(m_pEarlier);
}

uint32_t SimulatedTime::TimeMs() {
  return static_cast<uint32_t>(kStartMs + NowMs());
}

int64_t SimulatedTime::PerformanceCounter() {
  constexpr int64_t kCountsPerMs = 10'000;
  return (kStartMs + NowMs()) * kCountsPerMs;
}

void SimulatedTime::Sleep(uint32_t milliseconds) {
  if (m_bEnded) {
    KernelSeam::Sleep(milliseconds);
  } else {
    MoveTo(NowMs() + milliseconds);
  }
}

bool SimulatedTime::SleepOnCondition(CONDITION_VARIABLE& condition, CRITICAL_SECTION& section,
                                     uint32_t milliseconds) {
  if (!IsThePlayThreads(condition) || m_bEnded)
    return KernelSeam::SleepOnCondition(condition, section, milliseconds);
  const int64_t end = milliseconds == INFINITE ? kNever - 1 : NowMs() + milliseconds;
  m_bWoken = false;
  // Whatever happens in the same millisecond happens before the thread has its processor back.
  while (HappensBefore(m_bWoken ? NowMs() : end)) {
  }
  if (!m_bWoken && !m_bEnded) m_llNowMs = end;
  return m_bWoken;
}

void SimulatedTime::WakeCondition(CONDITION_VARIABLE& condition) {
  m_bWoken = true;
  KernelSeam::WakeCondition(condition);
}

// A condition lies in the object that is rested on.
bool SimulatedTime::IsThePlayThreads(const CONDITION_VARIABLE& condition) const {
  const void* const at = &condition;
  return !std::less<>()(at, static_cast<const void*>(&m_PlayWakeUp)) &&
         std::less<>()(at, static_cast<const void*>(&m_PlayWakeUp + 1));
}

void SimulatedTime::MoveTo(int64_t ms) {
  while (HappensBefore(ms)) {
  }
  m_llNowMs = ms;
}

// What happens next, when that is no later than `ms`.
bool SimulatedTime::HappensBefore(int64_t ms) {
  const int64_t next = m_NextMs();
  if (next == kNever && !m_bEnded.exchange(true)) m_Ended.release();
  if (next > ms || m_bEnded) return false;
  if (next > NowMs()) m_llNowMs = next;
  m_Happen();
  return true;
}
