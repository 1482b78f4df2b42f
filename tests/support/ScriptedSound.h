// A sound device that plays nothing, stands where the test puts its cursor, and can fail where told.
//
//   ScriptedSound sound;
//   ... viewer.Init(...), SetPreview, Write ...
//   EXPECT_EQ(sound.TakeCalls(), "Lock 0+640; Unlock 640+0");
//   sound.Set([](ScriptedSound::State& state) { state.nPlayCursor = 320; });
//   sound.Fail("Lock", DSERR_BUFFERLOST);   // the next one
//
// It is the platform's sound driver from its construction to its destruction; everything created on it must
// be released before. Any thread.
#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "platform/posix/SoundSeam.h"

class ScriptedSound final : public platform::SoundDriver {
 public:
  struct State {
    uint32_t nPlayCursor = 0;          // what GetCurrentPosition tells; SetCurrentPosition changes it
    uint32_t nLockLimit = UINT32_MAX;  // locks give at most this many bytes in all
    DSBUFFERDESC desc{};               // of the last created buffer: what it was asked for,
    WAVEFORMATEX format{};
    std::vector<uint8_t> memory;  // its memory,
    bool bPlaying = false;        // and whether it plays
    int nBuffers = 0;             // not yet released
    int nDevices = 0;
  };

  ScriptedSound();
  ~ScriptedSound() override;

  // The next `times` calls of that name answer `code` and do nothing else. Names: CreateDevice and the
  // methods' own, but Release.
  void Fail(const std::string& call, HRESULT code, int times = 1);
  State Look() const;
  template <typename Change>
  void Set(Change change) {
    const std::lock_guard lock(m_Mutex);
    change(m_State);
  }
  // The calls since the last time, failed ones too, as "Name arguments; Name arguments"; without
  // GetCurrentPosition and Release.
  std::string TakeCalls();

  HRESULT CreateDevice(LPDIRECTSOUND8* device) override;

 private:
  friend class ScriptedSoundDevice;
  friend class ScriptedSoundBuffer;

  // Records the call and answers its scripted result, or what `effect` answers when none is scripted.
  template <typename Effect>
  HRESULT Call(const std::string& name, const std::string& arguments, Effect effect);

  struct Failure {
    HRESULT code;
    int times;
  };

  platform::SoundDriver* const m_pEarlier;

  mutable std::mutex m_Mutex;  // guards all of the following
  std::map<std::string, Failure> m_Failures;
  std::string m_Calls;
  State m_State;
};
