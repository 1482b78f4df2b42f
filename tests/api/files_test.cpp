// Recorded files through the exports, on a clock that the test moves: what is shown when, pause, step, speed,
// seek, the end, and files that cannot be played.
#include <algorithm>
#include <atomic>
#include <mutex>
#include <string>
#include <vector>

#include "tests/api/HostFixture.h"
#include "tests/support/ManualClock.h"
#include "tests/support/Recording.h"
#include "tests/support/TempDir.h"

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

constexpr uint32_t kFirst = QXSP_FIRST_KEYFRAME;

std::atomic<int> g_nEnds{0};

// Keeps the ended thread asleep on the clock, so that the test's steps wait for it as before.
void QXSP_CALLBACK CountEnd(uint32_t /*player*/, uint32_t event) {
  EXPECT_EQ(event, static_cast<uint32_t>(QXSP_EVENT_END_OF_FILE));
  ++g_nEnds;
  Sleep(0x7FFFFFFF);
}

class Files : public HostFixture {
 protected:
  Files() {
    g_nEnds = 0;
    SetNotify(CountEnd);
    scripted05::TheScript().decode = [this](scripted05::Decoder& decoder, const QXD05_Input& input) {
      const std::lock_guard lock(m_Mutex);
      m_Decoded.push_back(std::string(reinterpret_cast<const char*>(input.pData), input.dwLength) + "@" +
                          std::to_string(clock.NowMs() - m_llStartMs));
      scripted05::MakePicture(decoder, 64, 48, 64, 32, input.pData[0]);
      return 1;
    };
  }
  ~Files() override {
    clock.Release();
    QXSP_ReleasePlayer(player);
  }

  // 25 frames a second, named by their number with three digits, a key frame first and then every tenth.
  static Recording Numbered(int frames) {
    Recording recording(5);
    for (int frame = 0; frame < frames; ++frame)
      recording.Add(frame % 10 == 0, std::to_string(101 + frame).substr(1));
    return recording;
  }
  void Open(const Recording& recording) {
    const std::string name = recording.Save(dir / "a.sv5");
    m_llStartMs = clock.NowMs();
    ASSERT_EQ(QXSP_OpenFile(player, name.c_str()), 1);
    ASSERT_TRUE(clock.WaitForSleepers(2));  // the first picture finds no window
    const QXSP_RECT window = {100, 100, 164, 148};
    ASSERT_EQ(QXSP_SetVideoPreview(player, this, &window, 1), 1);
    ASSERT_TRUE(clock.WaitForSleepers(2));
  }
  void Run(uint64_t ms) { ASSERT_TRUE(clock.Step(ms, 2)); }
  // The decoded frames since the last call, each with its time in ms since the file was opened.
  std::vector<std::string> Decoded() {
    const std::lock_guard lock(m_Mutex);
    return std::exchange(m_Decoded, {});
  }

  ManualClock clock;
  TempDir dir;
  const uint32_t player = static_cast<uint32_t>(QXSP_CreatePlayer());

 private:
  std::mutex m_Mutex;  // guards m_Decoded
  std::vector<std::string> m_Decoded;
  uint64_t m_llStartMs = 0;
};

}  // namespace

TEST_F(Files, APictureEveryFramePeriodThenTheEndOnce) {
  Open(Recording(5).Add(0, "lost").Add(1, "k").Add(2, "sound").Add(0, "v").Add(3, "same again").Add(4, "w"));
  EXPECT_EQ(QXSP_GetTotalFrames(player), 5u);
  uint8_t header[32] = {};
  EXPECT_EQ(QXSP_GetHeaderData(player, header, 32), 1);
  EXPECT_EQ(header[12], 5);
  EXPECT_THAT(Decoded(), ElementsAre("k@0"));
  Run(90);
  EXPECT_EQ(Pictures(), 2);  // the first one came before the window
  EXPECT_EQ(QXSP_GetCurFrameNum(player), 5u);
  EXPECT_EQ(g_nEnds, 0);
  Run(1000);
  EXPECT_THAT(Decoded(), ElementsAre("v@40", "w@120"));
  EXPECT_EQ(Pictures(), 3);
  EXPECT_EQ(g_nEnds, 1);
  uint32_t position = 0;
  uint32_t number = 0;
  EXPECT_EQ(QXSP_GetKeyFramePos(player, &position, &number), 1);
  EXPECT_EQ(position, 64u + 12);
  EXPECT_EQ(number, 2u);
  EXPECT_EQ(QXSP_GetKeyFramePos(player, nullptr, &number), 0);
}

