// 512 open live streams to which nothing comes: what they cost, and how long opening and closing them takes.
#include <cstdio>
#include <thread>
#include <vector>

#include "bench/Measure.h"
#include "bench/scale/Cases.h"
#include "bench/scale/Process.h"
#include "bench/scale/Streams.h"

namespace {

constexpr auto kSettle = std::chrono::seconds(2);
constexpr auto kWindow = std::chrono::seconds(10);

// CPU time of this process while nobody calls the library, in % of one core.
double RestingPercent() {
  std::this_thread::sleep_for(kSettle);
  const auto start = Clock::now();
  const double cpu = ProcessCpuMs();
  std::this_thread::sleep_for(kWindow);
  return (ProcessCpuMs() - cpu) / MsSince(start) * 100;
}

}  // namespace

void RunIdle() {
  StartLibrary();
  const double none = RestingPercent();
  const QXSP_FILE_HEADER header = LiveHeader(352, 288, 25);
  std::vector<uint32_t> players;
  const auto opening = Clock::now();
  for (int i = 0; i < QXSP_MAX_PLAYERS; ++i)
    players.push_back(OpenStream(header, QXSP_MODE_DEFAULT, {0, 0, 176, 144}));
  const double openedMs = MsSince(opening);
  const ProcessFigures figures = ReadProcessFigures();
  const double all = RestingPercent();
  const auto closing = Clock::now();
  for (const uint32_t player : players)
    QXSP_ReleasePlayer(player);
  const double closedMs = MsSince(closing);
  QXSP_ReleaseSDK();
  std::printf("  %d streams: %zu threads, %zu KiB resident; without a stream the process uses %.2f %%\n",
              QXSP_MAX_PLAYERS, figures.threads, figures.residentKiB, none);
  PrintLimited("CPU of one core", all, " %", 3);
  PrintLimited("opening all", openedMs / 1e3, " s", 2);
  PrintLimited("closing all", closedMs / 1e3, " s", 2);
}
