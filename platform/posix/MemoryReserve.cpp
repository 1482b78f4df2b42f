// See MemoryReserve.h.
#include "platform/posix/MemoryReserve.h"

#include <malloc.h>

#include <cstdlib>
#include <cstring>

namespace platform {

namespace {

#if defined(__SANITIZE_ADDRESS__)
constexpr bool kKeepMemory = false;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
constexpr bool kKeepMemory = false;
#else
constexpr bool kKeepMemory = true;
#endif
#else
constexpr bool kKeepMemory = true;
#endif

void* NextOf(void* memory) {
  void* next;
  std::memcpy(&next, memory, sizeof(next));
  return next;
}

void SetNext(void* memory, void* next) {
  std::memcpy(memory, &next, sizeof(next));
}

void FreeAll(void* memory) {
  while (memory != nullptr) {
    void* const next = NextOf(memory);
    std::free(memory);
    memory = next;
  }
}

// Static destructors still release memory, which then goes straight to free().
union Reserve {
  constexpr Reserve() : reserve() {}
  ~Reserve() { FreeAll(reserve.Close()); }
  MemoryReserve reserve;
};
constinit Reserve g_Reserve;

}  // namespace

bool MemoryReserve::TryEnter() {
  constexpr int kLooks = 200;  // half a microsecond: longer than anything that is done inside
  for (int look = 0; look < kLooks; ++look)
    if (!m_bHeld.load(std::memory_order_relaxed) && !m_bHeld.exchange(true, std::memory_order_acquire))
      return true;
  return false;
}

// Null when the size has none.
void* MemoryReserve::PopFrom(size_t index) {
  void* const memory = m_pKept[index];
  if (memory == nullptr) return nullptr;
  m_pKept[index] = NextOf(memory);
  m_zBytes.store(Bytes() - (index + 1) * kGranularity, std::memory_order_relaxed);
  return memory;
}

void* MemoryReserve::Take(size_t bytes) {
  if (bytes == 0 || bytes % kGranularity != 0 || bytes > kSizes * kGranularity || !TryEnter()) return nullptr;
  void* const memory = PopFrom(bytes / kGranularity - 1);
  Leave();
  return memory;
}

void* MemoryReserve::Keep(void* memory) {
  SetNext(memory, nullptr);
  const size_t granules = malloc_usable_size(memory) / kGranularity;
  if (granules == 0 || granules > kSizes || !TryEnter()) return memory;
  void* given = nullptr;
  const size_t limit = m_bClosed ? 0 : kMaxBytes - granules * kGranularity;
  // Sizes that nobody asks for any more must not fill it for ever: every size gives way in turn.
  while (Bytes() > limit) {
    m_nHand = (m_nHand + 1) % kSizes;
    void* const old = PopFrom(m_nHand);
    if (old == nullptr) continue;
    SetNext(old, given);
    given = old;
  }
  if (m_bClosed) {
    SetNext(memory, given);
    given = memory;
  } else {
    SetNext(memory, m_pKept[granules - 1]);
    m_pKept[granules - 1] = memory;
    m_zBytes.store(Bytes() + granules * kGranularity, std::memory_order_relaxed);
  }
  Leave();
  return given;
}

void* MemoryReserve::Empty() {
  void* given = nullptr;
  while (!TryEnter()) {
  }
  for (size_t index = 0; index < kSizes; ++index)
    while (void* const memory = PopFrom(index)) {
      SetNext(memory, given);
      given = memory;
    }
  Leave();
  return given;
}

void* MemoryReserve::Close() {
  while (!TryEnter()) {
  }
  m_bClosed = true;
  Leave();
  return Empty();
}

void* AllocateMemory(size_t bytes) {
  if constexpr (kKeepMemory) {
    if (void* const kept = g_Reserve.reserve.Take(bytes)) return kept;
  }
  void* memory = std::malloc(bytes != 0 ? bytes : 1);
  if (memory == nullptr && g_Reserve.reserve.Bytes() != 0) {
    FreeAll(g_Reserve.reserve.Empty());
    memory = std::malloc(bytes != 0 ? bytes : 1);
  }
  return memory;
}

void FreeMemory(void* memory) {
  if constexpr (kKeepMemory) {
    if (memory != nullptr) memory = g_Reserve.reserve.Keep(memory);
    FreeAll(memory);
  } else {
    std::free(memory);
  }
}

}  // namespace platform
