// Putting pictures into X11 windows.
#include "platform/posix/X11Screen.h"

#include <xcb/shm.h>

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "platform/posix/SigpipeBlock.h"
#include "platform/posix/X11Reply.h"

namespace platform {

struct X11Screen::Put {
  const ScreenPicture& picture;
  const RECT& area;
  LONG nRootX, nRootY;  // where its top-left pixel goes on the root window

  uint16_t Width() const { return static_cast<uint16_t>(area.right - area.left); }
  uint16_t Height() const { return static_cast<uint16_t>(area.bottom - area.top); }
};

xcb_window_t X11WindowOf(HWND window) {
  const auto id = reinterpret_cast<uintptr_t>(window);
  return id <= UINT32_MAX ? static_cast<xcb_window_t>(id) : xcb_window_t{XCB_NONE};
}

X11Screen::X11Screen(X11Connection& connection, const RECT& desktop)
    : DisplayScreen(static_cast<DWORD>(desktop.right - desktop.left),
                    static_cast<DWORD>(desktop.bottom - desktop.top)),
      m_pConnection(Share(&connection)),
      m_rcDesktop(desktop) {}

std::unique_ptr<SurfaceMemory> X11Screen::AllocatePicture(size_t byteCount) {
  return m_pConnection->AllocatePicture(byteCount);
}

HRESULT X11Screen::Present(const ScreenPicture& picture, const RECT& area, LONG left, LONG top, HWND window) {
  const SigpipeBlock noSignal;
  X11Connection& connection = *m_pConnection.Get();
  if (!connection.IsAlive()) return DDERR_GENERIC;
  const xcb_window_t id = X11WindowOf(window);
  if (id == XCB_NONE) return DDERR_INVALIDOBJECT;

  const Put put = {picture, area, m_rcDesktop.left + left, m_rcDesktop.top + top};
  X11Window target;
  HRESULT code = DDERR_INVALIDOBJECT;
  if (connection.RememberedWindow(id, target) && TryPut(put, target, code)) return code;
  // Unknown, or another window has its identifier now.
  if (connection.LookAtWindow(id, target)) {
    if (TryPut(put, target, code)) return code;
    connection.Forget(id);
  }
  return connection.IsAlive() ? DDERR_INVALIDOBJECT : DDERR_GENERIC;
}

bool X11Screen::TryPut(const Put& put, const X11Window& window, HRESULT& code) {
  X11Connection& connection = *m_pConnection.Get();
  xcb_connection_t* const xcb = connection.Xcb();
  if (connection.ContextForDepth(window.nDepth) == XCB_NONE) {
    connection.Forget(window.nId);  // another window may come to have its identifier
    code = DDERR_INVALIDPIXELFORMAT;
    return true;
  }

  const auto whereCookie = xcb_translate_coordinates(xcb, window.nId, connection.Root(), 0, 0);
  const auto where = OwnReply(xcb_translate_coordinates_reply(xcb, whereCookie, nullptr));
  if (where == nullptr) return false;

  const LONG x = put.nRootX - where->dst_x;
  const LONG y = put.nRootY - where->dst_y;
  code = DD_OK;
  const bool reachable = x >= INT16_MIN && x <= INT16_MAX && y >= INT16_MIN && y <= INT16_MAX;
  if (!reachable) return true;  // no window is that large
  const xcb_void_cookie_t sent = SendPut(put, window, static_cast<int16_t>(x), static_cast<int16_t>(y));
  if (sent.sequence == 0) {
    if (!connection.IsAlive()) return false;
    code = DDERR_OUTOFMEMORY;
    return true;
  }
  const auto refused = OwnReply(xcb_request_check(xcb, sent));
  connection.DrainEvents();
  return refused == nullptr && connection.IsAlive();
}

xcb_void_cookie_t X11Screen::SendPut(const Put& put, const X11Window& window, int16_t x, int16_t y) {
  const uint32_t segment = put.picture.pMemory->ServerSegment();
  if (segment == 0) return SendPlainPut(put, window, x, y);
  constexpr uint8_t kNoEvent = 0;
  return xcb_shm_put_image_checked(
      m_pConnection->Xcb(), window.nId, m_pConnection->ContextForDepth(window.nDepth),
      static_cast<uint16_t>(put.picture.nPitch / 4), static_cast<uint16_t>(put.picture.dwHeight),
      static_cast<uint16_t>(put.area.left), static_cast<uint16_t>(put.area.top), put.Width(), put.Height(), x,
      y, window.nDepth, XCB_IMAGE_FORMAT_Z_PIXMAP, kNoEvent, segment, 0);
}

// Sends the pixels themselves, in pieces that fit into a request. Answers the last piece's cookie, which is
// refused when any is; sequence 0 when there is no memory or no
// connection.
xcb_void_cookie_t X11Screen::SendPlainPut(const Put& put, const X11Window& window, int16_t x, int16_t y) {
  const size_t capacity = m_pConnection->MaxPutBytes();
  MutexLock lock(m_StagingLock);
  if (m_pStaging == nullptr) m_pStaging = AllocateHeapMemory(capacity);
  if (m_pStaging == nullptr) return {0};

  xcb_connection_t* const xcb = m_pConnection->Xcb();
  uint8_t* const staging = m_pStaging->Bytes();
  const LONG pieceWidth = std::min<LONG>(put.Width(), static_cast<LONG>(capacity / 4));
  const LONG pieceHeight = static_cast<LONG>(capacity / 4) / pieceWidth;
  xcb_void_cookie_t sent{};
  for (LONG top = 0; top < put.Height(); top += pieceHeight) {
    for (LONG left = 0; left < put.Width(); left += pieceWidth) {
      const LONG width = std::min<LONG>(pieceWidth, put.Width() - left);
      const LONG height = std::min<LONG>(pieceHeight, put.Height() - top);
      const size_t rowBytes = static_cast<size_t>(width) * 4;
      for (LONG row = 0; row < height; ++row) {
        const ptrdiff_t offset = static_cast<ptrdiff_t>(put.area.top + top + row) * put.picture.nPitch +
                                 static_cast<ptrdiff_t>(put.area.left + left) * 4;
        std::memcpy(staging + static_cast<size_t>(row) * rowBytes, put.picture.pMemory->Bytes() + offset,
                    rowBytes);
      }
      const bool isLast = top + height == put.Height() && left + width == put.Width();
      const auto send = isLast ? xcb_put_image_checked : xcb_put_image;
      sent = send(xcb, XCB_IMAGE_FORMAT_Z_PIXMAP, window.nId, m_pConnection->ContextForDepth(window.nDepth),
                  static_cast<uint16_t>(width), static_cast<uint16_t>(height), static_cast<int16_t>(x + left),
                  static_cast<int16_t>(y + top), 0, window.nDepth,
                  static_cast<uint32_t>(rowBytes * static_cast<size_t>(height)), staging);
    }
  }
  return sent;
}

}  // namespace platform
