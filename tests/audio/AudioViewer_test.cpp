// What the viewer asks of its device, byte by byte, and what it does with one that fails.
#include "audio/AudioViewer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "src/kitc/Log.h"
#include "tests/support/LogLines.h"
#include "tests/support/ManualClock.h"
#include "tests/support/ScriptedSound.h"

namespace {

const AudioFormat kTelephone{1, 8000, 16, 400, 200};
const HWND kWindow = reinterpret_cast<HWND>(uintptr_t{77});
const HWND kOtherWindow = reinterpret_cast<HWND>(uintptr_t{78});

constexpr char kStarved[] = "info: player 5 audio play buffer empty, audio preview paused";
constexpr char kSkipped[] = "info: player 5 Discard audio data";

struct Step {
  enum { kWrite, kWriteRefused, kCursor, kMonitorAfter } action;
  uint32_t n;        // bytes, the play cursor's offset, or ms
  std::string seen;  // calls of the device, then log lines
};

class AudioViewerTest : public testing::Test {
 protected:
  AudioViewerTest() { kitc_log_config(kLogNone, nullptr, kLogAll); }
  ~AudioViewerTest() override {
    m_Viewer.Release();
    AudioViewer::ReleaseSDK();
    kitc_log_config(kLogNone, nullptr, kLogNone);
  }

  // A stream with sound on, before its first byte.
  void Begin() {
    ASSERT_TRUE(AudioViewer::InitSDK());
    ASSERT_TRUE(m_Viewer.Init(5, kTelephone));
    ASSERT_TRUE(m_Viewer.SetPreview(kWindow, true));
    Seen();
  }
  // Playing, 3200 bytes written into the device, nothing staged.
  void BeginPlaying() {
    Begin();
    for (int i = 0; i < 5; ++i)
      ASSERT_TRUE(Write(640));
    ASSERT_TRUE(m_Viewer.IsPlaying());
    Seen();
  }
  // Sound whose bytes count on from the ones written before.
  bool Write(uint32_t size) {
    std::vector<uint8_t> data(size);
    for (uint8_t& byte : data)
      byte = m_nNextByte++;
    return m_Viewer.Write(data.data(), size);
  }
  void Run(const std::vector<Step>& steps) {
    for (size_t i = 0; i < steps.size(); ++i) {
      const Step& step = steps[i];
      SCOPED_TRACE(testing::Message() << "step " << i);
      if (step.action == Step::kCursor) {
        m_Sound.Set([&](ScriptedSound::State& state) { state.nPlayCursor = step.n; });
      } else if (step.action == Step::kMonitorAfter) {
        m_Clock.Advance(step.n);
        m_Viewer.Monitor();
      } else {
        EXPECT_EQ(Write(step.n), step.action == Step::kWrite);
      }
      EXPECT_EQ(Seen(), step.seen);
    }
  }
  // What happened since the last time, joined by "; ".
  std::string Seen() {
    std::string seen = m_Sound.TakeCalls();
    for (const std::string& line : TakeLogLines(m_Clock)) {
      const size_t file = line.find("AudioViewer.cpp(");
      EXPECT_NE(file, std::string::npos) << line;
      seen += (seen.empty() ? "" : "; ") + line.substr(0, file) + line.substr(line.find("): ", file) + 3);
    }
    return seen;
  }
  void LimitLocks(uint32_t bytes) {
    m_Sound.Set([=](ScriptedSound::State& state) { state.nLockLimit = bytes; });
  }
  void ExpectNothingWorks() {
    EXPECT_FALSE(m_Viewer.SetPreview(kWindow, true));
    EXPECT_FALSE(Write(640));
    m_Clock.Advance(20);
    m_Viewer.Monitor();
    m_Viewer.Stop();
    EXPECT_FALSE(m_Viewer.IsEnabled());
    EXPECT_EQ(m_Sound.Look().nBuffers, 0);
  }

