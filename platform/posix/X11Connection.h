// The one connection to the X server that all screens share: what the server can do, windows, messages and
// shared memory.
#pragma once

#include <xcb/xcb.h>

#include <array>
#include <memory>

#include "platform/posix/MonitorTable.h"
#include "platform/posix/Mutex.h"
#include "platform/posix/RefCounted.h"
#include "platform/posix/SurfaceMemory.h"

namespace platform {

// A window as far as putting pictures into it goes.
struct X11Window {
  xcb_window_t nId;
  uint8_t nDepth;
};

// Everything may be called from any thread. Once the server is gone every operation fails at once and for
// ever; a new connection is the only way back. No operation raises SIGPIPE.
class X11Connection final : public RefCounted<> {
 public:
  // Connects to $DISPLAY. Empty when that fails; `reason` (static memory) then says why, and `reached`
  // whether a server answered.
  static Owned<X11Connection> Open(const char*& reason, bool& reached);

  xcb_connection_t* Xcb() const { return m_pXcb; }
  bool IsAlive() const { return xcb_connection_has_error(m_pXcb) == 0; }

  // One entry for every active monitor; the whole root window when the server does not tell monitors apart.
  void ReadMonitors(MonitorTable& monitors);

  // Sends the window's owner a QXSDKP_MESSAGE. False when the window is gone.
  bool SendClientMessage(xcb_window_t window, uint32_t message, uint32_t wParam, uint32_t lParam);

  // Memory that the server reads too, where it can; else, or when that fails, this process's own. Null when
  // there is none left.
  std::unique_ptr<SurfaceMemory> AllocatePicture(size_t byteCount);

  // What the last look at the window showed, without asking the server. False when it is not known.
  bool RememberedWindow(xcb_window_t id, X11Window& window);
  // Asks the server, and remembers the answer. False when the window is gone.
  bool LookAtWindow(xcb_window_t id, X11Window& window);
  void Remember(const X11Window& window);
  void Forget(xcb_window_t id);

  // For 32-bit pixels in drawables of this depth; XCB_NONE when such a window cannot show them.
  xcb_gcontext_t ContextForDepth(uint8_t depth) const;
  xcb_window_t Root() const { return m_pScreen->root; }

  // Bytes of pixels that fit into one request, at most 256 KB.
  size_t MaxPutBytes() const { return m_nMaxPutBytes; }

  // Drops what the server sent unasked, so that nothing piles up.
  void DrainEvents();

 private:
  X11Connection(xcb_connection_t* xcb, xcb_screen_t* screen) : m_pXcb(xcb), m_pScreen(screen) {}
  ~X11Connection() override;

  bool Prepare(const char*& reason);
  bool TakesOurPixels(uint8_t depth) const;
  void CreateContext(uint8_t depth, xcb_gcontext_t& context);
  bool CanShareMemory();
  uint8_t DepthOfVisual(xcb_visualid_t visual) const;

  // Constant after Open.
  xcb_connection_t* const m_pXcb;
  xcb_screen_t* const m_pScreen;
  xcb_atom_t m_MessageType = XCB_NONE;
  xcb_gcontext_t m_Context24 = XCB_NONE;
  xcb_gcontext_t m_Context32 = XCB_NONE;
  size_t m_nMaxPutBytes = 0;
  bool m_bSharesMemory = false;

  // A hash table of windows by identifier; a newcomer takes the place of whoever is there, who is then looked
  // at again.
  Mutex m_WindowsLock;
  std::array<X11Window, 1024> m_Windows GUARDED_BY(m_WindowsLock){};
};

}  // namespace platform
