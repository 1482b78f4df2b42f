// Makes timestamps for frames that arrive without one: the frame count times the frame period.
#pragma once

#include <cstdint>

// No lock: used by one thread at a time (live input under the player's lock, or the play thread of a file).
class FrameTimeStamp {
 public:
  // Back to 25/1 with every count and timestamp 0.
  void Reset() { *this = FrameTimeStamp(); }
  // A new rate continues the time line from the last timestamp. The numerator must not be 0.
  void SetFrameRate(uint32_t numerator, uint32_t denominator) {
    m_llBase = m_llLast;
    m_llNumerator = numerator;
    m_llDenominator = denominator;
    m_llFrameCount = 0;
  }
  // ms; counts one video frame.
  int64_t NextVideoTimeStamp() {
    ++m_llFrameCount;
    m_llLast = m_llBase + m_llDenominator * m_llFrameCount * 1000 / m_llNumerator;
    return m_llLast;
  }
  // That of the newest video frame; 0 before the first.
  int64_t LastTimeStamp() const { return m_llLast; }

 private:
  int64_t m_llBase = 0;
  int64_t m_llLast = 0;
  int64_t m_llNumerator = 25;
  int64_t m_llDenominator = 1;
  int64_t m_llFrameCount = 0;
};
