// The line that tells how playing goes, once a second. Pure text.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/qxplay/Source.h"

// All players together, over the time since the last line.
struct Progress {
  double elapsedSeconds = 0;  // since the start
  double spanSeconds = 1;     // of this line
  int players = 1;
  uint64_t presentedInSpan = 0;
  uint64_t pushed = 0;  // since the start, as the next two
  uint64_t presented = 0;
  uint64_t refused = 0;
  size_t queued = 0;                // now
  std::vector<double> latenciesMs;  // of the pictures of this span
};

// "00:05  25.0 fps  pushed 125  presented 124  queue 1  latency 1.2 ms (max 4.0)"
std::string ProgressLine(Progress progress);
// "25.0 fps, queue 1, latency 1.2 ms", for a title bar
std::string ProgressTitle(Progress progress);

// The same for a recorded file, both on the line and in the title:
// "00:12 / 00:20  frame 300 of 500  2x  key frames  25.0 fps  paused"
std::string FileLine(const FileStatus& status, const Progress& progress);
