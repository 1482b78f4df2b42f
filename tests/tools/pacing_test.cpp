// When frames are due, on a clock that the test moves, and what is counted and told of them.
#include <gmock/gmock.h>

#include "tools/qxplay/LivePacer.h"
#include "tools/qxplay/PresentationStats.h"
#include "tools/qxplay/Progress.h"

namespace {

using namespace std::chrono_literals;
using testing::DoubleEq;
using testing::ElementsAre;

constexpr LivePacer::Time kStart{1000s};

TEST(LivePacer, KeepsTheDistancesOfTheTimestampsButSendsNoBurst) {
  LivePacer pacer;
  EXPECT_EQ(pacer.DueTime(0, kStart), kStart);
  EXPECT_EQ(pacer.DueTime(40, kStart + 540ms), kStart + 40ms);
  EXPECT_EQ(pacer.DueTime(80, kStart + 581ms), kStart + 581ms);
  EXPECT_EQ(pacer.DueTime(120, kStart + 582ms), kStart + 621ms);
}

TEST(PresentationStats, MatchesPicturesToFrames) {
  PresentationStats stats;
  stats.OnPushing(kStart);
  stats.OnPushing(kStart + 40ms);
  stats.OnPresented(kStart + 45ms);
  stats.OnPushing(kStart + 80ms);
  stats.OnRefused();
  stats.OnPresented(kStart + 50ms);
  EXPECT_THAT(stats.TakeLatencies(), ElementsAre(DoubleEq(45), DoubleEq(10)));
  stats.OnPushing(kStart + 90ms);
  stats.OnUnseen();  // and late by nobody's fault
  EXPECT_THAT(stats.TakeLatencies(), ElementsAre());
  const auto totals = stats.GetTotals();
  EXPECT_EQ(std::tuple(totals.pushed, totals.refused, totals.presented, totals.queued),
            std::tuple(3u, 1u, 2u, 0u));
  EXPECT_EQ(totals.lastPresented, kStart + 50ms);
}

TEST(Progress, TellsRateQueueAndLatency) {
  const Progress progress{.elapsedSeconds = 65.2,
                          .spanSeconds = 2,
                          .players = 4,
                          .presentedInSpan = 201,
                          .pushed = 900,
                          .presented = 897,
                          .refused = 2,
                          .queued = 3,
                          .latenciesMs = {9, 1, 2.26}};
  EXPECT_EQ(ProgressLine(progress),
            "01:05  100.5 fps in 4 streams  pushed 900  presented 897  queue 3  refused 2  latency 2.3 ms "
            "(max 9.0)");
  EXPECT_EQ(ProgressLine({}), "00:00  0.0 fps  pushed 0  presented 0  queue 0  latency -");
  EXPECT_EQ(FileLine({12.9, 4000, 322, 100000, -2, true, true}, {}),
            "00:12 / 1:06:40  frame 322 of 100000  1/4x  key frames  0.0 fps  paused");
}

}  // namespace
