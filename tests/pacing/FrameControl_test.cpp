// When frames are due: the live modes and the file rule, on a clock that the test sets.
#include "pacing/FrameControl.h"

#include <gtest/gtest.h>

#include "pacing/FrameTimeStamp.h"
#include "platform/posix/KernelSeam.h"

namespace {

class FrameControlTest : public testing::Test, public platform::KernelSeam {
 protected:
  FrameControlTest() { platform::SetKernelSeam(this); }
  ~FrameControlTest() override {
    FrameControl::SetDefaultFrameControlMode(0);
    platform::SetKernelSeam(nullptr);
  }
  uint32_t TimeMs() override { return now; }

  bool Video(int64_t timestamp, int64_t buffered = 0, bool overFilled = false) {
    return control.IsTimeToPlay(timestamp, true, buffered, overFilled);
  }

  // The earliest time from now on at which a frame with this timestamp is due; moves the clock there.
  uint32_t DueAt(int64_t timestamp, int64_t buffered, bool overFilled = false) {
    const uint32_t told = now + control.DueInMs(timestamp, true);
    while (!Video(timestamp, buffered, overFilled))
      ++now;
    EXPECT_EQ(now, told);
    return now;
  }

  // Whether a play thread would not have gone to rest, or would have been woken.
  bool WakesTheThread() {
    m_bSlept = false;
    wakeUp.Wait(1);
    return !m_bSlept;
  }
  bool SleepOnCondition(CONDITION_VARIABLE&, CRITICAL_SECTION&, uint32_t) override {
    m_bSlept = true;
    return false;
  }

  uint32_t now = 100000;
  PlayerLabel label;
  WakeUp wakeUp;
  FrameControl control{label, wakeUp};

 private:
  bool m_bSlept = false;
};

}  // namespace

TEST_F(FrameControlTest, ModesAndTheDefault) {
  for (const uint32_t mode : {0u, 0x10u, 0x20u, 0x25u, 0x2Fu, 0x30u})
    EXPECT_TRUE(control.SetFrameControlMode(mode));
  for (const uint32_t mode : {1u, 0xFu, 0x11u, 0x1Fu, 0x31u, 0xFFFFFFFFu}) {
    EXPECT_FALSE(control.SetFrameControlMode(mode));
    EXPECT_FALSE(FrameControl::SetDefaultFrameControlMode(mode));
  }
  control.ResetToDefault();
  EXPECT_TRUE(Video(1000));
  ASSERT_TRUE(FrameControl::SetDefaultFrameControlMode(0x10));
  EXPECT_FALSE(Video(2000));
  control.ResetToDefault();  // a default is taken here only
  EXPECT_TRUE(Video(1000));
  EXPECT_TRUE(Video(2000));
}

TEST_F(FrameControlTest, TheBufferedModesDriftTowardsTheirTarget) {
  const struct {
    uint32_t mode;
    int64_t buffered;
    bool overFilled;
    int drift;  // of the next frame's due time, ms
  } kCases[] = {
      {0x25, 1200, false, -1}, {0x25, 800, false, 1},  {0x25, 1000, false, 0},  {0x25, 1000, true, -1},
      {0x25, 800, true, -1},   {0x20, 40, false, -1},  {0x30, 1200, false, 0},  {0x30, 10, false, 0},
      {0x30, 10, true, -1},    {0x2F, 2999, false, 1}, {0x2F, 3001, false, -1},
  };
  for (const auto& item : kCases) {
    SCOPED_TRACE(testing::Message() << std::hex << item.mode << " buffered " << std::dec << item.buffered);
    control.SetFrameControlMode(item.mode);
    control.ResetClock(true);
    EXPECT_TRUE(Video(1000, item.buffered));
    const uint32_t first = DueAt(1040, item.buffered, item.overFilled);
    EXPECT_EQ(DueAt(1080, item.buffered, item.overFilled) - first, static_cast<uint32_t>(40 + item.drift));
  }
}

