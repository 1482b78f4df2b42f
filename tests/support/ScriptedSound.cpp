#include "tests/support/ScriptedSound.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

class ScriptedSoundBuffer final : public IDirectSoundBuffer {
 public:
  explicit ScriptedSoundBuffer(ScriptedSound& sound) : m_Sound(sound) {}

  ULONG Release() override {
    {
      const std::lock_guard lock(m_Sound.m_Mutex);
      --m_Sound.m_nBuffers;
      m_Sound.m_bPlaying = false;
    }
    delete this;
    return 0;
  }
  HRESULT GetCurrentPosition(DWORD* playCursor, DWORD* writeCursor) override {
    const std::lock_guard lock(m_Sound.m_Mutex);
    const HRESULT result = m_Sound.Judge("GetCurrentPosition", "");
    if (result != DS_OK) return result;
    *playCursor = m_Sound.m_nPlayCursor;
    *writeCursor = m_Sound.m_nPlayCursor;
    return DS_OK;
  }
  HRESULT Lock(DWORD offset, DWORD bytes, LPVOID* part1, DWORD* bytes1, LPVOID* part2, DWORD* bytes2,
               DWORD flags) override {
    if (flags != 0) return DSERR_INVALIDPARAM;
    return m_Sound.Lock(offset, bytes, part1, bytes1, part2, bytes2);
  }
  HRESULT Play(DWORD reserved, DWORD priority, DWORD flags) override {
    const std::lock_guard lock(m_Sound.m_Mutex);
    const HRESULT result = m_Sound.Judge("Play", " " + std::to_string(reserved) + " " +
                                                     std::to_string(priority) + " " + std::to_string(flags));
    if (result == DS_OK) m_Sound.m_bPlaying = true;
    return result;
  }
  HRESULT SetCurrentPosition(DWORD position) override {
    const std::lock_guard lock(m_Sound.m_Mutex);
    const HRESULT result = m_Sound.Judge("SetCurrentPosition", " " + std::to_string(position));
    if (result == DS_OK) m_Sound.m_nPlayCursor = position;
    return result;
  }
  HRESULT Stop() override {
    const std::lock_guard lock(m_Sound.m_Mutex);
    const HRESULT result = m_Sound.Judge("Stop", "");
    if (result == DS_OK) m_Sound.m_bPlaying = false;
    return result;
  }
  HRESULT Unlock(LPVOID, DWORD bytes1, LPVOID, DWORD bytes2) override {
    const std::lock_guard lock(m_Sound.m_Mutex);
    return m_Sound.Judge("Unlock", " " + std::to_string(bytes1) + "+" + std::to_string(bytes2));
  }
  HRESULT Restore() override {
    const std::lock_guard lock(m_Sound.m_Mutex);
    return m_Sound.Judge("Restore", "");
  }

 private:
  ~ScriptedSoundBuffer() = default;
  ScriptedSound& m_Sound;
};

class ScriptedSoundDevice final : public IDirectSound8 {
 public:
  explicit ScriptedSoundDevice(ScriptedSound& sound) : m_Sound(sound) {}

  ULONG Release() override {
    {
      const std::lock_guard lock(m_Sound.m_Mutex);
      --m_Sound.m_nDevices;
    }
    delete this;
    return 0;
  }
  HRESULT CreateSoundBuffer(const DSBUFFERDESC* desc, LPDIRECTSOUNDBUFFER* buffer, IUnknown*) override {
    const std::lock_guard lock(m_Sound.m_Mutex);
    return m_Sound.CreateBuffer(desc, buffer);
  }
  HRESULT SetCooperativeLevel(HWND window, DWORD level) override {
    const std::lock_guard lock(m_Sound.m_Mutex);
    return m_Sound.Judge("SetCooperativeLevel", " " + std::to_string(reinterpret_cast<uintptr_t>(window)) +
                                                    " " + std::to_string(level));
  }

 private:
  ~ScriptedSoundDevice() = default;
  ScriptedSound& m_Sound;
};

ScriptedSound::ScriptedSound() : m_pEarlier(platform::SetSoundDriver(this)) {}

