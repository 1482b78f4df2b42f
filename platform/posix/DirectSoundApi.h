// The subset of DirectSound 8 that the audio viewer uses, declared for systems without it. An object belongs
// to whoever created it, until Release(), and has no second reference; calls on one buffer must not overlap,
// those on the device and on different buffers may. Buffers live on when their device is released. No call
// waits for the sound device but Stop and Release, which let the buffer's own thread finish its step: usually
// milliseconds, but as long as the sound server takes when that hangs while the device is opened, brought
// back after an underrun or closed.
#pragma once

#include "platform/posix/ComApi.h"
#include "platform/posix/UserApi.h"

constexpr HRESULT DirectSoundError(uint32_t code) {
  return static_cast<HRESULT>(0x88780000u | code);
}
constexpr HRESULT DS_OK = 0;
constexpr HRESULT DSERR_INVALIDPARAM = static_cast<HRESULT>(0x80070057u);
constexpr HRESULT DSERR_OUTOFMEMORY = static_cast<HRESULT>(0x8007000Eu);
constexpr HRESULT DSERR_GENERIC = static_cast<HRESULT>(0x80004005u);
constexpr HRESULT DSERR_UNSUPPORTED = static_cast<HRESULT>(0x80004001u);
constexpr HRESULT DSERR_NOAGGREGATION = static_cast<HRESULT>(0x80040110u);
constexpr HRESULT DSERR_BADFORMAT = DirectSoundError(100);
constexpr HRESULT DSERR_NODRIVER = DirectSoundError(120);
constexpr HRESULT DSERR_BUFFERLOST = DirectSoundError(150);

constexpr DWORD DSBCAPS_GLOBALFOCUS = 0x8000;
constexpr DWORD DSBCAPS_GETCURRENTPOSITION2 = 0x10000;
constexpr DWORD DSBPLAY_LOOPING = 1;
constexpr DWORD DSSCL_PRIORITY = 2;
constexpr DWORD DSBSIZE_MIN = 4;
constexpr DWORD DSBSIZE_MAX = 0x0FFFFFFF;
constexpr DWORD DSBFREQUENCY_MIN = 100;  // Hz
constexpr DWORD DSBFREQUENCY_MAX = 200000;

constexpr WORD WAVE_FORMAT_PCM = 1;

#pragma pack(push, 1)
struct WAVEFORMATEX {
  WORD wFormatTag;
  WORD nChannels;
  DWORD nSamplesPerSec;
  DWORD nAvgBytesPerSec;
  WORD nBlockAlign;  // bytes of one sample frame
  WORD wBitsPerSample;
  WORD cbSize;
};
#pragma pack(pop)
static_assert(sizeof(WAVEFORMATEX) == 18);

struct DSBUFFERDESC {
  DWORD dwSize;
  DWORD dwFlags;
  DWORD dwBufferBytes;
  DWORD dwReserved;  // 0
  WAVEFORMATEX* lpwfxFormat;
  GUID guid3DAlgorithm;  // all zero: none
};
static_assert(sizeof(void*) != 4 || sizeof(DSBUFFERDESC) == 36);

// A ring of sound that the device plays round and round. Offsets and sizes are in bytes.
struct IDirectSoundBuffer {
  virtual ULONG Release() = 0;
  // What is heard now, and from where on it is safe to write. While stopped both are where playing would
  // begin.
  virtual HRESULT GetCurrentPosition(DWORD* playCursor, DWORD* writeCursor) = 0;
  // Gives memory for the range, in two parts when it wraps (the second is null and 0 otherwise). What is
  // written there is heard only after Unlock. Flags must be 0. DSERR_BUFFERLOST after the device failed,
  // until Restore.
  virtual HRESULT Lock(DWORD offset, DWORD bytes, LPVOID* part1, DWORD* bytes1, LPVOID* part2, DWORD* bytes2,
                       DWORD flags) = 0;
  // Only DSBPLAY_LOOPING. A device that cannot be had just now is waited for in silence: the cursor moves,
  // and sound sets in later.
  virtual HRESULT Play(DWORD reserved, DWORD priority, DWORD flags) = 0;
  // Rounded down to a whole sample frame. While playing, sound already handed to the device is still heard
  // before the jump.
  virtual HRESULT SetCurrentPosition(DWORD position) = 0;
  virtual HRESULT Stop() = 0;
  virtual HRESULT Unlock(LPVOID part1, DWORD bytes1, LPVOID part2, DWORD bytes2) = 0;
  virtual HRESULT Restore() = 0;

 protected:
  ~IDirectSoundBuffer() = default;
};
using LPDIRECTSOUNDBUFFER = IDirectSoundBuffer*;

struct IDirectSound8 {
  virtual ULONG Release() = 0;
  // PCM of 1 or 2 channels, 8 bits unsigned or 16 signed; the size must be a whole number of sample frames.
  virtual HRESULT CreateSoundBuffer(const DSBUFFERDESC* desc, LPDIRECTSOUNDBUFFER* buffer,
                                    IUnknown* outer) = 0;
  // Accepted and without effect: there is no level to share a device by here.
  virtual HRESULT SetCooperativeLevel(HWND window, DWORD level) = 0;

 protected:
  ~IDirectSound8() = default;
};
using LPDIRECTSOUND8 = IDirectSound8*;

// The device that the environment variable QXSDKP_SOUND names: `alsa`, `alsa:PCM`, `null` (silent, consumes
// at the true rate) or `none`; unset, ALSA's default device when it opens and `null` otherwise.
// DSERR_NODRIVER for `none`, an ALSA device that does not open and any other value.
HRESULT DirectSoundCreate8(LPCGUID device, LPDIRECTSOUND8* object, LPUNKNOWN outer);
