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

size_t MemoryReserve::RoundUp(size_t bytes) {
  if (bytes <= kGranularity || bytes > kSizes * kGranularity) return bytes;
  return (bytes + kGranularity - 1) / kGranularity * kGranularity;
}

// Null when the size has none.
void* MemoryReserve::PopFrom(size_t index) {
  void* const memory = m_pKept[index];
  if (memory == nullptr) return nullptr;
  m_pKept[index] = NextOf(memory);
  m_zBytes -= (index + 1) * kGranularity;
  return memory;
}

void* MemoryReserve::Take(size_t bytes) {
  if (bytes == 0 || bytes % kGranularity != 0 || bytes > kSizes * kGranularity) return nullptr;
  const MemoryLockGuard guard;
  return PopFrom(bytes / kGranularity - 1);
}

// Sizes that nobody asks for any more must not fill it for ever: every size gives way in turn.
void* MemoryReserve::MakeRoom(size_t granules) {
  void* given = nullptr;
  while (m_zBytes > kMaxBytes - granules * kGranularity) {
    m_nHand = (m_nHand + 1) % kSizes;
    void* const old = PopFrom(m_nHand);
    if (old == nullptr) continue;
    SetNext(old, given);
    given = old;
  }
  return given;
}

void* MemoryReserve::Keep(void* memory) {
  const size_t granules = malloc_usable_size(memory) / kGranularity;
  const MemoryLockGuard guard;
  if (granules == 0 || granules > kSizes || m_bClosed) {
    SetNext(memory, nullptr);
    return memory;
  }
  void* const given = m_zBytes > kMaxBytes - granules * kGranularity ? MakeRoom(granules) : nullptr;
  SetNext(memory, m_pKept[granules - 1]);
  m_pKept[granules - 1] = memory;
  m_zBytes += granules * kGranularity;
  return given;
}

void* MemoryReserve::Empty() {
  const MemoryLockGuard guard;
  void* given = nullptr;
  for (size_t index = 0; index < kSizes; ++index)
    while (void* const memory = PopFrom(index)) {
      SetNext(memory, given);
      given = memory;
    }
  return given;
}

void* MemoryReserve::Close() {
  const MemoryLockGuard guard;
  m_bClosed = true;
  return Empty();
}

void* AllocateMemory(size_t bytes) {
  if constexpr (kKeepMemory) {
    bytes = MemoryReserve::RoundUp(bytes);
    if (void* const kept = g_Reserve.reserve.Take(bytes)) return kept;
  }
  void* const memory = std::malloc(bytes != 0 ? bytes : 1);
  if (memory != nullptr) return memory;
  FreeAll(g_Reserve.reserve.Empty());
  return std::malloc(bytes != 0 ? bytes : 1);
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