TEST_F(Files, PauseStepAndSpeed) {
  Open(Numbered(100));
  Run(50);
  QXSP_Pause(player);
  Run(1000);
  EXPECT_THAT(Decoded(), ElementsAre("01@0", "02@40"));
  QXSP_StepForward(player);
  Run(1000);
  EXPECT_THAT(Decoded(), ElementsAre("03@1050"));
  EXPECT_EQ(QXSP_Play(player), 1);  // no jump to catch up
  Run(45);
  EXPECT_THAT(Decoded(), ElementsAre("04@2050", "05@2090"));
  EXPECT_EQ(QXSP_SetPlaySpeed(player, 2, 0), 1);
  Run(25);
  EXPECT_THAT(Decoded(), ElementsAre("06@2095", "07@2105", "08@2115"));
  QXSP_Pause(player);
  EXPECT_EQ(QXSP_SetPlaySpeed(player, -1, 0), 1);  // also resumes
  Run(100);
  EXPECT_THAT(Decoded(), ElementsAre("09@2120", "10@2200"));
  EXPECT_EQ(QXSP_SetPlaySpeed(player, 0, 1), 1);  // key frames only, in their places
  Run(500);
  EXPECT_THAT(Decoded(), ElementsAre("11@2220", "21@2620"));
}

TEST_F(Files, SeeksGoOnFromAKeyFrameAndThePausedOneShowsOnePicture) {
  Open(Numbered(100));
  Run(50);
  Decoded();
  EXPECT_EQ(QXSP_GotoKeyFrame(player, 36, 0), 1);
  Run(80);
  // Frame 3 had been read already; the time line goes on.
  EXPECT_THAT(Decoded(), ElementsAre("03@80", "31@120"));
  EXPECT_EQ(QXSP_GetCurFrameNum(player), 32u);
  EXPECT_EQ(QXSP_GotoKeyFrame(player, kFirst, 1), 1);
  Run(500);
  EXPECT_THAT(Decoded(), ElementsAre("32@130"));
  QXSP_StepForward(player);
  Run(500);
  EXPECT_THAT(Decoded(), ElementsAre("01@630"));
  EXPECT_EQ(QXSP_GotoKeyFrame(player, 0, 0), 1);
  QXSP_Play(player);
  Run(20);
  EXPECT_THAT(Decoded(), ElementsAre("02@1130"));
  EXPECT_EQ(QXSP_GotoKeyFrame(player, 1000, 0), 1);  // beyond the end
  Run(500);
  EXPECT_EQ(g_nEnds, 1);
}

TEST_F(Files, OneSourceAtATimeAndNoneAnswersZero) {
  const auto expectNoFile = [this] {
    uint32_t number = 0;
    EXPECT_EQ(QXSP_GetTotalFrames(player), 0u);
    EXPECT_EQ(QXSP_GetCurFrameNum(player), 0u);
    EXPECT_EQ(QXSP_GetKeyFramePos(player, &number, &number), 0);
    EXPECT_EQ(QXSP_GotoKeyFrame(player, kFirst, 0), 0);
  };
  const auto open = [this](int frames) {
    return QXSP_OpenFile(player, Numbered(frames).Save(dir / "a.sv5").c_str());
  };
  clock.Release();  // opening waits for the threads of what played before
  ASSERT_EQ(OpenStream(player, Header()), 1);
  expectNoFile();
  ASSERT_EQ(open(30), 1);
  EXPECT_EQ(PushKey(player), QXSP_WRITE_QUEUE_FULL);  // there is no queue
  EXPECT_EQ(QXSP_GetTotalFrames(player), 30u);
  ASSERT_EQ(open(20), 1);
  EXPECT_EQ(QXSP_GetTotalFrames(player), 20u);
  ASSERT_EQ(OpenStream(player, Header()), 1);
  expectNoFile();
  EXPECT_EQ(g_nEnds, 0);  // being stopped is not the end
  EXPECT_EQ(QXSP_Stop(player), 1);
}

