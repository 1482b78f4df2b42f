// The display on an X server: a screen for every monitor, pictures put into the hosts' windows.
#pragma once

#include "platform/posix/DisplaySeam.h"
#include "platform/posix/MonitorTable.h"
#include "platform/posix/RefCounted.h"
#include "platform/posix/X11Connection.h"

namespace platform {

class X11Display final : public RefCounted<DisplayDriver> {
 public:
  // Takes over the reference to the connection and reads the monitors.
  explicit X11Display(Owned<X11Connection> connection);

  HRESULT Enumerate(LPDDENUMCALLBACKEXA callback, void* context) override;
  HRESULT CreateDevice(const GUID* guid, LPDIRECTDRAW7* device) override;
  BOOL MonitorInfo(HMONITOR monitor, MONITORINFO* info) override;
  BOOL Post(HWND window, UINT message, WPARAM wParam, LPARAM lParam) override;
  BOOL Peek(MSG* /*message*/) override { return FALSE; }  // messages go to the window's owner

 private:
  const Owned<X11Connection> m_pConnection;
  MonitorTable m_Monitors;  // constant after construction
};

}  // namespace platform
