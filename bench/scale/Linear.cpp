// CPU time against the number of streams: the line through it, and a table for scripts/plot-scale.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>

#include "bench/scale/Cases.h"
#include "bench/scale/Comparison.h"
#include "bench/scale/Process.h"

namespace {

struct Point {
  double streams;
  double cpuPercent;
  double barePercent;
};

struct Line {
  double offset = 0;
  double slope = 0;
  double At(double x) const { return offset + slope * x; }
};

// Least squares.
Line FitLine(const std::vector<Point>& points) {
  double n = 0, sumX = 0, sumY = 0, sumXX = 0, sumXY = 0;
  for (const Point& point : points) {
    n += 1;
    sumX += point.streams;
    sumY += point.cpuPercent;
    sumXX += point.streams * point.streams;
    sumXY += point.streams * point.cpuPercent;
  }
  Line line;
  line.slope = (n * sumXY - sumX * sumY) / (n * sumXX - sumX * sumX);
  line.offset = (sumY - line.slope * sumX) / n;
  return line;
}

}  // namespace

void RunLinear() {
  StartLibrary();
  const LiveClip clip = ReadLiveClip(QX_SCALE_CLIP_176x144);
  std::vector<Point> points;
  for (const uint32_t streams : {1u, 8u, 64u, 256u, 512u}) {
    std::printf(" %u streams\n", static_cast<unsigned>(streams));
    const Comparison comparison = CompareLoad({clip, streams, 5}, 1);
    points.push_back({static_cast<double>(streams), comparison.cpuPercent, comparison.barePercent});
  }
  QXSP_ReleaseSDK();

  const Line line = FitLine(points);
  const std::filesystem::path table =
      std::filesystem::path(ProgramPath()).parent_path() / "bench_scale_linear.csv";
  std::ofstream csv(table);
  csv << "streams,cpu_percent,bare_percent,line_percent\n";
  double worst = 0;
  std::printf("  streams  CPU %%  bare %%  ratio  line %%\n");
  for (const Point& point : points) {
    std::printf("  %7.0f %6.2f %7.2f %6.2f %7.2f\n", point.streams, point.cpuPercent, point.barePercent,
                point.cpuPercent / point.barePercent, line.At(point.streams));
    csv << point.streams << ',' << point.cpuPercent << ',' << point.barePercent << ','
        << line.At(point.streams) << '\n';
    worst = std::max(worst, std::abs(point.cpuPercent - line.At(point.streams)));
  }
  std::printf(
      "  line: %.3f %% and %.4f %% of one core a stream; furthest point %.2f %% from it, %.1f %% of the "
      "largest\n"
      "  table: %s (scripts/plot-scale draws it)\n",
      line.offset, line.slope, worst, worst / points.back().cpuPercent * 100, table.c_str());
}
