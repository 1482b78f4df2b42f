// One simulated day of one player: the play thread, queue and clock of the library, with a decoder that only
// takes its time.
#pragma once

#include <array>
#include <cstdint>

constexpr int64_t kDecodeMs = 3;  // a 1080p picture of a camera, at ease

struct PlaybackFigures {
  // How often the buffered time was this when a frame was played, ms; the last element counts all above.
  using Histogram = std::array<int64_t, 10'001>;
  Histogram settled{};           // when the last stall, or the start, is long past
  int64_t llMostBufferedMs = 0;  // at any time
  int64_t llMostLateMs = 0;      // played after it was due
  // Of that, what is not the network's: the frame was there and the thread had no other.
  int64_t llMostMissedMs = 0;
  int64_t llEarlyFrames = 0;  // played before they were due
  int64_t llResynchronised = 0;
  int64_t llPlayed = 0;
  int64_t llLost = 0;  // refused by the queue

  // q: 0 the least, 0.5 the median, 1 the most. 0 when nothing was counted.
  int64_t SettledMs(double q) const;
};

// settleMs: how long after a stall the buffered time counts as settled.
PlaybackFigures PlayOneDay(uint32_t mode, double skewPpm, bool withStalls, int64_t settleMs);
