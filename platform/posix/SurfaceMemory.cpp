// Surface bytes on the heap.
#include "platform/posix/SurfaceMemory.h"

#include <sys/mman.h>

#include <new>

#include "platform/posix/KernelApi.h"

namespace platform {
namespace {

constexpr size_t kCacheLine = 64;  // and the widest vector
constexpr size_t kHugePage = 2 << 20;

// Screen-sized memory lies on huge pages where the system has them: each picture runs through all of it, and
// with 4 KB pages 1080p spends a tenth of its conversion on looking them up.
size_t AlignmentFor(size_t byteCount) {
  const bool hasAddressesToSpare = sizeof(void*) > 4;
  return hasAddressesToSpare && byteCount >= kHugePage ? kHugePage : kCacheLine;
}

// With room to align.
size_t AllocatedBytes(size_t byteCount) {
  return byteCount + AlignmentFor(byteCount) - 1;
}

class HeapMemory final : public SurfaceMemory {
 public:
  explicit HeapMemory(size_t byteCount) : m_pAllocated(GlobalAlloc(GMEM_FIXED, AllocatedBytes(byteCount))) {
    if (m_pAllocated == nullptr) return;
    const size_t alignment = AlignmentFor(byteCount);
    const auto address = reinterpret_cast<uintptr_t>(m_pAllocated);
    m_pBytes = static_cast<uint8_t*>(m_pAllocated) + (alignment - address % alignment) % alignment;
    // Advice only: refused, everything works with small pages.
    if (alignment == kHugePage) (void)madvise(m_pBytes, byteCount, MADV_HUGEPAGE);
  }
  ~HeapMemory() override { GlobalFree(m_pAllocated); }

 private:
  const HANDLE m_pAllocated;
};

}  // namespace

std::unique_ptr<SurfaceMemory> AllocateHeapMemory(size_t byteCount) {
  if (byteCount > SIZE_MAX - 2 * kHugePage) return nullptr;
  std::unique_ptr<SurfaceMemory> memory(new (std::nothrow) HeapMemory(byteCount));
  if (memory == nullptr || memory->Bytes() == nullptr) return nullptr;
  return memory;
}

}  // namespace platform
