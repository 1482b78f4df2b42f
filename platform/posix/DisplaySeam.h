// The display behind User.h and DirectDraw.h: X11, headless, or a test's scripted one.
#pragma once

#include "platform/posix/DirectDrawApi.h"

namespace platform {

// One display system with its monitors. All operations may be called from any thread.
class DisplayDriver {
 public:
  virtual ~DisplayDriver() = default;
  virtual HRESULT Enumerate(LPDDENUMCALLBACKEXA callback, void* context) = 0;
  // `guid` null: the primary display. The caller releases the object.
  virtual HRESULT CreateDevice(const GUID* guid, LPDIRECTDRAW7* device) = 0;
  virtual BOOL MonitorInfo(HMONITOR monitor, MONITORINFO* info) = 0;
  virtual BOOL Post(HWND window, UINT message, WPARAM wParam, LPARAM lParam) = 0;
  virtual BOOL Peek(MSG* message) = 0;
};

// Puts `driver` (borrowed) in place of the one that QXSDKP_DISPLAY chooses; null goes back to that. Returns
// what a test had put before.
DisplayDriver* SetDisplayDriver(DisplayDriver* driver);

}  // namespace platform
