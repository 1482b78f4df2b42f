// The DirectDraw object of one screen: it makes surfaces and clippers.
#pragma once

#include "platform/posix/DisplayScreen.h"
#include "platform/posix/RefCounted.h"

namespace platform {

class Device final : public RefCounted<IDirectDraw7> {
 public:
  // Takes over the caller's reference to `screen`. Null when memory is exhausted; the screen is released
  // then.
  static Device* Create(Owned<DisplayScreen> screen);

  HRESULT SetCooperativeLevel(HWND /*window*/, DWORD /*flags*/) override { return DD_OK; }
  // The primary surface, or an off-screen plain surface of a size of 1..16384 pixels a side. Without a pixel
  // format the off-screen surface has the display's own, lies in memory from which the screen shows it
  // fastest, and only such a surface can be copied to the primary one.
  HRESULT CreateSurface(LPDDSURFACEDESC2 desc, LPDIRECTDRAWSURFACE7* surface, IUnknown* outer) override;
  HRESULT CreateClipper(DWORD flags, LPDIRECTDRAWCLIPPER* clipper, IUnknown* outer) override;

 private:
  explicit Device(Owned<DisplayScreen> screen) : m_pScreen(std::move(screen)) {}

  const Owned<DisplayScreen> m_pScreen;
};

}  // namespace platform
