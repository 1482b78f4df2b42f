// A load of live streams: which frames arrive when.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "bench/LiveClip.h"

// From a key frame to the next in the clips of this program; cameras start within that time.
constexpr double kKeyPeriodMs = 2000;

// Figures are taken from kWarmMs on, when all cameras have been sending for a while, until kEndMs.
constexpr double kWarmMs = 4000;
constexpr double kEndMs = 14000;

struct Load {
  const LiveClip& clip;  // what every stream sends, over and over
  uint32_t nStreams;
  int nFramesPerSecond;      // of each stream
  bool bLastAtOnce = false;  // the last stream plays in mode 0x10, the others in the default mode
  uint32_t nScreens = 1;     // 1920x1080 each, in a row; windows of 176x144 are dealt out in turn
  bool bWindows = true;      // false: nothing is presented
};

struct Arrival {
  double atMs;  // after the start
  uint32_t stream;
  uint32_t frame;  // of its stream, the first is 0
};

// Until kEndMs, in order. Every camera starts at a moment of its own and then sends evenly. The moments are
// random, but the same in every run: cameras are not in step, neither with their frames nor with their key
// frames.
std::vector<Arrival> Arrivals(const Load& load);

// The position in the clip of the frame that arrives: streams start at different key frames.
size_t UnitOf(const Load& load, const Arrival& arrival);
