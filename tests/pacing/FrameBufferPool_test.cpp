// The live queue: what it accepts, in which order it gives frames back, and what it says about them.
#include "pacing/FrameBufferPool.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "tests/support/LogLines.h"
#include "tests/support/ManualClock.h"

using testing::EndsWith;
using testing::MatchesRegex;

namespace {

class FrameBufferPoolTest : public testing::Test {
 protected:
  PushResult Push(FrameType type, bool key, int64_t timestamp, std::vector<uint8_t> bytes = {1, 2, 3}) {
    FrameRecord frame;
    frame.pFrame = bytes.data();
    frame.dwFrameSize = static_cast<uint32_t>(bytes.size());
    frame.ftFrameType = type;
    frame.bKeyFrame = key;
    frame.llTimeStamp = timestamp;
    return pool.PushBackFrame(7, frame);  // the caller's bytes are gone after this call
  }
  PushResult Key(int64_t timestamp = 0) { return Push(QFT_Video, true, timestamp); }
  PushResult Delta(int64_t timestamp = 0) { return Push(QFT_Video, false, timestamp); }
  PushResult Audio(int64_t timestamp = 0) { return Push(QFT_Audio, false, timestamp); }

  std::string LastLine() {
    const std::vector<std::string> lines = TakeLogLines(clock);
    return lines.empty() ? std::string() : lines.back();
  }

  ManualClock clock;
  WakeUp wakeUp;
  FrameBufferPool pool{wakeUp};
};

}  // namespace

TEST_F(FrameBufferPoolTest, ClosedUntilOpenedThenWaitsForAKeyFrame) {
  EXPECT_EQ(Key(), kPushQueueFull);
  EXPECT_THAT(LastLine(),
              EndsWith("decodeid:7 ftFrameType:0 bKeyFrame:1 dwFrameSize:3 PushBackFrame Lost frame\n"));
  EXPECT_EQ(Delta(), kPushWaitsForKeyFrame);
  pool.ResetForLive();
  EXPECT_EQ(Delta(), kPushWaitsForKeyFrame);
  EXPECT_EQ(Audio(), kPushWaitsForKeyFrame);
  EXPECT_THAT(LastLine(), EndsWith("decodeid:7 ftFrameType:1 bKeyFrame:0 dwFrameSize:3 leftFrameCnt:0 "
                                   "(!frame.bKeyFrame || frame.ftFrameType != QFT_Video)\n"));
  EXPECT_EQ(Push(QFT_Audio, true, 0), kPushWaitsForKeyFrame);  // a key frame is a video frame
  EXPECT_EQ(Key(), kPushQueued);
  EXPECT_EQ(Audio(), kPushQueued);
  EXPECT_EQ(Delta(), kPushQueued);
  pool.CloseAndClear();
  EXPECT_EQ(pool.GetVideoFrameCount(), 0);
  EXPECT_EQ(Key(), kPushQueueFull);
}

TEST_F(FrameBufferPoolTest, ALossLastsUntilTheNextKeyFrame) {
  pool.ResetForLive();
  ASSERT_EQ(Key(), kPushQueued);
  for (int i = 1; i < 199; ++i) {
    EXPECT_EQ(pool.IsOverFilled(), i > 150);
    ASSERT_EQ(Delta(), kPushQueued);
  }
  for (int i = 0; i < 300; ++i)
    ASSERT_EQ(Audio(), kPushQueued);  // sound does not count
  ASSERT_EQ(Delta(), kPushQueued);
  EXPECT_EQ(Audio(), kPushQueueFull);
  pool.PopFrontFrame(QFT_Video);
  EXPECT_EQ(Audio(), kPushWaitsForKeyFrame);
  EXPECT_EQ(Delta(), kPushWaitsForKeyFrame);
  EXPECT_EQ(pool.GetVideoFrameCount(), 199);
  EXPECT_EQ(Key(), kPushQueued);
  EXPECT_EQ(Key(), kPushQueueFull);
}

