// A surface in memory: what pictures are written into, and what is copied to a screen.
#pragma once

#include <atomic>
#include <memory>

#include "platform/posix/DisplayScreen.h"
#include "platform/posix/PixelImage.h"
#include "platform/posix/RefCounted.h"
#include "platform/posix/Stretch.h"
#include "platform/posix/SurfaceMemory.h"

namespace platform {

// Players draw into one back surface side by side, so copies into a surface wait for nobody; only copies into
// the same pixels at the same time would mix. Nothing here waits on a lock while pixels move: a crash in the
// middle leaves no lock behind.
class Surface final : public RefCounted<IDirectDrawSurface7> {
 public:
  // A black surface of 1..kMaxImageSide pixels a side. With `screen` (shared) it lies in that screen's
  // memory, ready to be shown, and must be of kind kRgb32; null: on the heap. Null when memory is exhausted.
  static Surface* Create(PixelKind kind, int32_t width, int32_t height, DisplayScreen* screen);

  HRESULT Lock(LPRECT rect, LPDDSURFACEDESC2 desc, DWORD flags, HANDLE event) override;
  HRESULT Unlock(LPRECT rect) override;
  HRESULT GetSurfaceDesc(LPDDSURFACEDESC2 desc) override;
  HRESULT SetClipper(LPDIRECTDRAWCLIPPER clipper) override;
  HRESULT Restore() override { return DD_OK; }  // memory is never lost
  // DDERR_SURFACEBUSY while `source` is locked for writing a picture; a lock on a surface that lies on a
  // screen keeps no copy out, because it is another player's callback that draws elsewhere on it.
  // DDERR_WASSTILLDRAWING when another thread stretches from `source`.
  HRESULT Blt(LPRECT targetRect, IDirectDrawSurface7* source, LPRECT sourceRect, DWORD flags,
              DDBLTFX* effects) override;

  const PixelImage& Image() const { return m_Image; }
  const SurfaceMemory& Memory() const { return *m_pMemory; }
  // The screen that this surface can be shown on; null for a picture surface.
  const DisplayScreen* Screen() const { return m_pScreen.Get(); }
  RECT Whole() const { return {0, 0, m_Image.nWidth, m_Image.nHeight}; }

 private:
  Surface(std::unique_ptr<SurfaceMemory> memory, PixelKind kind, int32_t width, int32_t height, int32_t pitch,
          DisplayScreen* screen);

  // Constant after construction. The pixels belong to whoever locked the surface or copies.
  const Owned<DisplayScreen> m_pScreen;  // outlives the memory
  const std::unique_ptr<SurfaceMemory> m_pMemory;
  const PixelImage m_Image;

  // Any thread.
  std::atomic<bool> m_bLocked = false;
  std::atomic<bool> m_bStretching = false;

  // The thread that set m_bStretching.
  StretchScratch m_Scratch;
};

}  // namespace platform
