// The latest blocks whose memory went back to the platform, so that releasing one of them again can be told
// without a look at memory that may be gone.
#pragma once

#include <atomic>

#include "src/kit_mem/Checker.h"

namespace page_list {

// A table of fixed size, one entry for an address: an older block gives way to a newer one of the same slot.
// Contains() may be called at any time, the rest under the allocator's lock.
class ReturnedBlocks {
 public:
  constexpr ReturnedBlocks() = default;

  bool Contains(const void* user) const {
    return m_Entries[SlotOf(user)].pUser.load(std::memory_order_relaxed) == user;
  }
  // What the block's header said. A claim that nothing fits when it is not there.
  Claim ClaimOf(const void* user) const;
  void Note(BlockHeader* header);
  // `user` is handed out again.
  void Forget(const void* user) {
    if (Contains(user)) m_Entries[SlotOf(user)].pUser.store(nullptr, std::memory_order_relaxed);
  }

 private:
  struct Entry {
    std::atomic<const void*> pUser{nullptr};
    uint32_t dwSize = 0;
    uint32_t dwIdentifier = 0;
    uint32_t dwKey = 0;
  };
  static constexpr uint32_t kEntriesLog = 10;

  static uint32_t SlotOf(const void* user) {
    constexpr uint32_t kGolden = 0x9E3779B1;  // 2^32 divided by the golden ratio spreads multiples evenly
    const auto address = reinterpret_cast<uintptr_t>(user);
    return static_cast<uint32_t>(address / kBlockAlignment) * kGolden >> (32 - kEntriesLog);
  }

  Entry m_Entries[1 << kEntriesLog];
};

}  // namespace page_list
