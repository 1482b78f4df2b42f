// One monitor as a place where pictures can be shown: what differs between X11 and the headless display.
#pragma once

#include <memory>

#include "platform/posix/DirectDrawApi.h"
#include "platform/posix/RefCounted.h"
#include "platform/posix/SurfaceMemory.h"

namespace platform {

// 32-bit pixels (bytes blue, green, red, unused) that a screen is asked to show.
struct ScreenPicture {
  const SurfaceMemory* pMemory;
  LONG nPitch;  // bytes from a row to the next
  DWORD dwWidth, dwHeight;
};

// Shared by the device and its surfaces. All operations may be called from any thread.
class DisplayScreen : public RefCounted<> {
 public:
  DWORD Width() const { return m_dwWidth; }
  DWORD Height() const { return m_dwHeight; }

  // Memory for a surface in the screen's own pixel format, from which Present is cheapest. Null when there is
  // none left.
  virtual std::unique_ptr<SurfaceMemory> AllocatePicture(size_t byteCount) = 0;

  // Shows `area` of the picture, which lies within it and is not empty, in `window` with its top-left pixel
  // at (left, top) of the screen. Returns when the picture's memory may be written again.
  virtual HRESULT Present(const ScreenPicture& picture, const RECT& area, LONG left, LONG top,
                          HWND window) = 0;

 protected:
  DisplayScreen(DWORD width, DWORD height) : m_dwWidth(width), m_dwHeight(height) {}
  ~DisplayScreen() override = default;

 private:
  const DWORD m_dwWidth;
  const DWORD m_dwHeight;
};

}  // namespace platform
