// What the viewer does with a device that fails, and on the silent device.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "audio/AudioViewer.h"
#include "src/kitc/Log.h"
#include "tests/support/LogLines.h"
#include "tests/support/ManualClock.h"
#include "tests/support/ScriptedSound.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

const AudioFormat kTelephone{1, 8000, 16, 400, 200};
const HWND kWindow = reinterpret_cast<HWND>(uintptr_t{77});

class AudioViewerFaults : public testing::Test {
 protected:
  ~AudioViewerFaults() override {
    m_Viewer.Release();
    AudioViewer::ReleaseSDK();
  }
  void Begin() {
    ASSERT_TRUE(AudioViewer::InitSDK());
    ASSERT_TRUE(m_Viewer.Init(5, kTelephone));
    ASSERT_TRUE(m_Viewer.SetPreview(kWindow, true));
    m_Sound.TakeCalls();
  }
  bool Write(uint32_t size) {
    const std::vector<uint8_t> data(size, 0x5A);
    return m_Viewer.Write(data.data(), size);
  }
  void ExpectNothingWorks() {
    EXPECT_FALSE(m_Viewer.SetPreview(kWindow, true));
    EXPECT_FALSE(Write(640));
    m_Clock.Advance(20);
    m_Viewer.Monitor();
    m_Viewer.Stop();
    EXPECT_FALSE(m_Viewer.IsEnabled());
    EXPECT_EQ(m_Sound.LiveBuffers(), 0);
  }

  ManualClock m_Clock;
  ScriptedSound m_Sound;
  AudioViewer m_Viewer;
};

TEST_F(AudioViewerFaults, WithoutADeviceEverythingButSoundGoesOn) {
  m_Sound.Fail("CreateDevice", DSERR_NODRIVER);
  EXPECT_FALSE(AudioViewer::InitSDK());
  EXPECT_FALSE(m_Viewer.Init(5, kTelephone));
  ExpectNothingWorks();
  AudioViewer::ReleaseSDK();
  EXPECT_TRUE(AudioViewer::InitSDK());
  EXPECT_TRUE(m_Viewer.Init(5, kTelephone));
}

TEST_F(AudioViewerFaults, InitLeavesNothingBehindWhenItFails) {
  Begin();
  m_Sound.Fail("CreateSoundBuffer", DSERR_BADFORMAT);
  EXPECT_FALSE(m_Viewer.Init(5, kTelephone));
  ExpectNothingWorks();

  m_Clock.FailAllocationsAfter(0);
  EXPECT_FALSE(m_Viewer.Init(5, kTelephone));
  m_Clock.AllowAllocations();
  ExpectNothingWorks();

  // The device would take any of these; the viewer does not.
  for (const AudioFormat& format :
       {AudioFormat{0, 8000, 16, 400, 200}, AudioFormat{1, 0, 16, 400, 200},
        AudioFormat{1, 8000, 0, 400, 200}, AudioFormat{0x20001, 8000, 8, 400, 200}}) {
    EXPECT_FALSE(m_Viewer.Init(5, format));
  }
  ExpectNothingWorks();
  EXPECT_TRUE(m_Viewer.Init(5, kTelephone));
}

TEST_F(AudioViewerFaults, ALostBufferIsRestoredAndLockedOnceMore) {
  Begin();
  m_Sound.Fail("Lock", DSERR_BUFFERLOST);
  EXPECT_TRUE(Write(640));
  EXPECT_THAT(m_Sound.TakeCalls(), ElementsAre("Lock 0+640", "Restore", "Lock 0+640", "Unlock 640+0"));

  // Still lost: nothing is written, nothing is lost, and the next feed tries again.
  m_Sound.Fail("Lock", DSERR_BUFFERLOST, 2);
  EXPECT_TRUE(Write(640));
  EXPECT_THAT(m_Sound.TakeCalls(), ElementsAre("Lock 640+640", "Restore", "Lock 640+640"));
  m_Clock.Advance(10);
  m_Viewer.Monitor();
  EXPECT_THAT(m_Sound.TakeCalls(), ElementsAre("Lock 640+640", "Unlock 640+0"));

  m_Sound.Fail("GetCurrentPosition", DSERR_BUFFERLOST);
  EXPECT_TRUE(Write(640));
  EXPECT_TRUE(Write(2));
  EXPECT_THAT(m_Sound.TakeCalls(), ElementsAre("Restore", "Lock 1280+642", "Unlock 642+0"));
}

TEST_F(AudioViewerFaults, ADeviceThatTakesPartsOfABlockStartsOver) {
  Begin();
  m_Sound.LimitLock(641);
  EXPECT_TRUE(Write(800));
  m_Sound.LimitLock(UINT32_MAX);
  EXPECT_TRUE(Write(640));
  EXPECT_THAT(m_Sound.TakeCalls(), ElementsAre("Lock 0+800", "Unlock 641+0", "Lock 0+640", "Unlock 640+0"));
  for (int i = 0; i < 4; ++i)
    EXPECT_TRUE(Write(640));
  ASSERT_TRUE(m_Viewer.IsPlaying());
  m_Sound.TakeCalls();
  m_Sound.LimitLock(641);
  EXPECT_TRUE(Write(700));
  EXPECT_THAT(m_Sound.TakeCalls(),
              ElementsAre("Lock 3200+700", "Unlock 641+0", "Stop", "SetCurrentPosition 0"));
  EXPECT_FALSE(m_Viewer.IsPlaying());
}

