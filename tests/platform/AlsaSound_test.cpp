// ALSA for real, over a card of our own that breaks. What a good one is given, and how it sounds, is heard
// with whole players.
#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <vector>

#include "platform/DirectSound.h"
#include "platform/Owned.h"
#include "tests/platform/FaultyCard.h"
#include "tests/support/ManualClock.h"
#include "tests/support/TempDir.h"

namespace {

class AlsaTest : public testing::Test {
 protected:
  static constexpr uint32_t kFrames = 19200;  // 400 ms
  static constexpr uint32_t kAhead = 2880;    // 60 ms, what the card is given at once

  AlsaTest() {
    m_pCard = UseFaultyCard(FAULTY_CARD, m_Dir / "asound.conf");
    // Whatever an earlier test left: nothing is open now.
    Set([](FaultyCard& card) {
      card.nOpenError = card.nPulled = card.nResumeRefusals = card.nResumes = 0;
      card.sound.clear();
    });
    Create("alsa:faulty");
    m_nFirstOpens = m_pCard->nOpens;
  }
  ~AlsaTest() override {
    m_Buffer.Reset();
    EXPECT_EQ(m_pCard->nLive, 0);
    unsetenv("ALSA_CONFIG_PATH");
    unsetenv("QXSDKP_SOUND");
  }

  // A buffer whose frame number n has the value n on both channels.
  void Create(const char* choice) {
    choice != nullptr ? setenv("QXSDKP_SOUND", choice, 1) : unsetenv("QXSDKP_SOUND");
    m_Buffer.Reset();
    ASSERT_EQ(DirectSoundCreate8(nullptr, m_Device.Receive(), nullptr), DS_OK);
    WAVEFORMATEX format{WAVE_FORMAT_PCM, 2, 48000, 48000 * 4, 4, 16, 0};
    DSBUFFERDESC desc{};
    desc.dwSize = sizeof(desc);
    desc.dwBufferBytes = kFrames * 4;
    desc.lpwfxFormat = &format;
    ASSERT_EQ(m_Device->CreateSoundBuffer(&desc, m_Buffer.Receive(), nullptr), DS_OK);
    ASSERT_EQ(Lock(), DS_OK);
    auto* frames = static_cast<uint32_t*>(m_pMemory);
    for (uint32_t i = 0; i < kFrames; ++i)
      frames[i] = i << 16 | i;
    ASSERT_EQ(m_Buffer->Unlock(m_pMemory, kFrames * 4, nullptr, 0), DS_OK);
  }
  HRESULT Lock() {
    DWORD locked = 0;
    return m_Buffer->Lock(0, kFrames * 4, &m_pMemory, &locked, nullptr, nullptr, 0);
  }
  HRESULT Play() { return m_Buffer->Play(0, 0, DSBPLAY_LOOPING); }
  HRESULT TryDevice() {
    Owned<IDirectSound8> another;
    return DirectSoundCreate8(nullptr, another.Receive(), nullptr);
  }

  // Waits until something holds for the card, looking after each of alsa-lib's calls.
  template <typename Condition>
  bool Until(Condition condition) {
    std::unique_lock lock(m_pCard->mutex);
    return m_pCard->moved.wait_for(lock, std::chrono::seconds(60), condition);
  }
  template <typename Change>
  void Set(Change change) {
    const std::lock_guard lock(m_pCard->mutex);
    change(*m_pCard);
  }
  bool UntilGiven(size_t frames) {
    return Until([&] { return m_pCard->sound.size() >= frames; });
  }
  // The card plays, and time passes with it.
  void PlayOut(uint32_t ms) {
    Set([&](FaultyCard& card) { card.llPlayed += uint64_t{ms} * 48; });
    m_Clock.Advance(ms);
  }
  void ExpectInOrder(size_t first) {
    const std::lock_guard lock(m_pCard->mutex);
    for (size_t i = 0; i < m_pCard->sound.size(); ++i) {
      const auto frame = static_cast<uint32_t>((first + i) % kFrames);
      ASSERT_EQ(m_pCard->sound[i], frame << 16 | frame) << i;
    }
  }
  DWORD PlayedFrame() {
    DWORD play = 0;
    EXPECT_EQ(m_Buffer->GetCurrentPosition(&play, nullptr), DS_OK);
    return play / 4;
  }

