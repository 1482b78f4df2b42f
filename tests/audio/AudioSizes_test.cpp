#include "audio/AudioSizes.h"

#include <gtest/gtest.h>

#include <random>

namespace {

AudioSizes Of(uint32_t channels, uint32_t rate, uint32_t bits) {
  return AudioSizes::Of({channels, rate, bits, 400, 200});
}

TEST(AudioSizes, TelephoneSound) {
  const AudioSizes sizes = Of(1, 8000, 16);
  EXPECT_EQ(sizes.blockSize, 2u);
  EXPECT_EQ(sizes.bytesPerSecond, 16000u);
  EXPECT_EQ(sizes.bufferSize, 6400u);
  EXPECT_EQ(sizes.startThreshold, 3200u);
  EXPECT_EQ(sizes.underrunThreshold, 320u);
  EXPECT_EQ(sizes.stagingCapacity, 16000u);
  EXPECT_EQ(sizes.minimumChunk, 640u);
  EXPECT_EQ(sizes.overflowThreshold, 6400u);
}

TEST(AudioSizes, OverflowAllowsAtLeast200MsOnTopOfTheLatency) {
  EXPECT_EQ(AudioSizes::Of({1, 8000, 16, 400, 100}).overflowThreshold, 4800u);
  EXPECT_EQ(AudioSizes::Of({1, 8000, 16, 800, 300}).overflowThreshold, 9600u);
}

TEST(AudioSizes, FeedsBetweenTheMinimumChunkAndAQuarterOfTheBuffer) {
  const AudioSizes sizes = Of(1, 8000, 16);
  EXPECT_EQ(sizes.FeedBytes(0, 638), 0u);
  EXPECT_EQ(sizes.FeedBytes(0, 640), 640u);
  EXPECT_EQ(sizes.FeedBytes(0, 1600), 1600u);
  EXPECT_EQ(sizes.FeedBytes(0, 16000), 1600u);
  // One block of the buffer stays free.
  EXPECT_EQ(sizes.FeedBytes(6400 - 2 - 640, 16000), 640u);
  EXPECT_EQ(sizes.FeedBytes(6400 - 2 - 638, 16000), 0u);
  EXPECT_EQ(sizes.FeedBytes(6398, 16000), 0u);
  EXPECT_EQ(sizes.FeedBytes(6399, 16000), 0u);
}

TEST(AudioSizes, CursorsWrapRoundTheBuffer) {
  const AudioSizes sizes = Of(1, 8000, 16);
  EXPECT_EQ(sizes.Queued(3200, 3200), 0u);
  EXPECT_EQ(sizes.Queued(3200, 3000), 200u);
  EXPECT_EQ(sizes.Queued(0, 6398), 2u);
  EXPECT_EQ(sizes.SkippedCursor(0), 640u);
  EXPECT_EQ(sizes.SkippedCursor(5760), 0u);
  EXPECT_EQ(sizes.SkippedCursor(6398), 638u);
  EXPECT_TRUE(sizes.IsStarved(319));
  EXPECT_FALSE(sizes.IsStarved(320));
  EXPECT_FALSE(sizes.IsOverfull(6000, 400));
  EXPECT_TRUE(sizes.IsOverfull(6000, 402));
}

// A quarter of the buffer, the buffer or the skip step is no whole number of blocks for some rates; nothing
// may get out of step then.
TEST(AudioSizes, EveryMoveIsAWholeNumberOfBlocks) {
  EXPECT_EQ(Of(2, 11025, 16).FeedBytes(0, 17640), 4408u);
  for (uint32_t rate = 8000; rate <= 48000; rate += 7) {
    const AudioSizes sizes = Of(2, rate, 16);
    ASSERT_TRUE(sizes.IsPlayable());
    ASSERT_EQ(sizes.bufferSize % 4, 0u) << rate;
    ASSERT_EQ(sizes.FeedBytes(400, 100000) % 4, 0u) << rate;
    ASSERT_EQ(sizes.SkippedCursor(sizes.bufferSize - 4) % 4, 0u) << rate;
  }
}

TEST(AudioSizes, ImpossibleFormatsAreNotPlayable) {
  for (const AudioFormat& format :
       {AudioFormat{}, AudioFormat{0, 8000, 16, 400, 200}, AudioFormat{1, 0, 16, 400, 200},
        AudioFormat{1, 8000, 0, 400, 200}, AudioFormat{1, 8000, 7, 400, 200},
        AudioFormat{1, 8000, 16, 0, 200}, AudioFormat{1, 1, 16, 400, 200},
        AudioFormat{UINT32_MAX, UINT32_MAX, UINT32_MAX, UINT32_MAX, UINT32_MAX},
        AudioFormat{0x10000, 8000, 8, 400, 200}, AudioFormat{0x2000, 0x40001, 64, 400, 200}}) {
    EXPECT_FALSE(AudioSizes::Of(format).IsPlayable())
        << format.channels << " x " << format.bitsPerSample << " bits at " << format.samplesPerSec;
  }
}

// Whatever a stream's header claims and wherever the cursors stand: what comes out fits into the buffer and
// into what is staged.
TEST(AudioSizes, DecisionsStayInBoundsForAnyFormat) {
  std::mt19937 random(20240611);
  const auto upTo = [&](uint32_t last) { return std::uniform_int_distribution<uint32_t>(0, last)(random); };
  int playable = 0;
  for (int i = 0; i < 200000; ++i) {
    const uint32_t widest = i % 2 == 0 ? 255u : 65535u;
    const AudioSizes sizes = AudioSizes::Of(
        {upTo(widest), upTo(65535), upTo(64), upTo(i % 3 == 0 ? UINT32_MAX : 1000), upTo(1000)});
    if (!sizes.IsPlayable()) continue;
    ++playable;
    ASSERT_GE(sizes.bufferSize, sizes.blockSize);
    const uint32_t cursor = upTo(sizes.bufferSize - 1);
    const uint32_t queued = sizes.Queued(upTo(sizes.bufferSize - 1), cursor);
    ASSERT_LT(queued, sizes.bufferSize);
    const uint32_t staged = upTo(sizes.stagingCapacity);
    const uint32_t bytes = sizes.FeedBytes(queued, staged);
    ASSERT_LE(bytes, staged);
    ASSERT_LE(bytes, sizes.bufferSize - queued);
    ASSERT_EQ(bytes % sizes.blockSize, 0u);
    ASSERT_LT(sizes.SkippedCursor(cursor), sizes.bufferSize);
  }
  EXPECT_GT(playable, 1000);
}

}  // namespace
