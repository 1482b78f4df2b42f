// A sound device that plays nothing, stands where the test puts its cursor, and can fail where told.
//
//   ScriptedSound sound;
//   ... viewer.Init(...), SetPreview, Write ...
//   EXPECT_THAT(sound.TakeCalls(), ElementsAre("Lock 0+640", "Unlock 640+0"));
//   sound.SetPlayCursor(320);
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
  static constexpr int kForEver = -1;

  ScriptedSound();
  ~ScriptedSound() override;

  // The next `times` calls of that name answer `code` and do nothing else. Names: CreateDevice,
  // CreateSoundBuffer, SetCooperativeLevel, GetCurrentPosition, Lock, Unlock, Play, SetCurrentPosition, Stop,
  // Restore.
  void Fail(const std::string& call, HRESULT code, int times = 1);
  // What GetCurrentPosition tells; SetCurrentPosition changes it.
  void SetPlayCursor(uint32_t cursor);
  uint32_t PlayCursor() const;
  // Locks give at most this many bytes in all.
  void LimitLock(uint32_t bytes);

  // The calls since the last time, failed ones too, as "Name arguments"; without GetCurrentPosition and
  // Release.
  std::vector<std::string> TakeCalls();
  // The last created buffer: what it was asked for, and its memory.
  DSBUFFERDESC Desc() const;
  WAVEFORMATEX Format() const;
  std::vector<uint8_t> Memory() const;
  bool IsPlaying() const;
  int LiveBuffers() const;
  int LiveDevices() const;

  HRESULT CreateDevice(LPDIRECTSOUND8* device) override;

 private:
  friend class ScriptedSoundDevice;
  friend class ScriptedSoundBuffer;

  // Records the call and takes its scripted result.
  HRESULT Judge(const std::string& call, const std::string& arguments);
  HRESULT CreateBuffer(const DSBUFFERDESC* desc, LPDIRECTSOUNDBUFFER* buffer);
  HRESULT Lock(DWORD offset, DWORD bytes, LPVOID* part1, DWORD* bytes1, LPVOID* part2, DWORD* bytes2);

  struct Failure {
    HRESULT code;
    int times;
  };

  platform::SoundDriver* const m_pEarlier;

  mutable std::mutex m_Mutex;  // guards all of the following
  std::map<std::string, Failure> m_Failures;
  std::vector<std::string> m_Calls;
  DSBUFFERDESC m_Desc{};
  WAVEFORMATEX m_Format{};
  std::vector<uint8_t> m_Memory;
  uint32_t m_nPlayCursor = 0;
  uint32_t m_nLockLimit = UINT32_MAX;
  bool m_bPlaying = false;
  int m_nBuffers = 0;
  int m_nDevices = 0;
};
