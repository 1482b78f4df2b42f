// A load played by the library in real time, and what that took.
#pragma once

#include <cstddef>
#include <vector>

#include "bench/scale/Load.h"
#include "bench/scale/Process.h"

// Figures of the measured time, but for those that say otherwise.
struct Played {
  // CPU time of the whole process, without what the thread that feeds it spends outside its pushes; and that.
  double cpuMs = 0;
  double feederMs = 0;
  double switches = 0;  // context switches of the process
  size_t frames = 0;    // pushed
  size_t lost = 0;      // of the whole time: refused, or not presented
  // From the push of a frame until its picture is on the back surface; without windows, decoded.
  std::vector<double> lateMs;
  std::vector<double> lateMsOfLast;  // of the last stream alone
  // How far behind the frame's time the push was, which is not the library's doing.
  std::vector<double> feederLateMs;
  ProcessFigures before, during;  // with no stream open; at the end
};

// Opens the players, feeds them from this thread, releases them. The library is started, its callbacks are in
// use meanwhile.
Played PlayLoad(const Load& load);
