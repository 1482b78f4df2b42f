// What the viewer does with a device that works: byte counts, thresholds and log lines.
#include "audio/AudioViewer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <numeric>
#include <string>
#include <vector>

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
const HWND kOtherWindow = reinterpret_cast<HWND>(uintptr_t{78});

class AudioViewerTest : public testing::Test {
 protected:
  AudioViewerTest() { kitc_log_config(kLogNone, nullptr, kLogAll); }
  ~AudioViewerTest() override {
    m_Viewer.Release();
    AudioViewer::ReleaseSDK();
    kitc_log_config(kLogNone, nullptr, kLogNone);
  }

  // A stream with sound on, before its first byte.
  void Begin(const AudioFormat& format = kTelephone) {
    ASSERT_TRUE(AudioViewer::InitSDK());
    ASSERT_TRUE(m_Viewer.Init(5, format));
    ASSERT_TRUE(m_Viewer.SetPreview(kWindow, true));
    m_Sound.TakeCalls();
  }
  // Sound whose bytes count on from the ones written before.
  bool Write(uint32_t size) {
    std::vector<uint8_t> data(size);
    for (uint8_t& byte : data)
      byte = m_nNextByte++;
    return m_Viewer.Write(data.data(), size);
  }
  // Playing, 3200 bytes written into the device, nothing staged.
  void BeginPlaying() {
    Begin();
    for (int i = 0; i < 5; ++i)
      ASSERT_TRUE(Write(640));
    ASSERT_TRUE(m_Viewer.IsPlaying());
    m_Sound.TakeCalls();
    TakeLogLines(m_Clock);
  }
  void MonitorAfter(uint64_t ms) {
    m_Clock.Advance(ms);
    m_Viewer.Monitor();
  }
  std::vector<std::string> Log() { return TakeLogLines(m_Clock); }

  ManualClock m_Clock;
  ScriptedSound m_Sound;
  AudioViewer m_Viewer;
  uint8_t m_nNextByte = 0;
};

TEST_F(AudioViewerTest, DescribesTheBufferToTheDevice) {
  Begin({2, 44100, 16, 400, 200});
  EXPECT_EQ(m_Sound.Desc().dwSize, sizeof(DSBUFFERDESC));
  EXPECT_EQ(m_Sound.Desc().dwFlags, 0x18000u);
  EXPECT_EQ(m_Sound.Desc().dwBufferBytes, 70560u);
  const WAVEFORMATEX format = m_Sound.Format();
  EXPECT_EQ(format.wFormatTag, 1);
  EXPECT_EQ(format.nChannels, 2);
  EXPECT_EQ(DWORD{format.nSamplesPerSec}, 44100u);
  EXPECT_EQ(DWORD{format.nAvgBytesPerSec}, 176400u);
  EXPECT_EQ(format.nBlockAlign, 4);
  EXPECT_EQ(format.wBitsPerSample, 16);
  EXPECT_EQ(format.cbSize, 0);
  EXPECT_EQ(m_Viewer.GetLatency(), 200u);
}

TEST_F(AudioViewerTest, ANewStreamIsSilent) {
  ASSERT_TRUE(AudioViewer::InitSDK());
  ASSERT_TRUE(m_Viewer.Init(5, kTelephone));
  EXPECT_FALSE(m_Viewer.IsEnabled());
  EXPECT_FALSE(Write(6400));
  MonitorAfter(20);
  ASSERT_TRUE(m_Viewer.SetPreview(kWindow, true));
  EXPECT_TRUE(m_Viewer.IsEnabled());
  EXPECT_EQ(m_Viewer.Window(), kWindow);
  MonitorAfter(20);  // nothing of the refused block was kept
  EXPECT_THAT(m_Sound.TakeCalls(),
              ElementsAre("CreateDevice", "CreateSoundBuffer 6400", "SetCooperativeLevel 77 2"));
}

TEST_F(AudioViewerTest, FeedsFrom640BytesAndStartsAt3200) {
  Begin();
  EXPECT_TRUE(Write(638));
  EXPECT_THAT(m_Sound.TakeCalls(), IsEmpty());
  EXPECT_TRUE(Write(2));
  EXPECT_THAT(m_Sound.TakeCalls(), ElementsAre("Lock 0+640", "Unlock 640+0"));
  EXPECT_TRUE(Write(2000));
  EXPECT_THAT(m_Sound.TakeCalls(), ElementsAre("Lock 640+1600", "Unlock 1600+0"));
  EXPECT_FALSE(m_Viewer.IsPlaying());
  MonitorAfter(10);  // 400 staged bytes are too few
  EXPECT_THAT(m_Sound.TakeCalls(), IsEmpty());
  EXPECT_TRUE(Write(560));
  EXPECT_THAT(m_Sound.TakeCalls(),
              ElementsAre("Lock 2240+960", "Unlock 960+0", "SetCurrentPosition 0", "Play 0 0 1"));
  EXPECT_TRUE(m_Viewer.IsPlaying());

  std::vector<uint8_t> expected(3200);
  std::iota(expected.begin(), expected.end(), uint8_t{0});
  std::vector<uint8_t> memory = m_Sound.Memory();
  memory.resize(3200);
  EXPECT_EQ(memory, expected);
}

