// The allocator: chooses the pool, registers blocks, verifies releases, and counts.
#pragma once

#include <atomic>
#include <cstddef>

#include "platform/MemoryLock.h"
#include "src/kit_mem/CallKind.h"
#include "src/kit_mem/Checker.h"
#include "src/kit_mem/LargeBlockPool.h"
#include "src/kit_mem/PageListPool.h"
#include "src/kit_mem/ReturnedBlocks.h"
#include "src/kit_mem/kit_mem.h"

namespace page_list {

// Thread-safe. The library has one, which is never destroyed; tests make more, with lower limits.
class Allocator {
 public:
  struct Limits {
    uint32_t dwDescriptors = PageListPool::kMaxDescriptors;  // of each page-list pool
    uint32_t dwRecords = Checker::kMaxRecords;
  };

  constexpr Allocator() : Allocator(Limits()) {}
  constexpr explicit Allocator(Limits limits) : m_Limits(limits) {}
  Allocator(const Allocator&) = delete;
  Allocator& operator=(const Allocator&) = delete;
  ~Allocator();  // returns all memory, also that of live blocks, except large ones that are not tracked

  // As mck_malloc(), mck_realloc() and mck_free().
  void* Allocate(size_t size, CallKind kind);
  void* Reallocate(void* user, size_t size, CallKind kind);
  void Release(void* user, CallKind kind);

  // Returns to what it was before its first call when no block is live. No other thread may be inside.
  void ReleaseIfUnused();

  void GetStatistics(mck_statistics* statistics);
  // The newest live blocks: up to `capacity` records. Returns how many.
  size_t GetLiveBlocks(CheckerRecord* records, size_t capacity);

 private:
  struct Usage {
    uint64_t ullReserved;
    uint64_t ullUsed;
    uint64_t ullBlocks;
  };
  struct Instance;
  struct Report;
  struct Verified {
    bool bGranted = false;
    PageDescriptor* pPage = nullptr;  // where a granted block lies that is not large
  };

  Instance* Prepare();
  [[gnu::noinline]] Instance* Create();
  void Destroy();
  Claim ClaimOf(void* user, bool returned) const;
  Verified Verify(Instance& instance, void* user, const Claim& claim, Report& report)
      REQUIRES(platform::g_MemoryLock);

  const Limits m_Limits;
  // Made by the first call that gets the memory for it. What it points at is guarded by g_MemoryLock.
  std::atomic<Instance*> m_pInstance{nullptr};
  ReturnedBlocks m_Returned;  // but for Contains() guarded by g_MemoryLock
};

}  // namespace page_list
