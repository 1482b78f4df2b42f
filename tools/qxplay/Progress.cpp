#include "tools/qxplay/Progress.h"

#include <algorithm>
#include <cstddef>

#include "tools/common/Print.h"

namespace {

double FramesPerSecond(const Progress& progress) {
  return progress.spanSeconds > 0 ? static_cast<double>(progress.presentedInSpan) / progress.spanSeconds : 0;
}

// The lower middle of an even count.
double Median(std::vector<double>& values) {
  const auto middle = values.begin() + static_cast<ptrdiff_t>((values.size() - 1) / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

std::string FrameRateText(const Progress& progress) {
  const std::string rate = Print("%.1f fps", FramesPerSecond(progress));
  return progress.players > 1 ? rate + Print(" in %d streams", progress.players) : rate;
}

// "01:05", from an hour on "1:00:05".
std::string TimeText(double time) {
  const int seconds = static_cast<int>(time);
  if (seconds < 3600) return Print("%02d:%02d", seconds / 60, seconds % 60);
  return Print("%d:%02d:%02d", seconds / 3600, seconds / 60 % 60, seconds % 60);
}

}  // namespace

std::string ProgressLine(Progress progress) {
  std::string line = TimeText(progress.elapsedSeconds) + "  " + FrameRateText(progress);
  line += Print("  pushed %llu  presented %llu  queue %zu", static_cast<unsigned long long>(progress.pushed),
                static_cast<unsigned long long>(progress.presented), progress.queued);
  if (progress.refused > 0)
    line += Print("  refused %llu", static_cast<unsigned long long>(progress.refused));
  if (progress.latenciesMs.empty()) return line + "  latency -";
  const double highest = *std::ranges::max_element(progress.latenciesMs);
  return line + Print("  latency %.1f ms (max %.1f)", Median(progress.latenciesMs), highest);
}

std::string ProgressTitle(Progress progress) {
  std::string title = Print("%.1f fps, queue %zu", FramesPerSecond(progress), progress.queued);
  if (!progress.latenciesMs.empty()) title += Print(", latency %.1f ms", Median(progress.latenciesMs));
  return title;
}

std::string FileLine(const FileStatus& status, const Progress& progress) {
  std::string line;
  if (status.totalSeconds > 0)
    line = TimeText(status.positionSeconds) + " / " + TimeText(status.totalSeconds) + "  ";
  line += Print("frame %u of %u  ", status.frame, status.totalFrames);
  line += status.speed < 0 ? Print("1/%dx", 1 << -status.speed) : Print("%dx", 1 << status.speed);
  if (status.keyFramesOnly) line += "  key frames";
  line += "  " + FrameRateText(progress);
  if (status.ended) return line + "  at the end";
  return status.paused ? line + "  paused" : line;
}
