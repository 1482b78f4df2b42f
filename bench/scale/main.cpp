// Hundreds of players in one process: what they cost, and what becomes of the pictures.
//   bench_scale [CASE...]    without arguments all cases, in order
// Each case runs in a process of its own and prints its figures beside a reference of the same run. The exit
// status says whether all of them ran, not whether they kept their limits.
#include <cstdio>
#include <cstring>
#include <vector>

#include "bench/scale/Cases.h"
#include "bench/scale/Process.h"

namespace {

struct Case {
  const char* name;
  const char* text;
  void (*run)();
};

constexpr Case kCases[] = {
    {"idle", "512 open streams without a frame", RunIdle},
};

const Case* Find(const char* name) {
  for (const Case& one : kCases)
    if (std::strcmp(one.name, name) == 0) return &one;
  return nullptr;
}

int Usage() {
  std::fprintf(stderr, "usage: bench_scale [CASE...]\n");
  for (const Case& one : kCases)
    std::fprintf(stderr, "  %-10s %s\n", one.name, one.text);
  return 2;
}

}  // namespace

int main(int argc, char** argv) {
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
    allRan = RunSelf({one->name}) && allRan;
  return allRan ? 0 : 1;
}
