// Devices and messages on an X server.
#include "platform/posix/X11Display.h"

#include <new>
#include <utility>

#include "platform/posix/Device.h"
#include "platform/posix/X11Screen.h"

namespace platform {

X11Display::X11Display(Owned<X11Connection> connection) : m_pConnection(std::move(connection)) {
  m_pConnection->ReadMonitors(m_Monitors);
}

HRESULT X11Display::Enumerate(LPDDENUMCALLBACKEXA callback, void* context) {
  m_Monitors.Enumerate(callback, context);
  return DD_OK;
}

HRESULT X11Display::CreateDevice(const GUID* guid, LPDIRECTDRAW7* device) {
  const size_t index = m_Monitors.Find(guid);
  if (index == MonitorTable::kCapacity) return DDERR_INVALIDDIRECTDRAWGUID;
  if (!m_pConnection->IsAlive()) return DDERR_NODIRECTDRAWHW;
  Owned<DisplayScreen> screen(new (std::nothrow)
                                  X11Screen(*m_pConnection.Get(), m_Monitors[index].rcDesktop));
  if (!screen) return DDERR_OUTOFMEMORY;
  *device = Device::Create(std::move(screen));
  return *device != nullptr ? DD_OK : DDERR_OUTOFMEMORY;
}

BOOL X11Display::MonitorInfo(HMONITOR monitor, MONITORINFO* info) {
  return m_Monitors.Info(monitor, info);
}

BOOL X11Display::Post(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
  const xcb_window_t id = X11WindowOf(window);
  if (id == XCB_NONE) return FALSE;
  return m_pConnection->SendClientMessage(id, message, static_cast<uint32_t>(wParam),
                                          static_cast<uint32_t>(lParam))
             ? TRUE
             : FALSE;
}

}  // namespace platform