  ManualClock m_Clock;
  ScriptedSound m_Sound;
  AudioViewer m_Viewer;
  uint8_t m_nNextByte = 0;
};

TEST_F(AudioViewerTest, DescribesTheBufferToTheDevice) {
  ASSERT_TRUE(AudioViewer::InitSDK());
  ASSERT_TRUE(m_Viewer.Init(5, {2, 44100, 16, 400, 200}));
  const ScriptedSound::State device = m_Sound.Look();
  EXPECT_EQ(device.desc.dwSize, sizeof(DSBUFFERDESC));
  EXPECT_EQ(device.desc.dwFlags, 0x18000u);
  EXPECT_EQ(device.desc.dwBufferBytes, 70560u);
  const WAVEFORMATEX expected{1, 2, 44100, 176400, 4, 16, 0};
  EXPECT_EQ(std::memcmp(&device.format, &expected, sizeof expected), 0);
  EXPECT_EQ(m_Viewer.GetLatency(), 200u);
}

TEST_F(AudioViewerTest, SetsInWithThe200thMillisecond) {
  ASSERT_TRUE(AudioViewer::InitSDK());
  ASSERT_TRUE(m_Viewer.Init(5, kTelephone));
  EXPECT_EQ(Seen(), "CreateDevice; CreateSoundBuffer 6400");
  Run({{Step::kWriteRefused, 6400, ""}, {Step::kMonitorAfter, 20, ""}});
  ASSERT_TRUE(m_Viewer.SetPreview(kWindow, true));
  EXPECT_EQ(m_Viewer.Window(), kWindow);
  EXPECT_EQ(Seen(), "SetCooperativeLevel 77 2");
  Run({{Step::kMonitorAfter, 20, ""},  // nothing of the refused block was kept
       {Step::kWrite, 638, ""},
       {Step::kWrite, 2, "Lock 0+640; Unlock 640+0"},
       {Step::kWrite, 2000, "Lock 640+1600; Unlock 1600+0"},
       {Step::kMonitorAfter, 10, ""},  // 400 staged bytes are too few
       {Step::kWrite, 558, "Lock 2240+958; Unlock 958+0"}});
  EXPECT_FALSE(m_Viewer.IsPlaying());
  Run({{Step::kWrite, 640, "Lock 3198+640; Unlock 640+0; SetCurrentPosition 0; Play 0 0 1"}});
  EXPECT_TRUE(m_Viewer.IsPlaying());
}

TEST_F(AudioViewerTest, TheSoundRunsOnInOrderAcrossTheEndOfTheBuffer) {
  BeginPlaying();
  for (int i = 0; i < 4; ++i)
    ASSERT_TRUE(Write(640));  // 5760 written
  Seen();
  Run({{Step::kCursor, 3000, ""},
       {Step::kWrite, 1000, "Lock 5760+1000; Unlock 640+360"},
       {Step::kWrite, 640, "Lock 360+640; Unlock 640+0"}});
  const std::vector<uint8_t> memory = m_Sound.Look().memory;
  for (size_t i = 0; i < 6400; ++i)
    ASSERT_EQ(memory[i], static_cast<uint8_t>(i < 1000 ? 6400 + i : i)) << i;
}

TEST_F(AudioViewerTest, RefusesPartsOfFramesAndDropsWhatExceedsASecond) {
  constexpr char kLost[] = "Lock 0+1600; Restore; Lock 0+1600";
  constexpr char kTooMuch[] = "warning: player 5 audio buffer overflow, discard audio data, size=";
  Begin();
  Run({{Step::kWriteRefused, 3, "error: player 5 data align error, discard audio data, size=3"}});
  EXPECT_FALSE(m_Viewer.Write(nullptr, 640));
  EXPECT_TRUE(m_Viewer.Write(nullptr, 0));
  m_Sound.Fail("Lock", DSERR_BUFFERLOST, 1000);
  Run({{Step::kWrite, 15000, kLost},
       {Step::kWrite, 1002, std::string(kTooMuch) + "1002"},
       {Step::kWrite, 1000, kLost}});
  EXPECT_TRUE(m_Viewer.Write(&m_nNextByte, 0xFFFFFFFE));
  EXPECT_EQ(Seen(), std::string(kTooMuch) + "-2");
}

TEST_F(AudioViewerTest, PausesBelow320QueuedBytesAndStartsAgain) {
  BeginPlaying();
  Run({{Step::kCursor, 2880, ""},
       {Step::kMonitorAfter, 10, ""},
       {Step::kCursor, 2882, ""},
       {Step::kMonitorAfter, 9, ""},
       {Step::kMonitorAfter, 1, std::string("Stop; SetCurrentPosition 0; ") + kStarved},
       {Step::kMonitorAfter, 10, ""}});
  EXPECT_FALSE(m_Viewer.IsPlaying());
  for (int i = 0; i < 4; ++i)
    ASSERT_TRUE(Write(640));
  Seen();
  Run({{Step::kWrite, 640, "Lock 2560+640; Unlock 640+0; SetCurrentPosition 0; Play 0 0 1"}});
}

TEST_F(AudioViewerTest, SkipsAheadWhileMoreThan6400BytesWait) {
  BeginPlaying();
  Run({{Step::kWrite, 1600, "Lock 3200+1600; Unlock 1600+0"},
       {Step::kWrite, 1600, "Lock 4800+1598; Unlock 1598+0"},  // one block of the device stays free
       {Step::kMonitorAfter, 10, ""},                          // 6398 queued, 2 staged
       {Step::kWrite, 2, ""},
       {Step::kMonitorAfter, 10, std::string("SetCurrentPosition 640; ") + kSkipped},
       {Step::kMonitorAfter, 10, ""},
       // Far above, every pass skips, also round the end of the buffer.
       {Step::kCursor, 6396, ""},
       {Step::kWrite, 12000, "Lock 6398+1600; Unlock 2+1598"},
       {Step::kMonitorAfter, 10,
        std::string("Lock 1598+1600; Unlock 1600+0; SetCurrentPosition 636; ") + kSkipped},
       {Step::kMonitorAfter, 10,
        std::string("Lock 3198+1600; Unlock 1600+0; SetCurrentPosition 1276; ") + kSkipped}});
}

TEST_F(AudioViewerTest, APassOnAnotherThreadGoesByThatThreadsTicks) {
  BeginPlaying();
  m_Viewer.Monitor();
  m_Clock.Advance(UINT32_MAX);  // the 32-bit count wraps, which a later thread has not seen
  m_Viewer.Monitor();
  Run({{Step::kCursor, 3200, ""}});
  std::thread([&] {
    Run({{Step::kMonitorAfter, 10, ""},
         {Step::kMonitorAfter, 10, std::string("Stop; SetCurrentPosition 0; ") + kStarved}});
  }).join();
}

TEST_F(AudioViewerTest, SwitchingAndStoppingRewind) {
  BeginPlaying();
  Run({{Step::kWrite, 100, ""}});
  ASSERT_TRUE(m_Viewer.SetPreview(kWindow, true));
  EXPECT_EQ(Seen(), "Stop; SetCurrentPosition 0");
  Run({{Step::kWrite, 640, "Lock 0+640; Unlock 640+0"}});  // the 100 staged bytes are gone
  ASSERT_TRUE(m_Viewer.SetPreview(kOtherWindow, false));   // a window counts only when sound goes on
  EXPECT_EQ(m_Viewer.Window(), kOtherWindow);
  Run({{Step::kWriteRefused, 640, ""}});
  ASSERT_TRUE(m_Viewer.SetPreview(kOtherWindow, true));
  ASSERT_TRUE(m_Viewer.SetPreview(kOtherWindow, true));
  EXPECT_EQ(Seen(), "SetCooperativeLevel 78 2");

  BeginPlaying();
  Run({{Step::kWrite, 600, ""}});
  m_Viewer.Stop();
  m_Viewer.Stop();
  EXPECT_EQ(Seen(), "Stop; SetCurrentPosition 0");
  Run({{Step::kWrite, 640, "Lock 0+640; Unlock 640+0"}});
}

TEST_F(AudioViewerTest, ReleaseKeepsThePlayingFlagAndANewDeviceLearnsTheWindow) {
  BeginPlaying();
  m_Viewer.Release();
  EXPECT_TRUE(m_Viewer.IsPlaying());
  ExpectNothingWorks();
  AudioViewer::ReleaseSDK();
  EXPECT_EQ(m_Sound.Look().nDevices, 0);
  ASSERT_TRUE(AudioViewer::InitSDK());
  ASSERT_TRUE(AudioViewer::InitSDK());
  EXPECT_EQ(m_Sound.Look().nDevices, 1);
  ASSERT_TRUE(m_Viewer.Init(5, kTelephone));
  EXPECT_FALSE(m_Viewer.IsPlaying());
  ASSERT_TRUE(m_Viewer.SetPreview(kWindow, true));
  EXPECT_EQ(Seen(), "CreateDevice; CreateSoundBuffer 6400; SetCooperativeLevel 77 2");
}

TEST_F(AudioViewerTest, InitLeavesNothingBehindWhenItFails) {
  m_Sound.Fail("CreateDevice", DSERR_NODRIVER);
  EXPECT_FALSE(AudioViewer::InitSDK());
  EXPECT_FALSE(m_Viewer.Init(5, kTelephone));
  ExpectNothingWorks();

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
       {AudioFormat{0, 8000, 16, 400, 200}, AudioFormat{1, 8000, 0x10007, 400, 200}}) {
    EXPECT_FALSE(m_Viewer.Init(5, format));
  }
  ExpectNothingWorks();
  Begin();
}

