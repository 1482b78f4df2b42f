// The sound system behind DirectSound.h: the one that QXSDKP_SOUND names, or a test's scripted one.
#pragma once

#include "platform/posix/DirectSoundApi.h"

namespace platform {

class SoundDriver {
 public:
  virtual ~SoundDriver() = default;
  // The caller releases the object.
  virtual HRESULT CreateDevice(LPDIRECTSOUND8* device) = 0;
};

// Puts `driver` (borrowed) in place of the one that QXSDKP_SOUND names; null goes back to that. Returns what
// was there before.
SoundDriver* SetSoundDriver(SoundDriver* driver);

}  // namespace platform