TEST_F(AudioViewerTest, TheSoundRunsOnInOrderAcrossTheEndOfTheBuffer) {
  BeginPlaying();
  for (int i = 0; i < 4; ++i)
    ASSERT_TRUE(Write(640));  // 5760 written
  m_Sound.SetPlayCursor(3000);
  m_Sound.TakeCalls();
  ASSERT_TRUE(Write(1000));
  EXPECT_THAT(m_Sound.TakeCalls(), ElementsAre("Lock 5760+1000", "Unlock 640+360"));
  ASSERT_TRUE(Write(640));
  EXPECT_THAT(m_Sound.TakeCalls(), ElementsAre("Lock 360+640", "Unlock 640+0"));
  const std::vector<uint8_t> memory = m_Sound.Memory();
  for (size_t i = 0; i < 1000; ++i)
    ASSERT_EQ(memory[i], static_cast<uint8_t>(6400 + i)) << i;
  for (size_t i = 1000; i < 6400; ++i)
    ASSERT_EQ(memory[i], static_cast<uint8_t>(i)) << i;
}

TEST_F(AudioViewerTest, RefusesBlocksThatAreNoWholeFrames) {
  Begin();
  EXPECT_FALSE(Write(3));
  EXPECT_THAT(Log(), ElementsAre(testing::AllOf(
                         HasSubstr("error: AudioViewer.cpp("),
                         HasSubstr("): player 5 data align error, discard audio data, size=3"))));
  EXPECT_FALSE(m_Viewer.Write(nullptr, 640));
  EXPECT_TRUE(m_Viewer.Write(nullptr, 0));
  EXPECT_THAT(m_Sound.TakeCalls(), IsEmpty());
}

TEST_F(AudioViewerTest, DropsBlocksThatWouldExceedOneSecond) {
  Begin();
  m_Sound.Fail("Lock", DSERR_BUFFERLOST, ScriptedSound::kForEver);
  EXPECT_TRUE(Write(15000));
  EXPECT_TRUE(Write(1002));
  EXPECT_THAT(Log(), ElementsAre(testing::AllOf(
                         HasSubstr("warning: AudioViewer.cpp("),
                         HasSubstr("): player 5 audio buffer overflow, discard audio data, size=1002"))));
  EXPECT_TRUE(Write(1000));
  EXPECT_TRUE(m_Viewer.Write(m_Sound.Memory().data(), 0xFFFFFFFE));
  EXPECT_THAT(Log(), ElementsAre(HasSubstr("audio buffer overflow, discard audio data, size=-2")));
}

TEST_F(AudioViewerTest, PausesBelow320QueuedBytesAndStartsAgain) {
  BeginPlaying();
  m_Sound.SetPlayCursor(2880);
  MonitorAfter(10);
  EXPECT_TRUE(m_Viewer.IsPlaying());
  EXPECT_THAT(Log(), IsEmpty());
  m_Sound.SetPlayCursor(2882);
  MonitorAfter(10);
  EXPECT_THAT(Log(), ElementsAre(testing::AllOf(
                         HasSubstr("info: AudioViewer.cpp("),
                         HasSubstr("): player 5 audio play buffer empty, audio preview paused"))));
  EXPECT_THAT(m_Sound.TakeCalls(), ElementsAre("Stop", "SetCurrentPosition 0"));
  EXPECT_FALSE(m_Viewer.IsPlaying());
  MonitorAfter(10);
  EXPECT_THAT(m_Sound.TakeCalls(), IsEmpty());
  for (int i = 0; i < 4; ++i)
    ASSERT_TRUE(Write(640));
  EXPECT_FALSE(m_Viewer.IsPlaying());
  m_Sound.TakeCalls();
  ASSERT_TRUE(Write(640));
  EXPECT_THAT(m_Sound.TakeCalls(),
              ElementsAre("Lock 2560+640", "Unlock 640+0", "SetCurrentPosition 0", "Play 0 0 1"));
}

TEST_F(AudioViewerTest, SkipsAheadWhileMoreThan6400BytesWait) {
  BeginPlaying();
  ASSERT_TRUE(Write(1600));
  ASSERT_TRUE(Write(1600));  // the device is full but for the one free block: 1598 of these fit
  ASSERT_TRUE(Write(2));     // 6398 queued, 4 staged
  m_Sound.TakeCalls();
  MonitorAfter(10);
  EXPECT_THAT(Log(), ElementsAre(testing::AllOf(HasSubstr("info: AudioViewer.cpp("),
                                                HasSubstr("): player 5 Discard audio data"))));
  EXPECT_THAT(m_Sound.TakeCalls(), ElementsAre("SetCurrentPosition 640"));
  MonitorAfter(10);  // 5758 + 4
  EXPECT_THAT(m_Sound.TakeCalls(), IsEmpty());
  EXPECT_THAT(Log(), IsEmpty());

  // Once the sum is far above, every pass skips, also round the end of the buffer.
  m_Sound.SetPlayCursor(6396);
  ASSERT_TRUE(Write(12000));
  m_Sound.TakeCalls();
  MonitorAfter(10);
  MonitorAfter(10);
  EXPECT_THAT(Log(), ElementsAre(HasSubstr("Discard audio data"), HasSubstr("Discard audio data")));
}

