// Released memory that is kept for the next request of its size, so that a stream's frames do not make the
// system map and clear the same memory again for each picture.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace platform {

// Keeps at most kMaxBytes of what malloc() gave, in sizes that are multiples of 4096 up to 1 MiB. Thread-safe
// and never waits long: who finds it in use for more than a moment does without. Usable before any
// constructor has run, and after Close(). Off under AddressSanitizer, which must see every release.
class MemoryReserve {
 public:
  // 8 of the frame queue's largest pages, 128 key frames of 100 KiB: what the queues of a full wall of
  // cameras gain and lose from one moment to the next.
  static constexpr size_t kMaxBytes = 16u << 20;

  // Memory of at least `bytes`, with anything in it, for free(); null when none of that size is kept.
  void* Take(size_t bytes);
  // Takes over malloc()'s memory. What it answers goes to free(): `memory` itself, other memory that had to
  // give way, linked by the first word of each, or null.
  void* Keep(void* memory);
  // Keeps nothing from now on. Returns everything kept, linked by the first word of each.
  void* Close();
  // As Close(), but goes on keeping.
  void* Empty();

  size_t Bytes() const { return m_zBytes.load(std::memory_order_relaxed); }

 private:
  static constexpr size_t kGranularity = 4096;
  static constexpr size_t kSizes = 256;

  bool TryEnter();
  void Leave() { m_bHeld.store(false, std::memory_order_release); }
  void* PopFrom(size_t index);

  std::atomic<bool> m_bHeld{false};
  // Written by who set m_bHeld.
  bool m_bClosed = false;
  uint32_t m_nHand = 0;  // the size whose memory gave way last
  std::atomic<size_t> m_zBytes{0};
  void* m_pKept[kSizes] = {};  // by size in granules, less 1: the latest, linked by the first word of each
};

// GlobalAlloc and GlobalFree for the real system.
void* AllocateMemory(size_t bytes);
void FreeMemory(void* memory);

}  // namespace platform
