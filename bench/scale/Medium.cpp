// Walls of 64 and of 16 cameras, beside the same clips in handles of libmpv.
#include <cstdio>
#include <string>

#include "bench/scale/Cases.h"
#include "bench/scale/Comparison.h"
#include "bench/scale/Process.h"

namespace {

void RunWall(const char* live, const char* file, uint32_t streams) {
  const LiveClip clip = ReadLiveClip(live);
  std::printf(" %u of %dx%d at 25 frames a second, %.2f Mbit/s each\n", static_cast<unsigned>(streams),
              clip.nWidth, clip.nHeight, clip.Megabits());
  const Comparison comparison = CompareLoad({clip, streams, 25}, 3);
  PrintComparison(comparison, 1.4, 100);
  std::printf("  each: %.1f MiB resident, %.1f threads\n", comparison.residentKiBPerStream / 1024,
              comparison.threadsPerStream);
  const bool ran = RunProgram(
      ProgramPath(), {"--peer", file, std::to_string(streams), std::to_string(comparison.bareMsPerFrame)});
  if (!ran) std::printf("  libmpv: failed\n");
}

}  // namespace

void RunMedium() {
  StartLibrary();
  RunWall(QX_SCALE_CLIP_352x288, QX_SCALE_FILE_352x288, 64);
  RunWall(QX_SCALE_CLIP_704x576, QX_SCALE_FILE_704x576, 16);
  QXSP_ReleaseSDK();
}
