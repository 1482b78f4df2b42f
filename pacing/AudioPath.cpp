#include "pacing/AudioPath.h"

#include <utility>

void AudioPath::Open(std::shared_ptr<Decoder> decoder, const AudioFormat& format) {
  m_pDecoder = std::move(decoder);
  ScopedLock hold(m_AudioLock);
  // Without a sound device the stream plays on in silence.
  (void)m_AudioViewer.Init(m_Label.PlayerID(), format);
}

void AudioPath::ReleaseViewer() {
  ScopedLock hold(m_AudioLock);
  m_AudioViewer.Release();
}

int32_t AudioPath::DelayMs() {
  ScopedLock hold(m_AudioLock);
  return static_cast<int32_t>(m_AudioViewer.GetLatency() + m_pDecoder->GetDelay());
}

AudioPath::Preview AudioPath::GetPreview() {
  ScopedLock hold(m_AudioLock);
  return {m_AudioViewer.IsEnabled(), m_AudioViewer.Window()};
}

bool AudioPath::SetPreview(HWND window, bool enable) {
  bool set = false;
  {
    ScopedLock hold(m_AudioLock);
    set = m_AudioViewer.SetPreview(window, enable);
  }
  Wake();
  return set;
}

void AudioPath::StopSound() {
  ScopedLock hold(m_AudioLock);
  if (m_AudioViewer.IsPlaying()) m_AudioViewer.Stop();
}

void AudioPath::DropSound() {
  ScopedLock hold(m_AudioLock);
  m_AudioViewer.Stop();
}

void AudioPath::PlayAudioFrame(const FrameRecord& frame) {
  if (m_pDecoder == nullptr) return;
  DecodedSound sound;
  if (!m_pDecoder->DecodeFrameAudio(sound, frame.pFrame, frame.dwFrameSize, m_Label.PlayerID())) return;
  bool begins = false;
  {
    ScopedLock hold(m_AudioLock);
    const bool wasSilent = !m_AudioViewer.HasSound();
    m_AudioViewer.Write(sound.pData, sound.dwSize);
    begins = wasSilent && m_AudioViewer.HasSound();
  }
  if (begins) Wake();
}

uint32_t AudioPath::Monitor() {
  ScopedLock hold(m_AudioLock);
  return m_AudioViewer.Monitor();
}
