// The device object of DirectSound.h.
#include "platform/posix/DirectSoundDevice.h"

#include <new>

#include "platform/posix/DirectSoundBuffer.h"

namespace platform {
namespace {

bool IsSupported(const WAVEFORMATEX& wave) {
  const bool pcm = wave.wFormatTag == WAVE_FORMAT_PCM &&
                   (wave.wBitsPerSample == 8 || wave.wBitsPerSample == 16) &&
                   (wave.nChannels == 1 || wave.nChannels == 2);
  return pcm && wave.nSamplesPerSec >= DSBFREQUENCY_MIN && wave.nSamplesPerSec <= DSBFREQUENCY_MAX &&
         wave.nBlockAlign == wave.nChannels * wave.wBitsPerSample / 8 &&
         wave.nAvgBytesPerSec == wave.nSamplesPerSec * wave.nBlockAlign;
}

}  // namespace

ULONG DirectSoundDevice::Release() {
  delete this;
  return 0;
}

HRESULT DirectSoundDevice::CreateSoundBuffer(const DSBUFFERDESC* desc, LPDIRECTSOUNDBUFFER* buffer,
                                             IUnknown* outer) {
  if (buffer == nullptr) return DSERR_INVALIDPARAM;
  *buffer = nullptr;
  if (outer != nullptr) return DSERR_NOAGGREGATION;
  if (desc == nullptr || desc->dwSize != sizeof(*desc) || desc->dwReserved != 0 ||
      desc->lpwfxFormat == nullptr) {
    return DSERR_INVALIDPARAM;
  }
  const WAVEFORMATEX& wave = *desc->lpwfxFormat;
  if (!IsSupported(wave)) return DSERR_BADFORMAT;
  const DWORD bytes = desc->dwBufferBytes;
  if (bytes < DSBSIZE_MIN || bytes > DSBSIZE_MAX || bytes % wave.nBlockAlign != 0) return DSERR_INVALIDPARAM;

  auto* created = new (std::nothrow) DirectSoundBuffer;
  if (created == nullptr) return DSERR_OUTOFMEMORY;
  if (!created->Create(*m_pSystem, {wave.nSamplesPerSec, wave.nChannels, wave.wBitsPerSample}, bytes)) {
    created->Release();
    return DSERR_OUTOFMEMORY;
  }
  *buffer = created;
  return DS_OK;
}

HRESULT DirectSoundDevice::SetCooperativeLevel(HWND window, DWORD level) {
  return window != nullptr && level == DSSCL_PRIORITY ? DS_OK : DSERR_INVALIDPARAM;
}

}  // namespace platform
