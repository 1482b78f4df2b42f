// One stream that plays at once, alone and beside a wall of 64 cameras.
#include <cstdio>

#include "bench/Measure.h"
#include "bench/scale/Cases.h"
#include "bench/scale/Playing.h"
#include "bench/scale/Process.h"

void RunLatency() {
  StartLibrary();
  const LiveClip clip = ReadLiveClip(QX_SCALE_CLIP_352x288);
  const Played playedAlone = PlayLoad({clip, 1, 25, true});
  const Played playedBeside = PlayLoad({clip, 65, 25, true});
  const std::vector<double>& alone = playedAlone.lateMsOfLast;
  const std::vector<double>& beside = playedBeside.lateMsOfLast;
  std::printf("  push to presented, ms: alone %.2f, beside the others %.2f, ratio %.2f\n",
              Quantile(alone, 0.5), Quantile(beside, 0.5), Quantile(beside, 0.5) / Quantile(alone, 0.5));
  std::printf("  99th percentile: alone %.2f, beside the others %.2f, ratio %.2f\n", Quantile(alone, 0.99),
              Quantile(beside, 0.99), Quantile(beside, 0.99) / Quantile(alone, 0.99));
  PrintLimited("lost frames", static_cast<double>(playedAlone.lost + playedBeside.lost), "", 0);
  QXSP_ReleaseSDK();
}
