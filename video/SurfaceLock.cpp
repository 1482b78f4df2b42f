// Locking of surfaces, safe against crashes in between.
#include "video/SurfaceLock.h"

#include <atomic>

#include "platform/CrashGuard.h"
#include "video/SurfaceFormat.h"

SurfaceLock::~SurfaceLock() {
  if (!m_bMayBeLocked) return;
  // A crash left it so, perhaps one inside the surface itself. Unlocking one that is not locked does no harm.
  platform::RunGuarded([this] { m_Surface.Unlock(nullptr); });
}

HRESULT SurfaceLock::TryLock(RECT area, DDSURFACEDESC2& desc) {
  desc = EmptySurfaceDesc();
  // Set before the call, which may crash after the surface was locked.
  m_bMayBeLocked = true;
  std::atomic_signal_fence(std::memory_order_seq_cst);
  const HRESULT code = m_Surface.Lock(&area, &desc, DDLOCK_WRITEONLY, nullptr);
  m_bMayBeLocked = SUCCEEDED(code);
  return code;
}

HRESULT SurfaceLock::Lock(RECT area, DDSURFACEDESC2& desc) {
  const HRESULT code = TryLock(area, desc);
  if (code != DDERR_SURFACELOST) return code;
  m_Surface.Restore();
  return TryLock(area, desc);
}

void SurfaceLock::Unlock() {
  m_Surface.Unlock(nullptr);
  m_bMayBeLocked = false;
}