TEST_F(AudioViewerTest, ALostBufferIsRestoredAndLockedOnceMore) {
  Begin();
  m_Sound.Fail("Lock", DSERR_BUFFERLOST);
  Run({{Step::kWrite, 640, "Lock 0+640; Restore; Lock 0+640; Unlock 640+0"}});
  // Still lost: nothing is written, nothing is lost, and the next feed tries again.
  m_Sound.Fail("Lock", DSERR_BUFFERLOST, 2);
  Run({{Step::kWrite, 640, "Lock 640+640; Restore; Lock 640+640"},
       {Step::kMonitorAfter, 10, "Lock 640+640; Unlock 640+0"}});
  m_Sound.Fail("GetCurrentPosition", DSERR_BUFFERLOST);
  Run({{Step::kWrite, 640, "Restore"}, {Step::kWrite, 2, "Lock 1280+642; Unlock 642+0"}});
}

TEST_F(AudioViewerTest, ADeviceThatTakesPartsOfABlockStartsOver) {
  Begin();
  LimitLocks(641);
  Run({{Step::kWrite, 800, "Lock 0+800; Unlock 641+0"}});
  LimitLocks(UINT32_MAX);
  Run({{Step::kWrite, 640, "Lock 0+640; Unlock 640+0"}});
  BeginPlaying();
  LimitLocks(641);
  Run({{Step::kWrite, 700, "Lock 3200+700; Unlock 641+0; Stop; SetCurrentPosition 0"}});
  EXPECT_FALSE(m_Viewer.IsPlaying());
}

