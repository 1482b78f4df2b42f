// Walls of 64 and of 16 cameras, beside the same clips in handles of libmpv.
#include <cstdio>
#include <string>

#include "bench/scale/Cases.h"
#include "bench/scale/Comparison.h"
#include "bench/scale/Parts.h"
#include "bench/scale/Process.h"

void RunWall(const std::vector<std::string>& arguments) {
  const auto streams = static_cast<uint32_t>(std::stoul(arguments.at(0)));
  const LiveClip clip = ReadLiveClip(arguments.at(1).c_str());
  StartLibrary();
  std::printf(" %u of %dx%d at 25 frames a second, %.2f Mbit/s each\n", static_cast<unsigned>(streams),
              clip.nWidth, clip.nHeight, clip.Megabits());
  const Comparison shown = CompareLoad({clip, streams, 25}, 3);
  PrintComparison(shown, 1.4, 100);
  std::printf("  each: %.1f MiB resident, %.1f threads\n", shown.residentKiBPerStream / 1024,
              shown.threadsPerStream);
  std::printf("  without windows, as the peer plays them:\n");
  const Comparison unseen =
      CompareLoad({.clip = clip, .nStreams = streams, .nFramesPerSecond = 25, .bWindows = false}, 1);
  QXSP_ReleaseSDK();
  Require(RunProgram(ProgramPath(),
                     {"--peer", arguments.at(2), arguments.at(0), std::to_string(shown.bareMsPerFrame),
                      std::to_string(unseen.Ratio()), std::to_string(shown.residentKiBPerStream)}),
          "the peer failed");
}

void RunMedium() {
  const bool ran =
      RunProgram(ProgramPath(), {"--wall", "64", QX_SCALE_CLIP_352x288, QX_SCALE_FILE_352x288}) &&
      RunProgram(ProgramPath(), {"--wall", "16", QX_SCALE_CLIP_704x576, QX_SCALE_FILE_704x576});
  Require(ran, "a wall failed");
}
