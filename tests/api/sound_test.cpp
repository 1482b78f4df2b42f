// Sound devices that are missing, lost or stuck, under whole players, live and from a file: pictures go on,
// the log tells, and sound comes back with the device.
#include <string>

#include "tests/api/HostFixture.h"
#include "tests/support/ManualClock.h"
#include "tests/support/Recording.h"
#include "tests/support/ScriptedSound.h"
#include "tests/support/TempDir.h"

using testing::Contains;
using testing::HasSubstr;
using testing::Not;

namespace {

constexpr uint32_t kSoundBytes = 320;  // of 40 ms, 8 kHz and 8 bits
constexpr uint32_t kDeviceBytes = 3200;
constexpr size_t kPlayThreads = 2;

class SoundFaults : public HostFixture, public testing::WithParamInterface<bool> {  // true: live
 protected:
  SoundFaults() { Restart(); }
  ~SoundFaults() override {
    m_Clock.Release();
    QXSP_ReleasePlayer(m_nPlayer);
    QXSP_ReleaseSDK();
  }
  // The library anew, so that it looks for a sound device. Only while no player plays.
  void Restart() {
    QXSP_ReleaseSDK();
    ASSERT_EQ(QXSP_InitSDK(), 1);
    m_nPlayer = static_cast<uint32_t>(QXSP_CreatePlayer());
  }
  // Starts to play; answers what switching on the sound answered.
  int32_t Open() {
    if (GetParam()) {
      EXPECT_EQ(OpenStream(m_nPlayer, HeaderWithSound()), 1);
      EXPECT_EQ(QXSP_SetFrameControlMode(m_nPlayer, QXSP_MODE_AT_ONCE), 1);
    } else {
      Recording recording(5);
      for (int i = 0; i < 500; ++i)
        recording.Add(1, "picture").Add(2, std::string(kSoundBytes, 's'));
      EXPECT_EQ(QXSP_OpenFile(m_nPlayer, recording.Save(m_Dir / "a.sv5").c_str()), 1);
    }
    const QXSP_RECT window = {100, 100, 164, 148};
    EXPECT_EQ(QXSP_SetVideoPreview(m_nPlayer, this, &window, 1), 1);
    return QXSP_SetAudioPreview(m_nPlayer, this, 1);
  }
  // Plays for a time, in which every picture must be shown. The device consumes, or it does not.
  void Play(uint32_t ms, bool deviceRuns) {
    (void)m_Clock.TakeText();
    const int before = Pictures();
    for (uint32_t at = 0; at < ms; at += 40) {
      if (GetParam()) {
        ASSERT_EQ(PushKey(m_nPlayer), QXSP_WRITE_QUEUED);
        const std::string sound(kSoundBytes, 's');
        ASSERT_EQ(QXSP_WriteToStreamOneFrame(m_nPlayer, sound.data(), kSoundBytes), QXSP_WRITE_QUEUED);
      }
      ASSERT_TRUE(m_Clock.Step(40, kPlayThreads));
      m_Sound.Set([&](ScriptedSound::State& device) {
        if (deviceRuns && device.bPlaying)
          device.nPlayCursor = (device.nPlayCursor + kSoundBytes) % kDeviceBytes;
      });
    }
    EXPECT_NEAR(Pictures() - before, ms / 40, 1);
    m_Log = TakeLogLines(m_Clock);
  }

  TempDir m_Dir;
  ManualClock m_Clock;
  ScriptedSound m_Sound;
  uint32_t m_nPlayer = 0;
  std::vector<std::string> m_Log;  // of the last Play
};

TEST_P(SoundFaults, PicturesGoOnWithoutADevice) {
  m_Sound.Fail("CreateDevice", DSERR_NODRIVER);
  (void)m_Clock.TakeText();
  Restart();
  EXPECT_THAT(TakeLogLines(m_Clock), Contains(HasSubstr("): AudioViewer::InitSDK():Error!\n")));
  EXPECT_EQ(Open(), 0);
  Play(1000, true);
}

TEST_P(SoundFaults, PicturesGoOnWhenTheDeviceIsLostOrStuck) {
  constexpr char kStarved[] = "audio play buffer empty, audio preview paused";
  constexpr char kOverflow[] = "audio buffer overflow, discard audio data, size=320";
  constexpr char kSkipped[] = "Discard audio data";
  EXPECT_EQ(Open(), 1);
  Play(2000, true);
  EXPECT_TRUE(m_Sound.Look().bPlaying);
  EXPECT_THAT(m_Log, Not(Contains(HasSubstr("audio"))));

  m_Sound.Fail("Lock", DSERR_BUFFERLOST, 1'000'000);
  Play(2000, true);
  EXPECT_FALSE(m_Sound.Look().bPlaying);
  EXPECT_THAT(m_Log, Contains(HasSubstr(kStarved)));
  EXPECT_THAT(m_Log, Contains(HasSubstr(kOverflow)));
  m_Sound.Fail("Lock", DS_OK, 0);
  Play(2000, true);
  EXPECT_TRUE(m_Sound.Look().bPlaying);

  Play(2000, false);
  EXPECT_THAT(m_Log, Contains(HasSubstr(kSkipped)));
  Play(2000, true);
  EXPECT_TRUE(m_Sound.Look().bPlaying);
}

INSTANTIATE_TEST_SUITE_P(Sources, SoundFaults, testing::Bool(),
                         [](const auto& source) { return source.param ? "Live" : "File"; });

}  // namespace
