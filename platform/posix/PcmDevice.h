// A sound card's output as the pump needs it: takes sound ahead of time, tells how much of it is still to be
// heard.
#pragma once

#include <cstdint>
#include <memory>

#include "platform/posix/SoundLoop.h"

namespace platform {

// No call waits for room or for sound to be heard, but a sound server that hangs may hold up opening, Query,
// Write (which bring the device back after an underrun) and the destructor. Used by one thread at a time.
class PcmDevice {
 public:
  virtual ~PcmDevice() = default;  // silences at once
  // The most it should hold, in frames: what it takes to play on while the pump is late.
  virtual uint32_t AheadFrames() const = 0;
  // How many frames it takes now, and how many it was given that are not heard yet. False when the device is
  // gone.
  virtual bool Query(uint32_t& roomFrames, uint32_t& unheardFrames) = 0;
  // Returns how many frames it took, from 0 to `frames`, or -1 when the device is gone.
  virtual int32_t Write(const uint8_t* sound, uint32_t frames) = 0;
};

class PcmOpener {
 public:
  virtual ~PcmOpener() = default;
  // Null when the device cannot be had now.
  virtual std::unique_ptr<PcmDevice> Open(const SoundFormat& format) = 0;
};

}  // namespace platform
