// Hundreds of players in one process: what they cost, and what becomes of the pictures.
//   bench_scale [CASE...]    without arguments all cases, in order
// Each case runs in a process of its own and prints its figures beside a reference of the same run. The exit
// status says whether all of them ran, not whether they kept their limits.
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "bench/scale/Cases.h"
#include "bench/scale/Parts.h"
#include "bench/scale/Process.h"

namespace {

struct Case {
  const char* name;
  const char* text;
  void (*run)();
};

constexpr Case kCases[] = {
    {"idle", "512 open streams without a frame", RunIdle},
    {"small", "512 streams of 176x144 at 5 frames a second", RunSmall},
    {"medium", "64 streams of 352x288 and 16 of 704x576, beside libmpv", RunMedium},
    {"latency", "one stream that plays at once, alone and beside 64 others", RunLatency},
    {"linear", "CPU time at 1 to 512 streams", RunLinear},
    {"viewlock", "presenting one after the other, and at the same time", RunViewLock},
    {"log", "512 streams with the log at level 1", RunLogCost},
    {"memory", "what players and queued frames keep in memory", RunMemory},
    {"clocks", "a day of paced playing in simulated time", RunClocks},
    {"cycles", "10,000 streams opened, played and closed", RunCycles},
    {"stampede", "512 streams started at once, 100 times", RunStampede},
};

const Case* Find(const char* name) {
  for (const Case& one : kCases)
    if (std::strcmp(one.name, name) == 0) return &one;
  return nullptr;
}

constexpr struct {
  const char* name;
  void (*run)(const std::vector<std::string>& arguments);
} kParts[] = {{"--wall", RunWall}, {"--peer", RunPeer}, {"--viewlock", RunViewLockPart}};

// False when the arguments name no part.
bool RunPart(int argc, char** argv) {
  for (const auto& part : kParts) {
    if (argc < 2 || std::strcmp(part.name, argv[1]) != 0) continue;
    part.run({argv + 2, argv + argc});
    return true;
  }
  return false;
}

int Usage() {
  std::fprintf(stderr, "usage: bench_scale [CASE...]\n");
  for (const Case& one : kCases)
    std::fprintf(stderr, "  %-10s %s\n", one.name, one.text);
  return 2;
}

}  // namespace

int main(int argc, char** argv) {
  if (RunPart(argc, argv)) return 0;
  std::vector<const Case*> cases;
  for (int i = 1; i < argc; ++i) {
    cases.push_back(Find(argv[i]));
    if (cases.back() == nullptr) return Usage();
  }
  if (argc == 1) {
    for (const Case& one : kCases)
      cases.push_back(&one);
  }
  if (cases.size() == 1) {
    std::printf("%s: %s\n", cases[0]->name, cases[0]->text);
    cases[0]->run();
    return 0;
  }
  bool allRan = true;
  for (const Case* one : cases)
    allRan = RunProgram(ProgramPath(), {one->name}) && allRan;
  return allRan ? 0 : 1;
}
