#include "tests/support/ScriptedSound.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

template <typename Effect>
HRESULT ScriptedSound::Call(const std::string& name, const std::string& arguments, Effect effect) {
  const std::lock_guard lock(m_Mutex);
  if (name != "GetCurrentPosition") m_Calls += (m_Calls.empty() ? "" : "; ") + name + arguments;
  const auto failure = m_Failures.find(name);
  if (failure == m_Failures.end() || failure->second.times == 0) {
    effect(m_State);
    return DS_OK;
  }
  --failure->second.times;
  return failure->second.code;
}

namespace {

using State = ScriptedSound::State;

template <typename... Numbers>
std::string Arguments(Numbers... numbers) {
  return ((" " + std::to_string(numbers)) + ...);
}

void Nothing(State&) {}

auto SetPlaying(bool playing) {
  return [playing](State& state) { state.bPlaying = playing; };
}

}  // namespace

class ScriptedSoundBuffer final : public IDirectSoundBuffer {
 public:
  explicit ScriptedSoundBuffer(ScriptedSound& sound) : m_Sound(sound) {}

  ULONG Release() override {
    m_Sound.Set([](State& state) { --state.nBuffers, state.bPlaying = false; });
    delete this;
    return 0;
  }
  HRESULT GetCurrentPosition(DWORD* playCursor, DWORD* writeCursor) override {
    return m_Sound.Call("GetCurrentPosition", "",
                        [=](State& state) { *playCursor = *writeCursor = state.nPlayCursor; });
  }
  // At most as much as the script allows.
  HRESULT Lock(DWORD offset, DWORD bytes, LPVOID* part1, DWORD* bytes1, LPVOID* part2, DWORD* bytes2,
               DWORD flags) override {
    const auto size = static_cast<DWORD>(m_Sound.Look().memory.size());
    if (flags != 0 || offset >= size || bytes == 0 || bytes > size) return DSERR_INVALIDPARAM;
    return m_Sound.Call("Lock", Arguments(offset) + "+" + std::to_string(bytes), [=](State& state) {
      const DWORD given = std::min(bytes, state.nLockLimit);
      *part1 = state.memory.data() + offset;
      *bytes1 = std::min(given, size - offset);
      *bytes2 = given - *bytes1;
      *part2 = *bytes2 != 0 ? state.memory.data() : nullptr;
    });
  }
  HRESULT Play(DWORD reserved, DWORD priority, DWORD flags) override {
    return m_Sound.Call("Play", Arguments(reserved, priority, flags), SetPlaying(true));
  }
  HRESULT SetCurrentPosition(DWORD position) override {
    return m_Sound.Call("SetCurrentPosition", Arguments(position),
                        [=](State& state) { state.nPlayCursor = position; });
  }
  HRESULT Stop() override { return m_Sound.Call("Stop", "", SetPlaying(false)); }
  HRESULT Unlock(LPVOID, DWORD bytes1, LPVOID, DWORD bytes2) override {
    return m_Sound.Call("Unlock", Arguments(bytes1) + "+" + std::to_string(bytes2), Nothing);
  }
  HRESULT Restore() override { return m_Sound.Call("Restore", "", Nothing); }

 private:
  ~ScriptedSoundBuffer() = default;
  ScriptedSound& m_Sound;
};

class ScriptedSoundDevice final : public IDirectSound8 {
 public:
  explicit ScriptedSoundDevice(ScriptedSound& sound) : m_Sound(sound) {}

  ULONG Release() override {
    m_Sound.Set([](State& state) { --state.nDevices; });
    delete this;
    return 0;
  }
  HRESULT CreateSoundBuffer(const DSBUFFERDESC* desc, LPDIRECTSOUNDBUFFER* buffer, IUnknown*) override {
    *buffer = nullptr;
    return m_Sound.Call("CreateSoundBuffer", Arguments(desc->dwBufferBytes), [=, this](State& state) {
      state.desc = *desc;
      state.format = *desc->lpwfxFormat;
      state.memory.assign(desc->dwBufferBytes, 0xEE);
      state.nPlayCursor = 0;
      *buffer = new ScriptedSoundBuffer(m_Sound);
      ++state.nBuffers;
    });
  }
  HRESULT SetCooperativeLevel(HWND window, DWORD level) override {
    return m_Sound.Call("SetCooperativeLevel", Arguments(reinterpret_cast<uintptr_t>(window), level),
                        Nothing);
  }

 private:
  ~ScriptedSoundDevice() = default;
  ScriptedSound& m_Sound;
};

ScriptedSound::ScriptedSound() : m_pEarlier(platform::SetSoundDriver(this)) {}

ScriptedSound::~ScriptedSound() {
  platform::SetSoundDriver(m_pEarlier);
  // Whoever still holds an object would call into freed memory.
  if (m_State.nBuffers != 0 || m_State.nDevices != 0) std::abort();
}

void ScriptedSound::Fail(const std::string& call, HRESULT code, int times) {
  const std::lock_guard lock(m_Mutex);
  m_Failures[call] = {code, times};
}

ScriptedSound::State ScriptedSound::Look() const {
  const std::lock_guard lock(m_Mutex);
  return m_State;
}

std::string ScriptedSound::TakeCalls() {
  const std::lock_guard lock(m_Mutex);
  return std::exchange(m_Calls, {});
}

HRESULT ScriptedSound::CreateDevice(LPDIRECTSOUND8* device) {
  return Call("CreateDevice", "", [=, this](State& state) {
    *device = new ScriptedSoundDevice(*this);
    ++state.nDevices;
  });
}
