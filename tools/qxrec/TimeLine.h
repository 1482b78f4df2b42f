// Where frames stand in a recording: at a fixed rate, one place after the other, whatever the input's times
// are. Pure.
#pragma once

#include <cstdint>
#include <optional>

// The format knows 25 and 30 frames per second.
struct RecordingRate {
  uint32_t framesPerSecond = 25;
  bool isExceeded = false;  // the input has more
};
// The one that an input's frames fit best; 25 when its rate is unknown (0).
RecordingRate ChooseRecordingRate(double inputFramesPerSecond);

// Times are microseconds: the input's own, or the recording's, which begins at 0 with the first frame.
class TimeLine {
 public:
  // A step of the input's time beyond mostPauseUs is a break in it: the recording goes on without a pause.
  TimeLine(uint32_t framesPerSecond, int64_t mostPauseUs)
      : m_nFramesPerSecond(framesPerSecond), m_llMostPauseUs(mostPauseUs) {}

  // The place of the next frame, counted from 0: the nearest one to its time that is still free.
  uint32_t Place(int64_t inputUs);
  // The same, where frames can be left out: none when the frame's place is taken.
  std::optional<uint32_t> PlaceOrDrop(int64_t inputUs);

  // None before the first frame. Negative: before the recording.
  std::optional<int64_t> ToRecordingUs(int64_t inputUs) const;
  uint32_t FramesPerSecond() const { return m_nFramesPerSecond; }

 private:
  int64_t PlaceOf(int64_t inputUs, double early);

  const uint32_t m_nFramesPerSecond;
  const int64_t m_llMostPauseUs;
  std::optional<int64_t> m_llBeginUs;  // input time of place 0, as far as it is known
  int64_t m_llLastUs = 0;              // of the newest frame
  uint32_t m_nNext = 0;                // the first free place
};
