// The buffer object of DirectSound.h: memory that an output plays round and round.
#pragma once

#include <memory>

#include "platform/posix/SoundOutput.h"

namespace platform {

class DirectSoundBuffer final : public IDirectSoundBuffer {
 public:
  // Once, before all else. False when memory is exhausted.
  bool Create(SoundSystem& system, const SoundFormat& format, uint32_t bytes);

  ULONG Release() override;
  HRESULT GetCurrentPosition(DWORD* playCursor, DWORD* writeCursor) override;
  HRESULT Lock(DWORD offset, DWORD bytes, LPVOID* part1, DWORD* bytes1, LPVOID* part2, DWORD* bytes2,
               DWORD flags) override;
  HRESULT Play(DWORD reserved, DWORD priority, DWORD flags) override;
  HRESULT SetCurrentPosition(DWORD position) override;
  HRESULT Stop() override;
  HRESULT Unlock(LPVOID part1, DWORD bytes1, LPVOID part2, DWORD bytes2) override;
  HRESULT Restore() override;

 private:
  ~DirectSoundBuffer();

  SoundLoop m_Loop;
  std::unique_ptr<SoundOutput> m_pOutput;
  bool m_bPlaying = false;
  bool m_bLost = false;
  uint32_t m_nPosition = 0;  // while stopped
};

}  // namespace platform
