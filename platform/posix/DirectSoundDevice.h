// The device object of DirectSound.h over any sound system: checks formats and makes buffers.
#pragma once

#include <memory>

#include "platform/posix/SoundOutput.h"

namespace platform {

class DirectSoundDevice final : public IDirectSound8 {
 public:
  explicit DirectSoundDevice(std::unique_ptr<SoundSystem> system) : m_pSystem(std::move(system)) {}

  ULONG Release() override;
  HRESULT CreateSoundBuffer(const DSBUFFERDESC* desc, LPDIRECTSOUNDBUFFER* buffer, IUnknown* outer) override;
  HRESULT SetCooperativeLevel(HWND window, DWORD level) override;

 private:
  ~DirectSoundDevice() = default;

  const std::unique_ptr<SoundSystem> m_pSystem;
};

}  // namespace platform
