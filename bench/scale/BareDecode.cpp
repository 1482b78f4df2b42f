#include "bench/scale/BareDecode.h"

#include "bench/scale/PlainDecoder.h"
#include "bench/scale/Process.h"

double DecodeBareMs(const Load& load) {
  std::vector<PlainDecoder> decoders(load.nStreams);
  double start = 0;
  bool warm = false;
  for (const Arrival& arrival : Arrivals(load)) {
    if (!warm && arrival.atMs >= kWarmMs) {
      warm = true;
      start = ThreadCpuMs();
    }
    decoders[arrival.stream].Decode(load.clip.units[UnitOf(load, arrival)]);
  }
  return ThreadCpuMs() - start;
}
