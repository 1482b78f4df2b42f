// Surface bytes on the heap.
#include "platform/posix/SurfaceMemory.h"

#include <new>

#include "platform/posix/KernelApi.h"

namespace platform {
namespace {

constexpr size_t kAlignment = 64;  // a cache line, and the widest vector

class HeapMemory final : public SurfaceMemory {
 public:
  explicit HeapMemory(size_t byteCount) : m_pAllocated(GlobalAlloc(GMEM_FIXED, byteCount + kAlignment - 1)) {
    if (m_pAllocated == nullptr) return;
    const auto address = reinterpret_cast<uintptr_t>(m_pAllocated);
    m_pBytes = static_cast<uint8_t*>(m_pAllocated) + (kAlignment - address % kAlignment) % kAlignment;
  }
  ~HeapMemory() override { GlobalFree(m_pAllocated); }

 private:
  const HANDLE m_pAllocated;
};

}  // namespace

std::unique_ptr<SurfaceMemory> AllocateHeapMemory(size_t byteCount) {
  if (byteCount > SIZE_MAX - kAlignment) return nullptr;
  std::unique_ptr<SurfaceMemory> memory(new (std::nothrow) HeapMemory(byteCount));
  if (memory == nullptr || memory->Bytes() == nullptr) return nullptr;
  return memory;
}

}  // namespace platform
