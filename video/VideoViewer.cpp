// The road of a picture: off-screen surface, back surface, primary surface, for each window and each screen.
#include "video/VideoViewer.h"

#include "api/Notification.h"
#include "platform/CrashGuard.h"
#include "src/kitc/Clock.h"
#include "src/kitc/Log.h"
#include "video/PixelConversion.h"
#include "video/PresentationGeometry.h"
#include "video/SurfaceFormat.h"
#include "video/SurfaceLock.h"
#include "video/ViewerLog.h"

namespace {

// This player's turn at presenting: holds the presentation lock when that is on. Remembers whether it is,
// because the setting may change meanwhile; that condition is beyond the thread-safety analysis.
class PresentationTurn {
 public:
  PresentationTurn() NO_THREAD_SAFETY_ANALYSIS : m_bHeld(g_bViewLock) {
    if (m_bHeld) g_ViewGlobalLock.Enter();
  }
  ~PresentationTurn() NO_THREAD_SAFETY_ANALYSIS {
    if (m_bHeld) g_ViewGlobalLock.Leave();
  }
  PresentationTurn(const PresentationTurn&) = delete;
  PresentationTurn& operator=(const PresentationTurn&) = delete;

 private:
  const bool m_bHeld;
};

// The system's words for a failure code, and the last error after asking for them.
class SystemMessage {
 public:
  explicit SystemMessage(HRESULT code) {
    FormatMessageA(
        FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_FROM_SYSTEM, nullptr,
        static_cast<DWORD>(code), 0, reinterpret_cast<char*>(&m_pText), 0, nullptr);
    m_nError = static_cast<int>(GetLastError());
  }
  ~SystemMessage() { LocalFree(m_pText); }
  SystemMessage(const SystemMessage&) = delete;
  SystemMessage& operator=(const SystemMessage&) = delete;

  const char* Text() const { return m_pText != nullptr ? m_pText : "(null)\n"; }
  int Error() const { return m_nError; }

 private:
  char* m_pText = nullptr;
  int m_nError = 0;
};

struct CopyResult {
  HRESULT code;
  bool bRestored;  // the target was lost and the copy tried a second time
};

// Stretches source to target. A lost target is restored and the copy tried once more.
CopyResult CopyRestoring(IDirectDrawSurface7& target, RECT to, IDirectDrawSurface7* source, RECT from) {
  const HRESULT code = target.Blt(&to, source, &from, 0, nullptr);
  if (code != DDERR_SURFACELOST) return {code, false};
  target.Restore();
  return {target.Blt(&to, source, &from, 0, nullptr), true};
}

// One failed copy's texts. `failure` ends where the number of formatMsgErr is printed.
struct CopyTexts {
  ViewerLogLine line;
  const char* failure;
  ViewerLogLine lineAfterRestore;
  const char* failureAfterRestore;
};
constexpr CopyTexts kBackCopy = {
    kLineBackCopyFailed, "lpDDSOffscreen blt to lpDDSBack failed formatMsgErr",
    kLineBackCopyFailedAfterRestore,
    "DDERR_SURFACELOST after Restore,lpDDSOffscreen blt to lpDDSBack failed formatMsgErr:"};
constexpr CopyTexts kPrimaryCopy = {
    kLinePrimaryCopyFailed,
    "lpDDSBack blt to lpDDSPrimary failed formatMsgErr:", kLinePrimaryCopyFailedAfterRestore,
    "DDERR_SURFACELOST after Restore,lpDDSBack blt to lpDDSPrimary failed formatMsgErr:"};

void LogCopyFailure(const CopyTexts& texts, const CopyResult& result, int32_t decodeid, const RECT& from,
                    const RECT& to) {
  const auto lastError = static_cast<int>(GetLastError());
  const SystemMessage message(result.code);
  kitc_log(kLogError, kViewerLogSource, result.bRestored ? texts.lineAfterRestore : texts.line,
           "decodeid:%d hr:0x%x hrmsg:%s errCode:%d (%d,%d,%d,%d)->(%d,%d,%d,%d) %s%d errMsg:%s", decodeid,
           static_cast<unsigned>(result.code), DXGetErrorDescriptionA(result.code), lastError,
           static_cast<int>(from.left), static_cast<int>(from.top), RectWidth(from), RectHeight(from),
           static_cast<int>(to.left), static_cast<int>(to.top), RectWidth(to), RectHeight(to),
           result.bRestored ? texts.failureAfterRestore : texts.failure, message.Error(), message.Text());
}

// Makes the screen's clippers follow the window that is drawn now.
void BindClippers(Screen& screen, HWND window) {
  if (screen.hClipperWnd == window) return;
  if (screen.lpPrimaryClipper) screen.lpPrimaryClipper->SetHWnd(0, window);
  if (screen.lpBackClipper) screen.lpBackClipper->SetHWnd(0, window);
  screen.hClipperWnd = window;
}

}  // namespace

