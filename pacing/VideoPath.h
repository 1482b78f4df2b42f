// A player's video from the compressed frame to the window: decoder, last picture, viewer, and the time that
// each stage took.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

#include "decode/Decoder.h"
#include "pacing/PlayerLabel.h"
#include "player/FrameRecord.h"
#include "src/kitc/Lock.h"
#include "video/ImageProc.h"
#include "video/Osd.h"
#include "video/VideoViewer.h"

// Sums over presented frames, ms of the performance counter.
struct VideoTimings {
  double decode = 0;    // with the wait for the picture and decoder locks
  double viewlock = 0;  // from the decoded picture to the end of its presentation, with the picture callback
                        // and the wait for m_ViewLock
  double view = 0;      // presentation itself
  ShowTimings show;
};

// Lock order: m_PictureLock, then m_DecoderLock or the overlay's; m_ViewLock, then m_ImageProcLock or the
// library-wide presentation lock.
class VideoPath {
 public:
  explicit VideoPath(const PlayerLabel& label) : m_Label(label) {}
  VideoPath(const VideoPath&) = delete;
  VideoPath& operator=(const VideoPath&) = delete;

  // Host threads, while a source is opened or closed.
  bool InitViewer(uint32_t width, uint32_t height) EXCLUDES(m_ViewLock);
  void ResetView() EXCLUDES(m_ViewLock);
  void SetViewerPlayerID(uint32_t nPlayerID) EXCLUDES(m_ViewLock);
  void SetDecoder(std::shared_ptr<Decoder> decoder) EXCLUDES(m_DecoderLock);  // null drops it
  // How far pictures are behind the frames that hold them, ms; 0 without a decoder.
  int32_t DelayMs() EXCLUDES(m_DecoderLock);
  void SetPictureSize(uint32_t width, uint32_t height) EXCLUDES(m_PictureLock);
  void ForgetPicture() EXCLUDES(m_PictureLock);  // there is no image until the next one is decoded

  // Any host thread.
  // The decoder's codec, kCodecNone when there is none. Without m_DecoderLock: live input asks, and must not
  // wait for a decode.
  uint32_t CodecType() const { return m_nCodec; }
  bool HasImage() const { return m_bDecodeOK; }
  void SetMainPreview(HWND window, const RECT* rect, bool enable) EXCLUDES(m_ViewLock);
  void SetSubPreview(HWND window, const RECT* rect, bool enable) EXCLUDES(m_ViewLock);
  enum Preview { kMainWindow = 0, kSubWindow = 1 };
  // Part of the picture that the window shows, picture pixels; null: all of it.
  void SetSourceRect(Preview preview, const RECT* rect) EXCLUDES(m_ViewLock);
  // One step closer towards a point of the picture in the main window, or back to the whole picture. The
  // level is the library's: each step of any player goes closer than the last.
  void ZoomIn(int32_t x, int32_t y) EXCLUDES(m_PictureLock, m_ViewLock);
  void ZoomOff() EXCLUDES(m_ViewLock);
  void SetCrop(uint32_t crop) EXCLUDES(m_ViewLock);
  void SetImageRect(const RECT* rect) EXCLUDES(m_ViewLock);
  // Switches picture processing; false without the library for it.
  bool SetImageProc(bool enable) EXCLUDES(m_ImageProcLock);
  void ReleaseImageProc() EXCLUDES(m_ViewLock, m_ImageProcLock);
  // The size of the source, pixels.
  void GetPictureSize(int32_t& width, int32_t& height) EXCLUDES(m_PictureLock);
  // The size of the last decoded picture; the source's before there is one.
  void GetDecodedSize(uint32_t& width, uint32_t& height) EXCLUDES(m_PictureLock);
  // Texts that are drawn into every picture that is decoded from now on; see Osd::SetOSD.
  bool SetOSD(const OsdItem* items, uint32_t count) { return m_Osd.SetOSD(items, count); }
  // The last decoded picture as 32-bit pixels, bottom row first. False without one, or when it does not fit.
  // Raises the snapshot event.
  bool GetBitmap(uint8_t* buffer, uint32_t sizeBytes) EXCLUDES(m_PictureLock, m_DecoderLock);

  // Play thread: decodes and presents a frame; null, or a frame without data, presents the last picture
  // again.
  void PlayVideoFrame(const FrameRecord* frame) EXCLUDES(m_PictureLock, m_DecoderLock, m_ViewLock);
  // Play thread, or any thread while it does not run: the sums since the last call.
  VideoTimings TakeTimings();

 private:
  DecodedPicture Decode(const FrameRecord& frame) EXCLUDES(m_PictureLock, m_DecoderLock);
  DecodedPicture LastPicture() EXCLUDES(m_PictureLock);
  void Present(DecodedPicture picture) EXCLUDES(m_ViewLock);

  const PlayerLabel& m_Label;
  std::atomic<bool> m_bDecodeOK{false};
  std::atomic<uint32_t> m_nCodec{kCodecNone};

  Osd m_Osd;  // has a lock of its own

  Lock m_PictureLock ACQUIRED_BEFORE(m_DecoderLock);
  uint32_t m_nWidth GUARDED_BY(m_PictureLock) = 0;  // of the source, pixels
  uint32_t m_nHeight GUARDED_BY(m_PictureLock) = 0;
  DecodedPicture m_Picture GUARDED_BY(m_PictureLock);  // planes: the decoder's

  Lock m_DecoderLock;
  std::shared_ptr<Decoder> m_pDecoder GUARDED_BY(m_DecoderLock);

  Lock m_ViewLock ACQUIRED_BEFORE(m_ImageProcLock);
  VideoViewer m_VideoViewer GUARDED_BY(m_ViewLock);

  Lock m_ImageProcLock;
  ImageProc m_ImageProc GUARDED_BY(m_ImageProcLock);

  // Play thread only.
  VideoTimings m_Timings;
};