TEST_F(AudioViewerFaults, NothingIsDecidedOnACursorOutsideTheBuffer) {
  Begin();
  for (int i = 0; i < 5; ++i)
    EXPECT_TRUE(Write(640));
  m_Sound.TakeCalls();
  for (const uint32_t cursor : {6400u, 9000u, UINT32_MAX}) {
    m_Sound.SetPlayCursor(cursor);
    EXPECT_TRUE(Write(640));
    m_Clock.Advance(10);
    m_Viewer.Monitor();
    EXPECT_THAT(m_Sound.TakeCalls(), IsEmpty()) << cursor;
  }
  EXPECT_TRUE(m_Viewer.IsPlaying());
}

TEST_F(AudioViewerFaults, SoundStartsWithTheNext200MsWhenTheDeviceRefusedToPlay) {
  Begin();
  m_Sound.Fail("Play", DSERR_BUFFERLOST);
  for (int i = 0; i < 5; ++i)
    EXPECT_TRUE(Write(640));
  EXPECT_FALSE(m_Viewer.IsPlaying());
  m_Sound.TakeCalls();
  for (int i = 0; i < 4; ++i)
    EXPECT_TRUE(Write(640));
  EXPECT_FALSE(m_Viewer.IsPlaying());
  EXPECT_TRUE(Write(640));
  EXPECT_TRUE(m_Viewer.IsPlaying());
  EXPECT_EQ(m_Sound.TakeCalls().front(), "Lock 0+640");
}

// Every call of the device fails in turn, once and for a while, with cursors that make no sense among them.
TEST_F(AudioViewerFaults, SurvivesEveryFailureAndEveryCursor) {
  std::mt19937 random(7);
  const auto upTo = [&](uint32_t last) { return std::uniform_int_distribution<uint32_t>(0, last)(random); };
  for (const char* call : {"SetCooperativeLevel", "GetCurrentPosition", "Lock", "Unlock", "Play",
                           "SetCurrentPosition", "Stop", "Restore"}) {
    SCOPED_TRACE(call);
    Begin();
    for (int i = 0; i < 2000; ++i) {
      if (i % 50 == 0) m_Sound.Fail(call, DSERR_GENERIC, i % 100 == 0 ? 1 : 40);
      if (i % 7 == 0) m_Sound.SetPlayCursor(upTo(i % 21 == 0 ? UINT32_MAX : 6399));
      m_Sound.LimitLock(i % 11 == 0 ? upTo(2000) : UINT32_MAX);
      Write(upTo(1000) * (i % 5 == 0 ? 1 : 2));
      m_Clock.Advance(upTo(15));
      m_Viewer.Monitor();
      if (i % 97 == 0) m_Viewer.SetPreview(kWindow, true);
    }
    m_Sound.Fail(call, DS_OK, 0);
    m_Sound.LimitLock(UINT32_MAX);
    // And it still plays.
    ASSERT_TRUE(m_Viewer.Init(5, kTelephone));
    ASSERT_TRUE(m_Viewer.SetPreview(kWindow, true));
    for (int i = 0; i < 5; ++i)
      ASSERT_TRUE(Write(640));
    ASSERT_TRUE(m_Sound.IsPlaying());
  }
}

// The silent device on a clock that the test moves: ten seconds of a steady stream play without a pause, a
// stream that ends pauses after what it had queued, and one that runs too fast is held to its latency.
TEST(AudioViewerOnSilence, PlaysASteadyStream) {
  setenv("QXSDKP_SOUND", "null", 1);
  ManualClock clock;
  AudioViewer viewer;
  ASSERT_TRUE(AudioViewer::InitSDK());
  ASSERT_TRUE(viewer.Init(9, kTelephone));
  ASSERT_TRUE(viewer.SetPreview(kWindow, true));
  kitc_log_config(kLogNone, nullptr, kLogAll);
  const std::vector<uint8_t> block(640);
  const auto run = [&](int ms, int blockEveryMs) {
    for (int i = 1; i <= ms; ++i) {
      if (blockEveryMs != 0 && i % blockEveryMs == 0) viewer.Write(block.data(), 640);
      clock.Advance(1);
      viewer.Monitor();
    }
  };
  run(200, 40);
  EXPECT_TRUE(viewer.IsPlaying());
  run(10000, 40);
  EXPECT_TRUE(viewer.IsPlaying());
  EXPECT_THAT(TakeLogLines(clock), IsEmpty());

  run(160, 0);
  EXPECT_TRUE(viewer.IsPlaying());
  run(50, 0);
  EXPECT_FALSE(viewer.IsPlaying());
  EXPECT_THAT(TakeLogLines(clock),
              ElementsAre(HasSubstr("player 9 audio play buffer empty, audio preview paused")));

  run(5000, 30);  // a third too fast: 1250 ms too much, 200 of them fit between start and overflow
  EXPECT_TRUE(viewer.IsPlaying());
  const size_t skips = TakeLogLines(clock).size();
  EXPECT_GE(skips, 1250u / 40);
  EXPECT_LE(skips, 1800u / 40);
  kitc_log_config(kLogNone, nullptr, kLogNone);
  viewer.Release();
  AudioViewer::ReleaseSDK();
  unsetenv("QXSDKP_SOUND");
}

}  // namespace
