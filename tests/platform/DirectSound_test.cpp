// The buffers that every sound system shares, and the silent device's clockwork.
#include "platform/DirectSound.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <string>

#include "platform/Owned.h"
#include "tests/support/ManualClock.h"

namespace {

WAVEFORMATEX Pcm(WORD channels, DWORD rate, WORD bits) {
  const auto block = static_cast<WORD>(channels * bits / 8);
  return {WAVE_FORMAT_PCM, channels, rate, rate * block, block, bits, 0};
}

class DirectSoundTest : public testing::Test {
 protected:
  DirectSoundTest() {
    setenv("QXSDKP_SOUND", "null", 1);
    EXPECT_EQ(DirectSoundCreate8(nullptr, m_Device.Receive(), nullptr), DS_OK);
  }
  ~DirectSoundTest() override { unsetenv("QXSDKP_SOUND"); }

  HRESULT Create(WAVEFORMATEX format, DWORD bytes) {
    DSBUFFERDESC desc{};
    desc.dwSize = sizeof(desc);
    desc.dwFlags = DSBCAPS_GETCURRENTPOSITION2 | DSBCAPS_GLOBALFOCUS;
    desc.dwBufferBytes = bytes;
    desc.lpwfxFormat = &format;
    return m_Device->CreateSoundBuffer(&desc, m_Buffer.Receive(), nullptr);
  }
  HRESULT Play() { return m_Buffer->Play(0, 0, DSBPLAY_LOOPING); }
  DWORD CursorAfter(uint64_t ms) {
    m_Clock.Advance(ms);
    DWORD play = 0xDEAD;
    DWORD write = 0xDEAD;
    EXPECT_EQ(m_Buffer->GetCurrentPosition(&play, &write), DS_OK);
    EXPECT_EQ(play, write);
    return play;
  }

