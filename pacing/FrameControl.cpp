#include "pacing/FrameControl.h"

#include <algorithm>

#include "src/kitc/Clock.h"
#include "src/kitc/Log.h"

namespace {

constexpr char kSource[] = "FrameControl.cpp";
constexpr int64_t kNoTarget = -1;
constexpr int64_t kTargetStepMs = 200;
constexpr int64_t kLateMs = 3;  // later than this is a stall, not the granularity of the loop

std::atomic<uint32_t> g_dwDefaultMode{kModeBuffered};

bool IsMode(uint32_t mode) {
  return mode == kModeAtOnce || (mode >= kModeBuffered && mode <= kModeCatchUp);
}

// Timestamps are the host's: arithmetic on them wraps instead of overflowing.
int64_t Add(int64_t a, int64_t b) {
  return static_cast<int64_t>(static_cast<uint64_t>(a) + static_cast<uint64_t>(b));
}
int64_t Subtract(int64_t a, int64_t b) {
  return static_cast<int64_t>(static_cast<uint64_t>(a) - static_cast<uint64_t>(b));
}
int64_t Multiply(int64_t a, int64_t b) {
  return static_cast<int64_t>(static_cast<uint64_t>(a) * static_cast<uint64_t>(b));
}

int64_t Now() {
  return static_cast<int64_t>(kitc_tick64());
}

}  // namespace

bool FrameControl::SetDefaultFrameControlMode(uint32_t mode) {
  if (mode == 0) mode = kModeBuffered;
  kitc_log(kLogInfo, kSource, __LINE__, "SetDefaultFrameControlMode:0x%x\n", mode);
  if (!IsMode(mode)) return false;
  g_dwDefaultMode = mode;
  return true;
}

bool FrameControl::SetFrameControlMode(uint32_t mode) {
  if (mode == 0) mode = kModeBuffered;
  kitc_log(kLogInfo, kSource, __LINE__, "decodeid:%d SetFrameControlMode:0x%x\n", m_Label.PlayerID(), mode);
  if (!IsMode(mode)) return false;
  m_dwMode = mode;
  m_PlayWakeUp.Set();
  return true;
}

void FrameControl::Restart(bool live) {
  m_bPaused = false;
  m_llBase = 0;
  m_bLive = live;
  m_nDivisor = 1;
  m_nMultiplier = 1;
}

void FrameControl::ResetClock(bool live) {
  {
    ScopedLock hold(m_lock);
    Restart(live);
  }
  m_PlayWakeUp.Set();
}

void FrameControl::ResetToDefault() {
  m_dwMode = g_dwDefaultMode.load();
  ResetClock(true);
}

void FrameControl::SetSpeed(int32_t divisor, int32_t multiplier) {
  {
    ScopedLock hold(m_lock);
    Restart(m_bLive);
    m_nDivisor = divisor;
    m_nMultiplier = multiplier;
  }
  m_PlayWakeUp.Set();
}

void FrameControl::SetPause(bool paused) {
  m_bPaused = paused;
  m_llBase = 0;
  if (!paused || m_bLive) m_PlayWakeUp.Set();  // live streams are not paused, but their clock starts anew
}

void FrameControl::SetOneShot() {
  m_bOneShot = true;
  m_PlayWakeUp.Set();
}

// Only while the clock is still the one that the decision was made on: a host that clears it in between wins.
void FrameControl::NudgeClock(int64_t from, int64_t by) {
  m_llBase.compare_exchange_strong(from, Add(from, by));
}

bool FrameControl::IsTimeToPlay(int64_t timestamp, bool isVideo, int64_t bufferedTime, bool overFilled) {
  if (!isVideo) timestamp = Subtract(timestamp, m_nAVOffset);
  if (!m_bLive) return IsDueInFile(timestamp, isVideo);
  const uint32_t mode = m_dwMode;
  switch (mode & 0xF0) {
    case kModeBuffered:
      return IsDueLive(timestamp, bufferedTime, overFilled, (mode & 0x0F) * kTargetStepMs);
    case kModeCatchUp:
      return IsDueLive(timestamp, bufferedTime, overFilled, kNoTarget);
    default:
      return true;
  }
}

uint32_t FrameControl::DueInMs(int64_t timestamp, bool isVideo) const {
  if (m_bLive ? m_dwMode == kModeAtOnce : m_bOneShot.load()) return 0;
  if (!m_bLive && m_bPaused) return INFINITE;
  const int64_t base = m_llBase;
  if (base == 0) return 0;
  if (!isVideo) timestamp = Subtract(timestamp, m_nAVOffset);
  const int64_t dueAt = Add(base, m_bLive ? timestamp : Scaled(timestamp));
  const int64_t now = Now();
  if (dueAt <= now) return 0;
  const uint64_t left = static_cast<uint64_t>(dueAt) - static_cast<uint64_t>(now);
  return static_cast<uint32_t>(std::min<uint64_t>(left, INFINITE - 1));
}

// A timestamp of a file at the speed of play.
int64_t FrameControl::Scaled(int64_t timestamp) const {
  return Multiply(timestamp, m_nMultiplier) / m_nDivisor;
}

bool FrameControl::IsDueLive(int64_t timestamp, int64_t bufferedTime, bool overFilled, int64_t targetMs) {
  const int64_t now = Now();
  int64_t base = m_llBase;
  if (base == 0) {
    m_llBase.compare_exchange_strong(base, Subtract(now, timestamp));
    return true;
  }
  const int64_t dueAt = Add(base, timestamp);
  const bool resynchronise = dueAt < now && Subtract(now, dueAt) > kLateMs &&
                             bufferedTime == 0;  // nothing queued: a stall, not jitter
  if (resynchronise) {
    const int64_t anchored = Subtract(now, timestamp);
    m_llBase.compare_exchange_strong(base, anchored);
    base = anchored;
  }
  if (now < dueAt) return false;
  if (overFilled) {
    NudgeClock(base, -1);
  } else if (targetMs != kNoTarget && bufferedTime != targetMs) {
    NudgeClock(base, bufferedTime > targetMs ? -1 : 1);
  }
  return true;
}

bool FrameControl::IsDueInFile(int64_t timestamp, bool isVideo) {
  if (m_bOneShot) {
    if (isVideo) m_bOneShot = false;
    return true;
  }
  if (m_bPaused) return false;
  const int64_t scaled = Scaled(timestamp);
  const int64_t now = Now();
  int64_t base = m_llBase;
  if (base == 0) {
    m_llBase.compare_exchange_strong(base, Subtract(now, scaled));
    return true;
  }
  return Add(base, scaled) <= now;
}
