// The process-wide screen layer: one DirectDraw object with its surfaces and clippers per display monitor.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>

#include "platform/DirectDraw.h"
#include "platform/Owned.h"
#include "src/kitc/Lock.h"

// What hosts learn of a monitor, in virtual-desktop coordinates.
struct ScreenRect {
  RECT monitor;
  RECT work;  // the monitor without task bars
};
static_assert(sizeof(ScreenRect) == 32);

struct Screen {
  // Written while the screens are built or released.
  GUID guid = {};               // all zero for entry 0
  HMONITOR hMonitor = nullptr;  // null for entry 0
  MONITORINFO monitorInfo = {};
  Owned<IDirectDraw7>
      lpDD;  // null when the screen could not be started; the surfaces and clippers are null then too
  Owned<IDirectDrawSurface7> lpDDSPrimary;
  Owned<IDirectDrawSurface7> lpDDSBack;        // as large as the primary surface
  Owned<IDirectDrawClipper> lpPrimaryClipper;  // may be null
  Owned<IDirectDrawClipper> lpBackClipper;     // may be null
  DWORD dwWidth = 0;                           // pixels of the primary surface
  DWORD dwHeight = 0;

  // The window that both clippers follow, null until the first picture. Any presenting player writes it;
  // atomic because they do so at the same time when the presentation lock is off.
  std::atomic<HWND> hClipperWnd = nullptr;

  // Releases clippers, back surface, primary surface and DirectDraw object, in this order.
  void ReleaseObjects();
};

constexpr int32_t kMaxScreens = 64;

// Entry 0 is always the primary display. Written by InitScreens and ReleaseScreens only, which hold
// g_ViewGlobalLock; viewers read while they present. Never destroyed: when the process ends with screens
// still open, the display system may already be gone.
extern std::array<Screen, kMaxScreens>& g_Screens;
extern int32_t g_nScreenCount;

// The presentation lock, held by a viewer for one picture when g_bViewLock is set: then only one picture of
// all players is presented at a time. Comes after a player's m_ViewLock.
extern Lock g_ViewGlobalLock;
extern std::atomic<bool> g_bViewLock;

// Finds the monitors and opens each of them, after releasing what an earlier call opened. False, with a log
// line, when one cannot be opened; those before it stay until ReleaseScreens. `viewLock`: present one picture
// at a time. Both run on the host's thread; with `viewLock` off no player may be presenting meanwhile.
bool InitScreens(bool viewLock);
void ReleaseScreens();

// *count: capacity of `rects` in, number of records written out, in the order of the screens. Does nothing
// when either is null.
void GetScreenInfo(ScreenRect* rects, int32_t* count);
