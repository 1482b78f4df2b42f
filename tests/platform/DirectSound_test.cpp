// The buffers that every sound system shares, and the silent device's clockwork.
#include "platform/DirectSound.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "platform/Owned.h"
#include "tests/support/ManualClock.h"

namespace {

class EnvironmentVariable {
 public:
  EnvironmentVariable(const char* name, const char* value) : m_pName(name) {
    value != nullptr ? setenv(name, value, 1) : unsetenv(name);
  }
  ~EnvironmentVariable() { unsetenv(m_pName); }

 private:
  const char* m_pName;
};

WAVEFORMATEX Pcm(WORD channels, DWORD rate, WORD bits) {
  const auto block = static_cast<WORD>(channels * bits / 8);
  return {WAVE_FORMAT_PCM, channels, rate, rate * block, block, bits, 0};
}

class DirectSoundTest : public testing::Test {
 protected:
  DirectSoundTest() { EXPECT_EQ(DirectSoundCreate8(nullptr, m_Device.Receive(), nullptr), DS_OK); }

  HRESULT Create(WAVEFORMATEX format, DWORD bytes) {
    DSBUFFERDESC desc{};
    desc.dwSize = sizeof(desc);
    desc.dwFlags = DSBCAPS_GETCURRENTPOSITION2 | DSBCAPS_GLOBALFOCUS;
    desc.dwBufferBytes = bytes;
    desc.lpwfxFormat = &format;
    return m_Device->CreateSoundBuffer(&desc, m_Buffer.Receive(), nullptr);
  }
  DWORD PlayCursor() {
    DWORD play = 0xDEAD;
    DWORD write = 0xDEAD;
    EXPECT_EQ(m_Buffer->GetCurrentPosition(&play, &write), DS_OK);
    EXPECT_EQ(play, write);
    return play;
  }

