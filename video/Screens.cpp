// Enumerates the monitors and opens DirectDraw, surfaces and clippers on each.
#include "video/Screens.h"

#include <algorithm>

#include "src/kitc/Log.h"
#include "video/SurfaceFormat.h"
#include "video/ViewerLog.h"

namespace {

union ScreenTable {
  std::array<Screen, kMaxScreens> screens;
  constexpr ScreenTable() : screens{} {}
  ~ScreenTable() {}  // keeps the screens: see g_Screens
};
constinit ScreenTable g_Table;

void ClearScreen(Screen& screen) {
  screen.ReleaseObjects();
  screen.guid = {};
  screen.hMonitor = nullptr;
  screen.monitorInfo = {};
  screen.dwWidth = 0;
  screen.dwHeight = 0;
  screen.hClipperWnd = nullptr;
}

void ClearScreens() {
  for (Screen& screen : g_Screens)
    ClearScreen(screen);
  g_nScreenCount = 0;
}

BOOL WINAPI EnumScreenCallback(GUID* guid, LPSTR /*description*/, LPSTR /*name*/, LPVOID /*context*/,
                               HMONITOR monitor) {
  if (guid == nullptr || g_nScreenCount >= kMaxScreens) return TRUE;
  MONITORINFO info = {};
  info.cbSize = sizeof(info);
  // A monitor that cannot be described (unplugged just now) must not pass for the primary display at (0, 0).
  if (!GetMonitorInfoA(monitor, &info)) return TRUE;
  if (g_nScreenCount == 0) g_nScreenCount = 1;  // entry 0 is kept for the primary display

  const bool isPrimary = info.rcWork.left == 0 && info.rcWork.top == 0;
  if (isPrimary) {
    g_Screens[0].monitorInfo = info;
    return TRUE;
  }
  Screen& screen = g_Screens[static_cast<size_t>(g_nScreenCount)];
  screen.guid = *guid;
  screen.hMonitor = monitor;
  screen.monitorInfo = info;
  ++g_nScreenCount;
  return TRUE;
}

void LogNotCreated(ViewerLogLine line, const char* surface, HRESULT code) {
  const auto lastError = static_cast<int>(GetLastError());
  kitc_log(kLogError, kViewerLogSource, line,
           "DIRECTDRAW7 CreateSurface():%s Error! errno:%d hr:0x%x description:%s\n", surface, lastError,
           static_cast<unsigned>(code), DXGetErrorDescriptionA(code));
}

// Describes a surface of which creation has succeeded.
bool Describe(IDirectDrawSurface7& surface, ViewerLogLine line, const char* name, DDSURFACEDESC2& desc) {
  desc = EmptySurfaceDesc();
  if (SUCCEEDED(surface.GetSurfaceDesc(&desc))) return true;
  kitc_log(kLogError, kViewerLogSource, line, "DIRECTDRAW7 GetSurfaceDesc():%s Error errno:%d!\n", name,
           static_cast<int>(GetLastError()));
  return false;
}

bool CreateDisplay(GUID* guid, Owned<IDirectDraw7>& display) {
  LPVOID object = nullptr;
  if (FAILED(DirectDrawCreateEx(guid, &object, IID_IDirectDraw7, nullptr)) || object == nullptr) {
    kitc_log(kLogError, kViewerLogSource, kLineDisplayNotCreated, "DirectDrawCreateEx():Error!\n");
    return false;
  }
  display = Owned<IDirectDraw7>(static_cast<IDirectDraw7*>(object));
  if (FAILED(display->SetCooperativeLevel(nullptr, DDSCL_NORMAL | DDSCL_MULTITHREADED))) {
    kitc_log(kLogError, kViewerLogSource, kLineCooperativeLevel,
             "DIRECTDRAW7 SetCooperativeLevel():Error!\n");
    return false;
  }
  return true;
}

bool CreatePrimary(IDirectDraw7& display, Owned<IDirectDrawSurface7>& primary, DDSURFACEDESC2& desc) {
  desc = EmptySurfaceDesc();
  desc.dwFlags = DDSD_CAPS;
  desc.ddsCaps.dwCaps = DDSCAPS_PRIMARYSURFACE;
  if (const HRESULT code = display.CreateSurface(&desc, primary.Receive(), nullptr); FAILED(code)) {
    LogNotCreated(kLinePrimaryNotCreated, "lpDDSPrimary", code);
    return false;
  }
  return Describe(*primary.Get(), kLinePrimaryNotDescribed, "lpDDSPrimary", desc);
}

bool CreateBack(IDirectDraw7& display, DWORD width, DWORD height, Owned<IDirectDrawSurface7>& back,
                DDSURFACEDESC2& desc) {
  desc = EmptySurfaceDesc();
  desc.dwFlags = DDSD_CAPS | DDSD_WIDTH | DDSD_HEIGHT;
  desc.ddsCaps.dwCaps = DDSCAPS_OFFSCREENPLAIN;
  desc.dwWidth = width;
  desc.dwHeight = height;
  if (const HRESULT code = display.CreateSurface(&desc, back.Receive(), nullptr); FAILED(code)) {
    LogNotCreated(kLineBackNotCreated, "lpDDSBack", code);
    return false;
  }
  return Describe(*back.Get(), kLineBackNotDescribed, "lpDDSBack", desc);
}

void LogBackPlacement(int32_t index, const DDSURFACEDESC2& desc) {
  if ((desc.dwFlags & DDSD_CAPS) == 0) return;
  const SurfacePlacement placement = PlacementOf(desc);
  const DWORD pixelFlags = (desc.dwFlags & DDSD_PIXELFORMAT) != 0 ? desc.ddpfPixelFormat.dwFlags : 0;
  constexpr DWORD kYuv = DDPF_FOURCC | DDPF_YUV;
  kitc_log(
      kLogDebug, kViewerLogSource, kLineBackPlacement,
      "CreateDDSBack Screen:%d bOffscreen:%d bLocalVidMem:%d bVideoMem:%d bSystemMem:%d bRGB:%d bYUV:%d\n",
      index, placement.bOffscreen, placement.bLocalVidMem, placement.bVideoMem, placement.bSystemMem,
      (pixelFlags & DDPF_RGB) != 0 ? 1 : 0, (pixelFlags & kYuv) == kYuv ? 1 : 0);
}

// A screen without clippers still shows pictures, so failures are let pass.
Owned<IDirectDrawClipper> AttachClipper(IDirectDraw7& display, IDirectDrawSurface7& surface) {
  Owned<IDirectDrawClipper> clipper;
  if (FAILED(display.CreateClipper(0, clipper.Receive(), nullptr))) return {};
  if (clipper) surface.SetClipper(clipper.Get());
  return clipper;
}

// Opens the screen of entry `index`. `guid` null: the default display driver, when no device was found. What
// was created before a failure is released on the way out, last first.
bool OpenScreen(int32_t index, GUID* guid) {
  Screen& screen = g_Screens[static_cast<size_t>(index)];
  Owned<IDirectDraw7> display;
  Owned<IDirectDrawSurface7> primary;
  Owned<IDirectDrawSurface7> back;
  DDSURFACEDESC2 desc = {};

  if (!CreateDisplay(guid, display)) return false;
  if (!CreatePrimary(*display.Get(), primary, desc)) return false;
  screen.dwWidth = desc.dwWidth;
  screen.dwHeight = desc.dwHeight;
  if (guid == nullptr) {
    const RECT whole = {0, 0, static_cast<LONG>(screen.dwWidth), static_cast<LONG>(screen.dwHeight)};
    screen.monitorInfo.rcMonitor = whole;
    screen.monitorInfo.rcWork = whole;
  }
  if (!CreateBack(*display.Get(), screen.dwWidth, screen.dwHeight, back, desc)) return false;
  LogBackPlacement(index, desc);

  screen.lpPrimaryClipper = AttachClipper(*display.Get(), *primary.Get());
  screen.lpBackClipper = AttachClipper(*display.Get(), *back.Get());
  screen.lpDDSBack = std::move(back);
  screen.lpDDSPrimary = std::move(primary);
  screen.lpDD = std::move(display);
  return true;
}

}  // namespace

