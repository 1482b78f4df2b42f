// ALSA for real: its file PCM takes down what would be heard, and a card of our own breaks.
#include <dlfcn.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <numbers>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/DirectSound.h"
#include "platform/Owned.h"
#include "tests/platform/FaultyCard.h"
#include "tests/support/ManualClock.h"
#include "tests/support/TempDir.h"

namespace {

class AlsaTest : public testing::Test {
 protected:
  AlsaTest() {
    const std::string fifo = m_Dir / "fifo";
    EXPECT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    // With a writer of its own, so that it never reads as closed.
    m_nFifo = open(fifo.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    const std::string path = m_Dir / "asound.conf";
    std::ofstream(path)
        << "pcm.plug { @args [ SLAVE ] @args.SLAVE { type string } type plug slave.pcm $SLAVE }\n"
        << "pcm.sink { type null }\n"
        << "pcm.recorder { type file slave.pcm sink format raw file \"" << fifo << "\" }\n"
        << "pcm.hifi { type plug slave { pcm recorder rate 48000 channels 2 format S16_LE } }\n"
        << "pcm_type.faulty { lib \"" << FAULTY_CARD << "\" }\n"
        << "pcm.faulty { type faulty }\n"
        << "pcm.default { type faulty }\n";
    setenv("ALSA_CONFIG_PATH", path.c_str(), 1);
  }
  ~AlsaTest() override {
    m_Buffer.Reset();
    m_Device.Reset();
    close(m_nFifo);
    unsetenv("ALSA_CONFIG_PATH");
    unsetenv("QXSDKP_SOUND");
  }

  // A buffer with `sound` in it, played through the PCM.
  void Create(const char* pcm, WORD channels, DWORD rate, WORD bits, const void* sound, DWORD bytes) {
    setenv("QXSDKP_SOUND", (std::string("alsa:") + pcm).c_str(), 1);
    CreateChosen(channels, rate, bits, sound, bytes);
  }
  void CreateChosen(WORD channels, DWORD rate, WORD bits, const void* sound, DWORD bytes) {
    m_Buffer.Reset();
    ASSERT_EQ(DirectSoundCreate8(nullptr, m_Device.Receive(), nullptr), DS_OK);
    const auto block = static_cast<WORD>(channels * bits / 8);
    WAVEFORMATEX format{WAVE_FORMAT_PCM, channels, rate, rate * block, block, bits, 0};
    DSBUFFERDESC desc{};
    desc.dwSize = sizeof(desc);
    desc.dwBufferBytes = bytes;
    desc.lpwfxFormat = &format;
    ASSERT_EQ(m_Device->CreateSoundBuffer(&desc, m_Buffer.Receive(), nullptr), DS_OK);
    void* memory = nullptr;
    DWORD locked = 0;
    ASSERT_EQ(m_Buffer->Lock(0, bytes, &memory, &locked, nullptr, nullptr, 0), DS_OK);
    std::memcpy(memory, sound, bytes);
    ASSERT_EQ(m_Buffer->Unlock(memory, locked, nullptr, 0), DS_OK);
  }

  // The next bytes that the file PCM wrote; time goes on as long as there are too few.
  std::vector<uint8_t> ReadRecorded(size_t bytes) {
    std::vector<uint8_t> recorded(bytes);
    size_t filled = 0;
    for (int waits = 0; filled < bytes && waits < 10000;) {
      const ssize_t got = read(m_nFifo, recorded.data() + filled, bytes - filled);
      if (got > 0) {
        filled += static_cast<size_t>(got);
        continue;
      }
      ++waits;
      m_Clock.Advance(10);
      pollfd readable{m_nFifo, POLLIN, 0};
      poll(&readable, 1, 10);
    }
    EXPECT_EQ(filled, bytes);
    return recorded;
  }

  TempDir m_Dir;
  int m_nFifo = -1;
  ManualClock m_Clock;
  Owned<IDirectSound8> m_Device;
  Owned<IDirectSoundBuffer> m_Buffer;
};

// Amplitude of one frequency, by Goertzel's recurrence.
double Amplitude(const double* samples, size_t count, double hertz, double rate) {
  const double w = 2 * std::numbers::pi * hertz / rate;
  double s1 = 0;
  double s2 = 0;
  for (size_t i = 0; i < count; ++i) {
    const double s0 = samples[i] + 2 * std::cos(w) * s1 - s2;
    s2 = s1;
    s1 = s0;
  }
  return 2 * std::sqrt(s1 * s1 + s2 * s2 - 2 * std::cos(w) * s1 * s2) / static_cast<double>(count);
}

TEST_F(AlsaTest, SoundComesOutAsItWasWritten) {
  std::vector<int16_t> sound(3200);
  for (size_t i = 0; i < sound.size(); ++i)
    sound[i] = static_cast<int16_t>(i * 7919);
  Create("recorder", 1, 8000, 16, sound.data(), 6400);
  ASSERT_EQ(m_Buffer->Play(0, 0, DSBPLAY_LOOPING), DS_OK);
  const std::vector<uint8_t> recorded = ReadRecorded(32000);
  for (size_t i = 0; i < 16000; ++i) {
    int16_t sample;
    std::memcpy(&sample, recorded.data() + i * 2, 2);
    ASSERT_EQ(sample, sound[i % 3200]) << i;
  }
}

TEST_F(AlsaTest, A1kHzToneOf8BitsKeepsPitchAndLevelOnA48kHzCard) {
  std::vector<uint8_t> sound(3200);
  for (size_t i = 0; i < sound.size(); ++i) {
    sound[i] = static_cast<uint8_t>(
        std::lround(128 + 100 * std::sin(2 * std::numbers::pi * static_cast<double>(i) / 8)));
  }
  Create("hifi", 1, 8000, 8, sound.data(), 3200);
  ASSERT_EQ(m_Buffer->Play(0, 0, DSBPLAY_LOOPING), DS_OK);
  const std::vector<uint8_t> recorded = ReadRecorded(48000 * 4);
  for (const size_t channel : {0u, 1u}) {
    std::vector<double> samples(48000);
    for (size_t i = 0; i < samples.size(); ++i) {
      int16_t sample;
      std::memcpy(&sample, recorded.data() + i * 4 + channel * 2, 2);
      samples[i] = sample;
    }
    const double tone = Amplitude(samples.data() + 4800, 43200, 1000, 48000);
    // A linear resampler lets a tone at a quarter of the band lose about half a decibel.
    EXPECT_GT(tone, 0.90 * 100 * 256);
    EXPECT_LT(tone, 1.02 * 100 * 256);
    EXPECT_LT(Amplitude(samples.data() + 4800, 43200, 1010, 48000), tone / 100);
    // Any gap, repeat or click breaks the tone in its 5 ms.
    for (size_t start = 4800; start + 240 <= samples.size(); start += 240) {
      const double part = Amplitude(samples.data() + start, 240, 1000, 48000);
      ASSERT_NEAR(part, tone, tone * 0.02) << "at frame " << start;
    }
  }
}

class FaultyCardTest : public AlsaTest {
 protected:
  static constexpr uint32_t kFrames = 19200;  // 400 ms

