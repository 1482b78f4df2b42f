// What playing costs beyond decoding: CPU time of a 1080p clip pushed through the exports over that of a bare
// libavcodec loop on the same frames, and how long after its push a frame is on the screen. Everything is
// measured in one run; the rounds alternate.
//   bench_playing [CLIP.h264...]
extern "C" {
#include <libavcodec/avcodec.h>
}
#include <sys/resource.h>

#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <mutex>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "bench/LiveClip.h"
#include "bench/Measure.h"
#include "qxsdkp.h"

namespace {

constexpr int kRounds = 5;
constexpr size_t kBatch =
    50;  // frames pushed at a time while the CPU time is measured: this thread is not what is measured

double CpuMs() {
  rusage usage;
  getrusage(RUSAGE_SELF, &usage);
  const auto ms = [](const timeval& time) { return time.tv_sec * 1e3 + time.tv_usec / 1e3; };
  return ms(usage.ru_utime) + ms(usage.ru_stime);
}

// One thread, low delay, no output: the reference. Returns CPU ms; `perFrameMs` receives the time of each
// frame.
double DecodeBare(const LiveClip& clip, std::vector<double>* perFrameMs) {
  AVCodecContext* codec = avcodec_alloc_context3(avcodec_find_decoder(AV_CODEC_ID_H264));
  codec->thread_count = 1;
  codec->flags |= AV_CODEC_FLAG_LOW_DELAY;
  avcodec_open2(codec, nullptr, nullptr);
  AVPacket* packet = av_packet_alloc();
  AVFrame* frame = av_frame_alloc();
  std::vector<AccessUnit> padded(clip.units);
  for (AccessUnit& unit : padded)
    unit.resize(unit.size() + AV_INPUT_BUFFER_PADDING_SIZE);
  const double start = CpuMs();
  size_t pictures = 0;
  for (size_t i = 0; i < padded.size(); ++i) {
    const auto frameStart = Clock::now();
    packet->data = padded[i].data();
    packet->size = static_cast<int>(clip.units[i].size());
    avcodec_send_packet(codec, packet);
    while (avcodec_receive_frame(codec, frame) >= 0)
      ++pictures;
    if (perFrameMs != nullptr) perFrameMs->push_back(MsSince(frameStart));
  }
  const double used = CpuMs() - start;
  av_frame_free(&frame);
  av_packet_free(&packet);
  avcodec_free_context(&codec);
  if (pictures + 2 < padded.size()) {
    std::fprintf(stderr, "bench_playing: the reference decoded %zu of %zu\n", pictures, padded.size());
    std::exit(1);
  }
  return used;
}

// Counts what was copied to the screen.
std::mutex g_Mutex;
std::condition_variable g_Changed;
size_t g_nShown = 0;
size_t g_nWanted = 0;
Clock::time_point g_ShownAt;

void QXSP_CALLBACK AfterCopy(uint32_t, void*, void*, void*, QXSP_RECT*, QXSP_RECT*) {
  const std::lock_guard lock(g_Mutex);
  g_ShownAt = Clock::now();
  if (++g_nShown >= g_nWanted) g_Changed.notify_all();
}

void WaitShown(size_t count) {
  std::unique_lock lock(g_Mutex);
  g_nWanted = count;
  if (!g_Changed.wait_for(lock, std::chrono::seconds(20), [count] { return g_nShown >= count; })) {
    std::fprintf(stderr, "bench_playing: only %zu of %zu pictures were presented\n", g_nShown, count);
    std::exit(1);
  }
}

uint32_t OpenPlayer(const LiveClip& clip, int width, int height) {
  g_nShown = 0;
  return OpenLivePlayer(clip, width, height);
}

double Play(const LiveClip& clip, int width, int height) {
  const uint32_t player = OpenPlayer(clip, width, height);
  const double start = CpuMs();
  for (size_t i = 0; i < clip.units.size(); ++i) {
    if (i % kBatch == 0 && i > 0) WaitShown(i - kBatch / 2);
    PushLive(player, clip.units[i]);
  }
  WaitShown(clip.units.size());
  const double used = CpuMs() - start;
  QXSP_ReleasePlayer(player);
  return used;
}

// Sums the library's own once-a-second timing lines of one run, per frame.
void PrintStages(const std::filesystem::path& directory, double bareMs) {
  const std::regex line(
      R"(playframerate:(\d+) .* decode:([\d.]+)ms ddsoffscreen:([\d.]+)ms .* ddsback:([\d.]+)ms ddsprimary:([\d.]+)ms)");
  double frames = 0;
  double sums[4] = {};
  for (const auto& file : std::filesystem::directory_iterator(directory)) {
    std::ifstream text(file.path());
    for (std::string row; std::getline(text, row);) {
      std::smatch match;
      if (!std::regex_search(row, match, line)) continue;
      frames += std::stod(match[1]);
      for (int i = 0; i < 4; ++i)
        sums[i] += std::stod(match[i + 2]);
    }
  }
  if (frames == 0) return;
  std::printf(
      "    per frame: decode and copy %.2f ms (bare decode %.2f), off-screen %.2f, back %.2f, primary %.3f\n",
      sums[0] / frames, bareMs, sums[1] / frames, sums[2] / frames, sums[3] / frames);
}

void MeasureCost(const LiveClip& clip, int width, int height) {
  const auto directory = std::filesystem::temp_directory_path() / ("qx-bench-" + std::to_string(getpid()));
  std::vector<double> ratios;
  std::vector<double> bare;
  for (int round = 0; round < kRounds; ++round) {
    bare.push_back(DecodeBare(clip, nullptr));
    QXSP_ConfigLog(round == 0 ? QXSP_LOG_DEBUG : QXSP_LOG_NONE, directory.c_str(), QXSP_LOG_NONE);
    const double played = Play(clip, width, height);
    ratios.push_back(played / bare.back());
  }
  const auto frames = static_cast<double>(clip.units.size());
  std::printf("  %4d x %-4d CPU over bare decode: median %.3f (%.3f to %.3f); bare %.2f ms a frame\n", width,
              height, Quantile(ratios, 0.5), Quantile(ratios, 0), Quantile(ratios, 1),
              Quantile(bare, 0.5) / frames);
  PrintStages(directory, Quantile(bare, 0.5) / frames);
  std::filesystem::remove_all(directory);
}

void MeasureLatency(const LiveClip& clip) {
  constexpr auto kPeriod = std::chrono::milliseconds(40);
  std::vector<double> decodeMs;
  DecodeBare(clip, &decodeMs);
  const uint32_t player = OpenPlayer(clip, clip.nWidth, clip.nHeight);
  const size_t count = std::min<size_t>(clip.units.size(), 250);
  std::vector<double> latencies;
  auto next = Clock::now();
  for (size_t i = 0; i < count; ++i) {
    std::this_thread::sleep_until(next);
    next += kPeriod;
    const auto pushed = Clock::now();
    PushLive(player, clip.units[i]);
    WaitShown(i + 1);
    const std::lock_guard lock(g_Mutex);
    latencies.push_back(std::chrono::duration<double, std::milli>(g_ShownAt - pushed).count() - decodeMs[i]);
  }
  QXSP_ReleasePlayer(player);
  std::printf(
      "  mode 0x10, push to after-copy minus the frame's bare decode: median %.2f ms, 99th percentile %.2f "
      "ms (%zu frames)\n",
      Quantile(latencies, 0.5), Quantile(latencies, 0.99), count);
}

}  // namespace