  ManualClock m_Clock;
  Owned<IDirectSound8> m_Device;
  Owned<IDirectSoundBuffer> m_Buffer;
};

TEST_F(DirectSoundTest, TheSilentDeviceConsumesAtTheTrueRate) {
  ASSERT_EQ(Create(Pcm(1, 8000, 16), 6400), DS_OK);
  EXPECT_EQ(CursorAfter(1000), 0u);
  ASSERT_EQ(Play(), DS_OK);
  EXPECT_EQ(CursorAfter(1), 16u);
  EXPECT_EQ(CursorAfter(398), 6384u);
  m_Device.Reset();  // buffers live on
  EXPECT_EQ(CursorAfter(1), 0u);
  // Ten years later it is still right.
  EXPECT_EQ(CursorAfter(3650ull * 24 * 3600 * 1000 + 130), 2080u);
  ASSERT_EQ(Play(), DS_OK);  // plays already: no rewind
  EXPECT_EQ(CursorAfter(0), 2080u);
}

TEST_F(DirectSoundTest, JumpsAndStopsWhereItIsTold) {
  ASSERT_EQ(Create(Pcm(2, 11025, 16), 17640), DS_OK);
  ASSERT_EQ(m_Buffer->SetCurrentPosition(103), DS_OK);
  EXPECT_EQ(CursorAfter(0), 100u);
  ASSERT_EQ(Play(), DS_OK);
  EXPECT_EQ(CursorAfter(100), 100u + 1102 * 4);  // 1102.5 frames
  ASSERT_EQ(m_Buffer->SetCurrentPosition(17596), DS_OK);
  EXPECT_EQ(CursorAfter(1), 0u);  // 11 frames on, at the end
  EXPECT_EQ(CursorAfter(1), 44u);
  ASSERT_EQ(m_Buffer->Stop(), DS_OK);
  EXPECT_EQ(CursorAfter(50), 44u);
  ASSERT_EQ(Play(), DS_OK);
  EXPECT_EQ(CursorAfter(1), 88u);
  EXPECT_EQ(m_Buffer->SetCurrentPosition(17640), DSERR_INVALIDPARAM);
  EXPECT_EQ(m_Buffer->Play(0, 0, 0), DSERR_UNSUPPORTED);
}

TEST_F(DirectSoundTest, LocksGiveTheRangeInOneOrTwoParts) {
  ASSERT_EQ(Create(Pcm(1, 8000, 8), 1000), DS_OK);
  void* part1 = nullptr;
  void* part2 = nullptr;
  DWORD bytes1 = 0;
  DWORD bytes2 = 0;
  const auto lock = [&](DWORD offset, DWORD bytes, DWORD flags = 0) {
    return m_Buffer->Lock(offset, bytes, &part1, &bytes1, &part2, &bytes2, flags);
  };
  ASSERT_EQ(lock(0, 1000), DS_OK);
  auto* memory = static_cast<uint8_t*>(part1);
  EXPECT_EQ(bytes1, 1000u);
  EXPECT_EQ(part2, nullptr);
  EXPECT_EQ(bytes2, 0u);
  EXPECT_EQ(std::count(memory, memory + 1000, 0x80), 1000) << "not silent";
  ASSERT_EQ(lock(900, 300), DS_OK);
  EXPECT_EQ(part1, memory + 900);
  EXPECT_EQ(bytes1, 100u);
  EXPECT_EQ(part2, memory);
  EXPECT_EQ(bytes2, 200u);
  EXPECT_EQ(m_Buffer->Unlock(part1, bytes1, part2, bytes2), DS_OK);

  for (const auto& [offset, size, flags] :
       {std::tuple(1000u, 1u, 0u), {0u, 1001u, 0u}, {0u, 0u, 0u}, {0u, 10u, 1u}})
    EXPECT_EQ(lock(offset, size, flags), DSERR_INVALIDPARAM);
  uint8_t elsewhere = 0;
  const struct {
    uint8_t* part1;
    DWORD bytes1;
    uint8_t* part2;
    DWORD bytes2;
  } wrong[] = {{&elsewhere, 1, nullptr, 0},
               {memory - 1, 1, nullptr, 0},
               {memory + 1, 1000, nullptr, 0},
               {memory, 1, memory + 999, 2}};
  for (const auto& one : wrong)
    EXPECT_EQ(m_Buffer->Unlock(one.part1, one.bytes1, one.part2, one.bytes2), DSERR_INVALIDPARAM);
}

TEST_F(DirectSoundTest, RefusesWhatItCannotPlay) {
  WAVEFORMATEX wrongRate = Pcm(1, 8000, 16);
  wrongRate.nAvgBytesPerSec = 8000;
  for (const WAVEFORMATEX& format : {Pcm(0, 8000, 16), Pcm(3, 8000, 16), Pcm(255, 65535, 64),
                                     Pcm(1, 8000, 24), Pcm(1, 99, 16), Pcm(1, 200001, 16), wrongRate}) {
    EXPECT_EQ(Create(format, 6000), DSERR_BADFORMAT);
  }
  for (const DWORD bytes : {0u, 6401u, 0x10000000u})
    EXPECT_EQ(Create(Pcm(1, 8000, 16), bytes), DSERR_INVALIDPARAM);
  EXPECT_EQ(m_Device->CreateSoundBuffer(nullptr, m_Buffer.Receive(), nullptr), DSERR_INVALIDPARAM);
  EXPECT_EQ(m_Buffer.Get(), nullptr);
  for (int allowed = 0; allowed < 2; ++allowed) {
    m_Clock.FailAllocationsAfter(allowed);
    EXPECT_EQ(Create(Pcm(1, 8000, 16), 6400), DSERR_OUTOFMEMORY);
    m_Clock.AllowAllocations();
  }
  EXPECT_EQ(Create(Pcm(2, 48000, 8), 640), DS_OK);
}

TEST_F(DirectSoundTest, NamesThatAreNoDeviceFail) {
  const std::string tooLong = "alsa:" + std::string(300, 'x');
  auto* device = reinterpret_cast<IDirectSound8*>(uintptr_t{1});
  testing::internal::CaptureStderr();
  for (const char* choice :
       {"none", "Null", "nulls", "pulse", "alsa:", "alsa:no such pcm", "alsa:a'b", tooLong.c_str()}) {
    setenv("QXSDKP_SOUND", choice, 1);
    EXPECT_EQ(DirectSoundCreate8(nullptr, &device, nullptr), DSERR_NODRIVER) << choice;
    EXPECT_EQ(device, nullptr);
  }
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  setenv("QXSDKP_SOUND", "null", 1);
  const GUID other{};
  auto* outer = reinterpret_cast<IUnknown*>(uintptr_t{1});
  EXPECT_EQ(DirectSoundCreate8(nullptr, &device, outer), DSERR_NOAGGREGATION);
  EXPECT_EQ(DirectSoundCreate8(&other, &device, nullptr), DSERR_NODRIVER);
  EXPECT_EQ(DirectSoundCreate8(nullptr, nullptr, nullptr), DSERR_INVALIDPARAM);
}

}  // namespace
