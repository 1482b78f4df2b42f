// How many bytes of sound to hold, to feed and to skip: the audio viewer's decisions, apart from the device.
#pragma once

#include "audio/AudioFormat.h"

// All sizes in bytes. Products wrap as unsigned 32-bit arithmetic does; divisions truncate.
struct AudioSizes {
  uint32_t blockSize = 0;  // one sample frame
  uint32_t bytesPerSecond = 0;
  uint32_t bufferSize = 0;         // device buffer, whole blocks
  uint32_t startThreshold = 0;     // written before the device starts
  uint32_t underrunThreshold = 0;  // 20 ms: fewer queued bytes pause the sound
  uint32_t stagingCapacity = 0;    // one second
  uint32_t minimumChunk = 0;       // 40 ms: no smaller feed, and the skip step
  uint32_t overflowThreshold = 0;  // more than this, queued and staged together, is too far behind

  static AudioSizes Of(const AudioFormat& format);

  // False for formats that no buffer can be made for: then nothing below may be called.
  bool IsPlayable() const;
  // Bytes from the device's play cursor to the write position; both below bufferSize.
  uint32_t Queued(uint32_t writePosition, uint32_t playCursor) const;
  // Bytes to move from staging to the device now: at most what fits and a quarter of the buffer, whole
  // blocks, and 0 below the minimum chunk.
  uint32_t FeedBytes(uint32_t queued, uint32_t staged) const;
  bool IsStarved(uint32_t queued) const { return queued < underrunThreshold; }
  bool IsOverfull(uint32_t queued, uint32_t staged) const { return staged + queued > overflowThreshold; }
  // The play cursor one skip step ahead, on a whole block.
  uint32_t SkippedCursor(uint32_t playCursor) const;
};
