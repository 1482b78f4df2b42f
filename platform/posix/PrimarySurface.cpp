// Checks and clips what is to be shown, the same on every display.
#include "platform/posix/PrimarySurface.h"

#include <algorithm>

#include "platform/posix/Surface.h"
#include "platform/posix/SurfaceDescription.h"

namespace platform {
namespace {

bool IsEmpty(const RECT& rect) {
  return rect.left >= rect.right || rect.top >= rect.bottom;
}

bool Contains(const RECT& outer, const RECT& inner) {
  return inner.left >= outer.left && inner.top >= outer.top && inner.right <= outer.right &&
         inner.bottom <= outer.bottom;
}

bool SameSize(const RECT& a, const RECT& b) {
  return int64_t{a.right} - a.left == int64_t{b.right} - b.left &&
         int64_t{a.bottom} - a.top == int64_t{b.bottom} - b.top;
}

}  // namespace

HRESULT PrimarySurface::GetSurfaceDesc(LPDDSURFACEDESC2 desc) {
  const bool described = DescribeSurface(desc, PixelKind::kRgb32, m_pScreen->Width(), m_pScreen->Height(),
                                         DDSCAPS_PRIMARYSURFACE);
  return described ? DD_OK : DDERR_INVALIDPARAMS;
}

HRESULT PrimarySurface::SetClipper(LPDIRECTDRAWCLIPPER clipper) {
  auto* const ours = dynamic_cast<Clipper*>(clipper);
  if (clipper != nullptr && ours == nullptr) return DDERR_INVALIDOBJECT;
  Owned<Clipper> held = Share(ours);
  MutexLock lock(m_ClipperLock);
  std::swap(m_pClipper, held);
  return DD_OK;
}

RECT PrimarySurface::Whole() const {
  return {0, 0, static_cast<LONG>(m_pScreen->Width()), static_cast<LONG>(m_pScreen->Height())};
}

HWND PrimarySurface::Window() {
  MutexLock lock(m_ClipperLock);
  return m_pClipper ? m_pClipper->Window() : nullptr;
}

HRESULT PrimarySurface::Blt(LPRECT targetRect, IDirectDrawSurface7* source, LPRECT sourceRect,
                            DWORD /*flags*/, DDBLTFX* /*effects*/) {
  auto* const from = dynamic_cast<Surface*>(source);
  if (from == nullptr || from->Screen() != m_pScreen.Get()) return DDERR_INVALIDOBJECT;
  const RECT target = targetRect != nullptr ? *targetRect : Whole();
  const RECT area = sourceRect != nullptr ? *sourceRect : from->Whole();
  if (IsEmpty(target) || IsEmpty(area) || !Contains(from->Whole(), area)) return DDERR_INVALIDRECT;
  if (!SameSize(target, area)) return DDERR_UNSUPPORTED;
  const HWND window = Window();
  if (window == nullptr) return DDERR_NOCLIPPERATTACHED;

  const RECT whole = Whole();
  const RECT seen = {std::max(target.left, whole.left), std::max(target.top, whole.top),
                     std::min(target.right, whole.right), std::min(target.bottom, whole.bottom)};
  if (IsEmpty(seen)) return DD_OK;
  const auto moved = [](LONG from0, int64_t target0, int64_t seen0) {
    return static_cast<LONG>(from0 + (seen0 - target0));
  };
  const RECT shown = {moved(area.left, target.left, seen.left), moved(area.top, target.top, seen.top),
                      moved(area.left, target.left, seen.right), moved(area.top, target.top, seen.bottom)};
  const PixelImage& image = from->Image();
  const ScreenPicture picture = {&from->Memory(), image.nPitch, static_cast<DWORD>(image.nWidth),
                                 static_cast<DWORD>(image.nHeight)};
  return m_pScreen->Present(picture, shown, seen.left, seen.top, window);
}

}  // namespace platform
