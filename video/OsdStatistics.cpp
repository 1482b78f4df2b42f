#include "video/OsdStatistics.h"

#include <cstdio>
#include <utility>

namespace {

constexpr uint32_t kReportPeriodMs = 1000;

// GBK: video, codec, frame width, frame height.
constexpr char kVideoLine[] = "\xCA\xD3\xC6\xB5 \xB1\xE0\xC2\xEB:%s \xD6\xA1\xBF\xED:%d \xD6\xA1\xB8\xDF:%d";
// Key-frame interval, frame rate, bit rate.
constexpr char kRateLine[] =
    "     \xB9\xD8\xBC\xFC\xD6\xA1\xBC\xE4\xB8\xF4:%d \xD6\xA1\xC2\xCA:%d \xC2\xEB\xC2\xCA:%dKbps";
// Audio, codec, bit rate.
constexpr char kAudioLine[] = "\xD2\xF4\xC6\xB5 \xB1\xE0\xC2\xEB:%s \xC2\xEB\xC2\xCA:%dKbps";

int Kbps(uint32_t bytesPerSecond) {
  return static_cast<int>(bytesPerSecond * 8 / 1024);
}

}  // namespace

void OsdStatistics::ClearReport() {
  m_dwReportMs = 0;
  m_dwVideoBytesPerSecond = 0;
  m_dwFrameRate = 0;
  m_dwKeyFrameInterval = 0;
  m_dwAudioBytesPerSecond = 0;
}

bool OsdStatistics::Count(bool isVideo, bool isKeyFrame, uint32_t bytes, uint32_t nowMs) {
  if (!isVideo) {
    m_dwAudioBytes += bytes;
  } else {
    m_dwVideoBytes += bytes;
    ++m_dwVideoFrames;
    ++m_dwFramesSinceKey;
    if (isKeyFrame) m_dwKeyFrameInterval = std::exchange(m_dwFramesSinceKey, 0);
  }
  const uint32_t sinceReport = nowMs - m_dwReportMs;
  if (sinceReport <= kReportPeriodMs) return false;
  m_dwFrameRate = std::exchange(m_dwVideoFrames, 0);
  m_dwVideoBytesPerSecond = std::exchange(m_dwVideoBytes, 0);
  m_dwAudioBytesPerSecond = std::exchange(m_dwAudioBytes, 0);
  // Keeps the rhythm unless a period was missed.
  m_dwReportMs = sinceReport <= 2 * kReportPeriodMs ? m_dwReportMs + kReportPeriodMs : nowMs;
  return true;
}

StatisticsText OsdStatistics::Text(const char* videoCodec, const char* audioCodec, uint32_t width,
                                   uint32_t height) const {
  StatisticsText text;
  std::snprintf(text.szLine[0], sizeof text.szLine[0], kVideoLine, videoCodec, static_cast<int>(width),
                static_cast<int>(height));
  std::snprintf(text.szLine[1], sizeof text.szLine[1], kRateLine, static_cast<int>(m_dwKeyFrameInterval),
                static_cast<int>(m_dwFrameRate), Kbps(m_dwVideoBytesPerSecond));
  std::snprintf(text.szLine[2], sizeof text.szLine[2], kAudioLine, audioCodec, Kbps(m_dwAudioBytesPerSecond));
  return text;
}
