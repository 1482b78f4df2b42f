// The bytes behind a surface in memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

namespace platform {

// Owner of a surface's bytes. Constant after construction but for the bytes themselves.
class SurfaceMemory {
 public:
  virtual ~SurfaceMemory() = default;
  SurfaceMemory(const SurfaceMemory&) = delete;
  SurfaceMemory& operator=(const SurfaceMemory&) = delete;

  uint8_t* Bytes() const { return m_pBytes; }
  // The X server's name for this memory when it is shared with it, else 0.
  uint32_t ServerSegment() const { return m_nServerSegment; }

 protected:
  SurfaceMemory() = default;

  uint8_t* m_pBytes = nullptr;
  uint32_t m_nServerSegment = 0;
};

// `byteCount` bytes of this process's own memory, aligned to 64 bytes, content undefined. Null when there is
// none left.
std::unique_ptr<SurfaceMemory> AllocateHeapMemory(size_t byteCount);

}  // namespace platform
