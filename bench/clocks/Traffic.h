// When the frames of a camera arrive at the host: a clock that runs a little fast or slow, and a network with
// jitter, short holds and long stalls.
#pragma once

#include <cstdint>
#include <random>

constexpr int64_t kPeriodMs = 40;
constexpr int64_t kJitterMs = 60;    // uniform, on top of the least delay
constexpr int64_t kHoldMs = 300;     // every kHoldEveryMs nothing arrives for this long
constexpr int64_t kStallMs = 5'000;  // the same, every kStallEveryMs
constexpr int64_t kLeastDelayMs = 20;
constexpr int64_t kHoldEveryMs = 30'000;
constexpr int64_t kStallEveryMs = 600'000;
// Every second stall ends slowly: what was held up arrives this far apart, so that the first frame is seen
// alone.
constexpr int64_t kTrickleMs = 5;

struct Arrival {
  int64_t llTimeMs;     // since the first frame was taken, by the host's clock
  int64_t llTimestamp;  // the same by the camera's
  bool bKeyFrame;
  bool bStalled;
};

// The same seed gives the same traffic. Frames arrive in order.
class Traffic {
 public:
  // skewPpm: by how much the camera's clock is fast.
  Traffic(double skewPpm, bool withStalls) : m_dSkew(skewPpm * 1e-6), m_bWithStalls(withStalls) {}

  Arrival Next();

 private:
  const double m_dSkew;
  const bool m_bWithStalls;
  std::mt19937 m_Chance{1};
  int64_t m_nFrame = 0;
  int64_t m_llLastMs = 0;
};