int main(int argc, char** argv) {
  setenv("QXSDKP_DISPLAY", "headless:1920x1080+0+0", 1);
  setenv("QXSDKP_SOUND", "null", 1);
  QXSP_ConfigLog(QXSP_LOG_NONE, nullptr, QXSP_LOG_NONE);
  if (QXSP_InitSDK() != 1) {
    std::fprintf(stderr, "bench_playing: the library does not start\n");
    return 1;
  }
  QXSP_ConfigLog(QXSP_LOG_NONE, nullptr, QXSP_LOG_NONE);
  QXSP_SetCallBack(nullptr, nullptr, nullptr, AfterCopy);
  const std::vector<const char*> paths =
      argc > 1 ? std::vector<const char*>(argv + 1, argv + argc) : std::vector<const char*>{QX_CLIPS};
  for (const char* path : paths) {
    const LiveClip clip = ReadLiveClip(path);
    std::printf("playing %zu frames of %d x %d H.264 at %.1f Mbit/s, headless, %d rounds\n",
                clip.units.size(), clip.nWidth, clip.nHeight, clip.Megabits(), kRounds);
    MeasureCost(clip, clip.nWidth, clip.nHeight);
    MeasureCost(clip, clip.nWidth / 2, clip.nHeight / 2);
    MeasureLatency(clip);
  }
  QXSP_ReleaseSDK();
  return 0;
}
