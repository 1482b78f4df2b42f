// One player's playback clock, and the rule that says whether a frame is due.
#pragma once

#include <atomic>
#include <cstdint>

#include "pacing/PlayerLabel.h"
#include "src/kitc/Lock.h"
#include "src/kitc/WakeUp.h"

// Frame-control modes of live playback: the high nibble is the rule, the low one its parameter.
enum FrameControlMode : uint32_t {
  kModeAtOnce = 0x10,    // no pacing
  kModeBuffered = 0x20,  // to 0x2F: paced, and the clock drifts until (mode & 0x0F) x 200 ms are buffered
  kModeCatchUp = 0x30,   // paced, and the clock runs ahead only while the queue is over three quarters full
};

// IsTimeToPlay and DueInMs run on the video play thread alone; everything else on any thread. What is set
// takes effect at the next decision, and the thread that makes it is woken if a frame may be due sooner.
class FrameControl {
 public:
  // Both borrowed; they outlive this object. The video play thread rests on playWakeUp.
  FrameControl(const PlayerLabel& label, WakeUp& playWakeUp) : m_Label(label), m_PlayWakeUp(playWakeUp) {}
  FrameControl(const FrameControl&) = delete;
  FrameControl& operator=(const FrameControl&) = delete;

  // The mode that players take at their next reset. 0 stands for 0x20; false, and nothing changed, for a mode
  // that does not exist.
  static bool SetDefaultFrameControlMode(uint32_t mode);

  // Not paused, no time base, speed 1. The mode and the A/V offset stay.
  void ResetClock(bool live) EXCLUDES(m_lock);
  // ResetClock for live playback, with the library-wide default mode.
  void ResetToDefault() EXCLUDES(m_lock);
  // ResetClock, then timestamps are scaled by multiplier / divisor (file playback).
  void SetSpeed(int32_t divisor, int32_t multiplier) EXCLUDES(m_lock);
  void SetPause(bool paused);
  // The next video frame of a file is due whatever the clock says.
  void SetOneShot();
  // Subtracted from audio timestamps, ms. Only while no play thread runs: it wakes none.
  void SetAVOffset(int32_t milliseconds) { m_nAVOffset = milliseconds; }
  int32_t AVOffset() const { return m_nAVOffset; }
  bool SetFrameControlMode(uint32_t mode);

  // timestamp, bufferedTime: ms. The first frame after a reset, a pause or a change of speed is due at once
  // and sets the clock.
  bool IsTimeToPlay(int64_t timestamp, bool isVideo, int64_t bufferedTime, bool overFilled);
  // How long the answer for this frame stays no, ms, if no setter is called: 0 when it may be yes already,
  // INFINITE in a pause. Changes nothing.
  uint32_t DueInMs(int64_t timestamp, bool isVideo) const;

 private:
  int64_t Scaled(int64_t timestamp) const;
  bool IsDueLive(int64_t timestamp, int64_t bufferedTime, bool overFilled, int64_t targetMs);
  bool IsDueInFile(int64_t timestamp, bool isVideo);
  void NudgeClock(int64_t from, int64_t by);
  void Restart(bool live) REQUIRES(m_lock);

  const PlayerLabel& m_Label;
  WakeUp& m_PlayWakeUp;

  // Serialises the resets; the fields are atomics because the play thread reads them without it.
  Lock m_lock;
  std::atomic<bool> m_bPaused{false};
  std::atomic<bool> m_bOneShot{false};
  std::atomic<bool> m_bLive{false};
  std::atomic<int64_t> m_llBase{0};  // a frame is due when base + timestamp <= now; 0: not set yet
  std::atomic<int32_t> m_nDivisor{1};
  std::atomic<int32_t> m_nMultiplier{1};
  std::atomic<int32_t> m_nAVOffset{0};
  std::atomic<uint32_t> m_dwMode{kModeBuffered};
};
