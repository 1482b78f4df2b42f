// Counts a live stream's frames and words, once a second, what the statistics overlay shows of them.
#pragma once

#include <cstdint>

// Three zero-terminated lines, Chinese words in GBK.
struct StatisticsText {
  static constexpr int kLines = 3;
  char szLine[kLines][256];
};

// No clock and no lock of its own. All counts are 32 bits and wrap.
class OsdStatistics {
 public:
  // Forgets what was reported, not what is being counted: the next frame reports at once.
  void ClearReport();
  // Counts a frame that the host wrote; true when that makes a report due, which Text() then tells.
  bool Count(bool isVideo, bool isKeyFrame, uint32_t bytes, uint32_t nowMs);
  // The last report, with the codecs' names and the picture's size in pixels.
  StatisticsText Text(const char* videoCodec, const char* audioCodec, uint32_t width, uint32_t height) const;

 private:
  // The last report.
  uint32_t m_dwReportMs = 0;
  uint32_t m_dwVideoBytesPerSecond = 0;
  uint32_t m_dwFrameRate = 0;
  uint32_t m_dwKeyFrameInterval = 0;
  uint32_t m_dwAudioBytesPerSecond = 0;

  // Counted since.
  uint32_t m_dwVideoBytes = 0;
  uint32_t m_dwVideoFrames = 0;
  uint32_t m_dwFramesSinceKey = 0;
  uint32_t m_dwAudioBytes = 0;
};