constinit std::array<Screen, kMaxScreens>& g_Screens = g_Table.screens;
int32_t g_nScreenCount = 0;
Lock g_ViewGlobalLock;
std::atomic<bool> g_bViewLock = true;

void Screen::ReleaseObjects() {
  lpPrimaryClipper.Reset();
  lpBackClipper.Reset();
  lpDDSBack.Reset();
  lpDDSPrimary.Reset();
  lpDD.Reset();
}

bool InitScreens(bool viewLock) {
  ScopedLock lock(g_ViewGlobalLock);
  ClearScreens();
  DirectDrawEnumerateExA(EnumScreenCallback, nullptr, DDENUM_ATTACHEDSECONDARYDEVICES);
  g_bViewLock = viewLock;

  const bool noDevice = g_nScreenCount == 0;
  if (noDevice) {
    kitc_log(kLogError, kViewerLogSource, kLineNoDevice, "DirectDrawEnumerateEx(): No Device!\n");
    g_nScreenCount = 1;
  }
  for (int32_t index = 0; index < g_nScreenCount; ++index) {
    if (!OpenScreen(index, noDevice ? nullptr : &g_Screens[static_cast<size_t>(index)].guid)) return false;
  }
  return true;
}

void ReleaseScreens() {
  ScopedLock lock(g_ViewGlobalLock);
  for (Screen& screen : g_Screens)
    screen.ReleaseObjects();
  g_nScreenCount = 0;
}

void GetScreenInfo(ScreenRect* rects, int32_t* count) {
  if (rects == nullptr || count == nullptr) return;
  *count = std::clamp(*count, 0, g_nScreenCount);
  for (int32_t index = 0; index < *count; ++index) {
    const MONITORINFO& info = g_Screens[static_cast<size_t>(index)].monitorInfo;
    rects[index] = {info.rcMonitor, info.rcWork};
  }
}
