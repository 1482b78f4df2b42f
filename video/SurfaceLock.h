// A surface's lock that is given back whatever happens: the owner stands outside the crash guard in which the
// surface is locked, written and unlocked.
#pragma once

#include "platform/DirectDraw.h"

class SurfaceLock {
 public:
  // Borrows the surface, which must outlive this object.
  explicit SurfaceLock(IDirectDrawSurface7& surface) : m_Surface(surface) {}
  ~SurfaceLock();
  SurfaceLock(const SurfaceLock&) = delete;
  SurfaceLock& operator=(const SurfaceLock&) = delete;

  // Locks `area` for writing and fills `desc` with its address and pitch. A lost surface is restored and
  // locked once more. Returns the last attempt's code.
  HRESULT Lock(RECT area, DDSURFACEDESC2& desc);
  void Unlock();

 private:
  HRESULT TryLock(RECT area, DDSURFACEDESC2& desc);

  IDirectDrawSurface7& m_Surface;
  bool m_bMayBeLocked = false;
};
