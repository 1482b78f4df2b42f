#include "pacing/VideoPath.h"

#include <algorithm>
#include <utility>

#include "api/Notification.h"
#include "platform/CrashGuard.h"
#include "src/kitc/Clock.h"
#include "src/kitc/Log.h"
#include "video/PresentationGeometry.h"

namespace {

constexpr char kSource[] = "Player.cpp";

// How often any player has zoomed in since one last zoomed off. Stops counting while one more still fits.
constexpr int32_t kMaxZoomCount = 0x7FFFFFFE;
std::atomic<int32_t> g_nZoomCount{0};

// Log lines name a frame by the low 32 bits of its address.
unsigned LowAddress(const void* address) {
  return static_cast<unsigned>(reinterpret_cast<uintptr_t>(address));
}

}  // namespace

bool VideoPath::InitViewer(uint32_t width, uint32_t height) {
  ScopedLock hold(m_ViewLock);
  return m_VideoViewer.Init(static_cast<int32_t>(width), static_cast<int32_t>(height));
}

void VideoPath::ResetView() {
  ScopedLock hold(m_ViewLock);
  m_VideoViewer.ResetView();
}

void VideoPath::SetViewerPlayerID(uint32_t nPlayerID) {
  ScopedLock hold(m_ViewLock);
  m_VideoViewer.SetPlayerID(nPlayerID);
}

void VideoPath::SetDecoder(std::shared_ptr<Decoder> decoder) {
  m_nCodec = decoder != nullptr ? decoder->GetDecoderType() : static_cast<uint32_t>(kCodecNone);
  ScopedLock hold(m_DecoderLock);
  m_pDecoder = std::move(decoder);
}

int32_t VideoPath::DelayMs() {
  ScopedLock hold(m_DecoderLock);
  return m_pDecoder != nullptr ? static_cast<int32_t>(m_pDecoder->GetDelay()) : 0;
}

void VideoPath::SetPictureSize(uint32_t width, uint32_t height) {
  ScopedLock hold(m_PictureLock);
  m_nWidth = width;
  m_nHeight = height;
}

void VideoPath::ForgetPicture() {
  ScopedLock hold(m_PictureLock);
  m_Picture = DecodedPicture();
}

void VideoPath::SetMainPreview(HWND window, const RECT* rect, bool enable) {
  ScopedLock hold(m_ViewLock);
  m_VideoViewer.SetMainPreview(window, rect, enable);
}

void VideoPath::SetSubPreview(HWND window, const RECT* rect, bool enable) {
  ScopedLock hold(m_ViewLock);
  m_VideoViewer.SetSubPreview(window, rect, enable);
}

void VideoPath::SetSourceRect(Preview preview, const RECT* rect) {
  ScopedLock hold(m_ViewLock);
  if (preview == kMainWindow) {
    m_VideoViewer.SetMainSource(rect);
  } else {
    m_VideoViewer.SetSubSource(rect);
  }
}

void VideoPath::ZoomIn(int32_t x, int32_t y) {
  int32_t level = g_nZoomCount;
  while (!g_nZoomCount.compare_exchange_weak(level, std::min(level + 1, kMaxZoomCount))) {
  }
  level = std::min(level + 1, kMaxZoomCount);
  int32_t width = 0;
  int32_t height = 0;
  GetPictureSize(width, height);
  ScopedLock hold(m_ViewLock);
  const RECT closer = ZoomedIn(m_VideoViewer.GetMainSourceRect(), static_cast<uint32_t>(width),
                               static_cast<uint32_t>(height), x, y, level);
  m_VideoViewer.SetMainSource(&closer);
}

void VideoPath::ZoomOff() {
  g_nZoomCount = 0;
  SetSourceRect(kMainWindow, nullptr);
}

void VideoPath::SetCrop(uint32_t crop) {
  ScopedLock hold(m_ViewLock);
  m_VideoViewer.SetCrop(crop);
}

void VideoPath::SetImageRect(const RECT* rect) {
  ScopedLock hold(m_ViewLock);
  m_VideoViewer.SetImageRect(rect);
}

bool VideoPath::SetImageProc(bool enable) {
  ScopedLock hold(m_ImageProcLock);
  return m_ImageProc.SetImageProc(enable);
}

void VideoPath::ReleaseImageProc() {
  ScopedLock holdView(m_ViewLock);  // a processed picture is shown under it
  ScopedLock hold(m_ImageProcLock);
  m_ImageProc.Release();
}

void VideoPath::GetPictureSize(int32_t& width, int32_t& height) {
  ScopedLock hold(m_PictureLock);
  width = static_cast<int32_t>(m_nWidth);
  height = static_cast<int32_t>(m_nHeight);
}

