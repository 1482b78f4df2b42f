// What the log costs at level 1 (debug), written to a file while 512 streams play.
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
constexpr int kLines = 20000;

size_t CountLines(const std::filesystem::path& folder) {
  size_t lines = 0;
  for (const auto& file : std::filesystem::directory_iterator(folder)) {
    std::ifstream text(file.path());
    for (std::string line; std::getline(text, line);)
      lines += line.empty() ? 0 : 1;  // most texts end with a line end of their own
  }
  return lines;
}

// CPU time of a line to the file, and of opening, writing and closing a file beside it, which every line
// does.
void PrintLineCost(const std::filesystem::path& folder) {
  const auto player = static_cast<uint32_t>(QXSP_CreatePlayer());
  const auto setModes = [player] {
    const double start = ThreadCpuMs();
    for (int i = 0; i < kLines; ++i)
      QXSP_SetFrameControlMode(player, QXSP_MODE_DEFAULT);  // says so in a line
    return (ThreadCpuMs() - start) * 1e3 / kLines;
  };
  const double silentUs = setModes();
  QXSP_ConfigLog(QXSP_LOG_DEBUG, folder.c_str(), QXSP_LOG_NONE);
  const double loggedUs = setModes();
  QXSP_ConfigLog(QXSP_LOG_NONE, nullptr, QXSP_LOG_NONE);
  QXSP_ReleasePlayer(player);

  const std::string line(70, 'x');
  const std::string path = folder / "reference";
  const double start = ThreadCpuMs();
  for (int i = 0; i < kLines; ++i) {
    std::FILE* file = std::fopen(path.c_str(), "a");
    Require(file != nullptr, "no file for the reference");
    std::fputs(line.c_str(), file);
    std::fclose(file);
  }
  const double bareUs = (ThreadCpuMs() - start) * 1e3 / kLines;
  std::printf("  a line: %.2f us, a bare open, write and close %.2f us, ratio %.2f\n", loggedUs - silentUs,
              bareUs, (loggedUs - silentUs) / bareUs);
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
  size_t lost = 0;
  for (int round = 0; round < kRounds; ++round) {
    for (const size_t logged : {0, 1}) {
      if (logged == 1) QXSP_ConfigLog(QXSP_LOG_DEBUG, folder.c_str(), QXSP_LOG_NONE);
      const Played played = PlayLoad(load);
      QXSP_ConfigLog(QXSP_LOG_NONE, nullptr, QXSP_LOG_NONE);
      lost += played.lost;
      cpu[logged].push_back(played.cpuMs);
      late[logged].insert(late[logged].end(), played.lateMs.begin(), played.lateMs.end());
    }
    lines += static_cast<double>(CountLines(folder)) / kRounds;
    std::filesystem::remove_all(folder);
    bareMs += DecodeBareMs(load) / kRounds;
  }
  PrintLineCost(folder);
  std::filesystem::remove_all(folder);
  QXSP_ReleaseSDK();

  const double off = Quantile(cpu[0], 0.5), on = Quantile(cpu[1], 0.5);
  std::printf("  CPU over bare decode: %.3f without, %.3f with the log, ratio %.3f; %.0f lines a second\n",
              off / bareMs, on / bareMs, on / off, lines / kEndMs * 1e3);
  for (const double q : {0.5, 0.99})
    std::printf("  push to presented, quantile %.2f: %.2f ms without, %.2f ms with the log\n", q,
                Quantile(late[0], q), Quantile(late[1], q));
  PrintLimited("lost frames", static_cast<double>(lost), "", 0);
}
