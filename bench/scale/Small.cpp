// 512 cameras of 176x144 at 5 frames a second.
#include <cstdio>

#include "bench/scale/BareDecode.h"
#include "bench/scale/Cases.h"
#include "bench/scale/Comparison.h"
#include "bench/scale/Process.h"

void RunSmall() {
  StartLibrary();
  const LiveClip clip = ReadLiveClip(QX_SCALE_CLIP_176x144);
  const Load load = {clip, QXSP_MAX_PLAYERS, 5};
  PrintComparison(CompareLoad(load, 3), 1.5, 100);
  // How much of that a program has to pay that only decodes, but when the frames arrive.
  const double bareMs = DecodeBareMs(load);
  std::printf(
      "  libavcodec alone in real time, over the bare decode: one thread %.2f, a thread a stream %.2f\n",
      DecodeBareMs(load, true) / bareMs, DecodeOnThreadsMs(load) / bareMs);
  QXSP_ReleaseSDK();
}
