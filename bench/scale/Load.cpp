#include "bench/scale/Load.h"

#include <algorithm>
#include <random>

std::vector<Arrival> Arrivals(const Load& load) {
  const double periodMs = 1000.0 / load.nFramesPerSecond;
  std::mt19937 random(1);
  std::vector<Arrival> arrivals;
  for (uint32_t stream = 0; stream < load.nStreams; ++stream) {
    const double startMs = kKeyPeriodMs * static_cast<double>(random()) / std::mt19937::max();
    for (uint32_t frame = 0; startMs + frame * periodMs < kEndMs; ++frame)
      arrivals.push_back({startMs + frame * periodMs, stream, frame});
  }
  std::sort(arrivals.begin(), arrivals.end(),
            [](const Arrival& a, const Arrival& b) { return a.atMs < b.atMs; });
  return arrivals;
}

size_t UnitOf(const Load& load, const Arrival& arrival) {
  const auto keyFrames = static_cast<size_t>(kKeyPeriodMs / 1000 * load.nFramesPerSecond);
  return (arrival.stream * keyFrames + arrival.frame) % load.clip.units.size();
}
