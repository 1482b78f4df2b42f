// A program's allocations taken apart: what the library asks for can be refused, what the test, its devices
// and its codec library ask for never fails.
#pragma once

#include <atomic>
#include <cstdint>

#include "tests/support/TestSeam.h"

// The library says new (std::nothrow), which therefore is a block of the tracking allocator and counts;
// any other new is the test's own. Calls of malloc() and realloc() in the sources of this program count, too.
class RefusedMemory : public TestSeam {
 public:
  enum class Which {
    kPlatform,   // memory of the platform, from the n-th request on
    kAllocated,  // every new and malloc(), and memory of the platform, from the n-th request on
    kOne,        // as kAllocated, but only the n-th request
  };

  RefusedMemory() : TestSeam(kByDerived) { Install(); }
  ~RefusedMemory() override { Remove(); }

  // Refuses after `granted` more requests.
  static void Begin(Which which, int64_t granted);
  // Grants everything again. False when nothing had been refused.
  static bool End();
  // Whether this thread has been refused something since it last asked.
  static bool TakeRefusedHere();

  void* Allocate(size_t bytes) override;
  void DebugText(const char* /*text*/) override {}
};
