#include "bench/clocks/Traffic.h"

#include <algorithm>

namespace {

// When a frame that sets out now gets through the gap of `length` that begins every `every` ms.
int64_t ThroughGap(int64_t time, int64_t every, int64_t length) {
  const int64_t inside = time % every - every / 2;
  return inside >= 0 && inside < length ? time - inside + length : time;
}

}  // namespace

Arrival Traffic::Next() {
  constexpr int64_t kKeyFrameEvery = 50;
  const int64_t timestamp = m_nFrame * kPeriodMs;
  const auto taken = static_cast<int64_t>(static_cast<double>(timestamp) / (1 + m_dSkew));
  const int64_t delay = std::uniform_int_distribution<int64_t>(0, kJitterMs)(m_Chance) + kLeastDelayMs;
  int64_t arrives = std::max(taken + delay, ThroughGap(taken, kHoldEveryMs, kHoldMs));
  const int64_t stallEnd = m_bWithStalls ? ThroughGap(taken, kStallEveryMs, kStallMs) : taken;
  const bool stalled = stallEnd != taken;
  int64_t gap = 0;
  if (stalled) {
    arrives = std::max(arrives, stallEnd);
    if (taken / kStallEveryMs % 2 == 1) gap = kTrickleMs;
  }
  arrives = std::max(arrives, m_llLastMs + gap);
  m_llLastMs = arrives;
  return {arrives, timestamp, m_nFrame++ % kKeyFrameEvery == 0, stalled};
}