TEST_F(AudioViewerTest, LooksAtTheDeviceEveryTenMilliseconds) {
  BeginPlaying();
  MonitorAfter(10);
  m_Sound.SetPlayCursor(3200);
  for (int i = 0; i < 9; ++i)
    MonitorAfter(1);
  EXPECT_TRUE(m_Viewer.IsPlaying());
  MonitorAfter(1);
  EXPECT_FALSE(m_Viewer.IsPlaying());
}

TEST_F(AudioViewerTest, MonitorFeedsOnceTheDeviceHasRoom) {
  BeginPlaying();
  MonitorAfter(10);
  ASSERT_TRUE(Write(1600));
  ASSERT_TRUE(Write(1598));  // the device is full
  ASSERT_TRUE(Write(642));
  m_Sound.TakeCalls();
  m_Sound.SetPlayCursor(1600);
  MonitorAfter(9);
  EXPECT_THAT(m_Sound.TakeCalls(), IsEmpty());
  MonitorAfter(1);
  EXPECT_THAT(m_Sound.TakeCalls(), ElementsAre("Lock 6398+642", "Unlock 2+640"));
}

TEST_F(AudioViewerTest, SwitchingRewinds) {
  BeginPlaying();
  ASSERT_TRUE(Write(100));
  ASSERT_TRUE(m_Viewer.SetPreview(kWindow, true));
  EXPECT_THAT(m_Sound.TakeCalls(), ElementsAre("Stop", "SetCurrentPosition 0"));
  EXPECT_FALSE(m_Viewer.IsPlaying());
  ASSERT_TRUE(Write(640));  // the 100 staged bytes are gone
  EXPECT_THAT(m_Sound.TakeCalls(), ElementsAre("Lock 0+640", "Unlock 640+0"));
  ASSERT_TRUE(m_Viewer.SetPreview(kOtherWindow, false));  // a window counts only when sound goes on
  EXPECT_EQ(m_Viewer.Window(), kOtherWindow);
  EXPECT_FALSE(Write(640));
  ASSERT_TRUE(m_Viewer.SetPreview(kOtherWindow, true));
  ASSERT_TRUE(m_Viewer.SetPreview(kOtherWindow, true));
  EXPECT_THAT(m_Sound.TakeCalls(), ElementsAre("SetCooperativeLevel 78 2"));
}

TEST_F(AudioViewerTest, StopDropsWhatIsQueued) {
  BeginPlaying();
  ASSERT_TRUE(Write(600));
  m_Viewer.Stop();
  EXPECT_THAT(m_Sound.TakeCalls(), ElementsAre("Stop", "SetCurrentPosition 0"));
  m_Viewer.Stop();
  EXPECT_THAT(m_Sound.TakeCalls(), IsEmpty());
  EXPECT_TRUE(m_Viewer.IsEnabled());
  ASSERT_TRUE(Write(640));
  EXPECT_THAT(m_Sound.TakeCalls(), ElementsAre("Lock 0+640", "Unlock 640+0"));
}

TEST_F(AudioViewerTest, EveryNewDeviceLearnsTheWindow) {
  Begin();
  m_Viewer.Release();
  AudioViewer::ReleaseSDK();
  EXPECT_EQ(m_Sound.LiveDevices(), 0);
  ASSERT_TRUE(AudioViewer::InitSDK());
  ASSERT_TRUE(AudioViewer::InitSDK());
  EXPECT_EQ(m_Sound.LiveDevices(), 1);
  ASSERT_TRUE(m_Viewer.Init(5, kTelephone));
  ASSERT_TRUE(m_Viewer.SetPreview(kWindow, true));
  EXPECT_THAT(m_Sound.TakeCalls(),
              ElementsAre("CreateDevice", "CreateSoundBuffer 6400", "SetCooperativeLevel 77 2"));
}

TEST_F(AudioViewerTest, ReleaseKeepsThePlayingFlagForTheNextStream) {
  BeginPlaying();
  m_Viewer.Release();
  EXPECT_EQ(m_Sound.LiveBuffers(), 0);
  EXPECT_TRUE(m_Viewer.IsPlaying());
  EXPECT_FALSE(m_Viewer.IsEnabled());
  m_Viewer.Stop();
  m_Viewer.Monitor();
  EXPECT_FALSE(m_Viewer.SetPreview(kWindow, true));
  ASSERT_TRUE(m_Viewer.Init(5, kTelephone));
  EXPECT_FALSE(m_Viewer.IsPlaying());
}

}  // namespace
