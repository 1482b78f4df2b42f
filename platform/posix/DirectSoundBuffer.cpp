// The buffer object of DirectSound.h.
#include "platform/posix/DirectSoundBuffer.h"

#include <algorithm>

namespace platform {

DirectSoundBuffer::~DirectSoundBuffer() {
  Stop();
}

bool DirectSoundBuffer::Create(SoundSystem& system, const SoundFormat& format, uint32_t bytes) {
  if (!m_Loop.Create(format, bytes)) return false;
  m_pOutput = system.CreateOutput(m_Loop);
  return m_pOutput != nullptr;
}

ULONG DirectSoundBuffer::Release() {
  delete this;
  return 0;
}

HRESULT DirectSoundBuffer::GetCurrentPosition(DWORD* playCursor, DWORD* writeCursor) {
  const SoundOutput::Cursors now =
      m_bPlaying ? m_pOutput->Position() : SoundOutput::Cursors{m_nPosition, m_nPosition};
  if (playCursor != nullptr) *playCursor = now.play;
  if (writeCursor != nullptr) *writeCursor = now.write;
  return DS_OK;
}

HRESULT DirectSoundBuffer::Lock(DWORD offset, DWORD bytes, LPVOID* part1, DWORD* bytes1, LPVOID* part2,
                                DWORD* bytes2, DWORD flags) {
  if (part1 == nullptr || bytes1 == nullptr || flags != 0) return DSERR_INVALIDPARAM;
  if (offset >= m_Loop.Bytes() || bytes == 0 || bytes > m_Loop.Bytes()) return DSERR_INVALIDPARAM;
  if (m_pOutput->TakeLoss()) m_bLost = true;
  if (m_bLost) return DSERR_BUFFERLOST;
  *part1 = m_Loop.Draft() + offset;
  *bytes1 = std::min(bytes, m_Loop.Bytes() - offset);
  const DWORD rest = bytes - *bytes1;
  if (part2 != nullptr) *part2 = rest != 0 ? m_Loop.Draft() : nullptr;
  if (bytes2 != nullptr) *bytes2 = rest;
  return DS_OK;
}

HRESULT DirectSoundBuffer::Play(DWORD reserved, DWORD priority, DWORD flags) {
  if (reserved != 0 || priority != 0) return DSERR_INVALIDPARAM;
  if (flags != DSBPLAY_LOOPING) return DSERR_UNSUPPORTED;
  if (m_bPlaying) return DS_OK;
  const HRESULT result = m_pOutput->Start(m_nPosition);
  m_bPlaying = result == DS_OK;
  return result;
}

HRESULT DirectSoundBuffer::SetCurrentPosition(DWORD position) {
  if (position >= m_Loop.Bytes()) return DSERR_INVALIDPARAM;
  position -= position % m_Loop.Format().FrameBytes();
  if (m_bPlaying) {
    m_pOutput->Seek(position);
  } else {
    m_nPosition = position;
  }
  return DS_OK;
}

HRESULT DirectSoundBuffer::Stop() {
  if (!m_bPlaying) return DS_OK;
  m_nPosition = m_pOutput->Position().play;
  m_pOutput->Stop();
  m_bPlaying = false;
  return DS_OK;
}

HRESULT DirectSoundBuffer::Unlock(LPVOID part1, DWORD bytes1, LPVOID part2, DWORD bytes2) {
  if (bytes1 != 0 && !m_Loop.Publish(part1, bytes1)) return DSERR_INVALIDPARAM;
  if (bytes2 != 0 && !m_Loop.Publish(part2, bytes2)) return DSERR_INVALIDPARAM;
  return DS_OK;
}

HRESULT DirectSoundBuffer::Restore() {
  // The memory itself is never lost.
  m_bLost = false;
  return DS_OK;
}

}  // namespace platform
