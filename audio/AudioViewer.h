// Plays one player's decoded sound on the sound device.
#pragma once

#include <cstdint>
#include <memory>

#include "platform/DirectSound.h"

struct AudioFormat {
  uint32_t channels = 0;
  uint32_t samplesPerSec = 0;  // Hz
  uint32_t bitsPerSample = 0;
  uint32_t bufferMs = 0;   // length of the device buffer
  uint32_t latencyMs = 0;  // start threshold, reported as the latency
};

// No lock of its own: the player's audio lock is held around every call but Init and Release, which run while no play thread does.
class AudioViewer {
 public:
  // The library-wide sound device. InitSDK answers false when there is none; everything but sound goes on then.
  static bool InitSDK();
  static void ReleaseSDK();

  AudioViewer();
  ~AudioViewer();

  bool Init(uint32_t nPlayerID, const AudioFormat& format);
  void Release();
  bool SetPreview(HWND window, bool enable);
  bool Write(const uint8_t* data, uint32_t size);
  void Monitor();
  void Stop();
  uint32_t GetLatency() const;  // ms
  bool IsPlaying() const;
  bool IsEnabled() const;
  HWND Window() const;
};
