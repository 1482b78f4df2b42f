// What the benchmarks share: time, and the middle of many measurements.
#pragma once

#include <algorithm>
#include <chrono>
#include <vector>

using Clock = std::chrono::steady_clock;

inline double MsSince(Clock::time_point start) {
  return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

// values must not be empty; q: 0 the least, 0.5 the median, 1 the greatest.
inline double Quantile(std::vector<double> values, double q) {
  std::sort(values.begin(), values.end());
  return values[static_cast<size_t>(q * static_cast<double>(values.size() - 1))];
}
