// Snapshots of a 1080p player: what one costs over one conversion of such a picture, and by how much taking
// 25 a second holds up the pictures of a stream of 25 frames a second, which plays with and without them in
// turn.
//   bench_snapshots [CLIP.h264]
#include <atomic>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <thread>
#include <vector>

#include "bench/LiveClip.h"
#include "bench/Measure.h"
#include "video/PixelConversion.h"

namespace {

constexpr int kRounds = 200;
constexpr int kTurns = 5;
constexpr size_t kFrames = 100;  // a turn
constexpr auto kPeriod = std::chrono::milliseconds(40);

void Require(bool condition, const char* what) {
  if (condition) return;
  std::fprintf(stderr, "bench_snapshots: %s\n", what);
  std::exit(1);
}

std::mutex g_Mutex;
std::condition_variable g_Changed;
std::vector<Clock::time_point> g_Shown;

void QXSP_CALLBACK AfterCopy(uint32_t, void*, void*, void*, QXSP_RECT*, QXSP_RECT*) {
  const std::lock_guard lock(g_Mutex);
  g_Shown.push_back(Clock::now());
  g_Changed.notify_all();
}

void WaitShown(size_t count) {
  std::unique_lock lock(g_Mutex);
  Require(g_Changed.wait_for(lock, std::chrono::seconds(20), [count] { return g_Shown.size() >= count; }),
          "pictures are missing");
}

// A player that has shown the clip's first picture.
uint32_t OpenPlayer(const LiveClip& clip) {
  g_Shown.clear();
  const uint32_t player = OpenLivePlayer(clip, clip.nWidth, clip.nHeight);
  PushLive(player, clip.units[0]);
  WaitShown(1);
  return player;
}

std::vector<uint8_t> RoomFor(const LiveClip& clip) {
  return std::vector<uint8_t>(static_cast<size_t>(clip.nWidth) * static_cast<size_t>(clip.nHeight) * 4);
}

void MeasureCost(const LiveClip& clip) {
  const uint32_t player = OpenPlayer(clip);
  std::vector<uint8_t> snapshot = RoomFor(clip);
  std::vector<uint8_t> converted = RoomFor(clip);
  const size_t luma = snapshot.size() / 4;
  const std::vector<uint8_t> picture(luma * 3 / 2, 90);
  std::vector<double> snapshotMs;
  std::vector<double> conversionMs;
  for (int round = 0; round < kRounds; ++round) {
    auto start = Clock::now();
    Require(QXSP_GetBitmap(player, snapshot.data(), static_cast<uint32_t>(snapshot.size())) == 1,
            "there is no snapshot");
    snapshotMs.push_back(MsSince(start));
    start = Clock::now();
    PlanarToRGB32(converted.data(), clip.nWidth * 4, picture.data(), &picture[luma],
                  &picture[luma + luma / 4], clip.nWidth, clip.nWidth / 2, clip.nWidth, clip.nHeight, true);
    conversionMs.push_back(MsSince(start));
  }
  QXSP_ReleasePlayer(player);
  std::printf("  one snapshot: %.2f ms, over one conversion pass %.2f (median of %d)\n",
              Quantile(snapshotMs, 0.5), Quantile(snapshotMs, 0.5) / Quantile(conversionMs, 0.5), kRounds);
}

// Adds the ms between one presented picture and the next, frames being pushed every kPeriod.
void Play(const LiveClip& clip, bool withSnapshots, std::vector<double>& intervals) {
  const uint32_t player = OpenPlayer(clip);
  std::atomic<bool> running = true;
  size_t taken = 0;
  std::thread taker([&] {
    std::vector<uint8_t> room = RoomFor(clip);
    // Not quite the frames' period: a snapshot comes at every moment of a frame's way.
    for (auto next = Clock::now(); running && withSnapshots;
         next += kPeriod - std::chrono::microseconds(400)) {
      std::this_thread::sleep_until(next);
      taken += QXSP_GetBitmap(player, room.data(), static_cast<uint32_t>(room.size())) == 1 ? 1 : 0;
    }
  });
  auto next = Clock::now();
  for (size_t i = 1; i < kFrames; ++i) {
    std::this_thread::sleep_until(next += kPeriod);
    PushLive(player, clip.units[i % clip.units.size()]);
  }
  WaitShown(kFrames);
  running = false;
  taker.join();
  QXSP_ReleasePlayer(player);
  Require(!withSnapshots || taken >= kFrames, "there were fewer snapshots than frames");
  for (size_t i = 2; i < kFrames; ++i)
    intervals.push_back(std::chrono::duration<double, std::milli>(g_Shown[i] - g_Shown[i - 1]).count());
}

void PrintIntervals(const char* what, const std::vector<double>& intervals) {
  std::printf("  %-27s %.1f ms between pictures, 99th percentile %.1f, worst %.1f\n", what,
              Quantile(intervals, 0.5), Quantile(intervals, 0.99), Quantile(intervals, 1));
}

}  // namespace

int main(int argc, char** argv) {
  setenv("QXSDKP_DISPLAY", "headless:1920x1080+0+0", 1);
  setenv("QXSDKP_SOUND", "null", 1);
  QXSP_ConfigLog(QXSP_LOG_NONE, nullptr, QXSP_LOG_NONE);
  Require(QXSP_InitSDK() == 1, "the library does not start");
  QXSP_ConfigLog(QXSP_LOG_NONE, nullptr, QXSP_LOG_NONE);
  QXSP_SetCallBack(nullptr, nullptr, nullptr, AfterCopy);
  const LiveClip clip = ReadLiveClip(argc > 1 ? argv[1] : QX_CLIP);
  std::printf("snapshots of %d x %d H.264 at %.1f Mbit/s, headless, %zu frames with and without\n",
              clip.nWidth, clip.nHeight, clip.Megabits(), kTurns * kFrames);
  MeasureCost(clip);
  std::vector<double> without;
  std::vector<double> with;
  for (int turn = 0; turn < kTurns; ++turn) {
    Play(clip, false, without);
    Play(clip, true, with);
  }
  PrintIntervals("without snapshots:", without);
  PrintIntervals("with 25 snapshots a second:", with);
  const double delay = Quantile(with, 1) - Quantile(without, 1);
  std::printf("  the worst picture comes %.1f ms later: %s one frame period\n", delay,
              delay <= static_cast<double>(kPeriod.count()) ? "within" : "MORE THAN");
  QXSP_ReleaseSDK();
  return 0;
}
