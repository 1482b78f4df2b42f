// How much of a live stream is buffered over a day, in simulated time: the library's own play thread, queue
// and clock against a camera whose clock is off by 200 ppm, behind a network with jitter, holds and stalls.
// What the buffered time must stay within follows from the rules and is printed beside it; the reference is a
// clock that nobody nudges.
//   scale_clocks
#include <algorithm>
#include <cstdio>

#include "bench/clocks/Playback.h"
#include "bench/clocks/Traffic.h"
#include "pacing/FrameControl.h"
#include "src/kitc/Log.h"

namespace {

// How far the delays of two frames lie apart, but for stalls. A frame that is due has at most that much
// behind it, and one period because frames come whole.
constexpr int64_t kSpanMs = kJitterMs + kHoldMs;
constexpr int64_t kSlackMs = kSpanMs + kPeriodMs;
// A stall that ends with its first frame alone sets the clock anew, and everything held up lies behind it.
// From there the clock loses 1 ms a frame, and 0.8 % of that to the skew.
constexpr int64_t kSettleMs = (kStallMs + kSlackMs) * kPeriodMs * 101 / 100;
// From here on the clock runs 1 ms a frame faster in every paced mode: more than 150 of 200 frames.
constexpr int64_t kOverFilledMs = 151 * kPeriodMs;

struct Range {
  int64_t llLeastMs;
  int64_t llMostMs;
};

// Of the buffered time, long after a stall.
Range SettledRange(uint32_t mode, double skewPpm, bool withStalls) {
  if (mode != kModeCatchUp) {
    const int64_t target = 200 * (mode & 0x0F);
    return {std::max<int64_t>(target - kSlackMs, 0), target + kSlackMs};
  }
  // Nothing takes back what a stall or a fast camera adds, until the queue is over three quarters full; a
  // slow camera uses it up.
  if (skewPpm > 0) return {0, kOverFilledMs + kSlackMs};
  return {0, withStalls ? kStallMs + kSlackMs : kSlackMs};
}

const char* Word(bool kept) {
  return kept ? "ok" : "missed";
}

void Measure(uint32_t mode, double skewPpm, bool withStalls) {
  const PlaybackFigures day = PlayOneDay(mode, skewPpm, withStalls, kSettleMs);
  const Range settled = SettledRange(mode, skewPpm, withStalls);
  const int64_t most = std::max(settled.llMostMs, withStalls ? kStallMs + kSlackMs : 0);
  const bool isSettled = day.SettledMs(0) >= settled.llLeastMs && day.SettledMs(1) <= settled.llMostMs;
  const bool isBounded = day.llMostBufferedMs <= most;
  const bool isPunctual = day.llEarlyFrames == 0 && day.llMostMissedMs <= 1;
  const auto number = [](int64_t value) { return static_cast<long long>(value); };
  std::printf("  0x%02x %+5.0f ppm  %s %5lld %5lld %5lld %5lld..%lld %-6s", mode, skewPpm,
              withStalls ? "stalls" : "jitter", number(day.SettledMs(0)), number(day.SettledMs(0.5)),
              number(day.SettledMs(1)), number(settled.llLeastMs), number(settled.llMostMs), Word(isSettled));
  std::printf(" %5lld %5lld %-6s %5lld %2lld %-6s %6lld of %lld, %lld\n", number(day.llMostBufferedMs),
              number(most), Word(isBounded), number(day.llMostLateMs), number(day.llMostMissedMs),
              Word(isPunctual), number(day.llResynchronised), number(day.llPlayed), number(day.llLost));
  std::fflush(stdout);
}

}  // namespace

int main() {
  kitc_log_config(kLogNone, nullptr, kLogNone);
  std::printf(
      "24 hours at 25 frames a second in simulated time. Delay %lld ms, jitter 0 to %lld ms, every %lld s a "
      "hold of %lld ms; with stalls, every %lld min also one of %lld s, whose frames then come at once or "
      "%lld "
      "ms apart. Decoding takes %lld ms. A clock that nobody nudges is off by %.1f s at the end.\n",
      static_cast<long long>(kLeastDelayMs), static_cast<long long>(kJitterMs),
      static_cast<long long>(kHoldEveryMs / 1000), static_cast<long long>(kHoldMs),
      static_cast<long long>(kStallEveryMs / 60'000), static_cast<long long>(kStallMs / 1000),
      static_cast<long long>(kTrickleMs), static_cast<long long>(kDecodeMs), 86'400 * 200e-6);
  std::printf(
      "Buffered is ms, whenever a frame is played; settled means %lld s after a stall. Late is after the "
      "frame was "
      "due by the clock, missed the part of it in which the frame was there and the thread free.\n\n",
      static_cast<long long>(kSettleMs / 1000));
  std::printf("  %-4s %9s  %-7s %-29s %-13s %13s  %8s  %8s\n", "mode", "camera", "traffic",
              "settled: 0, 0.5, 1 and range", "most, limit", "late, missed", "set anew", "lost");
  for (const bool withStalls : {false, true})
    for (const uint32_t mode : {0x20u, 0x25u, 0x30u})
      for (const double skewPpm : {-200.0, 200.0})
        Measure(mode, skewPpm, withStalls);
  return 0;
}
