#include "bench/scale/BareDecode.h"

#include <deque>
#include <semaphore>
#include <thread>

#include "bench/Measure.h"
#include "bench/scale/PlainDecoder.h"
#include "bench/scale/Process.h"

namespace {

void SleepUntil(Clock::time_point start, double ms) {
  std::this_thread::sleep_until(
      start + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double, std::milli>(ms)));
}

// A stream's thread. The frames are decoded in order, so that the semaphore's count says how far to go.
class Decoding {
 public:
  Decoding(const Load& load, uint32_t stream) {
    m_Thread = std::thread([this, &load, stream] {
      PlainDecoder decoder;
      for (uint32_t frame = 0;; ++frame) {
        m_Arrived.acquire();
        if (m_bEnd) return;
        decoder.Decode(load.clip.units[UnitOf(load, {.atMs = 0, .stream = stream, .frame = frame})]);
      }
    });
  }
  ~Decoding() {
    m_bEnd = true;
    m_Arrived.release();
    m_Thread.join();
  }
  void Wake() { m_Arrived.release(); }

 private:
  std::counting_semaphore<> m_Arrived{0};
  std::atomic<bool> m_bEnd{false};
  std::thread m_Thread;
};

}  // namespace

double DecodeBareMs(const Load& load, bool inRealTime) {
  std::vector<PlainDecoder> decoders(load.nStreams);
  const Clock::time_point start = Clock::now();
  double before = 0;
  bool warm = false;
  for (const Arrival& arrival : Arrivals(load)) {
    if (!warm && arrival.atMs >= kWarmMs) {
      warm = true;
      before = ThreadCpuMs();
    }
    if (inRealTime) SleepUntil(start, arrival.atMs);
    decoders[arrival.stream].Decode(load.clip.units[UnitOf(load, arrival)]);
  }
  return ThreadCpuMs() - before;
}

double DecodeOnThreadsMs(const Load& load) {
  std::deque<Decoding> streams;
  for (uint32_t stream = 0; stream < load.nStreams; ++stream)
    streams.emplace_back(load, stream);
  const Clock::time_point start = Clock::now();
  double others = 0;  // CPU time of all threads but this one, until the measured time begins
  double waking = 0;
  bool warm = false;
  for (const Arrival& arrival : Arrivals(load)) {
    SleepUntil(start, arrival.atMs);
    const double own = ThreadCpuMs();
    if (!warm && arrival.atMs >= kWarmMs) {
      warm = true;
      others = ProcessCpuMs() - own;
      waking = 0;
    }
    streams[arrival.stream].Wake();
    waking += ThreadCpuMs() - own;
  }
  SleepUntil(start, kEndMs);
  return ProcessCpuMs() - ThreadCpuMs() - others + waking;
}
