// What plays a looping buffer: a clock, or a sound card.
#pragma once

#include <memory>

#include "platform/posix/DirectSoundApi.h"
#include "platform/posix/SoundLoop.h"

namespace platform {

// Plays one loop. Positions are bytes from the start of the loop, at a whole frame. Used by one thread at a
// time.
class SoundOutput {
 public:
  struct Cursors {
    uint32_t play = 0;   // what is heard now
    uint32_t write = 0;  // what the output has not yet taken
  };

  virtual ~SoundOutput() = default;  // stops
  // Starts playing, round and round; only while stopped.
  virtual HRESULT Start(uint32_t position) = 0;
  // Silences at once; only while playing.
  virtual void Stop() = 0;
  virtual Cursors Position() = 0;
  // Jumps; only while playing.
  virtual void Seek(uint32_t position) = 0;
  // Whether the device failed under way since the last call. Playing goes on, in silence until the device is
  // back.
  virtual bool TakeLoss() { return false; }
};

// Makes the outputs of one device; any thread.
class SoundSystem {
 public:
  virtual ~SoundSystem() = default;
  // Null when memory is exhausted. The loop (borrowed) must outlive the output; the system need not.
  virtual std::unique_ptr<SoundOutput> CreateOutput(const SoundLoop& loop) = 0;
};

}  // namespace platform