TEST_F(FrameBufferPoolTest, OneAllocationAFrameAndARefusedOneLosesIt) {
  pool.ResetForLive();
  const std::vector<uint8_t> large(40'000);  // smaller frames share the allocator's pages
  EXPECT_EQ(Key(), kPushQueued);             // the first log line of a program takes memory, too
  clock.FailAllocationsAfter(2);
  for (int i = 0; i < 2; ++i)
    EXPECT_EQ(Push(QFT_Video, true, 0, large), kPushQueued);
  EXPECT_EQ(Push(QFT_Video, false, 0, large), kPushNoMemory);
  clock.AllowAllocations();
  EXPECT_THAT(LastLine(), MatchesRegex("error: FrameBufferPool.cpp\\([0-9]+\\): malloc frame buffer failed"));
  EXPECT_EQ(Delta(), kPushWaitsForKeyFrame);
  EXPECT_EQ(pool.GetVideoFrameCount(), 3);
  EXPECT_EQ(Key(), kPushQueued);
}

TEST_F(FrameBufferPoolTest, FramesComeBackInTimestampOrderWithTheirOwnBytes) {
  pool.ResetForLive();
  pool.SetAVOffset(200);
  ASSERT_EQ(Push(QFT_Video, true, 1000, {10, 11}), kPushQueued);
  ASSERT_EQ(Push(QFT_Audio, false, 1199, {20}), kPushQueued);
  ASSERT_EQ(Push(QFT_Audio, false, 1200, {}), kPushQueued);
  FrameRecord frame;
  ASSERT_TRUE(pool.GetFrontFrame(frame));
  EXPECT_EQ(frame.ftFrameType, QFT_Audio);
  EXPECT_EQ(frame.pFrame[0], 20);
  pool.PopFrontFrame(QFT_Audio);
  ASSERT_TRUE(pool.GetFrontFrame(frame));  // 1000 + 200 ties with 1200: video first
  EXPECT_EQ(frame.ftFrameType, QFT_Video);
  EXPECT_EQ(std::vector(frame.pFrame, frame.pFrame + frame.dwFrameSize), (std::vector<uint8_t>{10, 11}));
  EXPECT_TRUE(frame.bKeyFrame);
  pool.PopFrontFrame(QFT_Video);
  pool.PopFrontFrame(QFT_Video);  // empty: left alone
  ASSERT_TRUE(pool.GetFrontFrame(frame));
  EXPECT_EQ(frame.dwFrameSize, 0u);
  pool.PopFrontFrame(2);  // any type but video
  EXPECT_FALSE(pool.GetFrontFrame(frame));
}

TEST_F(FrameBufferPoolTest, BufferedTimeSpansBothQueues) {
  EXPECT_EQ(pool.GetBufferedTime(), 0);
  pool.ResetForLive();
  ASSERT_EQ(Key(1000), kPushQueued);
  EXPECT_EQ(pool.GetBufferedTime(), 0);
  ASSERT_EQ(Delta(1400), kPushQueued);
  ASSERT_EQ(Audio(900), kPushQueued);
  ASSERT_EQ(Audio(1500), kPushQueued);
  EXPECT_EQ(pool.GetBufferedTime(), 600);
  pool.ClearFrames();
  EXPECT_EQ(pool.GetBufferedTime(), 0);
  EXPECT_EQ(Audio(), kPushWaitsForKeyFrame);
}

TEST_F(FrameBufferPoolTest, LinesAboutFrames) {
  pool.ResetForLive();
  clock.Advance(500);
  ASSERT_EQ(Key(), kPushQueued);
  EXPECT_THAT(
      LastLine(),
      EndsWith("decodeid:7 ftFrameType:0 bKeyFrame:1 dwFrameSize:3 keyPeriod:500.0ms lastPeriod:500.0ms "
               "betweenKeyFrameCnt:1 leftVideoFrameCnt:0\n"));
  clock.Advance(40);
  ASSERT_EQ(Delta(), kPushQueued);
  clock.Advance(40);
  ASSERT_EQ(Key(), kPushQueued);
  EXPECT_THAT(LastLine(),
              EndsWith("keyPeriod:80.0ms lastPeriod:40.0ms betweenKeyFrameCnt:2 leftVideoFrameCnt:2\n"));
}
