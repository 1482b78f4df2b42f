// Surface bytes that this process and the X server both see.
#pragma once

#include <memory>

#include "platform/posix/SurfaceMemory.h"
#include "platform/posix/X11Connection.h"

namespace platform {

class X11SharedMemory final : public SurfaceMemory {
 public:
  // Zeroed memory, aligned to a page. Null when there is none left or the server will not share it.
  static std::unique_ptr<SurfaceMemory> Create(X11Connection& connection, size_t byteCount);
  ~X11SharedMemory() override;

 private:
  X11SharedMemory(X11Connection& connection, void* mapped, size_t byteCount, uint32_t segment);

  const Owned<X11Connection> m_pConnection;
  const size_t m_nMappedBytes;
};

}  // namespace platform
