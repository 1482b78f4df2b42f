// Plays one player's decoded sound on the sound device.
#include "audio/AudioViewer.h"

#include <algorithm>
#include <cstring>

#include "platform/Kernel.h"
#include "src/kitc/Clock.h"
#include "src/kitc/Lock.h"
#include "src/kitc/Log.h"

namespace {

constexpr uint32_t kMonitorIntervalMs = 10;
constexpr char kSourceName[] = "AudioViewer.cpp";

// Innermost: taken under a player's audio lock, and nothing is taken under it.
Lock g_DeviceLock;
// Not an owner: when the host forgets ReleaseSDK the device is left to the system, because it must not be
// released while the library unloads.
IDirectSound8* g_pDevice GUARDED_BY(g_DeviceLock) = nullptr;
HWND g_hLastWindow GUARDED_BY(g_DeviceLock) = nullptr;  // last given to the device's cooperative level

bool CreateSoundBuffer(const AudioFormat& format, const AudioSizes& sizes, IDirectSoundBuffer** buffer) {
  WAVEFORMATEX wave{};
  wave.wFormatTag = WAVE_FORMAT_PCM;
  wave.nChannels = static_cast<WORD>(format.channels);
  wave.nSamplesPerSec = format.samplesPerSec;
  wave.nAvgBytesPerSec = sizes.bytesPerSecond;
  wave.nBlockAlign = static_cast<WORD>(sizes.blockSize);
  wave.wBitsPerSample = static_cast<WORD>(format.bitsPerSample);

  DSBUFFERDESC desc{};
  static_assert(sizeof(void*) != 4 || sizeof(desc) == 36);
  desc.dwSize = sizeof(desc);
  desc.dwFlags = DSBCAPS_GETCURRENTPOSITION2 | DSBCAPS_GLOBALFOCUS;
  desc.dwBufferBytes = sizes.bufferSize;
  desc.lpwfxFormat = &wave;

  ScopedLock lock(g_DeviceLock);
  return g_pDevice != nullptr && g_pDevice->CreateSoundBuffer(&desc, buffer, nullptr) == DS_OK &&
         *buffer != nullptr;
}

}  // namespace

void AudioViewer::GlobalMemory::operator()(uint8_t* memory) const {
  GlobalFree(memory);
}

bool AudioViewer::InitSDK() {
  ScopedLock lock(g_DeviceLock);
  if (g_pDevice != nullptr) return true;
  if (DirectSoundCreate8(nullptr, &g_pDevice, nullptr) != DS_OK) g_pDevice = nullptr;
  return g_pDevice != nullptr;
}

void AudioViewer::ReleaseSDK() {
  ScopedLock lock(g_DeviceLock);
  if (g_pDevice != nullptr) g_pDevice->Release();
  g_pDevice = nullptr;
  // The next device knows no window yet.
  g_hLastWindow = nullptr;
}

bool AudioViewer::Init(uint32_t nPlayerID, const AudioFormat& format) {
  {
    ScopedLock lock(g_DeviceLock);
    if (g_pDevice == nullptr) return false;
  }
  Release();
  m_nPlayerID = nPlayerID;
  const AudioSizes sizes = AudioSizes::Of(format);
  // Headers of damaged or hostile streams claim anything: formats whose block would be truncated to 16 bits
  // are refused with the empty ones.
  const bool describable = format.channels <= UINT16_MAX && format.bitsPerSample <= UINT16_MAX;
  if (!describable || !sizes.IsPlayable()) return false;

  if (!CreateSoundBuffer(format, sizes, m_pSoundBuffer.Receive())) {
    m_pSoundBuffer.Reset();
    return false;
  }
  m_pStaging.reset(static_cast<uint8_t*>(GlobalAlloc(GMEM_FIXED, sizes.stagingCapacity)));
  if (m_pStaging == nullptr) {
    Release();
    return false;
  }
  m_Sizes = sizes;
  m_bPlaying = false;
  m_nLatency = format.latencyMs;
  m_nWritePosition = 0;
  return true;
}

void AudioViewer::Release() {
  m_bEnabled = false;
  m_pSoundBuffer.Reset();
  m_pStaging.reset();
  m_Sizes = {};
  m_nStaged = 0;
}

bool AudioViewer::SetPreview(HWND window, bool enable) {
  {
    ScopedLock lock(g_DeviceLock);
    if (g_pDevice == nullptr || !m_pSoundBuffer) return false;
    m_hWindow = window;
    if (enable && window != g_hLastWindow) {
      g_pDevice->SetCooperativeLevel(window, DSSCL_PRIORITY);
      g_hLastWindow = window;
    }
  }
  m_bEnabled = enable;
  Stop();
  return true;
}

bool AudioViewer::Write(const uint8_t* data, uint32_t size) {
  if (!m_bEnabled || !m_pSoundBuffer) return false;
  if (data == nullptr && size != 0) return false;
  if (size % m_Sizes.blockSize != 0) {
    kitc_log(kLogError, kSourceName, __LINE__, "player %d data align error, discard audio data, size=%d",
             static_cast<int>(m_nPlayerID), static_cast<int>(size));
    return false;
  }
  if (size > m_Sizes.stagingCapacity - m_nStaged) {
    kitc_log(kLogWarning, kSourceName, __LINE__,
             "player %d audio buffer overflow, discard audio data, size=%d", static_cast<int>(m_nPlayerID),
             static_cast<int>(size));
    return true;
  }
  if (size != 0) std::memcpy(m_pStaging.get() + m_nStaged, data, size);
  m_nStaged += size;
  Feed();
  return true;
}

