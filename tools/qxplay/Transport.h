// The controls of one recorded file: pause, step, speed and jumps from key frame to key frame, as a user
// means them, in terms of what the player library offers. Decides only; time and position come from outside.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>

#include "tools/qxplay/Command.h"

// The library's calls on one file.
class RecordedFile {
 public:
  // From the start, at normal speed, playing. False: it cannot be played (any more).
  virtual bool Open() = 0;
  virtual void Play() = 0;
  virtual void Pause() = 0;
  // Pauses and lets one picture through.
  virtual void StepForward() = 0;
  // 2 to the power of `exponent` times as fast. Ends a pause.
  virtual void SetSpeed(int exponent, bool keyFramesOnly) = 0;
  // Pauses, lets one picture through and goes on at the last key frame that is not behind `frame` (from 1).
  // The picture let through is the one after this jump only when none had been read before it.
  virtual void GoTo(uint32_t frame) = 0;
  // Number of the frame read last, shown or not.
  virtual uint32_t ReadFrame() const = 0;

 protected:
  ~RecordedFile() = default;
};

// Of a file, since it was opened last.
struct FilePosition {
  uint64_t pictures = 0;  // shown; repeated ones do not count
  uint32_t frame = 0;     // number of the one shown last
  uint32_t keyFrame = 0;  // the key frame that it follows, or is
  uint32_t interval = 0;  // from key frame to key frame, as last seen, frames; 0: not known
};

// No locks; one thread.
class Transport {
 public:
  using Time = std::chrono::steady_clock::time_point;

  static constexpr int kFastest = 5, kSlowest = -5;  // powers of two
  // A picture that a step asked for and that does not come within this time was not decoded: one more is let
  // through.
  static constexpr std::chrono::milliseconds kPatience{1000};

  // The file is open and plays. totalFrames: 0 when not known. framesPerSecond: above 0.
  Transport(RecordedFile& file, uint32_t totalFrames, double framesPerSecond, bool loop);

  void Do(const Command& command, Time now);
  // The position, and whether the file has ended. Answers when it wants to be called even if neither changes.
  std::optional<Time> Update(const FilePosition& position, bool fileEnded, Time now);
  // Whether Update is wanted after the next picture.
  bool IsSeeking() const { return m_bSeeking; }

  uint32_t TotalFrames() const { return m_nTotalFrames; }
  bool Paused() const { return m_bPaused; }
  int Speed() const { return m_nSpeed; }
  bool KeyFramesOnly() const { return m_bKeyFramesOnly; }
  // It stands at its end; no picture comes before the next jump.
  bool Ended() const { return m_bEnded; }
  // It could not be opened again, or gives no pictures.
  bool Failed() const { return m_bFailed; }

 private:
  bool IsJump(const Command& command) const;
  void SetSpeed(int exponent, bool keyFramesOnly);
  void Resume();
  void Back(Time now);
  void On(Time now);
  void SeekTo(uint32_t frame, Time now);
  void OpenAgain(Time now);
  void Jump(Time now);
  bool IsStale() const;
  void Arrive(Time now);

  RecordedFile& m_File;
  const uint32_t m_nTotalFrames;
  const uint32_t m_nLastFrame;        // to jump to: behind the last frame that can be read is the end
  const uint32_t m_nFramesPerSecond;  // rounded, at least 1
  const bool m_bLoop;

  // What the user wants.
  bool m_bPaused = false;
  int m_nSpeed = 0;
  bool m_bKeyFramesOnly = false;
  bool m_bSpeedChanged = false;  // and not yet told to the library, which would end the pause

  FilePosition m_Position;
  bool m_bEnded = false;
  bool m_bFailed = false;

  // A jump on its way. It runs paused, one picture at a time.
  bool m_bSeeking = false;
  bool m_bOpening = false;      // the file was opened anew and has not shown its first picture
  uint32_t m_nTarget = 0;       // frame
  uint32_t m_nBeyond = 0;       // the jump has to lead to a key frame behind this one; 0: to any
  uint32_t m_nFrom = 0;         // such a jump began at this frame
  uint32_t m_nReach = 0;        // and reaches so far behind it
  bool m_bMayBeStale = false;   // the next picture may be of a frame read before the jump
  uint32_t m_nShownBefore = 0;  // frames shown and read last when the jump was asked for
  uint32_t m_nReadBefore = 0;
  Time m_Deadline{};
  std::optional<Command> m_Next;  // the jump to make after this one
};
