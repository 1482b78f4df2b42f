// Screens that nobody looks at: the display for servers and tests, which does all the work of a picture but
// the last copy.
#pragma once

#include <string_view>

#include "platform/posix/DisplaySeam.h"
#include "platform/posix/MonitorTable.h"
#include "platform/posix/RefCounted.h"

namespace platform {

// `layout` lists screens as "WxH+X+Y[,WxH+X+Y...]": sizes of 1..16384 pixels, places (also "+-X") within a
// million of the origin, at most 64 screens; empty: one of 1920x1080 at the origin. False when it is
// malformed.
bool ParseScreenLayout(std::string_view layout, MonitorTable& monitors);

// Any window but null exists. A back surface is all there is of a screen: the copy to the primary surface is
// checked as on any display and moves no pixel, since it would show the rectangle at the very place where it
// already lies.
class HeadlessDisplay final : public RefCounted<DisplayDriver> {
 public:
  explicit HeadlessDisplay(const MonitorTable& monitors) : m_Monitors(monitors) {}

  HRESULT Enumerate(LPDDENUMCALLBACKEXA callback, void* context) override;
  HRESULT CreateDevice(const GUID* guid, LPDIRECTDRAW7* device) override;
  BOOL MonitorInfo(HMONITOR monitor, MONITORINFO* info) override;
  // The queue of 256 messages is the process's: messages outlive the display, so that a host may read them
  // after it has released the library.
  BOOL Post(HWND window, UINT message, WPARAM wParam, LPARAM lParam) override;
  BOOL Peek(MSG* message) override;

 private:
  const MonitorTable m_Monitors;
};

}  // namespace platform