  FaultyCardTest() {
    void* library = dlopen(FAULTY_CARD, RTLD_NOW);
    if (library == nullptr) throw std::runtime_error(dlerror());
    m_pCard = static_cast<FaultyCard*>(dlsym(library, "faulty_card"));
    // Whatever an earlier test left: nothing is open now.
    Set([](FaultyCard& card) {
      card.nOpenError = card.nPulled = card.nResumeRefusals = card.nResumes = 0;
      card.sound.clear();
    });
    std::vector<uint32_t> sound(kFrames);
    for (uint32_t i = 0; i < kFrames; ++i)
      sound[i] = i << 16 | i;
    Create("faulty", 2, 48000, 16, sound.data(), kFrames * 4);
    m_nFirstOpens = m_pCard->nOpens;
  }
  ~FaultyCardTest() override {
    m_Buffer.Reset();
    EXPECT_EQ(m_pCard->nLive, 0);
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
  void ExpectInOrder() {
    const std::lock_guard lock(m_pCard->mutex);
    for (size_t i = 0; i < m_pCard->sound.size(); ++i) {
      const auto frame = static_cast<uint32_t>(i % kFrames);
      ASSERT_EQ(m_pCard->sound[i], frame << 16 | frame) << i;
    }
  }
  DWORD PlayedFrame() {
    DWORD play = 0;
    EXPECT_EQ(m_Buffer->GetCurrentPosition(&play, nullptr), DS_OK);
    return play / 4;
  }

  FaultyCard* m_pCard = nullptr;
  int m_nFirstOpens = 0;
};

TEST_F(FaultyCardTest, TheCursorFollowsTheCard) {
  ASSERT_EQ(m_Buffer->Play(0, 0, DSBPLAY_LOOPING), DS_OK);
  ASSERT_TRUE(UntilGiven(2880));
  for (uint32_t round = 1; round <= 60; ++round) {
    PlayOut(10);
    ASSERT_TRUE(UntilGiven(2880 + 480 * round));
    // The play cursor is 10 ms before what the card was given, which the pump may not yet have noted.
    ASSERT_TRUE(Until([&] { return PlayedFrame() == (2880 + 480 * (round - 1)) % kFrames; }));
  }
  ASSERT_EQ(m_Buffer->Stop(), DS_OK);
  ExpectInOrder();
}

TEST_F(FaultyCardTest, GoesOnAfterAnUnderrunAndASuspend) {
  ASSERT_EQ(m_Buffer->Play(0, 0, DSBPLAY_LOOPING), DS_OK);
  ASSERT_TRUE(UntilGiven(2880));
  Set([](FaultyCard& card) { card.nPulled = -EPIPE; });
  m_Clock.Advance(60);
  ASSERT_TRUE(UntilGiven(2 * 2880));
  Set([](FaultyCard& card) {
    card.nPulled = -ESTRPIPE;
    card.nResumeRefusals = 3;
  });
  ASSERT_TRUE(Until([&] { return m_pCard->nResumes == 4; }));
  PlayOut(20);
  ASSERT_TRUE(UntilGiven(2 * 2880 + 960));
  Set([this](FaultyCard& card) { EXPECT_EQ(card.nOpens, m_nFirstOpens + 1); });
  ASSERT_EQ(m_Buffer->Stop(), DS_OK);
  ExpectInOrder();
}

TEST_F(FaultyCardTest, AnUnpluggedCardIsToldOnceAndFoundAgain) {
  ASSERT_EQ(m_Buffer->Play(0, 0, DSBPLAY_LOOPING), DS_OK);
  ASSERT_TRUE(UntilGiven(2880));
  Set([](FaultyCard& card) {
    card.nPulled = -ENODEV;
    card.nOpenError = -ENODEV;
  });
  ASSERT_TRUE(Until([&] { return m_pCard->nLive == 0; }));
  m_Clock.Advance(1000);
  ASSERT_TRUE(Until([&] { return m_pCard->nOpens == m_nFirstOpens + 2; }));

  void* memory = nullptr;
  DWORD bytes = 0;
  EXPECT_EQ(m_Buffer->Lock(0, 400, &memory, &bytes, nullptr, nullptr, 0), DSERR_BUFFERLOST);
  EXPECT_EQ(m_Buffer->Lock(0, 400, &memory, &bytes, nullptr, nullptr, 0), DSERR_BUFFERLOST);
  EXPECT_EQ(m_Buffer->Restore(), DS_OK);
  EXPECT_EQ(m_Buffer->Lock(0, 400, &memory, &bytes, nullptr, nullptr, 0), DS_OK);

  Set([](FaultyCard& card) { card.nOpenError = 0; });
  m_Clock.Advance(1000);
  ASSERT_TRUE(UntilGiven(2 * 2880));
  Set([](FaultyCard& card) { EXPECT_EQ(card.nLive, 1); });
}

TEST_F(FaultyCardTest, ABusyCardIsWaitedFor) {
  Set([](FaultyCard& card) { card.nOpenError = -EBUSY; });
  Owned<IDirectSound8> another;
  EXPECT_EQ(DirectSoundCreate8(nullptr, another.Receive(), nullptr), DS_OK);
  Set([](FaultyCard& card) { card.nOpenError = -ENOENT; });
  EXPECT_EQ(DirectSoundCreate8(nullptr, another.Receive(), nullptr), DSERR_NODRIVER);
  Set([](FaultyCard& card) { card.nOpenError = -EBUSY; });

  ASSERT_EQ(m_Buffer->Play(0, 0, DSBPLAY_LOOPING), DS_OK);
  ASSERT_TRUE(Until([&] { return m_pCard->nOpens == m_nFirstOpens + 3; }));
  Set([](FaultyCard& card) { card.nOpenError = 0; });
  m_Clock.Advance(1000);
  ASSERT_TRUE(UntilGiven(2880));
}

TEST_F(FaultyCardTest, UnsetMeansTheDefaultCardOrSilence) {
  const uint32_t sound[480] = {};
  unsetenv("QXSDKP_SOUND");
  CreateChosen(2, 48000, 16, sound, sizeof(sound));
  ASSERT_EQ(m_Buffer->Play(0, 0, DSBPLAY_LOOPING), DS_OK);
  ASSERT_TRUE(Until([&] { return m_pCard->nLive == 1; }));
  ASSERT_EQ(m_Buffer->Stop(), DS_OK);

  Set([](FaultyCard& card) { card.nOpenError = -ENODEV; });
  CreateChosen(2, 48000, 16, sound, sizeof(sound));
  ASSERT_EQ(m_Buffer->Play(0, 0, DSBPLAY_LOOPING), DS_OK);
  m_Clock.Advance(5);
  EXPECT_EQ(PlayedFrame(), 240u);  // at once, so there is no thread and no card
  setenv("QXSDKP_SOUND", "alsa", 1);
  Owned<IDirectSound8> another;
  EXPECT_EQ(DirectSoundCreate8(nullptr, another.Receive(), nullptr), DSERR_NODRIVER);
}

TEST_F(FaultyCardTest, StopSilencesAtOnceAndPlayStartsAnew) {
  m_Clock.FailThreads(true);
  EXPECT_EQ(m_Buffer->Play(0, 0, DSBPLAY_LOOPING), DSERR_OUTOFMEMORY);
  EXPECT_EQ(PlayedFrame(), 0u);
  m_Clock.FailThreads(false);
  for (int round = 0; round < 20; ++round) {
    Set([](FaultyCard& card) { card.sound.clear(); });
    ASSERT_EQ(m_Buffer->SetCurrentPosition(0), DS_OK);
    ASSERT_EQ(m_Buffer->Play(0, 0, DSBPLAY_LOOPING), DS_OK);
    ASSERT_TRUE(UntilGiven(2880));
    ASSERT_EQ(m_Buffer->Stop(), DS_OK);
    EXPECT_EQ(m_pCard->nLive, 0);
    ExpectInOrder();
  }
}

}  // namespace