bool VideoViewer::Init(int32_t width, int32_t height) {
  if (width != nWidth || height != nHeight) ResetView();
  const bool made = m_OffScreens[0]._CreateOffScreen(0, QPF_YV12, width, height, decodeid);
  ReleaseOffScreens();  // that was a probe: surfaces are made when a screen shows its first picture
  if (!made) return false;
  nWidth = width;
  nHeight = height;
  ShowWholePicture();
  return true;
}

void VideoViewer::ResetView() {
  nWidth = 0;
  nHeight = 0;
  bMainPreview = false;
  SetRectEmpty(&rcImage);
  ReleaseOffScreens();
}

void VideoViewer::ReleaseOffScreens() {
  for (OffScreen& offScreen : m_OffScreens)
    offScreen = OffScreen();
}

void VideoViewer::ShowWholePicture() {
  rcMainSource = RectOfSize(nWidth, nHeight);
  rcSubSource = rcMainSource;
}

void VideoViewer::SetMainPreview(HWND window, const RECT* rect, bool enable) {
  bMainPreview = enable;
  if (!enable) return;
  hMainWnd = window;
  if (rect != nullptr) rcMainWindow = *rect;
  SetRectEmpty(&rcImage);
}

void VideoViewer::SetSubPreview(HWND window, const RECT* rect, bool enable) {
  if (!enable) {
    bSubPreview = false;
    return;
  }
  hSubWnd = window;
  if (rect == nullptr) return;
  bSubPreview = true;
  rcSubWindow = *rect;
}

bool VideoViewer::HasPlanes(const Picture& picture) {
  if (picture.planes == nullptr || picture.strides == nullptr) return false;
  switch (picture.format) {
    case QPF_YV12:
      return picture.planes[0] != nullptr && picture.planes[1] != nullptr && picture.planes[2] != nullptr;
    case QPF_NV12:
      return picture.planes[0] != nullptr;
    default:
      return true;  // nothing is read from other formats
  }
}

bool VideoViewer::ShowFrame(const uint8_t* const* planes, const uint32_t* strides, uint32_t format,
                            int32_t width, int32_t height, ShowTimings& timings) {
  const Picture picture = {planes, strides, format, width, height};
  if (!HasPlanes(picture)) return false;
  if (width != nWidth || height != nHeight) {
    nWidth = width;
    nHeight = height;
    ShowWholePicture();
  }

  ShowTimings sums;
  const double start = kitc_time_ms();
  const PresentationTurn turn;
  timings.waitgloballock = kitc_time_ms() - start;
  const bool mainShown = !bMainPreview || ShowGuarded({hMainWnd, rcMainSource, rcMainWindow}, picture, sums);
  const bool subShown = !bSubPreview || ShowGuarded({hSubWnd, rcSubSource, rcSubWindow}, picture, sums);
  timings.ddsback += sums.ddsback;
  timings.ddsprimary += sums.ddsprimary;
  timings.ddsoffscreen += sums.ddsoffscreen;
  timings.ddsbackCallback += sums.ddsbackCallback;
  return mainShown && subShown;
}

