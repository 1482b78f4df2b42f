// The play threads, stepped pass by pass: what is played when, and what is logged about it.
#include "pacing/PlayThreads.h"

#include <gmock/gmock.h>

#include <array>
#include <functional>
#include <string>
#include <vector>

#include "api/Notification.h"
#include "src/kitc/Log.h"
#include "tests/support/ManualClock.h"

using testing::ContainsRegex;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

namespace {

constexpr size_t kPlayThreads = 2;

// What the picture callback saw: the first luma byte of each presented picture. The test reads while the play
// thread sleeps.
std::vector<int> g_Shown;
void __cdecl NotePicture(uint32_t /*nPlayerID*/, const uint8_t* luma, const uint8_t* /*cb*/,
                         const uint8_t* /*cr*/, uint32_t stride, uint32_t /*chromaStride*/) {
  g_Shown.push_back(stride == 16 ? luma[0] : -1);
}

// Decodes a frame to a grey picture of its first byte; 0xFF fails, 0xFE yields no picture. Takes 5 ms of the
// test's clock.
class GreyDecoder : public Decoder {
 public:
  explicit GreyDecoder(ManualClock& clock) : m_Clock(clock) {}
  uint32_t GetDecoderType() const override { return kCodecH264; }
  uint32_t GetDelay() const override { return 0; }
  bool Open(uint32_t, uint32_t, uint32_t) override { return true; }
  bool DecodeFrameVideo(DecodedPicture& picture, const uint8_t* data, uint32_t, uint32_t) override {
    picture.bHasImage = false;
    if (data[0] == 0xFF) return false;
    if (data[0] == 0xFE) return true;
    m_Clock.Advance(5);
    m_Planes.fill(data[0]);
    picture = DecodedPicture{true, 16, 16, QPF_YV12};
    for (uint8_t*& plane : picture.pPlane)
      plane = m_Planes.data();
    picture.nStride[0] = 16;
    picture.nStride[1] = picture.nStride[2] = 8;
    return true;
  }

 private:
  ManualClock& m_Clock;
  std::array<uint8_t, 16 * 16> m_Planes;
};

class PlayThreadsTest : public testing::Test {
 protected:
  PlayThreadsTest() {
    g_Shown.clear();
    notification::SetCallBack(NotePicture, nullptr, nullptr, nullptr);
    label.SetPlayerID(3);
    label.SetName("gate");
    video.SetDecoder(std::make_shared<GreyDecoder>(clock));
    pool.ResetForLive();
    control.ResetToDefault();
    threads.ResetStatistics();
  }
  ~PlayThreadsTest() override {
    clock.Release();
    threads.Stop();
    notification::SetCallBack(nullptr, nullptr, nullptr, nullptr);
  }

  void Push(uint8_t first, int64_t timestamp, uint32_t size = 4) {
    const std::array<uint8_t, 4> bytes = {first, 0, 0, 0};
    FrameRecord frame;
    frame.pFrame = bytes.data();
    frame.dwFrameSize = size;
    frame.bKeyFrame = frame.bDisplay = true;
    frame.llTimeStamp = timestamp;
    ASSERT_EQ(pool.PushBackFrame(3, frame), kPushQueued);
  }
  void Start() {
    ASSERT_TRUE(threads.Start(PlayThreads::Source::kStream));
    ASSERT_TRUE(clock.WaitForSleepers(kPlayThreads));
  }
  std::string TakeLog() {
    std::string all;
    for (const std::string& line : clock.TakeText())
      all += line;
    return all;
  }
  // One more pass of both threads.
  void Pass() { ASSERT_TRUE(clock.Step(1, kPlayThreads)); }

  ManualClock clock;
  PlayerLabel label;
  WakeUp wakeUp;
  FrameBufferPool pool{wakeUp};
  FrameControl control{label, wakeUp};
  VideoPath video{label};
  AudioPath audio{label};
  FileSource file{control, video, audio};
  PlayThreads threads{label, wakeUp, pool, file, control, video, audio};
};

}  // namespace

TEST_F(PlayThreadsTest, OneFrameAPassOnceItIsDue) {
  control.SetFrameControlMode(kModeCatchUp);
  Push(1, 5000);
  Push(2, 5040);
  Push(3, 9000);
  Start();
  EXPECT_THAT(g_Shown, ElementsAre(1));  // decoding took 5 ms, so 35 are left
  ASSERT_TRUE(clock.Step(34, kPlayThreads));
  EXPECT_THAT(g_Shown, ElementsAre(1));
  EXPECT_EQ(pool.GetVideoFrameCount(), 2);
  Pass();
  EXPECT_THAT(g_Shown, ElementsAre(1, 2));
  Push(4, 9040);
  control.SetFrameControlMode(kModeAtOnce);  // nothing paces
  Pass();
  EXPECT_THAT(g_Shown, ElementsAre(1, 2, 3));
  Pass();
  EXPECT_THAT(g_Shown, ElementsAre(1, 2, 3, 4));
  EXPECT_EQ(pool.GetVideoFrameCount(), 0);
}