ScriptedSound::~ScriptedSound() {
  platform::SetSoundDriver(m_pEarlier);
  // Whoever still holds an object would call into freed memory.
  if (m_nBuffers != 0 || m_nDevices != 0) std::abort();
}

void ScriptedSound::Fail(const std::string& call, HRESULT code, int times) {
  const std::lock_guard lock(m_Mutex);
  m_Failures[call] = {code, times};
}

void ScriptedSound::SetPlayCursor(uint32_t cursor) {
  const std::lock_guard lock(m_Mutex);
  m_nPlayCursor = cursor;
}

uint32_t ScriptedSound::PlayCursor() const {
  const std::lock_guard lock(m_Mutex);
  return m_nPlayCursor;
}

void ScriptedSound::LimitLock(uint32_t bytes) {
  const std::lock_guard lock(m_Mutex);
  m_nLockLimit = bytes;
}

std::vector<std::string> ScriptedSound::TakeCalls() {
  const std::lock_guard lock(m_Mutex);
  return std::exchange(m_Calls, {});
}

DSBUFFERDESC ScriptedSound::Desc() const {
  const std::lock_guard lock(m_Mutex);
  return m_Desc;
}

WAVEFORMATEX ScriptedSound::Format() const {
  const std::lock_guard lock(m_Mutex);
  return m_Format;
}

std::vector<uint8_t> ScriptedSound::Memory() const {
  const std::lock_guard lock(m_Mutex);
  return m_Memory;
}

bool ScriptedSound::IsPlaying() const {
  const std::lock_guard lock(m_Mutex);
  return m_bPlaying;
}

int ScriptedSound::LiveBuffers() const {
  const std::lock_guard lock(m_Mutex);
  return m_nBuffers;
}

int ScriptedSound::LiveDevices() const {
  const std::lock_guard lock(m_Mutex);
  return m_nDevices;
}

HRESULT ScriptedSound::CreateDevice(LPDIRECTSOUND8* device) {
  const std::lock_guard lock(m_Mutex);
  const HRESULT result = Judge("CreateDevice", "");
  if (result != DS_OK) return result;
  *device = new ScriptedSoundDevice(*this);
  ++m_nDevices;
  return DS_OK;
}

HRESULT ScriptedSound::Judge(const std::string& call, const std::string& arguments) {
  if (call != "GetCurrentPosition") m_Calls.push_back(call + arguments);
  const auto failure = m_Failures.find(call);
  if (failure == m_Failures.end() || failure->second.times == 0) return DS_OK;
  if (failure->second.times > 0) --failure->second.times;
  return failure->second.code;
}

HRESULT ScriptedSound::CreateBuffer(const DSBUFFERDESC* desc, LPDIRECTSOUNDBUFFER* buffer) {
  *buffer = nullptr;
  const HRESULT result = Judge("CreateSoundBuffer", " " + std::to_string(desc->dwBufferBytes));
  if (result != DS_OK) return result;
  m_Desc = *desc;
  m_Format = *desc->lpwfxFormat;
  m_Memory.assign(desc->dwBufferBytes, 0xEE);
  m_nPlayCursor = 0;
  *buffer = new ScriptedSoundBuffer(*this);
  ++m_nBuffers;
  return DS_OK;
}

HRESULT ScriptedSound::Lock(DWORD offset, DWORD bytes, LPVOID* part1, DWORD* bytes1, LPVOID* part2,
                            DWORD* bytes2) {
  const std::lock_guard lock(m_Mutex);
  const HRESULT result = Judge("Lock", " " + std::to_string(offset) + "+" + std::to_string(bytes));
  if (result != DS_OK) return result;
  const auto size = static_cast<DWORD>(m_Memory.size());
  if (offset >= size || bytes == 0 || bytes > size) return DSERR_INVALIDPARAM;
  bytes = std::min(bytes, m_nLockLimit);
  *part1 = m_Memory.data() + offset;
  *bytes1 = std::min(bytes, size - offset);
  *bytes2 = bytes - *bytes1;
  *part2 = *bytes2 != 0 ? m_Memory.data() : nullptr;
  return DS_OK;
}