bool VideoViewer::ShowGuarded(const Preview& preview, const Picture& picture, ShowTimings& sums) {
  bool shown = true;
  const bool survived = platform::RunGuarded([&] { shown = ShowFrameToWindow(preview, picture, sums); });
  return shown || !survived;  // a crash costs this picture, it is not the window's failure
}

bool VideoViewer::ShowFrameToWindow(const Preview& preview, const Picture& picture, ShowTimings& sums) {
  if (preview.window == nullptr || IsRectEmpty(&preview.place)) return false;
  for (int32_t index = 0; index < g_nScreenCount; ++index) {
    if (!Overlaps(preview.place, g_Screens[static_cast<size_t>(index)].monitorInfo.rcMonitor)) continue;
    _ShowFrameToScreen(index, preview, picture, sums);  // one screen's failure leaves the others alone
  }
  return true;
}

bool VideoViewer::_ShowFrameToScreen(int32_t screenIndex, const Preview& preview, const Picture& picture,
                                     ShowTimings& sums) {
  if (!PrepareOffScreen(screenIndex, picture)) return false;
  // Outside the guard, so that a surface which a crash left locked is unlocked for the next picture.
  SurfaceLock lock(*m_OffScreens[static_cast<size_t>(screenIndex)].lpDDSOffscreen.Get());
  bool shown = false;
  const bool survived =
      platform::RunGuarded([&] { shown = DrawOnScreen(screenIndex, preview, picture, lock, sums); });
  if (!survived) ReleaseAfterCrash(screenIndex);
  return survived && shown;
}

// A crash may leave the off-screen surface in the middle of a copy and the back surface locked by the host's
// callback; both are needed for the next picture.
void VideoViewer::ReleaseAfterCrash(int32_t screenIndex) {
  const auto index = static_cast<size_t>(screenIndex);
  platform::RunGuarded([&] {
    m_OffScreens[index].lpDDSOffscreen->Unlock(nullptr);
    g_Screens[index].lpDDSBack->Unlock(nullptr);
  });
}

bool VideoViewer::PrepareOffScreen(int32_t screenIndex, const Picture& picture) {
  OffScreen& offScreen = m_OffScreens[static_cast<size_t>(screenIndex)];
  if (offScreen.IsFor(picture.format, picture.width, picture.height)) return true;
  if (!offScreen.lpDDSOffscreen) {
    kitc_log(kLogError, kViewerLogSource, kLineOffScreenMissing,
             "decodeid:%d _ShowFrameToScreen lpDDSOffscreen:0x%x,try CreateScreen", decodeid, 0u);
  }
  offScreen.nWidth = picture.width;
  offScreen.nHeight = picture.height;
  offScreen.nSourceFormat = picture.format;
  if (offScreen._CreateOffScreen(screenIndex, picture.format, picture.width, picture.height, decodeid))
    return true;
  ReleaseOffScreens();
  return false;
}

bool VideoViewer::DrawOnScreen(int32_t screenIndex, const Preview& preview, const Picture& picture,
                               SurfaceLock& lock, ShowTimings& sums) {
  Screen& screen = g_Screens[static_cast<size_t>(screenIndex)];
  const OffScreen& offScreen = m_OffScreens[static_cast<size_t>(screenIndex)];
  const RECT& monitor = screen.monitorInfo.rcMonitor;

  const double start = kitc_time_ms();
  const bool halfSize = UseHalfSize(picture.format, picture.width, picture.height, preview.place);
  if (!WriteOffScreen(offScreen, picture, halfSize, lock))
    return true;  // logged; the picture is dropped here
  BindClippers(screen, preview.window);
  sums.ddsoffscreen += kitc_time_ms() - start;

  Rects rects = {SourceOnSurface(preview.source, nCrop, halfSize), WindowOnScreen(preview.place, monitor)};
  if (!CopyToBack(screen, offScreen.lpDDSOffscreen.Get(), preview.window, rects, sums)) return false;
  return CopyToPrimary(screen, ClipToScreen(rects.target, monitor), sums);
}