TEST_F(PlayThreadsTest, SleepsUntilSomethingCanBeDue) {
  control.SetFrameControlMode(kModeCatchUp);
  const uint64_t started = clock.NowMs();
  Start();
  Pass();
  EXPECT_EQ(clock.NextWakeMs(), started + 1001);  // for the timing line
  Push(1, 5000);
  Pass();
  EXPECT_THAT(g_Shown, ElementsAre(1));
  Push(2, 5040);
  Pass();
  EXPECT_EQ(clock.NextWakeMs(), started + 2 + 40);
  ASSERT_TRUE(clock.Step(40, kPlayThreads));

  // Whatever can make the next frame due sooner wakes the thread.
  const std::function<void()> changes[] = {
      [&] { control.SetFrameControlMode(kModeAtOnce); },
      [&] { control.SetPause(true); },
      [&] { control.SetPause(false); },
      [&] { control.SetSpeed(1, 1); },
      [&] { control.ResetClock(true); },
      [&] { pool.ClearFrames(), Push(3, 0); },
      [&] { threads.RequestRefresh(); },
  };
  int64_t farOff = 1'000'000;
  for (const auto& change : changes) {
    control.SetFrameControlMode(kModeCatchUp);
    Pass();
    const size_t shown = g_Shown.size();
    Push(2, farOff);
    farOff *= 2;
    Pass();
    EXPECT_EQ(g_Shown.size(), shown);
    change();
    Pass();
    EXPECT_EQ(g_Shown.size(), shown + 1) << &change - changes;
  }
}

TEST_F(PlayThreadsTest, NobodyWakesForATimingLineThatGoesNowhere) {
  kitc_log_config(kLogNone, nullptr, kLogInfo);
  Start();
  Pass();
  EXPECT_EQ(clock.NextWakeMs(), UINT64_MAX);
  clock.Advance(60'000);

  kitc_log_config(kLogNone, nullptr, kLogDebug);
  wakeUp.Set();
  Pass();
  EXPECT_THAT(TakeLog(), Not(HasSubstr("dPeriod"))) << "that minute was not measured";
  ASSERT_TRUE(clock.Step(1001, kPlayThreads));
  EXPECT_THAT(TakeLog(), HasSubstr("dPeriod:1001.0ms"));
  kitc_log_config(kLogNone, nullptr, kLogAll);
}

TEST_F(PlayThreadsTest, StoppingWakesThreadsThatRest) {
  Start();
  Pass();
  threads.Stop();  // time stands still
  EXPECT_EQ(threads.ThreadId(), 0u);
}

TEST_F(PlayThreadsTest, TheTimingLineOnceASecond) {
  clock.FailThreads(true);  // nothing runs until both threads can be had
  EXPECT_FALSE(threads.Start(PlayThreads::Source::kStream));
  EXPECT_EQ(threads.ThreadId(), 0u);
  clock.FailThreads(false);
  control.SetFrameControlMode(kModeAtOnce);
  Push(1, 0);
  Push(2, 40);
  Start();
  Pass();
  // Two decodes and the sleep between them have passed. Exactly 1000 ms: not yet.
  ASSERT_TRUE(clock.Step(1000 - (5 + 1 + 5), kPlayThreads));
  EXPECT_THAT(TakeLog(), Not(HasSubstr("dPeriod")));
  Pass();
  EXPECT_THAT(TakeLog(),
              ContainsRegex("debug: Player.cpp\\([0-9]+\\): decodeid:3 dPeriod:1001.0ms leftFramVideoeCnt:0 "
                            "playframerate:2 total:10.0ms viewlock:0.0ms view:0.0ms waitgloballock:0.0ms "
                            "decode:10.0ms ddsoffscreen:0.0ms ddsbackCallback:0.0ms ddsback:0.0ms "
                            "ddsprimary:0.0ms,name:gate\n"));
  ASSERT_TRUE(clock.Step(1000, kPlayThreads));
  EXPECT_THAT(TakeLog(), Not(HasSubstr("dPeriod")));
  Pass();
  EXPECT_THAT(TakeLog(), HasSubstr("dPeriod:1001.0ms leftFramVideoeCnt:0 playframerate:0 total:0.0ms"));
}

TEST_F(PlayThreadsTest, AFailedDecodeIsLoggedAndConsumed) {
  control.SetFrameControlMode(kModeAtOnce);
  Push(0xFF, 0);
  Push(0xFE, 0);
  Push(9, 0);
  Start();
  const std::string failed = TakeLog();
  EXPECT_THAT(
      failed,
      ContainsRegex("error: Player.cpp\\([0-9]+\\): decodeid:3 DecodeFrameVideo\\(\\):Error,name:gate\n"));
  EXPECT_THAT(
      failed,
      ContainsRegex(
          "decodeid:3 PlayVideoFrame\\(\\) pFrame:0x[0-9a-fA-F]+ dwFrameSize:4,bHasImage:false,name:gate\n"));
  EXPECT_FALSE(video.HasImage());
  Pass();
  const std::string none = TakeLog();
  EXPECT_THAT(none, Not(HasSubstr("DecodeFrameVideo():Error")));
  EXPECT_THAT(none, HasSubstr("bHasImage:false"));
  EXPECT_TRUE(video.HasImage());
  Pass();
  EXPECT_THAT(g_Shown, ElementsAre(9));
}

TEST_F(PlayThreadsTest, FramesWithoutDataAndRefreshesShowTheLastPicture) {
  control.SetFrameControlMode(kModeAtOnce);
  Push(7, 0, 0);
  Start();
  EXPECT_THAT(TakeLog(), HasSubstr("dwFrameSize:0 but last frame has no image,name:gate\n"));
  EXPECT_THAT(g_Shown, ElementsAre());
  Push(5, 0);
  Push(7, 0, 0);
  Pass();
  Pass();
  EXPECT_THAT(TakeLog(), HasSubstr("dwFrameSize:0 but show last image,name:gate\n"));
  EXPECT_THAT(g_Shown, ElementsAre(5, 5));
  threads.RequestRefresh();
  Pass();
  EXPECT_THAT(TakeLog(),
              HasSubstr("decodeid:3 PlayVideoFrame() pFrame:0x0 dwFrameSize:0 but show last image"));
  Pass();
  EXPECT_THAT(g_Shown, ElementsAre(5, 5, 5));  // once per request
}
