// Presents one player's pictures in up to two host windows, on every screen that they touch.
#pragma once

#include <array>
#include <cstdint>

#include "platform/DirectDraw.h"
#include "video/DecodedPicture.h"
#include "video/OffScreen.h"
#include "video/PresentationGeometry.h"
#include "video/Screens.h"

class SurfaceLock;

// Where presentation time went, ms of the performance counter. waitgloballock is set, the others are added
// to.
struct ShowTimings {
  double waitgloballock = 0;   // waiting for other players' pictures
  double ddsback = 0;          // onto the back surface, with both drawing callbacks
  double ddsprimary = 0;       // from there onto the screen
  double ddsoffscreen = 0;     // writing the picture into the off-screen surface
  double ddsbackCallback = 0;  // the after-copy callback alone; part of ddsback
};

// No lock of its own: the player's m_ViewLock is held around every call but decodeid's writer, which runs
// before any source is open.
class VideoViewer {
 public:
  // Prepares for pictures of this size; false when no surface can be made on screen 0. A new size switches
  // the main window off.
  bool Init(int32_t width, int32_t height);
  // Drops the surfaces and switches the main window off. Both windows' handles and rectangles are kept.
  void ResetView();

  // planes, strides: three each. Presents into the windows that are on; false when one of them has no handle
  // or an empty rectangle, or when the picture has no planes. What fails on a screen drops this picture there
  // and is logged. A picture of a new size shows the whole picture again. On the video play thread; calls the
  // host's drawing callbacks. Allocates only when surfaces are made: for the first picture and after a change
  // of size or format.
  bool ShowFrame(const uint8_t* const* planes, const uint32_t* strides, uint32_t format, int32_t width,
                 int32_t height, ShowTimings& timings);

  // `rect`: virtual-desktop coordinates; null keeps the old one.
  void SetMainPreview(HWND window, const RECT* rect, bool enable);
  // Enabling with a null `rect` changes only the window.
  void SetSubPreview(HWND window, const RECT* rect, bool enable);
  // What of the picture a window shows, in picture pixels, until the picture's size changes; null: all of it.
  // A rectangle outside the picture makes the copies fail.
  void SetMainSource(const RECT* rect) {
    rcMainSource = rect != nullptr ? *rect : RectOfSize(nWidth, nHeight);
  }
  void SetSubSource(const RECT* rect) { rcSubSource = rect != nullptr ? *rect : RectOfSize(nWidth, nHeight); }
  const RECT& GetMainSourceRect() const { return rcMainSource; }
  // Cuts `crop` pixels off the right of what is shown, and half as many off the bottom.
  void SetCrop(uint32_t crop) { nCrop = crop; }
  // Where the picture is drawn on a screen's back surface instead of at the window's place; null or empty:
  // there. Undone when the main window is switched on.
  void SetImageRect(const RECT* rect) { rcImage = rect != nullptr ? *rect : RECT{}; }
  void SetPlayerID(uint32_t nPlayerID) { decodeid = static_cast<int32_t>(nPlayerID); }

 private:
  struct Picture {
    const uint8_t* const* planes;
    const uint32_t* strides;
    uint32_t format;
    int32_t width;
    int32_t height;
  };
  // One window's turn: what to show of the picture, and where.
  struct Preview {
    HWND window;
    RECT source;  // picture pixels
    RECT place;   // virtual-desktop coordinates
  };
  // The rectangles of a copy between surfaces, in their own pixels.
  struct Rects {
    RECT source;
    RECT target;
  };

  static bool HasPlanes(const Picture& picture);
  void ReleaseOffScreens();
  void ShowWholePicture();

  bool ShowGuarded(const Preview& preview, const Picture& picture, ShowTimings& sums);
  bool ShowFrameToWindow(const Preview& preview, const Picture& picture, ShowTimings& sums);
  bool _ShowFrameToScreen(int32_t screenIndex, const Preview& preview, const Picture& picture,
                          ShowTimings& sums);
  void ReleaseAfterCrash(int32_t screenIndex);
  bool PrepareOffScreen(int32_t screenIndex, const Picture& picture);
  bool DrawOnScreen(int32_t screenIndex, const Preview& preview, const Picture& picture, SurfaceLock& lock,
                    ShowTimings& sums);
  bool WriteOffScreen(const OffScreen& offScreen, const Picture& picture, bool halfSize, SurfaceLock& lock);
  bool CopyToBack(Screen& screen, IDirectDrawSurface7* offScreen, HWND window, Rects& rects,
                  ShowTimings& sums);
  bool CopyToPrimary(Screen& screen, RECT shown, ShowTimings& sums);

  bool bMainPreview = false;  // the main window is on
  int32_t decodeid = 0;       // names the player in log lines and callbacks
  int32_t nWidth = 0;         // pixels of the last picture; 0 after ResetView
  int32_t nHeight = 0;
  std::array<OffScreen, kMaxScreens> m_OffScreens;  // by index of the screen
  DDSURFACEDESC2 lockDesc = {};                     // of the off-screen surface locked last
  RECT rcMainWindow = {};                           // virtual-desktop coordinates
  RECT rcImage = {};                                // target on the back surface; empty: the window's place
  RECT rcMainSource = {};                           // picture pixels
  HWND hMainWnd = nullptr;
  uint32_t nCrop = 0;        // pixels cut off at the right, and half as many at the bottom
  bool bSubPreview = false;  // the sub window is on
  HWND hSubWnd = nullptr;
  RECT rcSubWindow = {};  // virtual-desktop coordinates
  RECT rcSubSource = {};  // picture pixels
};
