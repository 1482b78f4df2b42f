// Locking and copying of surfaces in memory.
#include "platform/posix/Surface.h"

#include <new>
#include <utility>

#include "platform/posix/SurfaceDescription.h"

namespace platform {
namespace {

constexpr DWORD kCapabilities = DDSCAPS_OFFSCREENPLAIN | DDSCAPS_SYSTEMMEMORY;

// Of the first pixel in a row; pairs and chroma are found through it.
int32_t LumaBytesPerPixel(PixelKind kind) {
  if (kind == PixelKind::kRgb32) return 4;
  return kind == PixelKind::kYuy2 ? 2 : 1;
}

}  // namespace

Surface* Surface::Create(PixelKind kind, int32_t width, int32_t height, DisplayScreen* screen) {
  const PixelImageSize size = SizeOfImage(kind, width, height);
  auto memory = screen != nullptr ? screen->AllocatePicture(size.nBytes) : AllocateHeapMemory(size.nBytes);
  if (memory == nullptr) return nullptr;
  return new (std::nothrow) Surface(std::move(memory), kind, width, height, size.nPitch, screen);
}

Surface::Surface(std::unique_ptr<SurfaceMemory> memory, PixelKind kind, int32_t width, int32_t height,
                 int32_t pitch, DisplayScreen* screen)
    : m_pScreen(Share(screen)),
      m_pMemory(std::move(memory)),
      m_Image{m_pMemory->Bytes(), pitch, width, height, kind} {
  FillBlack(m_Image);
}

HRESULT Surface::Lock(LPRECT rect, LPDDSURFACEDESC2 desc, DWORD /*flags*/, HANDLE /*event*/) {
  const RECT area = rect != nullptr ? *rect : Whole();
  const bool inside = area.left >= 0 && area.top >= 0 && area.left < area.right && area.top < area.bottom &&
                      area.right <= m_Image.nWidth && area.bottom <= m_Image.nHeight;
  if (!inside) return DDERR_INVALIDRECT;
  if (desc == nullptr || desc->dwSize != sizeof(*desc)) return DDERR_INVALIDPARAMS;
  if (m_bLocked.exchange(true)) return DDERR_SURFACEBUSY;

  GetSurfaceDesc(desc);
  desc->dwFlags |= DDSD_LPSURFACE;
  desc->lpSurface = m_Image.pBytes + static_cast<ptrdiff_t>(area.top) * m_Image.nPitch +
                    static_cast<ptrdiff_t>(area.left) * LumaBytesPerPixel(m_Image.kind);
  return DD_OK;
}

HRESULT Surface::Unlock(LPRECT /*rect*/) {
  m_bStretching = false;  // of a copy that a crash has cut short; whoever caught it unlocks
  return m_bLocked.exchange(false) ? DD_OK : DDERR_NOTLOCKED;
}

HRESULT Surface::GetSurfaceDesc(LPDDSURFACEDESC2 desc) {
  const auto width = static_cast<DWORD>(m_Image.nWidth);
  const auto height = static_cast<DWORD>(m_Image.nHeight);
  if (!DescribeSurface(desc, m_Image.kind, width, height, kCapabilities)) return DDERR_INVALIDPARAMS;
  desc->dwFlags |= DDSD_PITCH;
  desc->lPitch = m_Image.nPitch;
  return DD_OK;
}

// The edges of the surface are all the clipping that a copy into memory needs; the window matters on the way
// to the screen.
HRESULT Surface::SetClipper(LPDIRECTDRAWCLIPPER /*clipper*/) {
  return DD_OK;
}

HRESULT Surface::Blt(LPRECT targetRect, IDirectDrawSurface7* source, LPRECT sourceRect, DWORD /*flags*/,
                     DDBLTFX* /*effects*/) {
  auto* const from = dynamic_cast<Surface*>(source);
  if (from == nullptr) return DDERR_INVALIDOBJECT;
  if (from == this) return DDERR_UNSUPPORTED;
  if (from->m_bLocked && from->Screen() == nullptr) return DDERR_SURFACEBUSY;
  if (from->m_bStretching.exchange(true)) return DDERR_WASSTILLDRAWING;

  const HRESULT code = StretchCopy(from->m_Image, sourceRect != nullptr ? *sourceRect : from->Whole(),
                                   m_Image, targetRect != nullptr ? *targetRect : Whole(), from->m_Scratch);
  from->m_bStretching = false;
  return code;
}

}  // namespace platform
