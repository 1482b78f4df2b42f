// The arithmetic of the audio viewer.
#include "audio/AudioSizes.h"

#include <algorithm>

AudioSizes AudioSizes::Of(const AudioFormat& format) {
  const uint32_t latencyMs = format.latencyMs;
  AudioSizes sizes;
  sizes.blockSize = format.bitsPerSample / 8 * format.channels;
  sizes.bytesPerSecond = static_cast<uint16_t>(sizes.blockSize) * format.samplesPerSec;
  sizes.bufferSize = format.bufferMs * sizes.bytesPerSecond / 1000;
  // Rates that are no multiple of 5 leave a part of a block, and the write position would be misaligned once
  // it wrapped.
  if (sizes.blockSize != 0) sizes.bufferSize -= sizes.bufferSize % sizes.blockSize;
  sizes.startThreshold = latencyMs * sizes.bytesPerSecond / 1000;
  sizes.underrunThreshold = sizes.bytesPerSecond * 20 / 1000;
  sizes.stagingCapacity = sizes.bytesPerSecond;
  sizes.minimumChunk = sizes.bytesPerSecond / 25;
  sizes.overflowThreshold = (std::max(latencyMs, 200u) + latencyMs) * sizes.bytesPerSecond / 1000;
  return sizes;
}

bool AudioSizes::IsPlayable() const {
  return blockSize != 0 && blockSize <= UINT16_MAX && bufferSize != 0 && bytesPerSecond <= INT32_MAX;
}

uint32_t AudioSizes::Queued(uint32_t writePosition, uint32_t playCursor) const {
  return writePosition >= playCursor ? writePosition - playCursor : writePosition + (bufferSize - playCursor);
}

uint32_t AudioSizes::FeedBytes(uint32_t queued, uint32_t staged) const {
  if (queued > bufferSize - blockSize) return 0;
  // One block stays free: a full buffer and an empty one would have the same cursors.
  const uint32_t available = std::min(bufferSize - blockSize - queued, staged);
  if (available < minimumChunk) return 0;
  const uint32_t bytes = std::min(available, bufferSize / 4);
  // A part of a block would leave the write position misaligned, and the sound could never start.
  return bytes - bytes % blockSize;
}

uint32_t AudioSizes::SkippedCursor(uint32_t playCursor) const {
  const uint32_t step = minimumChunk % bufferSize;
  const uint32_t toEnd = bufferSize - playCursor;
  const uint32_t cursor = step < toEnd ? playCursor + step : step - toEnd;
  return cursor - cursor % blockSize;
}
