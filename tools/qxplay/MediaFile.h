// A recording that is looked into without being played.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "tools/qxplay/RgbImage.h"

// Between QXSP_InitSDK and QXSP_ReleaseSDK; one thread.
class MediaFile {
 public:
  // Null, with the reason, when the library cannot read it.
  static std::unique_ptr<MediaFile> Open(const std::string& name, std::string& error);
  ~MediaFile();
  MediaFile(const MediaFile&) = delete;
  MediaFile& operator=(const MediaFile&) = delete;

  uint32_t Frames() const { return m_nFrames; }
  int Width() const { return m_nWidth; }  // pixels
  int Height() const { return m_nHeight; }
  double FramesPerSecond() const { return m_dFramesPerSecond; }  // 0: not known

  // Whether key frames can be asked for: of MP4 files.
  bool TellsKeyFrames() const { return m_bMp4; }
  // Their numbers, from 1 up.
  std::vector<uint32_t> KeyFrames() const;
  // Decodes this key frame. The view is valid until the next call; without pixels when it cannot be decoded.
  PixelView Decode(uint32_t keyFrame);

 private:
  MediaFile() = default;

  void* m_pHandle = nullptr;
  bool m_bMp4 = false;
  uint32_t m_nFrames = 0;
  int m_nWidth = 0;
  int m_nHeight = 0;
  double m_dFramesPerSecond = 0;
  std::vector<uint32_t> m_Pixels;
};
