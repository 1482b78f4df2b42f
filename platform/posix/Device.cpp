// Creation of surfaces and clippers.
#include "platform/posix/Device.h"

#include <new>
#include <optional>
#include <utility>

#include "platform/posix/Clipper.h"
#include "platform/posix/PrimarySurface.h"
#include "platform/posix/Surface.h"
#include "platform/posix/SurfaceDescription.h"

namespace platform {
namespace {

template <typename T, typename Interface>
HRESULT HandOut(T* created, Interface** out) {
  if (created == nullptr) return DDERR_OUTOFMEMORY;
  *out = created;
  return DD_OK;
}

HRESULT CreateOffScreen(const DDSURFACEDESC2& desc, DisplayScreen* screen, LPDIRECTDRAWSURFACE7* surface) {
  constexpr DWORD kSize = DDSD_WIDTH | DDSD_HEIGHT;
  const auto isSide = [](DWORD length) { return length >= 1 && length <= DWORD{kMaxImageSide}; };
  if ((desc.dwFlags & kSize) != kSize || !isSide(desc.dwWidth) || !isSide(desc.dwHeight))
    return DDERR_INVALIDPARAMS;

  const bool asDisplay = (desc.dwFlags & DDSD_PIXELFORMAT) == 0;
  const std::optional<PixelKind> kind = asDisplay ? PixelKind::kRgb32 : PixelKindOf(desc.ddpfPixelFormat);
  if (!kind) return DDERR_INVALIDPIXELFORMAT;
  return HandOut(Surface::Create(*kind, static_cast<int32_t>(desc.dwWidth),
                                 static_cast<int32_t>(desc.dwHeight), asDisplay ? screen : nullptr),
                 surface);
}

}  // namespace

Device* Device::Create(Owned<DisplayScreen> screen) {
  return new (std::nothrow) Device(std::move(screen));
}

HRESULT Device::CreateSurface(LPDDSURFACEDESC2 desc, LPDIRECTDRAWSURFACE7* surface, IUnknown* outer) {
  if (surface == nullptr) return DDERR_INVALIDPARAMS;
  *surface = nullptr;
  if (desc == nullptr || desc->dwSize != sizeof(*desc) || outer != nullptr) return DDERR_INVALIDPARAMS;
  const DWORD capabilities = (desc->dwFlags & DDSD_CAPS) != 0 ? desc->ddsCaps.dwCaps : 0;
  if ((capabilities & DDSCAPS_PRIMARYSURFACE) != 0) {
    return HandOut(new (std::nothrow) PrimarySurface(*m_pScreen.Get()), surface);
  }
  if ((capabilities & DDSCAPS_OFFSCREENPLAIN) == 0) return DDERR_INVALIDCAPS;
  return CreateOffScreen(*desc, m_pScreen.Get(), surface);
}

HRESULT Device::CreateClipper(DWORD /*flags*/, LPDIRECTDRAWCLIPPER* clipper, IUnknown* outer) {
  if (clipper == nullptr) return DDERR_INVALIDPARAMS;
  *clipper = nullptr;
  if (outer != nullptr) return DDERR_INVALIDPARAMS;
  return HandOut(new (std::nothrow) Clipper, clipper);
}

}  // namespace platform
