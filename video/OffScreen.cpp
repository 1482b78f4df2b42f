// Creates off-screen surfaces in the best format that a display takes.
#include "video/OffScreen.h"

#include "src/kitc/Log.h"
#include "video/Screens.h"
#include "video/SurfaceFormat.h"
#include "video/ViewerLog.h"

namespace {

// Asks for no place in memory: DirectDraw chooses. `format` must be one that surfaces have. The record says
// how the surface is laid out before there is one, so that the two agree even when a crash inside the display
// ends the call.
HRESULT CreateSurface(IDirectDraw7& display, uint32_t format, int32_t width, int32_t height,
                      OffScreen& record) {
  DDSURFACEDESC2 desc = EmptySurfaceDesc();
  desc.dwFlags = DDSD_CAPS | DDSD_WIDTH | DDSD_HEIGHT | DDSD_PIXELFORMAT;
  desc.ddsCaps.dwCaps = DDSCAPS_OFFSCREENPLAIN;
  desc.dwWidth = static_cast<DWORD>(width);
  desc.dwHeight = static_cast<DWORD>(height);
  DescribePixelFormat(format, desc.ddpfPixelFormat);
  IDirectDrawSurface7** const created = record.lpDDSOffscreen.Receive();
  record.nSurfaceFormat = format;
  return display.CreateSurface(&desc, created, nullptr);
}

// The two tries differ in a word of the text and in the line number.
void LogPlacement(IDirectDrawSurface7& surface, const char* which, ViewerLogLine line, int32_t decodeid,
                  int32_t screenIndex, uint32_t format) {
  DDSURFACEDESC2 desc = EmptySurfaceDesc();
  if (FAILED(surface.GetSurfaceDesc(&desc)) || (desc.dwFlags & DDSD_CAPS) == 0) return;
  const SurfacePlacement placement = PlacementOf(desc);
  kitc_log(kLogDebug, kViewerLogSource, line,
           "_CreateOffScreen %s try,decodeid:%d Screen:%d %s bOffscreen:%d bLocalVidMem:%d bVideoMem:%d "
           "bSystemMem:%d\n",
           which, decodeid, screenIndex, FormatName(format), placement.bOffscreen, placement.bLocalVidMem,
           placement.bVideoMem, placement.bSystemMem);
}

}  // namespace

bool OffScreen::IsFor(uint32_t format, int32_t width, int32_t height) const {
  return lpDDSOffscreen && nWidth == width && nHeight == height && nSourceFormat == format;
}

bool OffScreen::_CreateOffScreen(int32_t screenIndex, uint32_t format, int32_t width, int32_t height,
                                 int32_t decodeid) {
  IDirectDraw7* const display = g_Screens[static_cast<size_t>(screenIndex)].lpDD.Get();
  if (display == nullptr) {
    kitc_log(kLogError, kViewerLogSource, kLineScreenWithoutDisplay,
             "_CreateScreen(): LPDIRECTDRAW7 == NULL!\n");
    return false;
  }

  DDPIXELFORMAT unused;
  if (DescribePixelFormat(format, unused)) {
    const HRESULT code = CreateSurface(*display, format, width, height, *this);
    if (SUCCEEDED(code)) {
      LogPlacement(*lpDDSOffscreen.Get(), "first", kLineFirstTryPlacement, decodeid, screenIndex, format);
      return true;
    }
    const auto lastError = static_cast<int>(GetLastError());
    kitc_log(kLogError, kViewerLogSource, kLineFirstTryFailed,
             "_CreateOffScreen first try,decodeid:%d Screen:%d CreateSurface():PixelFormat:%s dwWidth:%d "
             "dwHeight:%d Error! err:%d hr:0x%x description:%s\n",
             decodeid, screenIndex, FormatName(format), width, height, lastError, static_cast<unsigned>(code),
             DXGetErrorDescriptionA(code));
  }

  for (const uint32_t fallback : {QPF_YV12, QPF_YUYV, QPF_XRGB}) {
    const HRESULT code = CreateSurface(*display, fallback, width, height, *this);
    if (SUCCEEDED(code)) {
      LogPlacement(*lpDDSOffscreen.Get(), "second", kLineSecondTryPlacement, decodeid, screenIndex, fallback);
      return true;
    }
    const auto lastError = static_cast<int>(GetLastError());
    kitc_log(kLogError, kViewerLogSource, kLineSecondTryFailed,
             "_CreateOffScreen second try,decodeid:%d Screen:%d CreateSurface():PixelFormat:%s Error! err:%d "
             "hr:0x%x description:%s\n",
             decodeid, screenIndex, FormatName(fallback), lastError, static_cast<unsigned>(code),
             DXGetErrorDescriptionA(code));
  }
  return false;
}
