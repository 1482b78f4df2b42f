#include "tools/qxrec/RecordProgress.h"

#include <algorithm>
#include <cmath>

#include "tools/common/Print.h"

namespace {

std::string TimeText(double seconds) {
  const auto whole = static_cast<unsigned>(seconds);
  return Print("%02u:%02u:%02u", whole / 3600, whole / 60 % 60, whole % 60);
}

}  // namespace

std::string SizeText(uint64_t bytes) {
  if (bytes < 1000) return Print("%u bytes", static_cast<unsigned>(bytes));
  if (bytes < 1000 * 1000) return Print("%.1f kB", static_cast<double>(bytes) / 1e3);
  if (bytes < 1000 * 1000 * 1000) return Print("%.1f MB", static_cast<double>(bytes) / 1e6);
  return Print("%.2f GB", static_cast<double>(bytes) / 1e9);
}

std::string ProgressLine(const RecordProgress& progress, bool withBar) {
  std::string line;
  if (progress.totalSeconds > 0) {
    constexpr int kBarCharacters = 20;
    const double part = std::clamp(progress.recordedSeconds / progress.totalSeconds, 0.0, 1.0);
    const auto done = static_cast<size_t>(std::lround(part * kBarCharacters));
    if (withBar) line = "[" + std::string(done, '#') + std::string(kBarCharacters - done, '-') + "]  ";
    line += Print("%3.0f %%  ", part * 100);
  }
  line += TimeText(progress.recordedSeconds);
  if (progress.totalSeconds > 0) line += " of " + TimeText(progress.totalSeconds);
  if (progress.elapsedSeconds > 0) {
    line += Print("  %.1f x", progress.recordedSeconds / progress.elapsedSeconds);
  }
  return line + "  " + SizeText(progress.bytes);
}