TEST_F(AudioViewerTest, NothingIsDecidedOnACursorOutsideTheBuffer) {
  BeginPlaying();
  Run({{Step::kCursor, 6400, ""},
       {Step::kWrite, 640, ""},
       {Step::kMonitorAfter, 10, ""},
       {Step::kCursor, UINT32_MAX, ""},
       {Step::kWrite, 640, ""},
       {Step::kMonitorAfter, 10, ""}});
  EXPECT_TRUE(m_Viewer.IsPlaying());
}

TEST_F(AudioViewerTest, SoundStartsWithTheNext200MsWhenTheDeviceRefusedToPlay) {
  Begin();
  m_Sound.Fail("Play", DSERR_BUFFERLOST);
  for (int i = 0; i < 5; ++i)
    ASSERT_TRUE(Write(640));
  EXPECT_FALSE(m_Viewer.IsPlaying());
  Seen();
  Run({{Step::kWrite, 640, "Lock 0+640; Unlock 640+0"}});
  for (int i = 0; i < 4; ++i)
    ASSERT_TRUE(Write(640));
  EXPECT_TRUE(m_Viewer.IsPlaying());
}

// Every call of the device fails in turn, once and for a while, with cursors that make no sense among them.
TEST_F(AudioViewerTest, SurvivesEveryFailureAndEveryCursor) {
  std::mt19937 random(7);
  const auto upTo = [&](uint32_t last) { return std::uniform_int_distribution<uint32_t>(0, last)(random); };
  for (const char* call : {"SetCooperativeLevel", "GetCurrentPosition", "Lock", "Unlock", "Play",
                           "SetCurrentPosition", "Stop", "Restore"}) {
    SCOPED_TRACE(call);
    Begin();
    for (int i = 0; i < 2000; ++i) {
      if (i % 50 == 0) m_Sound.Fail(call, DSERR_GENERIC, i % 100 == 0 ? 1 : 40);
      m_Sound.Set([&](ScriptedSound::State& state) {
        if (i % 7 == 0) state.nPlayCursor = upTo(i % 21 == 0 ? UINT32_MAX : 6399);
        state.nLockLimit = i % 11 == 0 ? upTo(2000) : UINT32_MAX;
      });
      Write(upTo(1000) * (i % 5 == 0 ? 1 : 2));
      m_Clock.Advance(upTo(15));
      m_Viewer.Monitor();
      if (i % 97 == 0) m_Viewer.SetPreview(kWindow, true);
    }
    m_Sound.Fail(call, DS_OK, 0);
    LimitLocks(UINT32_MAX);
    BeginPlaying();
  }
}

}  // namespace