TEST_F(FrameControlTest, AStallResynchronisesOnlyWhenNothingIsBuffered) {
  control.SetFrameControlMode(0x30);
  const auto dueAfterLateness = [this](uint32_t lateMs, int64_t buffered) {
    control.ResetClock(true);
    EXPECT_TRUE(Video(1000));
    now += 40 + lateMs;
    EXPECT_TRUE(Video(1040, buffered));
    const uint32_t played = now;
    return DueAt(1080, 1) - played;
  };
  EXPECT_EQ(dueAfterLateness(4, 0), 40u);
  EXPECT_EQ(dueAfterLateness(3, 0), 37u);
  EXPECT_EQ(dueAfterLateness(30, 500), 10u);

  control.ResetClock(true);  // sound is due earlier by the offset
  control.SetAVOffset(200);
  EXPECT_TRUE(Video(1000));
  EXPECT_TRUE(control.IsTimeToPlay(1200, false, 500, false));
  EXPECT_FALSE(control.IsTimeToPlay(1201, false, 500, false));
  EXPECT_EQ(control.DueInMs(1201, false), 1u);
}

TEST_F(FrameControlTest, FilesPlayAtPowersOfTwoAndStepWhilePaused) {
  control.ResetClock(false);
  control.SetSpeed(2, 1);
  EXPECT_TRUE(Video(0));
  const uint32_t start = now;
  EXPECT_EQ(DueAt(40, 0) - start, 20u);
  EXPECT_EQ(DueAt(80, 0) - start, 40u);
  control.SetSpeed(1, 4);
  EXPECT_TRUE(Video(120));  // a change of speed makes the next frame due at once
  const uint32_t slowed = now;
  EXPECT_EQ(DueAt(160, 0) - slowed, 160u);
  now += 5000;
  EXPECT_TRUE(Video(200));  // late: at once, no skipping

  control.SetPause(true);
  EXPECT_FALSE(Video(0));
  EXPECT_EQ(control.DueInMs(0, true), INFINITE);
  EXPECT_TRUE(WakesTheThread());
  EXPECT_FALSE(WakesTheThread());
  control.SetOneShot();
  EXPECT_TRUE(WakesTheThread());
  EXPECT_EQ(control.DueInMs(0, true), 0u);
  EXPECT_TRUE(control.IsTimeToPlay(0, false, 0, false));
  EXPECT_TRUE(Video(0));
  EXPECT_FALSE(Video(40));
  control.SetPause(false);
  EXPECT_TRUE(Video(40));
}

TEST_F(FrameControlTest, AnyTimestampIsAnswered) {
  for (const uint32_t mode : {0x10u, 0x20u, 0x30u}) {
    control.SetFrameControlMode(mode);
    for (const bool live : {true, false}) {
      control.ResetClock(live);
      control.SetSpeed(1, 1 << 30);
      control.SetAVOffset(INT32_MIN);
      EXPECT_TRUE(Video(1));
      for (const int64_t timestamp : {INT64_MIN, INT64_MAX, INT64_C(-1), INT64_C(0)}) {
        for (const bool isVideo : {true, false}) {
          const bool due = control.IsTimeToPlay(timestamp, isVideo, 0, false);
          EXPECT_TRUE(due || control.DueInMs(timestamp, isVideo) > 0);
        }
      }
      control.ResetClock(live);
      EXPECT_TRUE(Video(1));  // the clock starts anew, whatever came before
    }
  }
}

TEST(FrameTimeStamp, CountsOnFromTheLastStampWhenTheRateChanges) {
  FrameTimeStamp stamps;
  EXPECT_EQ(stamps.LastTimeStamp(), 0);
  EXPECT_EQ(stamps.NextVideoTimeStamp(), 40);
  EXPECT_EQ(stamps.NextVideoTimeStamp(), 80);
  stamps.SetFrameRate(30000, 1001);
  EXPECT_EQ(stamps.LastTimeStamp(), 80);
  for (const int stamp : {33, 66, 100})
    EXPECT_EQ(stamps.NextVideoTimeStamp(), 80 + stamp);
  stamps.Reset();
  EXPECT_EQ(stamps.NextVideoTimeStamp(), 40);
}
