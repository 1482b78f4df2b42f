// What the device's thresholds do not show: other latencies, odd rates and impossible formats. The thresholds
// themselves are tested with the viewer.
#include "audio/AudioSizes.h"

#include <gtest/gtest.h>

#include <random>

namespace {

TEST(AudioSizes, OverflowAllowsAtLeast200MsOnTopOfTheLatency) {
  EXPECT_EQ(AudioSizes::Of({1, 8000, 16, 400, 100}).overflowThreshold, 4800u);
  EXPECT_EQ(AudioSizes::Of({1, 8000, 16, 800, 300}).overflowThreshold, 9600u);
}

TEST(AudioSizes, ImpossibleFormatsAreNotPlayable) {
  for (const AudioFormat& format :
       {AudioFormat{}, AudioFormat{0, 8000, 16, 400, 200}, AudioFormat{1, 0, 16, 400, 200},
        AudioFormat{1, 8000, 7, 400, 200}, AudioFormat{1, 8000, 16, 0, 200}, AudioFormat{1, 1, 16, 400, 200},
        AudioFormat{UINT32_MAX, UINT32_MAX, UINT32_MAX, UINT32_MAX, UINT32_MAX},
        AudioFormat{0x10001, 4000000, 8, 400, 200}, AudioFormat{2, 0x2FFFFFFF, 16, 400, 200}}) {
    EXPECT_FALSE(AudioSizes::Of(format).IsPlayable())
        << format.channels << " x " << format.bitsPerSample << " bits at " << format.samplesPerSec;
  }
}

// Whatever a stream's header claims and wherever the cursors stand: what comes out fits into the buffer and
// into what is staged, and is a whole number of blocks, though a quarter of the buffer, the buffer or the
// skip step may be none.
TEST(AudioSizes, DecisionsStayInBoundsForAnyFormat) {
  EXPECT_EQ(AudioSizes::Of({2, 11025, 16, 400, 200}).FeedBytes(0, 17640), 4408u);
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
    ASSERT_EQ(sizes.bufferSize % sizes.blockSize, 0u);
    const uint32_t cursor = upTo(sizes.bufferSize - 1);
    const uint32_t queued = sizes.Queued(upTo(sizes.bufferSize - 1), cursor);
    ASSERT_LT(queued, sizes.bufferSize);
    const uint32_t staged = upTo(sizes.stagingCapacity);
    const uint32_t bytes = sizes.FeedBytes(queued, staged);
    ASSERT_LE(bytes, staged);
    ASSERT_LE(bytes, sizes.bufferSize - queued);
    ASSERT_EQ(bytes % sizes.blockSize, 0u);
    ASSERT_LT(sizes.SkippedCursor(cursor), sizes.bufferSize);
    ASSERT_EQ(sizes.SkippedCursor(cursor) % sizes.blockSize, 0u);
  }
  EXPECT_GT(playable, 1000);
}

}  // namespace