  TempDir m_Dir;
  ManualClock m_Clock;
  Owned<IDirectSound8> m_Device;
  Owned<IDirectSoundBuffer> m_Buffer;
  void* m_pMemory = nullptr;  // of the last lock
  FaultyCard* m_pCard = nullptr;
  int m_nFirstOpens = 0;
};

TEST_F(AlsaTest, TheCursorFollowsTheCardThroughUnderrunAndSuspend) {
  ASSERT_EQ(Play(), DS_OK);
  ASSERT_TRUE(UntilGiven(kAhead));
  for (uint32_t round = 1; round <= 60; ++round) {
    PlayOut(10);
    ASSERT_TRUE(UntilGiven(kAhead + 480 * round));
    // The play cursor is 10 ms before what the card was given, which the pump may not yet have noted.
    ASSERT_TRUE(Until([&] { return PlayedFrame() == (kAhead + 480 * (round - 1)) % kFrames; }));
  }
  const size_t given = kAhead + 480 * 60;
  Set([](FaultyCard& card) { card.nPulled = -EPIPE; });
  m_Clock.Advance(60);
  ASSERT_TRUE(UntilGiven(given + kAhead));
  Set([](FaultyCard& card) {
    card.nPulled = -ESTRPIPE;
    card.nResumeRefusals = 3;
  });
  ASSERT_TRUE(Until([&] { return m_pCard->nResumes == 4; }));
  PlayOut(20);
  ASSERT_TRUE(UntilGiven(given + kAhead + 960));
  Set([this](FaultyCard& card) { EXPECT_EQ(card.nOpens, m_nFirstOpens + 1); });
  ASSERT_EQ(m_Buffer->Stop(), DS_OK);
  ExpectInOrder(0);
}

TEST_F(AlsaTest, AnUnpluggedCardIsToldOnceAndFoundAgain) {
  ASSERT_EQ(Play(), DS_OK);
  ASSERT_TRUE(UntilGiven(kAhead));
  Set([](FaultyCard& card) { card.nPulled = card.nOpenError = -ENODEV; });
  ASSERT_TRUE(Until([&] { return m_pCard->nLive == 0; }));
  m_Clock.Advance(1000);
  ASSERT_TRUE(Until([&] { return m_pCard->nOpens == m_nFirstOpens + 2; }));
  EXPECT_EQ(Lock(), DSERR_BUFFERLOST);
  EXPECT_EQ(Lock(), DSERR_BUFFERLOST);
  EXPECT_EQ(m_Buffer->Restore(), DS_OK);
  EXPECT_EQ(Lock(), DS_OK);

  Set([](FaultyCard& card) { card.nOpenError = 0; });
  m_Clock.Advance(1000);
  ASSERT_TRUE(UntilGiven(2 * kAhead));
}

TEST_F(AlsaTest, UnsetMeansTheDefaultCardOrSilence) {
  Create(nullptr);
  ASSERT_EQ(Play(), DS_OK);
  ASSERT_TRUE(Until([&] { return m_pCard->nLive == 1; }));
  ASSERT_EQ(m_Buffer->Stop(), DS_OK);

  Set([](FaultyCard& card) { card.nOpenError = -ENODEV; });
  Create(nullptr);
  ASSERT_EQ(Play(), DS_OK);
  m_Clock.Advance(5);
  EXPECT_EQ(PlayedFrame(), 240u);  // at once, so there is no thread and no card
  setenv("QXSDKP_SOUND", "alsa", 1);
  EXPECT_EQ(TryDevice(), DSERR_NODRIVER);
  Set([](FaultyCard& card) { card.nOpenError = -EBUSY; });
  EXPECT_EQ(TryDevice(), DS_OK) << "that is waited for";
}

TEST_F(AlsaTest, StopSilencesAtOnceAndPlayStartsAnew) {
  m_Clock.FailThreads(true);
  EXPECT_EQ(Play(), DSERR_OUTOFMEMORY);
  EXPECT_EQ(PlayedFrame(), 0u);
  m_Clock.FailThreads(false);
  for (DWORD first = 0; first < kFrames; first += 1000) {
    Set([](FaultyCard& card) { card.sound.clear(); });
    ASSERT_EQ(m_Buffer->SetCurrentPosition(first * 4), DS_OK);
    ASSERT_EQ(Play(), DS_OK);
    ASSERT_TRUE(UntilGiven(kAhead));
    ASSERT_EQ(m_Buffer->Stop(), DS_OK);
    EXPECT_EQ(m_pCard->nLive, 0);
    ExpectInOrder(first);
  }
}

}  // namespace
