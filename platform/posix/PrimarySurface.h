// A screen as a surface: what is copied to it is shown. It has no memory of its own that could be locked.
#pragma once

#include "platform/posix/Clipper.h"
#include "platform/posix/DisplayScreen.h"
#include "platform/posix/Mutex.h"
#include "platform/posix/RefCounted.h"

namespace platform {

class PrimarySurface final : public RefCounted<IDirectDrawSurface7> {
 public:
  // `screen` is shared.
  explicit PrimarySurface(DisplayScreen& screen) : m_pScreen(Share(&screen)) {}

  HRESULT Lock(LPRECT /*rect*/, LPDDSURFACEDESC2 /*desc*/, DWORD /*flags*/, HANDLE /*event*/) override {
    return DDERR_CANTLOCKSURFACE;
  }
  HRESULT Unlock(LPRECT /*rect*/) override { return DDERR_NOTLOCKED; }
  HRESULT GetSurfaceDesc(LPDDSURFACEDESC2 desc) override;
  HRESULT SetClipper(LPDIRECTDRAWCLIPPER clipper) override;
  HRESULT Restore() override { return DD_OK; }
  // Shows a part of a surface that lies on the same screen, in the window that the clipper names. Both
  // rectangles are of one size (DDERR_UNSUPPORTED: screens do not stretch); what lies beyond the screen is
  // cut off. DDERR_NOCLIPPERATTACHED without a window.
  HRESULT Blt(LPRECT targetRect, IDirectDrawSurface7* source, LPRECT sourceRect, DWORD flags,
              DDBLTFX* effects) override;

 private:
  RECT Whole() const;
  HWND Window();

  const Owned<DisplayScreen> m_pScreen;

  Mutex m_ClipperLock;
  Owned<Clipper> m_pClipper GUARDED_BY(m_ClipperLock);
};

}  // namespace platform
