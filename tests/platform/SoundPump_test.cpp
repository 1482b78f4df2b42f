// The pump pass by pass, with a PCM device and a clock that the test holds. What is heard of it stands in
// AlsaSound_test.cpp and tests/sound.
#include "platform/posix/SoundPump.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <vector>

#include "tests/support/ManualClock.h"

namespace platform {
namespace {

constexpr SoundFormat kFormat{8000, 1, 16};
constexpr uint32_t kFrames = 3200;
constexpr uint32_t kAhead = 480;  // 60 ms
constexpr uint32_t kLag = 80;     // 10 ms

// A card that does what the test says, and outlives its openings.
struct Card final : PcmOpener {
  bool bGone = false;            // from now on every call finds it gone
  uint32_t nTakes = UINT32_MAX;  // at most so many frames a write
  bool bSwallows = false;        // consumes at once, like a file
  uint32_t nHeld = 0;            // given and not played
  uint32_t nExtraDelay = 0;      // of a sound server
  std::vector<int16_t> sound;    // all that it was given
  int nLive = 0;

  void Play(uint32_t frames) { nHeld -= std::min(nHeld, frames); }
  std::unique_ptr<PcmDevice> Open(const SoundFormat&) override;
};

class CardPcm final : public PcmDevice {
 public:
  explicit CardPcm(Card& card) : m_Card(card) { ++m_Card.nLive; }
  ~CardPcm() override { --m_Card.nLive; }
  uint32_t AheadFrames() const override { return kAhead; }
  bool Query(uint32_t& room, uint32_t& unheard) override {
    room = kAhead - m_Card.nHeld;
    unheard = m_Card.nHeld + m_Card.nExtraDelay;
    return !m_Card.bGone;
  }
  int32_t Write(const uint8_t* sound, uint32_t frames) override {
    if (m_Card.bGone) return -1;
    const uint32_t taken = std::min(frames, m_Card.nTakes);
    const auto* const first = reinterpret_cast<const int16_t*>(sound);
    m_Card.sound.insert(m_Card.sound.end(), first, first + taken);
    if (!m_Card.bSwallows) m_Card.nHeld += taken;
    return static_cast<int32_t>(taken);
  }

 private:
  Card& m_Card;
};

std::unique_ptr<PcmDevice> Card::Open(const SoundFormat&) {
  return std::make_unique<CardPcm>(*this);
}

class SoundPumpTest : public testing::Test {
 protected:
  SoundPumpTest() {
    EXPECT_TRUE(m_Loop.Create(kFormat, kFrames * 2));
    for (uint32_t i = 0; i < kFrames; ++i) {  // frame number n of the loop has the value n
      const auto value = static_cast<int16_t>(i);
      std::memcpy(m_Loop.Draft() + i * 2, &value, 2);
    }
    EXPECT_TRUE(m_Loop.Publish(m_Loop.Draft(), kFrames * 2));
    m_Pump.Begin(0);
  }
  void PassAfter(uint32_t ms) {
    m_Clock.Advance(ms);
    m_Pump.Pass();
  }
  uint32_t Heard() { return m_Pump.Position().play / 2; }
  uint32_t Taken() { return m_Pump.Position().write / 2; }

  ManualClock m_Clock;
  Card m_Card;
  SoundLoop m_Loop;
  SoundPump m_Pump{m_Loop, m_Card};
};

TEST_F(SoundPumpTest, TheCursorNeverGoesBack) {
  std::mt19937 random(3);
  m_Pump.Pass();
  uint32_t last = Heard();
  for (int pass = 0; pass < 5000; ++pass) {
    m_Card.Play(random() % 160);
    m_Card.nExtraDelay = random() % 400;
    PassAfter(random() % 20);
    const uint32_t now = Heard();
    ASSERT_LT((now + kFrames - last) % kFrames, kFrames / 2) << "from " << last << " to " << now;
    // Nor does it lag by what the device holds or a sound server adds.
    ASSERT_LE((Taken() + kFrames - now) % kFrames, kLag);
    last = now;
  }
}

TEST_F(SoundPumpTest, AJumpLeavesNoGapInWhatIsHeard) {
  m_Pump.Pass();
  m_Card.Play(80);
  m_Clock.Advance(10);
  m_Pump.Seek((kAhead + 320) * 2);
  EXPECT_EQ(Heard(), kAhead + 320);
  EXPECT_EQ(Taken(), kAhead + 320);
  m_Pump.Pass();
  // What the device had comes first, then the sound from 320 frames further on.
  ASSERT_EQ(m_Card.sound.size(), kAhead + 80);
  EXPECT_EQ(m_Card.sound[kAhead - 1], static_cast<int16_t>(kAhead - 1));
  EXPECT_EQ(m_Card.sound[kAhead], static_cast<int16_t>(kAhead + 320));
  m_Pump.Seek(0);
  EXPECT_EQ(Heard(), 0u);
}

TEST_F(SoundPumpTest, ADeviceThatGoesOrTakesNothingForASecondIsLostAndFoundAgain) {
  enum Trouble { kGone, kGoneWhileFull, kFull, kTakesNothing };
  for (const Trouble trouble : {kGone, kGoneWhileFull, kFull, kTakesNothing}) {
    SCOPED_TRACE(trouble);
    m_Card = Card{};
    m_Pump.Begin(0);
    PassAfter(0);
    if (trouble == kGone || trouble == kTakesNothing) m_Card.Play(kAhead);
    if (trouble == kTakesNothing) m_Card.nTakes = 0;
    if (trouble == kGone || trouble == kGoneWhileFull) m_Card.bGone = true;
    PassAfter(999);
    EXPECT_EQ(m_Pump.TakeLoss(), m_Card.bGone);
    if (!m_Card.bGone) {
      PassAfter(1);
      EXPECT_TRUE(m_Pump.TakeLoss());
    }
    EXPECT_FALSE(m_Pump.TakeLoss());
    EXPECT_EQ(m_Card.nLive, 0);
    EXPECT_EQ(Heard(), kAhead) << "nothing that it held will be heard";
    PassAfter(500);
    EXPECT_EQ(Heard(), (kAhead + 4000) % kFrames) << "silence goes on at the true rate";
    m_Card = Card{};
    PassAfter(500);
    EXPECT_EQ(m_Card.nHeld, kAhead);
    // One that is served late, but takes what is due, is not lost.
    m_Card.Play(kAhead);
    PassAfter(5000);
    EXPECT_FALSE(m_Pump.TakeLoss());
    m_Pump.End();
    EXPECT_EQ(m_Card.nLive, 0);
  }
}

TEST_F(SoundPumpTest, ADeviceThatSwallowsEverythingIsHeldToTheClock) {
  m_Card.bSwallows = true;
  for (int pass = 0; pass < 1000; ++pass) {
    PassAfter(1);
    m_Pump.Pass();
  }
  EXPECT_GE(m_Card.sound.size(), 8000u);
  EXPECT_LE(m_Card.sound.size(), 8000u + kAhead + 8000 / 200);
}

}  // namespace
}  // namespace platform
