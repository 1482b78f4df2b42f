// Plays one player's decoded sound on the sound device.
//
// Decoded sound is first staged in memory (one second), and moved from there into the device's looping buffer
// in chunks of 40 to 100 ms. Playing starts once the latency has been written, pauses when less than 20 ms
// are queued, and skips 40 ms ahead whenever more than twice the latency waits to be heard.
#pragma once

#include <cstdint>
#include <memory>

#include "audio/AudioFormat.h"
#include "audio/AudioSizes.h"
#include "platform/DirectSound.h"
#include "platform/Owned.h"

// No lock of its own: the player's audio lock is held around every call but Init and Release, which run while
// no play thread does.
class AudioViewer {
 public:
  // The library-wide sound device; any thread. InitSDK answers false when there is none; everything but sound
  // goes on then.
  static bool InitSDK();
  static void ReleaseSDK();

  AudioViewer() = default;
  ~AudioViewer() = default;
  AudioViewer(const AudioViewer&) = delete;
  AudioViewer& operator=(const AudioViewer&) = delete;

  // Makes the device buffer and the staging memory for a new stream, with sound off. False for a format that
  // cannot be played and without memory; there is no buffer then, and every call below does nothing. False,
  // too, without a device; then nothing changes, and an earlier buffer stays.
  bool Init(uint32_t nPlayerID, const AudioFormat& format);
  // Sound off; lets the buffer and the memory go. The playing flag stays as it is; Init clears it.
  void Release();

  // Switches sound on or off. Either way what plays is silenced and dropped; what was written before playing
  // began stays for later. False when there is no device or buffer.
  bool SetPreview(HWND window, bool enable);
  // Takes one block of decoded sound, whole sample frames; never waits for the device. False when sound is
  // off or the block is refused; a block that would exceed the staging memory is dropped, which answers true.
  bool Write(const uint8_t* data, uint32_t size);
  // One pass of the audio thread: feeds, pauses on starvation, skips when too far behind. Looks at the device
  // at most every 10 ms.
  // Returns how long there is nothing to do after it, ms: INFINITE while there is no sound.
  uint32_t Monitor();
  // Sound is on, and some was written that is still to be heard.
  bool HasSound() const { return m_bEnabled && (m_nStaged > 0 || m_bPlaying); }
  // While playing: silences at once and drops what is queued; sound resumes with new data. Does nothing while
  // the viewer still fills the buffer.
  void Stop();

  uint32_t GetLatency() const { return m_nLatency; }  // ms
  bool IsPlaying() const { return m_bPlaying; }
  bool IsEnabled() const { return m_bEnabled; }
  HWND Window() const { return m_hWindow; }

 private:
  struct GlobalMemory {
    void operator()(uint8_t* memory) const;
  };

  void KeepFed();
  void Feed();
  void Play();
  uint32_t FillDevice(uint32_t bytes);
  uint32_t MoveStaged(void* region, uint32_t bytes);
  bool ReadPlayCursor(uint32_t& playCursor);

  uint32_t m_nPlayerID = 0;  // for log lines
  bool m_bEnabled = false;
  HWND m_hWindow = nullptr;
  uint64_t m_llLastMonitor = 0;  // ms, kitc_tick64 of the audio thread
  bool m_bPlaying = false;       // the device buffer has been started
  uint32_t m_nLatency = 0;       // ms
  AudioSizes m_Sizes;
  uint32_t m_nWritePosition = 0;  // where in the device buffer the next byte goes
  Owned<IDirectSoundBuffer> m_pSoundBuffer;
  std::unique_ptr<uint8_t[], GlobalMemory> m_pStaging;
  uint32_t m_nStaged = 0;  // bytes waiting, from the start of m_pStaging
};
