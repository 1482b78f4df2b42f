// Says when the frames of a file are to be pushed so that they come as from a camera: at the distances of
// their timestamps.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>

// No locks; one thread. Time is given by the caller.
class LivePacer {
 public:
  using Time = std::chrono::steady_clock::time_point;

  // When the frame is to be pushed; the first is due at once. timestampMs: of the source, not decreasing.
  // A reader that fell behind by more than kMostBehind goes on from `now` instead of sending a burst that no
  // camera would send.
  Time DueTime(int64_t timestampMs, Time now);

  static constexpr std::chrono::milliseconds kMostBehind{500};

 private:
  std::optional<Time> m_Start;  // when timestamp 0 is due
};