  EnvironmentVariable m_Choice{"QXSDKP_SOUND", "null"};
  ManualClock m_Clock;
  Owned<IDirectSound8> m_Device;
  Owned<IDirectSoundBuffer> m_Buffer;
};

TEST_F(DirectSoundTest, TheSilentDeviceConsumesAtTheTrueRate) {
  ASSERT_EQ(Create(Pcm(1, 8000, 16), 6400), DS_OK);
  m_Clock.Advance(1000);
  EXPECT_EQ(PlayCursor(), 0u);
  ASSERT_EQ(m_Buffer->Play(0, 0, DSBPLAY_LOOPING), DS_OK);
  m_Clock.Advance(1);
  EXPECT_EQ(PlayCursor(), 16u);
  m_Clock.Advance(398);
  EXPECT_EQ(PlayCursor(), 6384u);
  m_Clock.Advance(1);
  EXPECT_EQ(PlayCursor(), 0u);
  // A month later it is still right.
  m_Clock.Advance(30ull * 24 * 3600 * 1000 + 130);
  EXPECT_EQ(PlayCursor(), 2080u);
  ASSERT_EQ(m_Buffer->Play(0, 0, DSBPLAY_LOOPING), DS_OK);  // plays already: no rewind
  EXPECT_EQ(PlayCursor(), 2080u);
}

TEST_F(DirectSoundTest, JumpsAndStopsWhereItIsTold) {
  ASSERT_EQ(Create(Pcm(2, 11025, 16), 17640), DS_OK);
  ASSERT_EQ(m_Buffer->SetCurrentPosition(103), DS_OK);
  EXPECT_EQ(PlayCursor(), 100u);
  ASSERT_EQ(m_Buffer->Play(0, 0, DSBPLAY_LOOPING), DS_OK);
  m_Clock.Advance(100);
  EXPECT_EQ(PlayCursor(), 100u + 1102 * 4);  // 1102.5 frames
  ASSERT_EQ(m_Buffer->SetCurrentPosition(17636), DS_OK);
  m_Clock.Advance(1);
  EXPECT_EQ(PlayCursor(), 40u);  // 11 frames on, across the end
  ASSERT_EQ(m_Buffer->Stop(), DS_OK);
  m_Clock.Advance(50);
  EXPECT_EQ(PlayCursor(), 40u);
  ASSERT_EQ(m_Buffer->Play(0, 0, DSBPLAY_LOOPING), DS_OK);
  m_Clock.Advance(1);
  EXPECT_EQ(PlayCursor(), 84u);
  EXPECT_EQ(m_Buffer->SetCurrentPosition(17640), DSERR_INVALIDPARAM);
}

TEST_F(DirectSoundTest, LocksGiveTheRangeInOneOrTwoParts) {
  ASSERT_EQ(Create(Pcm(1, 8000, 8), 1000), DS_OK);
  void* part1 = nullptr;
  void* part2 = nullptr;
  DWORD bytes1 = 0;
  DWORD bytes2 = 0;
  ASSERT_EQ(m_Buffer->Lock(0, 1000, &part1, &bytes1, &part2, &bytes2, 0), DS_OK);
  EXPECT_EQ(bytes1, 1000u);
  EXPECT_EQ(part2, nullptr);
  EXPECT_EQ(bytes2, 0u);
  auto* memory = static_cast<uint8_t*>(part1);
  EXPECT_EQ(std::vector<uint8_t>(memory, memory + 1000), std::vector<uint8_t>(1000, 0x80)) << "not silent";
  ASSERT_EQ(m_Buffer->Lock(900, 300, &part1, &bytes1, &part2, &bytes2, 0), DS_OK);
  EXPECT_EQ(part1, memory + 900);
  EXPECT_EQ(bytes1, 100u);
  EXPECT_EQ(part2, memory);
  EXPECT_EQ(bytes2, 200u);
  EXPECT_EQ(m_Buffer->Unlock(part1, bytes1, part2, bytes2), DS_OK);

  EXPECT_EQ(m_Buffer->Lock(1000, 1, &part1, &bytes1, &part2, &bytes2, 0), DSERR_INVALIDPARAM);
  EXPECT_EQ(m_Buffer->Lock(0, 1001, &part1, &bytes1, &part2, &bytes2, 0), DSERR_INVALIDPARAM);
  EXPECT_EQ(m_Buffer->Lock(0, 0, &part1, &bytes1, &part2, &bytes2, 0), DSERR_INVALIDPARAM);
  EXPECT_EQ(m_Buffer->Lock(0, 10, nullptr, &bytes1, &part2, &bytes2, 0), DSERR_INVALIDPARAM);
  EXPECT_EQ(m_Buffer->Lock(0, 10, &part1, &bytes1, &part2, &bytes2, 1), DSERR_INVALIDPARAM);
  uint8_t elsewhere = 0;
  EXPECT_EQ(m_Buffer->Unlock(&elsewhere, 1, nullptr, 0), DSERR_INVALIDPARAM);
  EXPECT_EQ(m_Buffer->Unlock(memory + 1, 1000, nullptr, 0), DSERR_INVALIDPARAM);
  EXPECT_EQ(m_Buffer->Unlock(memory, 1, memory + 999, 2), DSERR_INVALIDPARAM);
  EXPECT_EQ(m_Buffer->Play(0, 0, 0), DSERR_UNSUPPORTED);
}

TEST_F(DirectSoundTest, RefusesWhatItCannotPlay) {
  EXPECT_EQ(Create(Pcm(0, 8000, 16), 6400), DSERR_BADFORMAT);
  EXPECT_EQ(Create(Pcm(3, 8000, 16), 6000), DSERR_BADFORMAT);
  EXPECT_EQ(Create(Pcm(255, 65535, 64), 6400), DSERR_BADFORMAT);
  EXPECT_EQ(Create(Pcm(1, 8000, 24), 6000), DSERR_BADFORMAT);
  EXPECT_EQ(Create(Pcm(1, 99, 16), 6400), DSERR_BADFORMAT);
  EXPECT_EQ(Create(Pcm(1, 200001, 16), 6400), DSERR_BADFORMAT);
  WAVEFORMATEX format = Pcm(1, 8000, 16);
  format.nAvgBytesPerSec = 8000;
  EXPECT_EQ(Create(format, 6400), DSERR_BADFORMAT);
  EXPECT_EQ(Create(Pcm(1, 8000, 16), 0), DSERR_INVALIDPARAM);
  EXPECT_EQ(Create(Pcm(1, 8000, 16), 6401), DSERR_INVALIDPARAM);
  EXPECT_EQ(Create(Pcm(1, 8000, 16), 0x10000000), DSERR_INVALIDPARAM);
  EXPECT_EQ(m_Device->CreateSoundBuffer(nullptr, m_Buffer.Receive(), nullptr), DSERR_INVALIDPARAM);
  EXPECT_EQ(m_Buffer.Get(), nullptr);
  for (int allowed = 0; allowed < 2; ++allowed) {
    m_Clock.FailAllocationsAfter(allowed);
    EXPECT_EQ(Create(Pcm(1, 8000, 16), 6400), DSERR_OUTOFMEMORY);
    m_Clock.AllowAllocations();
  }
  for (const DWORD rate : {8000u, 11025u, 16000u, 22050u, 44100u, 48000u}) {
    for (const WORD channels : {1, 2}) {
      for (const WORD bits : {8, 16})
        EXPECT_EQ(Create(Pcm(channels, rate, bits), 640), DS_OK);
    }
  }
}

TEST_F(DirectSoundTest, ABufferOutlivesItsDevice) {
  ASSERT_EQ(Create(Pcm(1, 8000, 16), 6400), DS_OK);
  ASSERT_EQ(m_Buffer->Play(0, 0, DSBPLAY_LOOPING), DS_OK);
  m_Device.Reset();
  m_Clock.Advance(10);
  EXPECT_EQ(PlayCursor(), 160u);
}

TEST(DirectSoundChoice, NamesThatAreNoDeviceFail) {
  const std::string tooLong = "alsa:" + std::string(300, 'x');
  for (const char* choice :
       {"none", "Null", "nulls", "pulse", "alsa:", "alsa:no such pcm", "alsa:a'b", tooLong.c_str()}) {
    const EnvironmentVariable chosen("QXSDKP_SOUND", choice);
    auto* device = reinterpret_cast<IDirectSound8*>(uintptr_t{1});
    testing::internal::CaptureStderr();
    EXPECT_EQ(DirectSoundCreate8(nullptr, &device, nullptr), DSERR_NODRIVER) << choice;
    EXPECT_EQ(device, nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  }
  const GUID other{};
  IDirectSound8* device = nullptr;
  EXPECT_EQ(DirectSoundCreate8(&other, &device, nullptr), DSERR_NODRIVER);
  EXPECT_EQ(DirectSoundCreate8(nullptr, nullptr, nullptr), DSERR_INVALIDPARAM);
}

}  // namespace
