// A load played and decoded bare, several times in turn, and what is printed of that.
#pragma once

#include <vector>

#include "bench/scale/Load.h"

struct Comparison {
  std::vector<double> ratios;  // CPU time over that of the bare decode, of each round
  std::vector<double> lateMs;  // push to presented, of all rounds
  size_t lost = 0;  // frames of all rounds; every one makes ratio and lateness look better than they are
  // Medians of the rounds.
  double cpuPercent = 0;  // of one core
  double barePercent = 0;
  double bareMsPerFrame = 0;
  double residentKiBPerStream = 0;  // of the first
  double threadsPerStream = 0;

  double Ratio() const;  // the median
};

// Prints a line for each round.
Comparison CompareLoad(const Load& load, int rounds);

// Prints ratio, lateness and lost frames with their limits.
void PrintComparison(const Comparison& comparison, double ratioLimit, double lateLimitMs);
