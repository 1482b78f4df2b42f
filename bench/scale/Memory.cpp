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
constexpr double kOpen = 21'000;
constexpr double kSound = 20'800;     // switched on, before the first of it
constexpr double kShown = 1'550'000;  // with what it took when it was open
constexpr double kShownPixel = 7.65;
constexpr double kAac = 720'000;          // more, with the first frame of its sound, heard or not
constexpr double kRecording = 1'075'000;  // more, for its file
constexpr double kMp4Sound = 115'000;     // more than that, when it comes from such a file
constexpr double kMp4Entry = 16;          // of a frame
constexpr double kQueueEntry = 92;

double Shown(double width, double height) {
  return kShown + kShownPixel * width * height;
}

// A frame is copied to the player's buffer, in MP4 files by way of the reader's.
double Recording(size_t largestFrame) {
  return kRecording + static_cast<double>(largestFrame);
}
double Mp4(size_t frames, size_t largestFrame) {
  return kMp4Entry * static_cast<double>(frames) + 2 * static_cast<double>(largestFrame);
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

struct Size {
  int nWidth;
  int nHeight;
  const char* szClip;
  const char* szCounts;  // players with pictures: a few, and many
};

using Figures = std::map<std::string, double>;

// Runs scale_footprint and reads what it prints.
Figures Footprint(const std::string& arguments) {
  const auto folder = std::filesystem::path(ProgramPath()).parent_path();
  std::FILE* const output = popen(((folder / "scale_footprint").string() + " " + arguments).c_str(), "r");
  Require(output != nullptr, "scale_footprint does not start");
  Figures figures;
  char name[64];
  double value;
  while (std::fscanf(output, "%63s %lf", name, &value) == 2)
    figures[name] = value;
  Require(pclose(output) == 0 && !figures.empty(), "scale_footprint " + arguments + " fails");
  return figures;
}

std::string Of(const Size& size) {
  return " " + std::to_string(size.nWidth) + " " + std::to_string(size.nHeight);
}

// An open player to which nothing comes.
Figures IdleFootprint(const Size& size) {
  return Footprint("idle" + Of(size) + " 16 272");
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
  Figures idle = IdleFootprint(size);
  Figures playing = Footprint("playing" + clip + std::to_string(kFrames) + counts);
  Figures bare = Footprint("bare" + clip + std::to_string(kFrames) + counts);
  std::printf("  resident KiB of a player of %d x %d: %.0f threads, %.0f descriptors\n", size.nWidth,
              size.nHeight, idle["threads"], idle["descriptors"]);
  PrintParts("open and idle", idle, "open");
  // Opening a player tries out its surface. One on huge pages leaves them, or gaps between them, in the heap:
  // up to 2 MB among 256 players, which differ from run to run.
  const bool hasHugePages = size.nHeight >= 1080;
  if (!hasHugePages) Check(idle["open.total"], formula::kOpen);
  PrintParts("its pictures", playing, "shown");
  const double both = idle["open.total"] + playing["shown.total"];
  const double reference = bare["open.total"] + bare["shown.total"];
  std::printf("  %-28s %9.1f, libavcodec alone %.1f (%.1f of it before the first frame), ratio %.2f\n",
              "open, with pictures", both / kKiB, reference / kKiB, bare["open.total"] / kKiB,
              both / reference);
  Check(both, formula::Shown(size.nWidth, size.nHeight));
}

void MeasureSound(const Size& size, const char* name, int codec) {
  Figures idle = Footprint("sound" + Of(size) + " 16 272 " + std::to_string(codec));
  PrintParts(name, idle, "open");
  Check(idle["open.total"], formula::kOpen + formula::kSound);
}

void MeasureSources(const Size& size) {
  const std::string counts = " " + std::to_string(kFrames) + " " + size.szCounts;
  const std::string sound = QX_SCALE_SOUND;
  const LiveClip mp4 = ReadLiveClip((sound + ".mp4").c_str());  // frames of both tracks
  const size_t largest = std::ranges::max(mp4.units, {}, &AccessUnit::size).size();
  const double open = IdleFootprint(size)["open.total"];
  const double pictures = Footprint(std::string("playing ") + size.szClip + counts)["shown.total"];
  std::printf("  resident KiB of a player of %d x %d beyond what live pictures alone take\n", size.nWidth,
              size.nHeight);
  const auto measure = [&](const char* what, const std::string& arguments, double alone, double predicted) {
    const double more = Footprint(arguments)["shown.total"] - alone;
    std::printf("  %-28s %9.1f\n", what, more / kKiB);
    Check(more, predicted);
  };
  measure("AAC sound, switched off", std::string("hearing ") + size.szClip + counts + " " + sound + ".m4a",
          pictures, formula::kAac);
  measure("a recording", "file " + sound + ".sv5" + counts, open + pictures, formula::Recording(largest));
  measure("an MP4 file with AAC sound", "file " + sound + ".mp4" + counts, open + pictures,
          formula::Mp4(mp4.units.size(), largest) + formula::kAac + formula::kMp4Sound);
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
      "  %zu players of %d x %d, each with %zu frames of %.0f bytes queued: %.0f threads, %.0f "
      "descriptors\n",
      players, size.nWidth, size.nHeight, queued, wall["frame.bytes"], wall["threads"], wall["descriptors"]);
  PrintParts("all", wall, "wall");
  const double each =
      formula::Shown(size.nWidth, size.nHeight) +
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
  MeasureSources(kSizes[1]);
  for (const size_t bytes : {100, 1'000, 3'000, 10'000, 30'000, 100'000, 300'000})
    MeasureQueue(bytes);
  MeasureWall(kSizes[1], 64, 50);
}
