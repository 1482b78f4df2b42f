// Brings the video and the sound of one recording together: frames on their places, unchanged pictures in the
// gaps, every block of sound 200 ms before the frame of its time, as players need it.
#pragma once

#include <cstdint>
#include <deque>
#include <optional>
#include <span>
#include <vector>

#include "tools/qxrec/SoundTrack.h"
#include "tools/qxrec/SvxWriter.h"
#include "tools/qxrec/TimeLine.h"
#include "tools/qxrec/VideoTrack.h"

// Holds video back until its sound has come, but not without end: what is then missing is silence. No locks;
// one thread.
class Recording {
 public:
  // All borrowed; they outlive this object. mostSeconds: what lies behind is left out; 0: no limit.
  Recording(SvxWriter& writer, const TimeLine& timeLine, bool withSound, uint32_t mostSeconds)
      : m_Writer(writer),
        m_TimeLine(timeLine),
        m_bWithSound(withSound),
        m_llMostPlaces(static_cast<uint64_t>(mostSeconds) * timeLine.FramesPerSecond()) {}

  // False when the writer failed.
  bool AddVideo(VideoUnit unit);
  bool AddSound(std::optional<int64_t> inputUs, std::span<const uint8_t> samples);
  // Everything that was held back. The file is still to be finished.
  bool Flush();

  // The limit is reached.
  bool IsFull() const { return m_bFull; }
  // Video frames, without those that only fill the time.
  uint64_t Frames() const { return m_llFrames; }
  // Length of the video so far.
  double Seconds() const { return static_cast<double>(m_nEndPlace) / m_TimeLine.FramesPerSecond(); }

 private:
  struct EarlySound {
    std::optional<int64_t> inputUs;
    std::vector<uint8_t> samples;
  };

  bool WriteReady(bool all);
  bool WriteSoundBefore(uint32_t place, bool all, bool& isThere);
  bool MustNotWait() const;
  int64_t SampleOf(uint64_t place) const;
  void PlaceEarlySound();
  bool KeepPictureForSound();

  SvxWriter& m_Writer;
  const TimeLine& m_TimeLine;
  const bool m_bWithSound;
  const uint64_t m_llMostPlaces;

  std::vector<EarlySound> m_EarlySound;  // from before the first frame, whose time is the recording's begin
  SoundTrack m_Sound;
  std::deque<VideoUnit> m_Waiting;
  size_t m_nWaitingBytes = 0;
  uint32_t m_nEndPlace = 0;  // behind the newest frame
  uint64_t m_llFrames = 0;
  bool m_bFull = false;
};
