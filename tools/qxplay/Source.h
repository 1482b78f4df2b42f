// What fills one or more tiles: a live stream or a recorded file.
#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "tools/qxplay/Command.h"

// How a recorded file plays.
struct FileStatus {
  double positionSeconds = 0;  // of what is shown
  double totalSeconds = 0;     // 0: the frame rate is not known, nor are the times
  uint32_t frame = 0;          // shown last, from 1
  uint32_t totalFrames = 0;
  int speed = 0;  // as a power of two
  bool keyFramesOnly = false;
  bool paused = false;
  bool ended = false;
  bool seeking = false;  // on its way elsewhere
  bool operator==(const FileStatus&) const = default;
};

struct PixelView;

// Main thread.
class Source {
 public:
  using Time = std::chrono::steady_clock::time_point;

  virtual ~Source() = default;

  virtual void Start() = 0;
  // Waits for its threads to end.
  virtual void Stop() = 0;
  // Does what is due. Called after every wake of the host, and when the time it answers has come.
  virtual std::optional<Time> Update(Time now) = 0;

  // Nothing comes from it any more by itself.
  virtual bool HasEnded() const = 0;
  // It could not be opened or read, or the library refused it; the console has told why.
  virtual bool HasFailed() const = 0;
  // Whether it shows again what is asked for after its end, so that its window stays.
  virtual bool CanGoBack() const = 0;

  // Commands that a live stream does not know are ignored.
  virtual void Do(const Command& command, Time now) = 0;
  // None for a live stream.
  virtual std::optional<FileStatus> Status() const = 0;
  // The picture that an ended source left on the screen, which the library cannot show again; null when it
  // can, or when there is none. Valid until the source goes on.
  virtual const PixelView* LeftBehind() = 0;
};
