// Chooses the sound device behind DirectSound.h.
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

#include "platform/posix/AlsaSound.h"
#include "platform/posix/DirectSoundDevice.h"
#include "platform/posix/NullSound.h"
#include "platform/posix/SoundSeam.h"

namespace platform {
namespace {

std::atomic<SoundDriver*> g_pDriver{nullptr};

HRESULT CreateNull(LPDIRECTSOUND8* device) {
  std::unique_ptr<SoundSystem> system(new (std::nothrow) NullSound);
  if (system != nullptr) *device = new (std::nothrow) DirectSoundDevice(std::move(system));
  return *device != nullptr ? DS_OK : DSERR_OUTOFMEMORY;
}

HRESULT CreateAlsa(const char* pcmName, LPDIRECTSOUND8* device) {
  std::unique_ptr<AlsaSound> system(new (std::nothrow) AlsaSound(pcmName));
  if (system == nullptr) return DSERR_OUTOFMEMORY;
  if (!system->IsPresent()) return DSERR_NODRIVER;
  *device = new (std::nothrow) DirectSoundDevice(std::move(system));
  return *device != nullptr ? DS_OK : DSERR_OUTOFMEMORY;
}

HRESULT CreateChosen(const char* choice, LPDIRECTSOUND8* device) {
  constexpr char kDefaultPcm[] = "default";
  constexpr char kAlsaWithPcm[] = "alsa:";
  if (choice == nullptr || choice[0] == '\0') {
    return CreateAlsa(kDefaultPcm, device) == DS_OK ? DS_OK : CreateNull(device);
  }
  if (std::strcmp(choice, "null") == 0) return CreateNull(device);
  if (std::strcmp(choice, "alsa") == 0) return CreateAlsa(kDefaultPcm, device);
  if (std::strncmp(choice, kAlsaWithPcm, std::strlen(kAlsaWithPcm)) == 0) {
    return CreateAlsa(choice + std::strlen(kAlsaWithPcm), device);
  }
  return DSERR_NODRIVER;
}

}  // namespace

SoundDriver* SetSoundDriver(SoundDriver* driver) {
  return g_pDriver.exchange(driver);
}

}  // namespace platform

HRESULT DirectSoundCreate8(LPCGUID device, LPDIRECTSOUND8* object, LPUNKNOWN outer) {
  if (object == nullptr) return DSERR_INVALIDPARAM;
  *object = nullptr;
  if (outer != nullptr) return DSERR_NOAGGREGATION;
  // Only the default device is offered.
  if (device != nullptr) return DSERR_NODRIVER;
  if (platform::SoundDriver* driver = platform::g_pDriver.load()) return driver->CreateDevice(object);
  return platform::CreateChosen(std::getenv("QXSDKP_SOUND"), object);
}
