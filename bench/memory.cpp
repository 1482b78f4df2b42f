// What the library's allocator costs beside the C library's malloc and mimalloc: alone, with 200 blocks
// alive, as the frame queue uses it, and with eight threads at once; and the page faults of a live stream.
// Everything is measured in one run; the rounds alternate. mimalloc takes part when its library is installed.
#include <dlfcn.h>
#include <sys/resource.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <semaphore>
#include <string>
#include <thread>
#include <vector>

#include "bench/Measure.h"
#include "src/kit_mem/kit_mem.h"

namespace {

constexpr int kRounds = 7;
constexpr size_t kQueued = 200;  // frames that a player's queue holds at most

struct Heap {
  const char* szName;
  void* (*allocate)(size_t);
  void (*release)(void*);
};

// One group of pictures of a 1080p25 camera, each picture with its 40 ms of sound. A single size stands for a
// group of one frame.
std::vector<size_t> LiveStream() {
  std::vector<size_t> sizes;
  for (int picture = 0; picture < 50; ++picture) {
    sizes.push_back(picture == 0 ? 100 << 10 : 16 << 10);
    sizes.push_back(320);
  }
  return sizes;
}

struct Load {
  std::string szName;
  std::vector<size_t> sizes;
  size_t At(size_t index) const { return sizes[index % sizes.size()]; }
  size_t Count(size_t bytesToFill) const {
    size_t sum = 0;
    for (const size_t size : sizes)
      sum += size;
    return std::clamp<size_t>(bytesToFill / (sum / sizes.size()), 2000, 200'000);
  }
};

void Keep(void* memory) {
  asm volatile("" : : "r"(memory) : "memory");
}

// Nanoseconds a block, over `count` of them.
double HotPair(const Heap& heap, const Load& load, size_t count) {
  const auto start = Clock::now();
  for (size_t i = 0; i < count; ++i) {
    void* const block = heap.allocate(load.At(i));
    Keep(block);
    heap.release(block);
  }
  return MsSince(start) * 1e6 / static_cast<double>(count);
}

double Ring(const Heap& heap, const Load& load, size_t count) {
  std::array<void*, kQueued> ring{};
  const auto start = Clock::now();
  for (size_t i = 0; i < count; ++i) {
    void*& block = ring[i % kQueued];
    heap.release(block);
    block = heap.allocate(load.At(i));
    std::memset(block, static_cast<int>(i), load.At(i));
    Keep(block);
  }
  const double ns = MsSince(start) * 1e6 / static_cast<double>(count);
  for (void* block : ring)
    heap.release(block);
  return ns;
}

// The player's thread releases one half of the queue while the other is filled: the halves change hands,
// nobody waits by spinning.
double QueueOf(const Heap& heap, const Load& load, size_t count, size_t queued) {
  std::array<void*, kQueued> queue{};
  const size_t half = queued / 2;
  std::counting_semaphore<2> filled(0), empty(2);
  const auto start = Clock::now();
  std::thread player([&] {
    for (size_t i = 0; i < count; ++i) {
      if (i % half == 0) filled.acquire();
      heap.release(queue[i % queued]);
      if (i % half == half - 1) empty.release();
    }
  });
  for (size_t i = 0; i < count; ++i) {
    if (i % half == 0) empty.acquire();
    void* const block = heap.allocate(load.At(i));
    std::memset(block, static_cast<int>(i), load.At(i));
    queue[i % queued] = block;
    if (i % half == half - 1) filled.release();
  }
  if (count % half != 0) filled.release();
  player.join();
  return MsSince(start) * 1e6 / static_cast<double>(count);
}

double Queue(const Heap& heap, const Load& load, size_t count) {
  return QueueOf(heap, load, count, kQueued);
}

double EightThreads(const Heap& heap, const Load& load, size_t count) {
  constexpr size_t kThreads = 8;
  std::vector<std::thread> threads;
  const auto start = Clock::now();
  for (size_t t = 0; t < kThreads; ++t)
    threads.emplace_back([&] { Ring(heap, load, count / kThreads); });
  for (std::thread& thread : threads)
    thread.join();
  return MsSince(start) * 1e6 / static_cast<double>(count);
}

// Minor faults a picture of a live stream once it has been running, when the queue holds up to `queued`.
double FaultsPerPicture(const Heap& heap, const Load& load, size_t queued) {
  constexpr size_t kWarmUp = 1000, kMeasured = 4000;
  const auto faults = [] {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_minflt;
  };
  QueueOf(heap, load, kWarmUp, queued);
  const long before = faults();
  QueueOf(heap, load, kMeasured, queued);
  size_t pictures = 0;
  for (size_t i = 0; i < kMeasured; ++i)
    if (load.At(i) >= 1024) ++pictures;
  return static_cast<double>(faults() - before) / static_cast<double>(pictures);
}

using Pattern = double (*)(const Heap&, const Load&, size_t);

void Compare(const char* pattern, Pattern run, const std::vector<Heap>& heaps, const Load& load, size_t count,
             int rounds) {
  std::vector<std::vector<double>> ns(heaps.size());
  for (int round = 0; round < rounds; ++round)
    for (size_t h = 0; h < heaps.size(); ++h)
      ns[h].push_back(run(heaps[h], load, count));
  std::printf("  %-14s %-12s", pattern, load.szName.c_str());
  for (size_t h = 0; h < heaps.size(); ++h)
    std::printf("  %s %8.1f", heaps[h].szName, Quantile(ns[h], 0.5));
  std::printf("  ratio %.2f\n", Quantile(ns[0], 0.5) / Quantile(ns[1], 0.5));
}

}  // namespace

int main(int argc, char** argv) {
  const std::string wanted = argc > 1 ? argv[1] : "";
  std::vector<Heap> heaps = {{"kit_mem", mck_malloc, mck_free}, {"malloc", std::malloc, std::free}};
  // Opened for itself: linked in, it would take malloc's place in the whole program.
  if (void* const library = dlopen("libmimalloc.so.2", RTLD_NOW | RTLD_LOCAL)) {
    heaps.push_back({"mimalloc", reinterpret_cast<void* (*)(size_t)>(dlsym(library, "mi_malloc")),
                     reinterpret_cast<void (*)(void*)>(dlsym(library, "mi_free"))});
  } else {
    std::printf("mimalloc is not installed\n");
  }
  const std::vector<Load> loads = {{"64 B", {64}},
                                   {"1 KiB", {1 << 10}},
                                   {"16 KiB", {16 << 10}},
                                   {"100 KiB", {100 << 10}},
                                   {"live stream", LiveStream()}};
  constexpr size_t kPairs = 2000;  // tens of microseconds, in which hardly anybody else gets the processor
  constexpr int kPairRounds = 2000;
  constexpr size_t kBytesToFill = 1 << 30;

  // First, before other patterns have made malloc keep more memory.
  if (std::string("page faults").starts_with(wanted)) {
    std::printf("page faults a picture\n");
    for (const Load* load : {&loads[3], &loads[4]})
      for (const size_t queued : {size_t{2}, size_t{20}, kQueued}) {
        std::printf("  %3zu queued      %-12s", queued, load->szName.c_str());
        for (const Heap& heap : heaps)
          std::printf("  %s %8.2f", heap.szName, FaultsPerPicture(heap, *load, queued));
        std::printf("\n");
      }
  }
  std::printf("ns a block, median of %d rounds (of the hot pair %d short ones); the ratio is to malloc\n",
              kRounds, kPairRounds);
  for (const auto& [pattern, run] : std::initializer_list<std::pair<const char*, Pattern>>{
           {"hot pair", HotPair}, {"ring of 200", Ring}, {"queue", Queue}, {"eight threads", EightThreads}}) {
    if (!std::string(pattern).starts_with(wanted)) continue;
    for (const Load& load : loads)
      if (run == HotPair) {
        Compare(pattern, run, heaps, load, kPairs, kPairRounds);
      } else {
        Compare(pattern, run, heaps, load, load.Count(kBytesToFill), kRounds);
      }
  }
  mck_print_statistics();
  return 0;
}