bool VideoViewer::WriteOffScreen(const OffScreen& offScreen, const Picture& picture, bool halfSize,
                                 SurfaceLock& lock) {
  const int32_t step = halfSize ? 2 : 1;
  const HRESULT code = lock.Lock(RectOfSize(picture.width / step, picture.height / step), lockDesc);
  if (FAILED(code)) {
    const auto lastError = static_cast<int>(GetLastError());
    kitc_log(kLogError, kViewerLogSource, kLineLockFailed,
             "decodeid:%d hr:0x%x hrmsg:%s errCode:%d pDDS->lpDDSOffscreen->Lock, DDERR_SURFACELOST\n",
             decodeid, static_cast<unsigned>(code), DXGetErrorDescriptionA(code), lastError);
    return false;
  }

  SurfacePlanes to;
  if (LaySurfacePlanes(lockDesc, offScreen.nSurfaceFormat, picture.width, picture.height, to)) {
    const auto lumaStride = static_cast<int32_t>(picture.strides[0]);
    if (picture.format == QPF_YV12) {
      ConvertToSurface(picture.planes, picture.strides, picture.format, to.pPlane, to.nPitch,
                       offScreen.nSurfaceFormat, picture.width, picture.height, step);
    } else if (picture.format == QPF_NV12 && offScreen.nSurfaceFormat == QPF_NV12) {
      NV12Copy(picture.planes[0], lumaStride, to.pPlane[0], to.nPitch[0], picture.width, picture.height);
    } else if (picture.format == QPF_NV12 && offScreen.nSurfaceFormat == QPF_YV12) {
      NV12ToPlanar(picture.planes[0], lumaStride, to.pPlane[0], to.pPlane[1], to.pPlane[2], to.nPitch[0],
                   picture.width, picture.height);
    }
  }
  lock.Unlock();
  return true;
}

bool VideoViewer::CopyToBack(Screen& screen, IDirectDrawSurface7* offScreen, HWND window, Rects& rects,
                             ShowTimings& sums) {
  const double mark = kitc_time_ms();
  const auto nPlayerID = static_cast<uint32_t>(decodeid);
  notification::BeforeBlt()(nPlayerID, window, screen.lpDD.Get(), screen.lpDDSBack.Get(), &rects.target,
                            &rcImage);

  const RECT target = IsRectEmpty(&rcImage) ? rects.target : rcImage;
  const CopyResult copied = CopyRestoring(*screen.lpDDSBack.Get(), target, offScreen, rects.source);
  if (FAILED(copied.code)) {
    LogCopyFailure(kBackCopy, copied, decodeid, rects.source, rects.target);
    sums.ddsback += kitc_time_ms() - mark;
    return false;
  }

  const double callbackMark = kitc_time_ms();
  notification::AfterBlt()(nPlayerID, window, screen.lpDD.Get(), screen.lpDDSBack.Get(), &rects.target,
                           &rcImage);
  const double end = kitc_time_ms();
  sums.ddsbackCallback += end - callbackMark;
  sums.ddsback += end - mark;
  return true;
}

bool VideoViewer::CopyToPrimary(Screen& screen, RECT shown, ShowTimings& sums) {
  if (!screen.lpDDSPrimary) return true;
  const double mark = kitc_time_ms();
  const CopyResult copied = CopyRestoring(*screen.lpDDSPrimary.Get(), shown, screen.lpDDSBack.Get(), shown);
  if (FAILED(copied.code)) LogCopyFailure(kPrimaryCopy, copied, decodeid, shown, shown);
  sums.ddsprimary += kitc_time_ms() - mark;
  return SUCCEEDED(copied.code);
}
