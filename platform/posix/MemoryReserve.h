// Released memory that is kept for the next request of its size, so that a stream's frames do not make the
// system map and clear the same memory again for each picture.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/MemoryLock.h"

namespace platform {

// Keeps at most kMaxBytes of what malloc() gave, in sizes that are multiples of 4096 up to 1 MiB. Thread-safe
// and never waits long: who finds it in use for more than a moment does without. Usable before any
// constructor has run, and after Close(). Off under AddressSanitizer, which must see every release.
class MemoryReserve {
 public:
  // 8 of the frame queue's largest pages, 128 key frames of 100 KiB: what the queues of a full wall of
  // cameras gain and lose from one moment to the next.
  static constexpr size_t kMaxBytes = 16u << 20;

  // What to ask malloc() for, so that the memory can be taken again once it is kept.
  // For allocators that round such sizes up no further, as glibc's: of others' memory some is kept in vain.
  static size_t RoundUp(size_t bytes);
  // Memory of at least `bytes`, with anything in it, for free(); null when none of that size is kept.
  void* Take(size_t bytes);
  // Takes over malloc()'s memory. What it answers goes to free(): `memory` itself, other memory that had to
  // give way, linked by the first word of each, or null.
  void* Keep(void* memory);
  // Keeps nothing from now on. Returns everything kept, linked by the first word of each.
  void* Close();
  // As Close(), but goes on keeping.
  void* Empty();

  size_t Bytes() const {
    const MemoryLockGuard guard;
    return m_zBytes;
  }

 private:
  static constexpr size_t kGranularity = 4096;
  static constexpr size_t kSizes = 256;

  void* PopFrom(size_t index) REQUIRES(g_MemoryLock);
  [[gnu::noinline]] void* MakeRoom(size_t granules) REQUIRES(g_MemoryLock);

  bool m_bClosed GUARDED_BY(g_MemoryLock) = false;
  uint32_t m_nHand GUARDED_BY(g_MemoryLock) = 0;  // the size whose memory gave way last
  size_t m_zBytes GUARDED_BY(g_MemoryLock) = 0;
  // By size in granules, less 1: the latest, linked by the first word of each.
  void* m_pKept[kSizes] GUARDED_BY(g_MemoryLock) = {};
};

// GlobalAlloc and GlobalFree for the real system, with a reserve. Under AddressSanitizer, which must see
// every release, without one.
void* AllocateMemory(size_t bytes);
void FreeMemory(void* memory);

}  // namespace platform
