// What the log costs at its finest level, written to a file while 512 streams play.
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include "bench/Measure.h"
#include "bench/scale/BareDecode.h"
#include "bench/scale/Cases.h"
#include "bench/scale/Playing.h"
#include "bench/scale/Process.h"

namespace {

constexpr int kRounds = 2;

size_t CountLines(const std::filesystem::path& folder) {
  size_t lines = 0;
  for (const auto& file : std::filesystem::directory_iterator(folder)) {
    std::ifstream text(file.path());
    for (std::string line; std::getline(text, line);)
      ++lines;
  }
  return lines;
}

}  // namespace

void RunLogCost() {
  StartLibrary();
  const LiveClip clip = ReadLiveClip(QX_SCALE_CLIP_176x144);
  const Load load = {clip, QXSP_MAX_PLAYERS, 5};
  const std::filesystem::path folder =
      std::filesystem::temp_directory_path() / ("qx-bench-log-" + std::to_string(getpid()));
  std::vector<double> cpu[2], late[2];
  double lines = 0;
  double bareMs = 0;
  for (int round = 0; round < kRounds; ++round) {
    for (const size_t logged : {0, 1}) {
      if (logged == 1) QXSP_ConfigLog(QXSP_LOG_DEBUG, folder.c_str(), QXSP_LOG_NONE);
      const Played played = PlayLoad(load);
      QXSP_ConfigLog(QXSP_LOG_NONE, nullptr, QXSP_LOG_NONE);
      cpu[logged].push_back(played.cpuMs);
      late[logged].insert(late[logged].end(), played.lateMs.begin(), played.lateMs.end());
    }
    lines += static_cast<double>(CountLines(folder)) / kRounds;
    std::filesystem::remove_all(folder);
    bareMs += DecodeBareMs(load) / kRounds;
  }
  QXSP_ReleaseSDK();

  const double off = Quantile(cpu[0], 0.5), on = Quantile(cpu[1], 0.5);
  const double linesPerSecond = lines / kEndMs * 1e3;
  std::printf("  CPU over bare decode: %.3f without, %.3f with the log, ratio %.3f\n", off / bareMs,
              on / bareMs, on / off);
  std::printf("  %.0f lines a second, %.1f us of CPU time each\n", linesPerSecond,
              (on - off) * 1e3 / (linesPerSecond * (kEndMs - kWarmMs) / 1e3));
  for (const double q : {0.5, 0.99})
    std::printf("  push to presented, quantile %.2f: %.2f ms without, %.2f ms with the log\n", q,
                Quantile(late[0], q), Quantile(late[1], q));
}
