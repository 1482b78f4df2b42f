#include "tools/qxplay/MediaFile.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <limits>

#include "include/qxsdkp.h"
#include "tools/qxplay/RecordingName.h"

std::unique_ptr<MediaFile> MediaFile::Open(const std::string& name, std::string& error) {
  constexpr uint32_t kMostPixels = 10000;  // a side; the library plays no larger pictures
  QXSP_MEDIA_FILE_INFO info{};
  std::unique_ptr<MediaFile> file(new MediaFile);
  file->m_pHandle = QXSP_MediaFileOpen(name.c_str(), &info);
  file->m_bMp4 = name.ends_with(".mp4");
  if (!file->m_pHandle) {
    errno = 0;
    const bool readable = std::ifstream(name).good();
    const bool otherCase = IsRecordedFile(name) && !IsOwnFormat(name) && !file->m_bMp4;
    error = !readable   ? std::strerror(errno)
            : otherCase ? "can be looked into only when its name ends in .mp4, in small letters"
                        : "the player library cannot read this file";
    return nullptr;
  }
  if (info.dwWidth == 0 || info.dwHeight == 0 || info.dwWidth > kMostPixels || info.dwHeight > kMostPixels) {
    error = "has no pictures";
    return nullptr;
  }
  file->m_nFrames = info.dwTotalFrames;
  file->m_nWidth = static_cast<int>(info.dwWidth);
  file->m_nHeight = static_cast<int>(info.dwHeight);
  if (info.dwFrameRateDen != 0)
    file->m_dFramesPerSecond = static_cast<double>(info.dwFrameRateNum) / info.dwFrameRateDen;
  return file;
}

MediaFile::~MediaFile() {
  QXSP_MediaFileClose(m_pHandle);
}

std::vector<uint32_t> MediaFile::KeyFrames() const {
  std::vector<uint32_t> frames;
  uint32_t next = 1;
  while (m_bMp4 && next <= m_nFrames && next <= std::numeric_limits<int32_t>::max()) {
    const int32_t found = QXSP_MediaFileGetOneFrame(m_pHandle, next, nullptr, 0);
    if (found < static_cast<int32_t>(next)) break;  // none is left
    frames.push_back(static_cast<uint32_t>(found));
    next = frames.back() + 1;
  }
  return frames;
}

PixelView MediaFile::Decode(uint32_t keyFrame) {
  m_Pixels.resize(static_cast<size_t>(m_nWidth) * static_cast<size_t>(m_nHeight));
  const auto bytes = static_cast<uint32_t>(m_Pixels.size() * sizeof(m_Pixels[0]));
  const int32_t delivered = QXSP_MediaFileGetOneFrame(m_pHandle, keyFrame, m_Pixels.data(), bytes);
  if (delivered != static_cast<int32_t>(keyFrame)) return {};
  return ViewOfBitmap(m_Pixels, m_nWidth, m_nHeight);
}