TEST_F(Files, WhatCannotBePlayedIsRefusedWithItsLineAndLeavesThePlayerUsable) {
  const std::string good = Numbered(5).Save(dir / "good.sv5");
  const std::string large = dir / "large.sv5";
  std::string bytes = Numbered(5).Bytes();
  Recording::Write(large, bytes.replace(4, 4, Recording::Word(0x80000000)));
  const struct {
    std::string name;
    std::string line;
    bool noThreads = false;
    bool noDecoder = false;
  } cases[] = {
      {dir / "a.avi", "OpenFile MediaFileStream::OpenFile pFile is NULL,name:" + (dir / "a.avi")},
      {dir / "missing.sv5", "OpenFile MediaFileStream::OpenFile pFile is NULL,name:"},
      {large, "OpenFile "},
      {good, "OpenFile m_PlayThread.Run failed,name:" + good, true},
      {good, "OpenFile Decoder::CreateVideoDecoder failed,CodecID:2,name:" + good, false, true},
  };
  for (const auto& bad : cases) {
    SCOPED_TRACE(bad.line);
    clock.FailThreads(bad.noThreads);
    scripted05::TheScript().open = [&bad] { return !bad.noDecoder; };
    (void)clock.TakeText();
    EXPECT_EQ(QXSP_OpenFile(player, bad.name.c_str()), 0);
    EXPECT_THAT(TakeLogLines(clock), Contains(HasSubstr("decodeid:0 " + bad.line)));
    EXPECT_EQ(QXSP_GetTotalFrames(player), 0u);
  }
  scripted05::TheScript().open = nullptr;
  scripted05::TheCalls().opens = scripted05::TheCalls().closes.load();  // refused ones were counted
  EXPECT_EQ(QXSP_OpenFile(player, nullptr), 0);
  Open(Numbered(5));
  EXPECT_THAT(Decoded(), ElementsAre("01@0"));
}

TEST_F(Files, StoppingDoesNotWaitForASearchThroughAnEndlessFile) {
  // Reads never end and never hold a record.
  class Endless : public TestSeam {
   public:
    Endless() : TestSeam(kByDerived) { Install(); }
    ~Endless() override { Remove(); }
    intptr_t ReadFile(int descriptor, void* buffer, size_t bytes) override {
      if (!bOpened.exchange(true)) return KernelSeam::ReadFile(descriptor, buffer, bytes);
      ++nReads;
      nReads.notify_all();
      std::fill_n(static_cast<uint8_t*>(buffer), bytes, uint8_t{0});
      return static_cast<intptr_t>(bytes);
    }
    std::atomic<bool> bOpened{false};
    std::atomic<int> nReads{0};
  };
  Endless disk;
  const std::string name = Recording(5).Save(dir / "a.sv5");
  ASSERT_EQ(QXSP_OpenFile(player, name.c_str()), 1);
  disk.nReads.wait(0);
  EXPECT_EQ(QXSP_Stop(player), 1);
  EXPECT_EQ(g_nEnds, 0);
}

TEST_F(Files, APausedPlayerWakesForItsTimingLineOnceTheLogTakesIt) {
  QXSP_ConfigLog(QXSP_LOG_NONE, nullptr, QXSP_LOG_NONE);
  Open(Numbered(30));
  QXSP_Pause(player);
  Run(50);  // the frame that was due is behind it
  EXPECT_EQ(clock.NextWakeMs(), UINT64_MAX);
  QXSP_ConfigLog(QXSP_LOG_NONE, nullptr, QXSP_LOG_DEBUG);
  Run(1002);
  EXPECT_THAT(clock.TakeText(), Contains(HasSubstr("dPeriod:")));
}