void VideoPath::GetDecodedSize(uint32_t& width, uint32_t& height) {
  ScopedLock hold(m_PictureLock);
  const bool decoded = m_Picture.nWidth != 0;
  width = decoded ? m_Picture.nWidth : m_nWidth;
  height = decoded ? m_Picture.nHeight : m_nHeight;
}

bool VideoPath::GetBitmap(uint8_t* buffer, uint32_t sizeBytes) {
  bool copied = false;
  {
    ScopedLock holdPicture(m_PictureLock);  // texts are drawn into the picture under it
    ScopedLock hold(m_DecoderLock);
    Decoder* const decoder = m_pDecoder.get();
    const bool survived = platform::RunGuarded(
        [&] { copied = decoder != nullptr && decoder->GetImageRGB32(buffer, sizeBytes); });
    if (!survived) copied = false;
  }
  if (copied) notification::RaiseEvent(m_Label.PlayerID(), kEventSnapshot);
  return copied;
}

DecodedPicture VideoPath::LastPicture() {
  ScopedLock hold(m_PictureLock);
  return m_Picture;
}

DecodedPicture VideoPath::Decode(const FrameRecord& frame) {
  const double start = kitc_time_ms();
  DecodedPicture picture;
  {
    ScopedLock holdPicture(m_PictureLock);
    bool isNew = false;  // texts are drawn into a picture once
    {
      ScopedLock holdDecoder(m_DecoderLock);
      if (m_pDecoder != nullptr) {
        const bool decoded =
            m_pDecoder->DecodeFrameVideo(m_Picture, frame.pFrame, frame.dwFrameSize, m_Label.PlayerID());
        if (!decoded) {
          kitc_log(kLogError, kSource, __LINE__, "decodeid:%d DecodeFrameVideo():Error,name:%s\n",
                   m_Label.PlayerID(), m_Label.Name().c_str());
        }
        m_bDecodeOK = decoded;
        if (!frame.bDisplay) m_Picture.bHasImage = false;
        isNew = m_Picture.bHasImage && m_Picture.pPlane[0] != nullptr;
      }
    }
    if (isNew) m_Osd.Draw(m_Picture);
    picture = m_Picture;
  }
  m_Timings.decode += kitc_time_ms() - start;
  return picture;
}

void VideoPath::PlayVideoFrame(const FrameRecord* frame) {
  const bool hasData = frame != nullptr && frame->dwFrameSize != 0;
  const uint8_t* bytes = frame != nullptr ? frame->pFrame : nullptr;
  const DecodedPicture picture = hasData ? Decode(*frame) : LastPicture();
  if (!hasData) {
    kitc_log(kLogDebug, kSource, __LINE__,
             "decodeid:%d PlayVideoFrame() pFrame:0x%x dwFrameSize:0 %s,name:%s\n", m_Label.PlayerID(),
             LowAddress(bytes), picture.bHasImage ? "but show last image" : "but last frame has no image",
             m_Label.Name().c_str());
  }
  if (!picture.bHasImage) {
    kitc_log(kLogError, kSource, __LINE__,
             "decodeid:%d PlayVideoFrame() pFrame:0x%x dwFrameSize:%d,bHasImage:false,name:%s\n",
             m_Label.PlayerID(), LowAddress(bytes), hasData ? frame->dwFrameSize : 0, m_Label.Name().c_str());
    return;
  }
  if (picture.pPlane[0] != nullptr) Present(picture);
}

void VideoPath::Present(DecodedPicture picture) {
  const double start = kitc_time_ms();
  if (picture.nPixelFormat == QPF_YV12) {
    notification::YuvData()(m_Label.PlayerID(), picture.pPlane[0], picture.pPlane[1], picture.pPlane[2],
                            picture.nStride[0], picture.nStride[1]);
  }
  ScopedLock hold(m_ViewLock);
  {
    ScopedLock holdImageProc(m_ImageProcLock);
    (void)m_ImageProc.Process(picture, m_Label.PlayerID());
  }
  const double viewStart = kitc_time_ms();
  ShowTimings shown;
  m_VideoViewer.ShowFrame(picture.pPlane, picture.nStride, picture.nPixelFormat,
                          static_cast<int32_t>(picture.nWidth), static_cast<int32_t>(picture.nHeight), shown);
  const double end = kitc_time_ms();
  m_Timings.view += end - viewStart;
  m_Timings.viewlock += end - start;
  m_Timings.show.waitgloballock += shown.waitgloballock;
  m_Timings.show.ddsback += shown.ddsback;
  m_Timings.show.ddsprimary += shown.ddsprimary;
  m_Timings.show.ddsoffscreen += shown.ddsoffscreen;
  m_Timings.show.ddsbackCallback += shown.ddsbackCallback;
}

VideoTimings VideoPath::TakeTimings() {
  return std::exchange(m_Timings, VideoTimings());
}
