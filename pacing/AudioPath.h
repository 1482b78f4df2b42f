// A player's sound from the compressed frame to the sound device: decoder and audio viewer.
#pragma once

#include <cstdint>
#include <memory>

#include "audio/AudioViewer.h"
#include "decode/Decoder.h"
#include "pacing/PlayerLabel.h"
#include "player/FrameRecord.h"
#include "src/kitc/Lock.h"
#include "src/kitc/WakeUp.h"

class AudioPath {
 public:
  explicit AudioPath(const PlayerLabel& label) : m_Label(label) {}
  AudioPath(const AudioPath&) = delete;
  AudioPath& operator=(const AudioPath&) = delete;

  // What the host had switched on, to be put back after the next source is opened.
  struct Preview {
    bool bEnabled = false;
    HWND hWnd = nullptr;
  };

  // Host threads, while no play thread runs.
  void Open(std::shared_ptr<Decoder> decoder, const AudioFormat& format) EXCLUDES(m_AudioLock);
  void ReleaseViewer() EXCLUDES(m_AudioLock);
  void DropDecoder() { m_pDecoder.reset(); }
  // How far sound is behind the moment it is written, ms: the device's latency and what the decoder holds
  // back. Needs a decoder.
  int32_t DelayMs() EXCLUDES(m_AudioLock);

  // Any host thread.
  Preview GetPreview() EXCLUDES(m_AudioLock);
  bool SetPreview(HWND window, bool enable) EXCLUDES(m_AudioLock);
  // Silences the device, when it plays, until more sound is written.
  void StopSound() EXCLUDES(m_AudioLock);
  // The same also while sound is still gathered for the start: none of it will be heard.
  void DropSound() EXCLUDES(m_AudioLock);

  // Video play thread: decodes and writes one frame.
  void PlayAudioFrame(const FrameRecord& frame) EXCLUDES(m_AudioLock);
  // Audio thread: one pass. How long there is nothing to do then, ms, INFINITE until sound is switched on or
  // written.
  uint32_t Monitor() EXCLUDES(m_AudioLock);
  // Audio thread: rests for that long, or until something changes.
  void Rest(uint32_t milliseconds) { m_WakeUp.Wait(milliseconds); }
  // Wakes the audio thread. Any thread.
  void Wake() { m_WakeUp.Set(); }

 private:
  const PlayerLabel& m_Label;
  WakeUp m_WakeUp;  // the audio thread rests on it

  // Written while no play thread runs, used by the video play thread.
  std::shared_ptr<Decoder> m_pDecoder;

  Lock m_AudioLock;
  AudioViewer m_AudioViewer GUARDED_BY(m_AudioLock);
};
