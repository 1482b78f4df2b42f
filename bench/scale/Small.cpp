// 512 cameras of 176x144 at 5 frames a second.
#include "bench/scale/Cases.h"
#include "bench/scale/Comparison.h"
#include "bench/scale/Process.h"

void RunSmall() {
  StartLibrary();
  const LiveClip clip = ReadLiveClip(QX_SCALE_CLIP_176x144);
  PrintComparison(CompareLoad({clip, QXSP_MAX_PLAYERS, 5}, 3), 1.5, 100);
  QXSP_ReleaseSDK();
}
