// Streams opened, played and closed 10,000 times over all identifiers: memory, threads and descriptors of the
// process must be at the end what they were when every identifier had been used once. The reference, in a
// process of its own, is libavcodec opened, fed with the same frames and closed, each time on a new thread.
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <functional>
#include <thread>
#include <vector>

#include "bench/LiveClip.h"
#include "bench/scale/Cases.h"
#include "bench/scale/PlainDecoder.h"
#include "bench/scale/Process.h"
#include "bench/scale/Shown.h"
#include "bench/scale/Streams.h"

namespace {

constexpr int kWarmUp = QXSP_MAX_PLAYERS;
constexpr int kCycles = 10'000;
constexpr int kReportEvery = 1'000;
constexpr size_t kFrames = 5;
constexpr QXSP_RECT kPlace = {0, 0, 176, 144};

// The sound, if any, goes to the silent device.
void PlayOnce(const LiveClip& clip, uint32_t identifier, bool withSound) {
  static int window;
  Require(QXSP_ReleasePlayer(identifier) == 1, "a player is not released");
  Require(QXSP_CreatePlayer() == static_cast<int32_t>(identifier), "another identifier than the free one");
  QXSP_FILE_HEADER header = LiveHeader(clip.nWidth, clip.nHeight, 25);
  if (withSound) {
    header.wVideoDataType = QXSP_DATA_VIDEO_AND_AUDIO;
    header.wAudioCodecID = QXSP_AUDIO_ALAW;
    header.wAudioSampleRate = 8000;
    header.wAudioChannels = 1;
    header.wAudioBits = 16;
  }
  Require(QXSP_OpenStream(identifier, &header, sizeof header) == 1, "a stream does not open");
  QXSP_SetFrameControlMode(identifier, QXSP_MODE_AT_ONCE);
  QXSP_SetVideoPreview(identifier, &window, &kPlace, 1);
  if (withSound) Require(QXSP_SetAudioPreview(identifier, &window, 1) == 1, "the sound is refused");
  ForgetShown(identifier);
  const AccessUnit sound(320, 0xD5);  // 40 ms
  for (size_t i = 0; i < kFrames; ++i) {
    PushLive(identifier, clip.units[i]);
    if (withSound) PushLive(identifier, sound);
  }
  Require(WaitShown(identifier, kFrames), "not every picture was shown");
  Require(QXSP_CloseStream(identifier) == 1, "a stream does not close");
}

struct Sample {
  int cycles;
  ProcessFigures figures;
};

std::vector<Sample> Repeat(const std::function<void(int)>& cycle) {
  std::vector<Sample> samples;
  for (int i = 0; i < kWarmUp; ++i)
    cycle(i);
  samples.push_back({0, ReadProcessFigures()});
  for (int i = 1; i <= kCycles; ++i) {
    cycle(i);
    if (i % kReportEvery == 0) samples.push_back({i, ReadProcessFigures()});
  }
  return samples;
}

// Bytes a cycle, by the line of least squares through the last eight tenths.
double Slope(const std::vector<Sample>& samples) {
  const size_t first = samples.size() / 5;
  double count = 0, sumX = 0, sumY = 0, sumXX = 0, sumXY = 0;
  for (size_t i = first; i < samples.size(); ++i) {
    const double x = samples[i].cycles;
    const double y = static_cast<double>(samples[i].figures.residentKiB) * 1024;
    count += 1;
    sumX += x;
    sumY += y;
    sumXX += x * x;
    sumXY += x * y;
  }
  return (count * sumXY - sumX * sumY) / (count * sumXX - sumX * sumX);
}

void Print(const char* name, const std::vector<Sample>& samples) {
  std::printf("  %s: resident KiB after the warm-up and every %d cycles", name, kReportEvery);
  for (const Sample& sample : samples)
    std::printf(" %zu", sample.figures.residentKiB);
  std::printf("\n    threads %zu to %zu, descriptors %zu to %zu, %+.1f bytes a cycle\n",
              samples.front().figures.threads, samples.back().figures.threads,
              samples.front().figures.descriptors, samples.back().figures.descriptors, Slope(samples));
}

// In a child, so that neither uses what the other has left in the heap.
void MeasureReference(const LiveClip& clip) {
  std::fflush(stdout);
  const pid_t child = fork();
  Require(child >= 0, "no further process");
  if (child == 0) {
    Print("bare libavcodec", Repeat([&](int) { std::thread([&] { DecodeOnce(clip, kFrames); }).join(); }));
    std::fflush(stdout);
    _exit(0);
  }
  int status = 0;
  Require(waitpid(child, &status, 0) == child && status == 0, "the reference fails");
}

}  // namespace

void RunCycles() {
  const LiveClip clip = ReadLiveClip(QX_SCALE_CLIP_176x144);
  MeasureReference(clip);
  StartLibrary();
  CountShown();
  const ProcessFigures before = ReadProcessFigures();
  for (int i = 0; i < QXSP_MAX_PLAYERS; ++i)
    Require(QXSP_CreatePlayer() == i, "an identifier is missing");
  const std::vector<Sample> samples =
      Repeat([&](int i) { PlayOnce(clip, static_cast<uint32_t>(i) % QXSP_MAX_PLAYERS, i % 4 == 3); });
  for (uint32_t player = 0; player < QXSP_MAX_PLAYERS; ++player)
    QXSP_ReleasePlayer(player);
  Print("the library", samples);
  const ProcessFigures& first = samples.front().figures;
  const ProcessFigures last = ReadProcessFigures();
  PrintLimited("more threads than before the first cycle",
               static_cast<double>(last.threads) - static_cast<double>(before.threads), "", 0);
  PrintLimited("more descriptors",
               static_cast<double>(last.descriptors) - static_cast<double>(before.descriptors), "", 0);
  PrintLimited("more memory than after the warm-up",
               (static_cast<double>(last.residentKiB) / static_cast<double>(first.residentKiB) - 1) * 100,
               " %", 1);
  QXSP_ReleaseSDK();
}
