// Chooses the display by QXSDKP_DISPLAY and lends it the names that the library calls.
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <string_view>
#include <utility>

#include "platform/DirectDraw.h"
#include "platform/posix/DisplaySeam.h"
#include "platform/posix/HeadlessDisplay.h"
#include "platform/posix/Mutex.h"
#include "platform/posix/SigpipeBlock.h"
#include "platform/posix/X11Display.h"

namespace platform {
namespace {

using OwnedDriver = Owned<RefCounted<DisplayDriver>>;

// `setting` is empty when QXSDKP_DISPLAY is.
void Complain(const char* setting, const char* trouble) {
  const SigpipeBlock noSignal;  // the host may have closed its standard error
  if (*setting == '\0') {
    std::fprintf(stderr, "qxsdkp: QXSDKP_DISPLAY is not set, and %s\n", trouble);
  } else {
    std::fprintf(stderr, "qxsdkp: QXSDKP_DISPLAY=%.200s: %s\n", setting, trouble);
  }
}

OwnedDriver OpenHeadless(std::string_view layout, const char* setting) {
  MonitorTable monitors;
  if (!ParseScreenLayout(layout, monitors)) {
    Complain(setting, "screens are written headless:WxH+X+Y[,WxH+X+Y...]");
    return {};
  }
  return OwnedDriver(new (std::nothrow) HeadlessDisplay(monitors));
}

OwnedDriver OpenX11(const char*& reason, bool& reached) {
  Owned<X11Connection> connection = X11Connection::Open(reason, reached);
  if (!connection) return {};
  return OwnedDriver(new (std::nothrow) X11Display(std::move(connection)));
}

OwnedDriver OpenDefault() {
  const char* const display = std::getenv("DISPLAY");
  if (display == nullptr || *display == '\0') return OpenHeadless({}, "");
  const char* reason = "memory is exhausted";
  bool reached = false;
  OwnedDriver driver = OpenX11(reason, reached);
  if (driver) return driver;
  if (reached) {
    // There are people in front of it: to show them nothing must not pass for success.
    Complain("", reason);
    return {};
  }
  Complain("", "the X server at $DISPLAY cannot be reached, so pictures go to a headless screen");
  return OpenHeadless({}, "");
}

// Empty, with the reason on the standard error, when there is no such display.
OwnedDriver OpenDriver() {
  constexpr std::string_view kHeadless = "headless";
  const char* const value = std::getenv("QXSDKP_DISPLAY");
  const std::string_view setting = value != nullptr ? value : "";
  if (setting.empty()) return OpenDefault();
  if (setting == kHeadless) return OpenHeadless({}, value);
  if (setting.starts_with("headless:") && setting.size() > kHeadless.size() + 1) {
    return OpenHeadless(setting.substr(kHeadless.size() + 1), value);
  }
  if (setting != "x11") {
    Complain(value, "use x11, headless or headless:WxH+X+Y[,WxH+X+Y...]");
    return {};
  }
  const char* reason = "memory is exhausted";
  bool reached = false;
  OwnedDriver driver = OpenX11(reason, reached);
  if (!driver) Complain(value, reason);
  return driver;
}

std::atomic<DisplayDriver*> g_pTestDriver = nullptr;

Mutex g_DriverLock;
bool g_bOpened GUARDED_BY(g_DriverLock) = false;
OwnedDriver g_pDriver GUARDED_BY(g_DriverLock);

// `anew`: opens the display again by what QXSDKP_DISPLAY says now. Objects of the earlier one keep it alive
// and go on with it.
OwnedDriver ChosenDriver(bool anew) {
  MutexLock lock(g_DriverLock);
  if (anew || !g_bOpened) {
    g_pDriver = OpenDriver();
    g_bOpened = true;
  }
  return Share(g_pDriver.Get());
}

// Calls use(driver); `failure` when there is no display.
template <typename Result, typename Use>
Result WithDriver(bool anew, Result failure, Use&& use) {
  if (DisplayDriver* const test = g_pTestDriver.load()) return use(*test);
  const OwnedDriver driver = ChosenDriver(anew);
  return driver ? use(*driver.Get()) : failure;
}

}  // namespace

DisplayDriver* SetDisplayDriver(DisplayDriver* driver) {
  return g_pTestDriver.exchange(driver);
}

}  // namespace platform

using platform::DisplayDriver;
using platform::WithDriver;

HRESULT DirectDrawEnumerateExA(LPDDENUMCALLBACKEXA callback, LPVOID context, DWORD /*flags*/) {
  if (callback == nullptr) return DDERR_INVALIDPARAMS;
  return WithDriver(true, DDERR_NODIRECTDRAWHW,
                    [&](DisplayDriver& driver) { return driver.Enumerate(callback, context); });
}

HRESULT DirectDrawCreateEx(GUID* guid, LPVOID* object, const GUID& /*interfaceId*/, IUnknown* outer) {
  if (object == nullptr) return DDERR_INVALIDPARAMS;
  *object = nullptr;
  if (outer != nullptr) return DDERR_INVALIDPARAMS;
  LPDIRECTDRAW7 device = nullptr;
  const HRESULT code = WithDriver(false, DDERR_NODIRECTDRAWHW,
                                  [&](DisplayDriver& driver) { return driver.CreateDevice(guid, &device); });
  if (SUCCEEDED(code)) *object = device;
  return code;
}

BOOL GetMonitorInfoA(HMONITOR monitor, MONITORINFO* info) {
  return WithDriver(false, FALSE, [&](DisplayDriver& driver) { return driver.MonitorInfo(monitor, info); });
}

BOOL PostMessageA(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
  return WithDriver(false, FALSE,
                    [&](DisplayDriver& driver) { return driver.Post(window, message, wParam, lParam); });
}

BOOL PeekMessageA(MSG* message, HWND /*window*/, UINT /*filterMin*/, UINT /*filterMax*/, UINT /*remove*/) {
  return WithDriver(false, FALSE, [&](DisplayDriver& driver) { return driver.Peek(message); });
}

BOOL IsRectEmpty(const RECT* rect) {
  return rect == nullptr || rect->left >= rect->right || rect->top >= rect->bottom ? TRUE : FALSE;
}

BOOL SetRectEmpty(RECT* rect) {
  if (rect == nullptr) return FALSE;
  *rect = {};
  return TRUE;
}
