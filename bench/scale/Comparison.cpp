#include "bench/scale/Comparison.h"

#include <cstdio>

#include "bench/Measure.h"
#include "bench/scale/BareDecode.h"
#include "bench/scale/Playing.h"

double Comparison::Ratio() const {
  return Quantile(ratios, 0.5);
}

Comparison CompareLoad(const Load& load, int rounds) {
  constexpr double kToPercent = 100 / (kEndMs - kWarmMs);
  Comparison comparison;
  std::vector<double> cpu, bare, bareEach, resident, threads;
  for (int round = 1; round <= rounds; ++round) {
    const Played played = PlayLoad(load);
    const double bareMs = DecodeBareMs(load);
    const auto frames = static_cast<double>(played.frames);
    comparison.ratios.push_back(played.cpuMs / bareMs);
    comparison.lost += played.lost;
    comparison.lateMs.insert(comparison.lateMs.end(), played.lateMs.begin(), played.lateMs.end());
    cpu.push_back(played.cpuMs * kToPercent);
    bare.push_back(bareMs * kToPercent);
    bareEach.push_back(bareMs / frames);
    const auto growth = [&](size_t ProcessFigures::*figure) {
      return (static_cast<double>(played.during.*figure) - static_cast<double>(played.before.*figure)) /
             load.nStreams;
    };
    resident.push_back(growth(&ProcessFigures::residentKiB));
    threads.push_back(growth(&ProcessFigures::threads));
    std::printf(
        "  round %d: CPU %.2f %% of one core, bare decode %.2f %%, ratio %.3f; %zu frames, %zu lost, %.2f "
        "context "
        "switches a frame\n           not counted: the feeding thread %.2f %%; late with its pushes at the "
        "99th "
        "percentile %.2f ms\n",
        round, cpu.back(), bare.back(), comparison.ratios.back(), played.frames, played.lost,
        played.switches / frames, played.feederMs * kToPercent, Quantile(played.feederLateMs, 0.99));
    std::fflush(stdout);
  }
  comparison.cpuPercent = Quantile(cpu, 0.5);
  comparison.barePercent = Quantile(bare, 0.5);
  comparison.bareMsPerFrame = Quantile(bareEach, 0.5);
  comparison.residentKiBPerStream = resident.front();  // later rounds use again what the first has given back
  comparison.threadsPerStream = Quantile(threads, 0.5);
  return comparison;
}

void PrintComparison(const Comparison& comparison, double ratioLimit, double lateLimitMs) {
  PrintLimited("CPU over bare decode", comparison.Ratio(), "", ratioLimit);
  std::printf("  push to presented, median: %.2f ms\n", Quantile(comparison.lateMs, 0.5));
  PrintLimited("push to presented, 99th percentile", Quantile(comparison.lateMs, 0.99), " ms", lateLimitMs);
  PrintLimited("lost frames", static_cast<double>(comparison.lost), "", 0);
}
