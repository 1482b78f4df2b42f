// One monitor of an X server.
#pragma once

#include "platform/posix/DisplayScreen.h"
#include "platform/posix/Mutex.h"
#include "platform/posix/X11Connection.h"

namespace platform {

// The window identifier that a handle stands for; XCB_NONE when it cannot be one.
xcb_window_t X11WindowOf(HWND window);

class X11Screen final : public DisplayScreen {
 public:
  // `connection` is shared; `desktop` is the monitor's place on the root window.
  X11Screen(X11Connection& connection, const RECT& desktop);

  std::unique_ptr<SurfaceMemory> AllocatePicture(size_t byteCount) override;

  // Puts the pixels into the window and waits for the server to have done so. Two round trips: the first asks
  // where the window is now, since a put at its last known place would paint over what the host has there;
  // the second tells that the server has read the memory, and whether it refused.
  //
  // DDERR_INVALIDOBJECT when the window is gone, DDERR_INVALIDPIXELFORMAT when it cannot show 32-bit pixels,
  // DDERR_GENERIC when the server is gone.
  HRESULT Present(const ScreenPicture& picture, const RECT& area, LONG left, LONG top, HWND window) override;

 private:
  struct Put;

  // One try. False: the window must be looked at again.
  bool TryPut(const Put& put, const X11Window& window, HRESULT& code);
  xcb_void_cookie_t SendPut(const Put& put, const X11Window& window, int16_t x, int16_t y);
  xcb_void_cookie_t SendPlainPut(const Put& put, const X11Window& window, int16_t x, int16_t y);

  // Constant after construction.
  const Owned<X11Connection> m_pConnection;
  const RECT m_rcDesktop;

  // Where pixels are gathered for servers that share no memory.
  Mutex m_StagingLock;
  std::unique_ptr<SurfaceMemory> m_pStaging GUARDED_BY(m_StagingLock);
};

}  // namespace platform
