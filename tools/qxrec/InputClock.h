// The times of one input stream in microseconds, also where the container does not know them.
#pragma once

extern "C" {
#include <libavutil/avutil.h>
#include <libavutil/mathematics.h>
}

#include <algorithm>
#include <cstdint>

// In the middle of what 64 bits hold, so that differences of damaged times cannot overflow.
inline int64_t ToMicroseconds(int64_t time, AVRational timeBase) {
  constexpr int64_t kMost = int64_t{1} << 60;
  return std::clamp(av_rescale_q(time, timeBase, AVRational{1, AV_TIME_BASE}), -kMost, kMost);
}

class InputClock {
 public:
  // frameRate: frames per second, 0 when unknown: then 25.
  InputClock(AVRational timeBase, double frameRate)
      : m_TimeBase(timeBase),
        m_llFrameUs(static_cast<int64_t>(AV_TIME_BASE / (frameRate > 0 ? frameRate : 25))) {}

  // Of the next frame; one without a time (AV_NOPTS_VALUE) comes a frame after the one before.
  int64_t Next(int64_t time) {
    return m_llLastUs = time == AV_NOPTS_VALUE ? m_llLastUs + m_llFrameUs : ToMicroseconds(time, m_TimeBase);
  }

 private:
  const AVRational m_TimeBase;
  const int64_t m_llFrameUs;
  int64_t m_llLastUs = 0;
};