uint32_t AudioViewer::Monitor() {
  if (!m_bEnabled) return INFINITE;
  const uint64_t now = kitc_tick64();
  // Another thread than in the last pass: their ticks may lie far apart.
  const bool backwards = now < m_llLastMonitor;
  const uint64_t passed = backwards ? 0 : now - m_llLastMonitor;
  uint32_t rest = kMonitorIntervalMs;
  if (!backwards && passed < kMonitorIntervalMs) {
    rest -= static_cast<uint32_t>(passed);
  } else {
    m_llLastMonitor = now;
    if (!backwards) KeepFed();
  }
  return HasSound() ? rest : INFINITE;
}

// Feeds, pauses on starvation, skips when too far behind.
void AudioViewer::KeepFed() {
  if (m_nStaged > 0) Feed();
  uint32_t playCursor = 0;
  if (!m_bPlaying || !ReadPlayCursor(playCursor)) return;

  const uint32_t queued = m_Sizes.Queued(m_nWritePosition, playCursor);
  if (m_Sizes.IsStarved(queued)) {
    kitc_log(kLogInfo, kSourceName, __LINE__, "player %d audio play buffer empty, audio preview paused",
             static_cast<int>(m_nPlayerID));
    Stop();
  } else if (m_Sizes.IsOverfull(queued, m_nStaged)) {
    m_pSoundBuffer->SetCurrentPosition(m_Sizes.SkippedCursor(playCursor));
    kitc_log(kLogInfo, kSourceName, __LINE__, "player %d Discard audio data", static_cast<int>(m_nPlayerID));
  }
}

void AudioViewer::Stop() {
  if (!m_bPlaying || !m_pSoundBuffer) return;
  m_pSoundBuffer->Stop();
  m_pSoundBuffer->SetCurrentPosition(0);
  m_nWritePosition = 0;
  m_bPlaying = false;
  m_nStaged = 0;
}

// Moves staged bytes into the device buffer, and starts it when enough are there.
void AudioViewer::Feed() {
  uint32_t playCursor = 0;
  if (!ReadPlayCursor(playCursor)) return;
  const uint32_t bytes = m_Sizes.FeedBytes(m_Sizes.Queued(m_nWritePosition, playCursor), m_nStaged);
  if (bytes == 0) return;

  m_nWritePosition += FillDevice(bytes);
  if (m_nWritePosition % m_Sizes.blockSize != 0) {
    // The device took a part of a block: from here on channels or bytes would be swapped, so start over.
    Stop();
    m_nWritePosition = 0;
    m_nStaged = 0;
  } else if (m_nWritePosition >= m_Sizes.bufferSize) {
    m_nWritePosition %= m_Sizes.bufferSize;
  } else if (m_nWritePosition >= m_Sizes.startThreshold) {
    Play();
  }
}

void AudioViewer::Play() {
  if (m_bPlaying) return;
  m_pSoundBuffer->SetCurrentPosition(0);
  m_bPlaying = m_pSoundBuffer->Play(0, 0, DSBPLAY_LOOPING) == DS_OK;
  if (m_bPlaying) return;
  // Nothing would consume the buffer, and a full one is never started: fill it anew, and try again then.
  m_pSoundBuffer->Restore();
  m_nWritePosition = 0;
}

// Copies staged bytes to the write position of the device buffer; returns how many it took, 0 when the buffer
// stays lost.
uint32_t AudioViewer::FillDevice(uint32_t bytes) {
  void* first = nullptr;
  void* second = nullptr;
  DWORD firstBytes = 0;
  DWORD secondBytes = 0;
  const auto lock = [&] {
    return m_pSoundBuffer->Lock(m_nWritePosition, bytes, &first, &firstBytes, &second, &secondBytes, 0);
  };
  HRESULT result = lock();
  if (result != DS_OK) {
    m_pSoundBuffer->Restore();
    result = lock();
  }
  if (result != DS_OK) return 0;

  uint32_t copied = MoveStaged(first, firstBytes);
  if (copied == firstBytes) copied += MoveStaged(second, secondBytes);
  m_pSoundBuffer->Unlock(first, firstBytes, second, secondBytes);
  return copied;
}

// Moves the oldest staged bytes to the region and the rest to the front of the staging memory.
uint32_t AudioViewer::MoveStaged(void* region, uint32_t bytes) {
  if (region == nullptr) return 0;
  const uint32_t count = std::min(bytes, m_nStaged);
  std::memcpy(region, m_pStaging.get(), count);
  m_nStaged -= count;
  std::memmove(m_pStaging.get(), m_pStaging.get() + count, m_nStaged);
  return count;
}

// False when the device does not tell a position inside the buffer: nothing can be decided in this pass then.
bool AudioViewer::ReadPlayCursor(uint32_t& playCursor) {
  DWORD play = 0;
  DWORD write = 0;
  const HRESULT result = m_pSoundBuffer->GetCurrentPosition(&play, &write);
  // Without a cursor no feed would come to its lock, and nobody would restore the buffer.
  if (result == DSERR_BUFFERLOST) m_pSoundBuffer->Restore();
  playCursor = play;
  return result == DS_OK && playCursor < m_Sizes.bufferSize;
}
