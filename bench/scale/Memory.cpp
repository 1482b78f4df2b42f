// What the library, its players and their queued frames keep in memory, each measured in a process of its own
// beside what libavcodec and malloc() take for the same, and set against the formula of docs/capacity.md.
#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "bench/LiveClip.h"
#include "bench/scale/Cases.h"
#include "bench/scale/Process.h"

namespace {

constexpr double kTolerance = 0.05;  // of the formula
constexpr double kKiB = 1024;
constexpr size_t kFrames = 30;  // the codec has all its pictures by then

// The formula, bytes. docs/capacity.md says what each term stands for.
namespace formula {

constexpr double kLoaded = 32'650'000;
constexpr double kScreen = 1920 * 1080 * 4;
constexpr double kDecoding = 7'100'000;  // once, with the first picture
constexpr double kOpen = 20'200;
constexpr double kSound = 18'300;     // switched on, before the first of it
constexpr double kShown = 1'550'000;  // with what it took when it was open
constexpr double kShownPixel = 7.65;
constexpr double kQueueEntry = 92;

double Shown(double width, double height) {
  return kShown + kShownPixel * width * height;
}

// Blocks up to a page are rounded up to a power of two, larger ones to whole pages.
double QueuedFrame(size_t bytes) {
  constexpr size_t kHeaderBytes = 32;
  constexpr size_t kPageBytes = 4096;
  const size_t block = (bytes + 7) / 8 * 8 + kHeaderBytes;
  const size_t resident =
      block <= kPageBytes ? std::bit_ceil(block) : (block + kPageBytes - 1) / kPageBytes * kPageBytes;
  return static_cast<double>(resident) + kQueueEntry;
}

}  // namespace formula

using Figures = std::map<std::string, double>;

// Runs bench_footprint and reads what it prints.
Figures Footprint(const std::string& arguments) {
  const auto folder = std::filesystem::path(ProgramPath()).parent_path();
  std::FILE* const output = popen(((folder / "bench_footprint").string() + " " + arguments).c_str(), "r");
  Require(output != nullptr, "bench_footprint does not start");
  Figures figures;
  char name[64];
  double value;
  while (std::fscanf(output, "%63s %lf", name, &value) == 2)
    figures[name] = value;
  Require(pclose(output) == 0 && !figures.empty(), "bench_footprint " + arguments + " fails");
  return figures;
}

void PrintParts(const char* what, Figures& figures, const std::string& name) {
  const auto kib = [&](const char* part) { return figures[name + "." + part] / kKiB; };
  std::printf("  %-28s %9.1f = our files %.1f + other files %.1f + stacks %.1f + heap %.1f\n", what,
              kib("total"), kib("library"), kib("others"), kib("stacks"), kib("heap"));
}

void Check(double measured, double predicted) {
  const double off = predicted / measured - 1;
  std::printf("    by the formula %.1f KiB, %+.1f %%, limit %g %%: %s\n", predicted / kKiB, off * 100,
              kTolerance * 100, std::abs(off) <= kTolerance ? "ok" : "missed");
}

struct Size {
  double dWidth;
  double dHeight;
  const char* szClip;
  const char* szCounts;  // players with pictures: a few, and many
};

void MeasureStart() {
  Figures figures = Footprint("load");
  std::printf("  resident KiB before the first player; other files are libavcodec's and the system's\n");
  PrintParts("loaded", figures, "loaded");
  PrintParts("started, one screen", figures, "started");
  Check(figures["started.total"], formula::kLoaded + formula::kScreen);
}

void MeasurePlayer(const Size& size) {
  const std::string clip = std::string(" ") + size.szClip + " ";
  const std::string counts = " " + std::string(size.szCounts);
  Figures idle = Footprint("idle" + clip + "16 272");
  Figures playing = Footprint("playing" + clip + std::to_string(kFrames) + counts);
  Figures bare = Footprint("bare" + clip + std::to_string(kFrames) + counts);
  std::printf("  resident KiB of a player of %.0f x %.0f: %.0f threads, %.0f descriptors\n", size.dWidth,
              size.dHeight, idle["threads"], idle["descriptors"]);
  PrintParts("open and idle", idle, "open");
  Check(idle["open.total"], formula::kOpen);
  PrintParts("its pictures", playing, "shown");
  const double both = idle["open.total"] + playing["shown.total"];
  const double reference = bare["open.total"] + bare["shown.total"];
  std::printf("  %-28s %9.1f, libavcodec alone %.1f (%.1f of it before the first frame), ratio %.2f\n",
              "open, with pictures", both / kKiB, reference / kKiB, bare["open.total"] / kKiB,
              both / reference);
  Check(both, formula::Shown(size.dWidth, size.dHeight));
}

void MeasureSound(const Size& size, const char* name, int codec) {
  Figures idle = Footprint(std::string("sound ") + size.szClip + " 16 272 " + std::to_string(codec));
  PrintParts(name, idle, "open");
  Check(idle["open.total"], formula::kOpen + formula::kSound);
}

void MeasureQueue(size_t bytes) {
  constexpr size_t kMostBytes = 100'000'000;
  const std::string arguments =
      " " + std::to_string(bytes) + " " + std::to_string(std::min<size_t>(kMostBytes / bytes, 1520));
  const double queued = Footprint("queue" + arguments)["queued.total"];
  const double block = Footprint("blocks" + arguments)["queued.total"];
  std::printf(
      "  a queued frame of %zu bytes: %.0f bytes, %.0f over its payload; a block of malloc() %.0f, ratio "
      "%.2f\n",
      bytes, queued, queued - static_cast<double>(bytes), block, queued / block);
  Check(queued, formula::QueuedFrame(bytes));
}

void MeasureWall(const Size& size, size_t players, size_t queued) {
  Figures wall = Footprint(std::string("wall ") + size.szClip + " " + std::to_string(kFrames) + " " +
                           std::to_string(players) + " " + std::to_string(queued));
  std::printf(
      "  %zu players of %.0f x %.0f, each with %zu frames of %.0f bytes queued: %.0f threads, %.0f "
      "descriptors\n",
      players, size.dWidth, size.dHeight, queued, wall["frame.bytes"], wall["threads"], wall["descriptors"]);
  PrintParts("all", wall, "wall");
  const double each =
      formula::Shown(size.dWidth, size.dHeight) +
      static_cast<double>(queued) * formula::QueuedFrame(static_cast<size_t>(wall["frame.bytes"]));
  Check(wall["wall.total"],
        formula::kLoaded + formula::kScreen + formula::kDecoding + static_cast<double>(players) * each);
  PrintParts("all released", wall, "released");
  PrintParts("and after malloc_trim()", wall, "trimmed");
}

}  // namespace

void RunMemory() {
  constexpr Size kSizes[] = {{176, 144, QX_SCALE_CLIP_176x144, "8 72"},
                             {352, 288, QX_SCALE_CLIP_352x288, "8 40"},
                             {704, 576, QX_SCALE_CLIP_704x576, "4 20"},
                             {1920, 1080, QX_SCALE_CLIP_1920x1080, "2 8"}};
  MeasureStart();
  for (const Size& size : kSizes)
    MeasurePlayer(size);
  MeasureSound(kSizes[0], "idle, A-law sound on", QXSP_AUDIO_ALAW);
  MeasureSound(kSizes[0], "idle, AAC sound on", QXSP_AUDIO_AAC);
  for (const size_t bytes : {100, 1'000, 3'000, 10'000, 30'000, 100'000, 300'000})
    MeasureQueue(bytes);
  MeasureWall(kSizes[1], 64, 50);
}
